// XFile's whole-file helpers, file times and the error texts.
#include "foundation/files/xfile.h"
#include "foundation/platform/clock.h"
#include "foundation/platform/last_error.h"

namespace {

// Block of the whole-file copies between a handle and a buffer.
constexpr uint32_t kCopyBlock = 0x40000;
// Largest single transfer the 32-bit counts allow.
constexpr uint64_t kMaxTransfer = 0x40000000;
constexpr int kReadTries = 10;
constexpr uint32_t kReadTryWaitMs = 50;

bool IsMissing(uint32_t error) { return error == XErr::FileNotFound || error == XErr::PathNotFound; }

}  // namespace

uint64_t XFile::GetTime(int which, bool* error) {
    uint64_t times[3] = {};
    bool ok = handle != XInvalidHandle && XSysGetFileTimes(handle, &times[0], &times[1], &times[2]);
    if (handle == XInvalidHandle) XSetLastError(XErr::InvalidHandle);
    if (error) *error = !ok;
    return ok ? times[which] : 0;
}

uint64_t XFile::GetCreated(bool* error) { return GetTime(0, error); }
uint64_t XFile::GetAccessed(bool* error) { return GetTime(1, error); }
uint64_t XFile::GetModified(bool* error) { return GetTime(2, error); }

uint64_t XFile::GetCreated(const XString& path, bool* error) {
    XFile file;
    file.OpenRead(path);
    return file.GetCreated(error);
}

uint64_t XFile::GetAccessed(const XString& path, bool* error) {
    XFile file;
    file.OpenRead(path);
    return file.GetAccessed(error);
}

uint64_t XFile::GetModified(const XString& path, bool* error) {
    XFile file;
    file.OpenRead(path);
    return file.GetModified(error);
}

uint32_t XFile::ReadRange(const XString& path, void* buffer, uint32_t count, int64_t offset, int origin, bool* error,
                          bool showErrors) {
    XFile file;
    if (!file.Open(path, XAccess::Read, XDisposition::OpenExisting, showErrors)) {
        if (error) *error = true;
        return 0;
    }
    if (origin != FromCurrent && !file.Seek(offset, origin)) {
        if (error) *error = true;
        return 0;
    }
    return file.Read(buffer, count, FromCurrent, error);
}

bool XFile::ReadWhole(const XString& path, XBuffer& buffer, bool terminate) {
    XFile file;
    if (!file.OpenRead(path)) {
        if (!IsMissing(XGetLastError())) return false;
        buffer.SetFill(0);
        return true;
    }
    bool error = false;
    uint64_t size = file.Size(&error);
    if (error) return false;
    uint64_t room = size + (terminate ? 2 : 0);
    if (size >= 0xFFFFFFFFull || room >= 0xFFFFFFFFull) {
        XSetLastError(XErr::NotEnoughMemory);
        return false;
    }
    if (!buffer.Resize(room, false, terminate, 0, false)) {
        XSetLastError(XErr::NotEnoughMemory);
        return false;
    }
    buffer.fill = 0;
    buffer.position = 0;
    uint64_t done = 0;
    while (done < size) {
        uint64_t want = size - done < kMaxTransfer ? size - done : kMaxTransfer;
        uint32_t got = file.Read(buffer.data + done, static_cast<uint32_t>(want), FromCurrent, &error);
        if (error) return false;
        if (got == 0) break;  // the file shrank meanwhile
        done += got;
    }
    buffer.fill = done;
    return true;
}

bool XFile::ReadWholeRetry(const XString& path, XBuffer& buffer) {
    for (int attempt = 1;; ++attempt) {
        if (ReadWhole(path, buffer)) return true;
        if (attempt == kReadTries) return false;
        XSleep(kReadTryWaitMs);
    }
}

bool XFile::ReadHandle(XBuffer& buffer, XFileHandle source) {
    XFile file(source);
    if (!file.Seek(0, FromStart)) return false;
    buffer.fill = 0;
    buffer.position = 0;
    for (;;) {
        if (buffer.size < buffer.fill + kCopyBlock &&
            !buffer.Resize(buffer.fill + kCopyBlock, true, false, (buffer.fill + kCopyBlock) * 2 / 3)) {
            XSetLastError(XErr::NotEnoughMemory);
            return false;
        }
        bool error = false;
        uint32_t got = file.Read(buffer.data + buffer.fill, kCopyBlock, FromCurrent, &error);
        if (error) return false;
        buffer.fill += got;
        if (got == 0) return true;
    }
}

bool XFile::WriteWhole(const XString& path, const void* data, uint64_t count) {
    XFile file;
    if (!file.Open(path, XAccess::Write, XDisposition::CreateAlways)) return false;
    const auto* bytes = static_cast<const uint8_t*>(data);
    if (count == 0) return file.Write(bytes ? bytes : reinterpret_cast<const uint8_t*>(""), 0);
    for (uint64_t done = 0; done < count;) {
        uint64_t block = count - done < kMaxTransfer ? count - done : kMaxTransfer;
        if (!file.Write(bytes + done, static_cast<uint32_t>(block))) return false;
        done += block;
    }
    return true;
}

bool XFile::WriteHandle(const XBuffer& buffer, XFileHandle target) {
    XFile file(target);
    for (uint64_t done = 0; done < buffer.fill;) {
        uint32_t block = buffer.fill - done < kCopyBlock ? static_cast<uint32_t>(buffer.fill - done) : kCopyBlock;
        if (!file.Write(buffer.data + done, block)) return false;
        done += block;
    }
    return true;
}

XString XLastErrorText() { return XString::Formatted(u"(win:%i)", static_cast<int>(XGetLastError())); }

XString XLastErrorTextIfAny() {
    uint32_t error = XGetLastError();
    return error == 0 ? XString() : XString::Formatted(u"(Win:%u)", error);
}

XString XOpenErrorText(const char16_t* path) {
    if (!path || !*path) return XString(u"No file specified!");
    XString text(u"Error opening file '");
    text.AppendFast(path);
    text.AppendFast(u"', check no other program has it open. ");
    text.AppendFast(XLastErrorText());
    return text;
}
