// XFile: open, close, read, write and positioning.
#include "foundation/files/xfile.h"

#include <cstring>
#include <memory>

#include "foundation/paths/xpath.h"
#include "foundation/platform/last_error.h"
#include "foundation/platform/message_box.h"

namespace {

// Block of the zero fill and of the tail moves.
constexpr uint32_t kZeroBlock = 0x10000;

// Asks the question of a failed call; the last error survives the box.
bool AskRetry(const XString& text, const char16_t* caption) {
    uint32_t error = XGetLastError();
    int answer = XMessageBox(text, caption, XBox::RetryCancel | XBox::IconInformation);
    XSetLastError(error);
    return answer == XBox::IdRetry;
}

XString Quoted(const char16_t* before, const XString& path) {
    XString text(before);
    text.AppendFast(path);
    text.AppendChar(u'\'');
    return text;
}

}  // namespace

XFile::XFile(XFile&& other) noexcept
    : XString(static_cast<XString&&>(other)),
      handle(other.handle),
      showErrors(other.showErrors),
      ownsHandle(other.ownsHandle),
      shareMode(other.shareMode) {
    other.handle = XInvalidHandle;
    other.ownsHandle = false;
}

XFile& XFile::operator=(XFile&& other) noexcept {
    if (this != &other) {
        Close();
        XString::operator=(static_cast<XString&&>(other));
        handle = other.handle;
        showErrors = other.showErrors;
        ownsHandle = other.ownsHandle;
        shareMode = other.shareMode;
        other.handle = XInvalidHandle;
        other.ownsHandle = false;
    }
    return *this;
}

bool XFile::Open(const XString& path, uint32_t access, uint32_t disposition, bool showErrorsFlag, bool shared,
                 uint32_t attributes) {
    Close();
    XString::Assign(path);
    for (;;) {
        ownsHandle = true;
        handle = XInvalidHandle;
        showErrors = showErrorsFlag;
        XPath name = XPath(static_cast<const XString&>(*this)).ToLongPath(XPath::FileLimit);
        if (name.IsEmpty()) {
            XSetLastError(XErr::PathNotFound);
            return false;
        }
        handle = XSysOpenFile(name, access, shared ? shareMode : 0, disposition, attributes);
        if (handle != XInvalidHandle) return true;
        if (!showErrors) return false;
        if (!AskRetry(Quoted(u"Unable to open '", *this),
                      (access & XAccess::Write) ? u"File Write Error" : u"File Read Error")) {
            return false;
        }
    }
}

bool XFile::Open(const char* path, uint32_t access, uint32_t disposition, bool showErrorsFlag, bool shared,
                 uint32_t attributes) {
    return Open(XString(path, false), access, disposition, showErrorsFlag, shared, attributes);
}

bool XFile::OpenRead(const XString& path) { return Open(path, XAccess::Read, XDisposition::OpenExisting); }

bool XFile::OpenReadWrite(const XString& path) {
    return Open(path, XAccess::Read | XAccess::Write, XDisposition::OpenExisting);
}

bool XFile::OpenUpdate(const XString& path) {
    return Open(path, XAccess::Read | XAccess::Write, XDisposition::OpenAlways);
}

bool XFile::OpenCreate(const XString& path) {
    return Open(path, XAccess::Read | XAccess::Write, XDisposition::CreateAlways);
}

void XFile::Attach(XFileHandle newHandle) {
    Close();
    handle = newHandle;
    ownsHandle = false;
    showErrors = false;
}

bool XFile::OpenDuplicate(XFileHandle source) {
    Close();
    showErrors = false;
    handle = XSysDuplicateHandle(source, false);
    ownsHandle = handle != XInvalidHandle;
    return ownsHandle;
}

void XFile::Close() {
    if (handle != XInvalidHandle && ownsHandle) {
        // A failed close has nothing left to undo: the handle is gone either way.
        XSysCloseHandle(handle);
    }
    handle = XInvalidHandle;
    ownsHandle = false;
}

bool XFile::SeekForTransfer(int origin) {
    if (origin == FromStart) return XSysSetFilePointer(handle, 0, XSeekFrom::Begin, nullptr);
    if (origin == FromEnd) return XSysSetFilePointer(handle, 0, XSeekFrom::End, nullptr);
    return true;
}

uint32_t XFile::Read(void* buffer, uint32_t count, int origin, bool* error) {
    for (;;) {
        uint32_t done = 0;
        bool failed;
        if (handle == XInvalidHandle) {
            XSetLastError(XErr::InvalidHandle);
            failed = true;
        } else if (!SeekForTransfer(origin)) {
            failed = true;
        } else {
            XSetLastError(0);
            bool ok = XSysReadFile(handle, buffer, count, &done);
            // The end of a file is a short read with no error.
            failed = (!ok || (done < count && XGetLastError() != 0)) && XGetLastError() != XErr::HandleEof;
        }
        if (error) *error = failed;
        if (!failed || !showErrors) return done;
        if (!AskRetry(Quoted(u"Unable to read from '", *this), u"File Read Error")) return done;
    }
}

bool XFile::Write(const void* buffer, uint32_t count, int origin, uint32_t* written) {
    if (written) *written = 0;
    if (!buffer) {
        if (count == 0) return true;
        if (showErrors) {
            XMessageBox(u"Error writing a NULL buffer to file", u"File Write Error", XBox::Ok | XBox::IconInformation);
        }
        XSetLastError(XErr::InvalidParameter);
        return false;
    }
    for (;;) {
        uint32_t done = 0;
        bool ok;
        if (handle == XInvalidHandle) {
            XSetLastError(XErr::InvalidHandle);
            ok = false;
        } else {
            ok = SeekForTransfer(origin) && XSysWriteFile(handle, buffer, count, &done);
        }
        if (written) {
            *written = done;
            if (ok) return true;
        } else if (ok && done == count) {
            return true;
        }
        if (!showErrors) return false;
        if (!AskRetry(Quoted(u"Unable to write to '", *this), u"File Write Error")) return false;
    }
}

bool XFile::Seek(int64_t offset, int origin) {
    if (handle == XInvalidHandle) {
        XSetLastError(XErr::InvalidHandle);
        return false;
    }
    int from = origin == FromStart ? XSeekFrom::Begin : origin == FromEnd ? XSeekFrom::End : XSeekFrom::Current;
    return XSysSetFilePointer(handle, offset, from, nullptr);
}

int64_t XFile::Tell() {
    int64_t position = -1;
    if (handle == XInvalidHandle) {
        XSetLastError(XErr::InvalidHandle);
        return -1;
    }
    return XSysSetFilePointer(handle, 0, XSeekFrom::Current, &position) ? position : -1;
}

uint64_t XFile::Size(bool* error) {
    uint64_t size = 0;
    bool ok = handle != XInvalidHandle && XSysGetFileSize(handle, &size);
    if (handle == XInvalidHandle) XSetLastError(XErr::InvalidHandle);
    if (error) *error = !ok;
    return ok ? size : 0;
}

bool XFile::SetSize(uint64_t length) {
    bool error = false;
    uint64_t size = Size(&error);
    if (error) return false;
    if (length <= size) {
        return Seek(static_cast<int64_t>(length), FromStart) && XSysSetEndOfFile(handle);
    }
    if (!Seek(0, FromEnd)) return false;
    static const uint8_t zeros[kZeroBlock] = {};
    for (uint64_t left = length - size; left > 0;) {
        uint32_t block = left < kZeroBlock ? static_cast<uint32_t>(left) : kZeroBlock;
        if (!Write(zeros, block)) return false;
        left -= block;
    }
    return true;
}

bool XFile::Truncate(uint64_t length) {
    int64_t position = Tell();
    if (position < 0) return false;
    bool ok = Seek(static_cast<int64_t>(length), FromStart) && XSysSetEndOfFile(handle);
    uint32_t error = XGetLastError();
    bool back = Seek(position, FromStart);
    if (!ok) XSetLastError(error);
    return ok && back;
}

bool XFile::ShiftTail(int64_t position, int64_t delta, bool zeroGap) {
    if (delta == 0 || position < 0) return true;
    bool error = false;
    int64_t size = static_cast<int64_t>(Size(&error));
    if (error) return false;
    std::unique_ptr<uint8_t[]> block(new uint8_t[kZeroBlock]);
    bool ok = true;
    auto move = [&](int64_t from, uint32_t count) {
        bool readError = false;
        return Seek(from, FromStart) && Read(block.get(), count, FromCurrent, &readError) == count && !readError &&
               Seek(from + delta, FromStart) && Write(block.get(), count);
    };
    if (delta > 0) {
        // Backwards from the end, so that nothing is overwritten before it is read.
        for (int64_t end = size; ok && end > position;) {
            int64_t chunk = end - position < kZeroBlock ? end - position : kZeroBlock;
            end -= chunk;
            ok = move(end, static_cast<uint32_t>(chunk));
        }
    } else {
        for (int64_t from = position; ok && from < size;) {
            int64_t chunk = size - from < kZeroBlock ? size - from : kZeroBlock;
            ok = move(from, static_cast<uint32_t>(chunk));
            from += chunk;
        }
    }
    uint32_t firstError = XGetLastError();
    int64_t newSize = size + delta < 0 ? 0 : size + delta;
    bool sized = SetSize(static_cast<uint64_t>(newSize));
    if (ok && sized && delta > 0 && zeroGap) {
        memset(block.get(), 0, kZeroBlock);
        ok = Seek(position, FromStart);
        for (int64_t left = delta; ok && left > 0;) {
            uint32_t chunk = left < kZeroBlock ? static_cast<uint32_t>(left) : kZeroBlock;
            ok = Write(block.get(), chunk);
            left -= chunk;
        }
        firstError = XGetLastError();
    }
    if (!ok) XSetLastError(firstError);
    return ok && sized;
}

bool XFile::HasUtf8Bom() {
    int64_t position = Tell();
    uint8_t mark[3] = {};
    bool error = false;
    bool found = Seek(0, FromStart) && Read(mark, 3, FromCurrent, &error) == 3 && !error && mark[0] == 0xEF &&
                 mark[1] == 0xBB && mark[2] == 0xBF;
    if (!(found && position == 0) && position >= 0) Seek(position, FromStart);
    return found;
}

bool XFile::HasUtf16Bom() {
    int64_t position = Tell();
    uint8_t mark[2] = {};
    bool error = false;
    bool found =
        Seek(0, FromStart) && Read(mark, 2, FromCurrent, &error) == 2 && !error && mark[0] == 0xFF && mark[1] == 0xFE;
    if (!(found && position == 0) && position >= 0) Seek(position, FromStart);
    return found;
}

bool XFile::WriteBom() {
    static const uint8_t mark[2] = {0xFF, 0xFE};
    return Write(mark, 2, FromStart);
}
