// The files that the options name: command files (-tvcmd=, -tvcmd8=) and DSP presets.
#include <memory>
#include <new>

#include "driver/travex.h"

namespace {
constexpr const char* ReadFunction = "TvTravex::ReadTvCommandFile";
}

bool TvTravex::ReadTvCommandFile(const XString& path, bool isUtf8) {
    XFile file;
    if (!file.Open(path, XAccess::Read, XDisposition::OpenExisting)) {
        DebugLog(u"Error opening TvCmd File.", ReadFunction);
        return false;
    }
    uint64_t size = file.Size();
    if (size == 0) {
        DebugLog(u"Error TvCmd File is Empty.", ReadFunction);
        return false;
    }
    // The pad is the terminator: one byte of UTF-8, or a whole UTF-16 unit after an odd size.
    // Size and pad are 32-bit numbers; a sum that wraps is refused like a failed allocation.
    uint32_t pad = isUtf8 ? 1 : 4;
    if (size > UINT32_MAX - pad) {
        DebugLog(u"Error allocating TvCmd File Buffer.", ReadFunction);
        return false;
    }
    uint32_t size32 = static_cast<uint32_t>(size);
    // Held in 16-bit units so that the UTF-16 text is read in its own type.
    std::unique_ptr<char16_t[]> buffer(new (std::nothrow) char16_t[(size32 + pad + 1) / 2]());
    if (!buffer) {
        DebugLog(u"Error allocating TvCmd File Buffer.", ReadFunction);
        return false;
    }
    bool error = false;
    if (file.Read(buffer.get(), size32, XFile::FromStart, &error) != size32 || error) {
        DebugLog(u"Error reading TvCmd File.", ReadFunction);
        return false;
    }
    // A byte-order mark stays: the splitter skips it as text before the first '-'.
    XString text = isUtf8 ? XString(reinterpret_cast<const char*>(buffer.get()), true) : XString(buffer.get());
    // Nothing of the process's own command line stays, tvcmd included.
    Parse(text, 1);
    plan.commandFileMode = 1;
    console.SetRawErrors(true);
    return true;
}

bool TvTravex::ReadPresetLine(const XString& path, XString& line) {
    line.Clear();
    XFile file;
    if (!file.Open(path, XAccess::Read, XDisposition::OpenExisting)) return false;
    return file.ReadLine(line, true);
}
