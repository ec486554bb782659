#include "foundation/files/xpipe.h"

#include "foundation/platform/last_error.h"

bool XPipe::Create(bool inheritable) {
    Close();
    XFileHandle read = XInvalidHandle;
    XFileHandle write = XInvalidHandle;
    if (!XSysCreatePipe(&read, &write, inheritable)) return false;
    readHandle = read;
    writeHandle = write;
    owned = true;
    readEnd.Attach(read);
    writeEnd.Attach(write);
    return true;
}

void XPipe::Attach(XFileHandle read, XFileHandle write) {
    Close();
    readHandle = read == 0 ? XInvalidHandle : read;
    writeHandle = write == 0 ? XInvalidHandle : write;
    owned = false;
    readEnd.Attach(readHandle);
    writeEnd.Attach(writeHandle);
}

void XPipe::Close() {
    readEnd.Close();
    writeEnd.Close();
    if (owned) {
        // Closing a pipe end can't fail in a way that leaves anything to do.
        if (readHandle != XInvalidHandle) XSysCloseHandle(readHandle);
        if (writeHandle != XInvalidHandle) XSysCloseHandle(writeHandle);
    }
    readHandle = writeHandle = XInvalidHandle;
    owned = false;
}

namespace {

XFileHandle Detach(XFileHandle& handle, XFile& end, bool owned) {
    if (handle == XInvalidHandle) return XInvalidHandle;
    XFileHandle copy = XSysDuplicateHandle(handle, true);
    end.Close();
    if (owned) XSysCloseHandle(handle);
    handle = XInvalidHandle;
    return copy;
}

}  // namespace

XFileHandle XPipe::DetachRead() { return Detach(readHandle, readEnd, owned); }

XFileHandle XPipe::DetachWrite() { return Detach(writeHandle, writeEnd, owned); }

uint32_t XPipe::Available(bool* error) {
    uint32_t available = 0;
    bool ok = readHandle != XInvalidHandle && XSysPeekPipe(readHandle, &available);
    if (readHandle == XInvalidHandle) XSetLastError(XErr::InvalidHandle);
    if (error) *error = !ok;
    return available;
}

uint32_t XPipe::Read(void* buffer, uint32_t count, bool* error) {
    return readEnd.Read(buffer, count, XFile::FromCurrent, error);
}

bool XPipe::Write(const void* data, uint32_t count) { return writeEnd.Write(data, count); }

uint64_t XPipe::ReadAvailable(bool* error) {
    if (error) *error = false;
    uint64_t total = 0;
    for (;;) {
        bool failed = false;
        uint32_t waiting = Available(&failed);
        if (failed) {
            if (error) *error = true;
            return total;
        }
        if (waiting == 0) return total;
        uint64_t need = input.fill + waiting;
        if (need > input.size && !input.Resize(need, true, false, 2ull * waiting)) {
            XSetLastError(XErr::NotEnoughMemory);
            if (error) *error = true;
            return total;
        }
        uint32_t got = readEnd.Read(input.data + input.fill, waiting, XFile::FromCurrent, &failed);
        input.fill += got;
        total += got;
        if (failed) {
            if (error) *error = true;
            return total;
        }
    }
}

bool XPipe::ReadAvailableLines(XStringList& list) {
    ReadAvailable();
    if (input.fill == 0) return false;
    XString text(input.data, static_cast<size_t>(input.fill), XString::Bytes::Utf16);
    XSplitToList(list, text.Text(), u"\r\n");
    input.fill = 0;
    input.position = 0;
    return true;
}
