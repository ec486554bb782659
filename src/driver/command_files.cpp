// The files that the options name: command files (-tvcmd=, -tvcmd8=) and DSP presets.
#include <memory>
#include <new>

#include "driver/travex.h"
#include "foundation/platform/file_io.h"

namespace {

// Only the first line of a preset counts; anything beyond this is not read.
constexpr uint32_t MaxPresetBytes = 1u << 20;

class ScopedHandle {
public:
    explicit ScopedHandle(XFileHandle h) : handle(h) {}
    ~ScopedHandle() {
        if (handle != XInvalidHandle) XSysCloseHandle(handle);
    }
    ScopedHandle(const ScopedHandle&) = delete;
    ScopedHandle& operator=(const ScopedHandle&) = delete;
    XFileHandle handle;
};

bool ReadAll(XFileHandle handle, uint8_t* buffer, uint32_t size) {
    uint32_t total = 0;
    while (total < size) {
        uint32_t done = 0;
        if (!XSysReadFile(handle, buffer + total, size - total, &done) || done == 0) return false;
        total += done;
    }
    return true;
}

}  // namespace

bool TvTravex::ReadTvCommandFile(const XString& path, bool isUtf8) {
    ScopedHandle file(XSysOpenFile(path, XAccess::Read, XShare::Read | XShare::Write,
                                   XDisposition::OpenExisting, XAttributeNormal));
    if (file.handle == XInvalidHandle) {
        console.Debug(u"Error opening TvCmd File.");
        return false;
    }
    uint64_t size = 0;
    if (!XSysGetFileSize(file.handle, &size) || size == 0) {
        console.Debug(u"Error TvCmd File is Empty.");
        return false;
    }
    // The pad holds the terminator: one byte of UTF-8, or a whole UTF-16 unit after an odd size.
    uint32_t pad = isUtf8 ? 1 : 4;
    if (size > UINT32_MAX - pad) {
        console.Debug(u"Error allocating TvCmd File Buffer.");
        return false;
    }
    uint32_t size32 = static_cast<uint32_t>(size);
    // Held in 16-bit units so that the UTF-16 text is read in its own type.
    std::unique_ptr<char16_t[]> buffer(new (std::nothrow) char16_t[(size32 + pad + 1) / 2]());
    if (!buffer) {
        console.Debug(u"Error allocating TvCmd File Buffer.");
        return false;
    }
    if (!ReadAll(file.handle, reinterpret_cast<uint8_t*>(buffer.get()), size32)) {
        console.Debug(u"Error reading TvCmd File.");
        return false;
    }
    // A byte-order mark stays: the splitter skips it as text before the first '-'.
    XString text = isUtf8 ? XString(reinterpret_cast<const char*>(buffer.get()), true)
                          : XString(buffer.get());
    Parse(text, 1);
    commandFileMode = 1;
    console.SetRawErrors(true);
    return true;
}

bool TvTravex::ReadPresetLine(const XString& path, XString& line) {
    line.Clear();
    ScopedHandle file(XSysOpenFile(path, XAccess::Read, XShare::Read | XShare::Write,
                                   XDisposition::OpenExisting, XAttributeNormal));
    uint64_t size = 0;
    if (file.handle == XInvalidHandle || !XSysGetFileSize(file.handle, &size) || size == 0) {
        return false;
    }
    uint32_t want = size > MaxPresetBytes ? MaxPresetBytes : static_cast<uint32_t>(size);
    std::unique_ptr<char16_t[]> buffer(new (std::nothrow) char16_t[want / 2 + 2]());
    if (!buffer) return false;
    uint8_t* bytes = reinterpret_cast<uint8_t*>(buffer.get());
    uint32_t got = 0;
    while (got < want) {
        uint32_t done = 0;
        if (!XSysReadFile(file.handle, bytes + got, want - got, &done)) return false;
        if (done == 0) break;
        got += done;
    }
    XString text(buffer.get());
    int end = text.Length() + 1;
    for (int i = 1; i <= text.Length(); ++i) {
        char16_t c = text.GetAt(i);
        if (c == u'\r' || c == u'\n') {
            end = i;
            break;
        }
    }
    line = text.Left(end - 1);
    return !line.IsEmpty();
}
