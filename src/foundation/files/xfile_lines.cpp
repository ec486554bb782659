// XFile's text lines: one unit per system call, which is fine for the small text files the
// product reads this way.
#include <cstring>
#include <string>

#include "foundation/files/xfile.h"
#include "foundation/platform/last_error.h"

namespace {
constexpr uint16_t kLf = 0x0A;
constexpr uint16_t kCr = 0x0D;
constexpr uint16_t kUnicodeBom = 0xFEFF;
}  // namespace

bool XFile::ReadLine(XString& output, bool unicode, bool utf8) {
    output.Clear();
    const uint32_t unitSize = unicode ? 2 : 1;
    std::string bytes;  // the byte line, converted once at the end
    bool gathered = false;
    auto next = [&](uint16_t& unit) {
        uint8_t raw[2] = {};
        bool error = false;
        if (Read(raw, unitSize, FromCurrent, &error) != unitSize || error) return false;
        unit = unicode ? static_cast<uint16_t>(raw[0] | (raw[1] << 8)) : raw[0];
        return true;
    };
    auto finish = [&]() {
        if (!unicode) {
            output = XString(bytes.data(), bytes.size(), utf8 ? XString::Bytes::Utf8 : XString::Bytes::CodePage);
        }
    };
    uint16_t unit = 0;
    while (next(unit)) {
        if (unit == kLf) {
            finish();
            return true;
        }
        if (unit == kCr) {
            uint16_t after = 0;
            if (!next(after)) break;  // a CR as last unit ends the text
            if (after != kLf) Seek(-static_cast<int64_t>(unitSize), FromCurrent);
            finish();
            return true;
        }
        if (!gathered) {
            if (unicode && unit == kUnicodeBom) continue;
            if (!unicode && utf8 && unit == 0xEF) {
                uint8_t rest[2] = {};
                bool error = false;
                uint32_t got = Read(rest, 2, FromCurrent, &error);
                if (got == 2 && !error && rest[0] == 0xBB && rest[1] == 0xBF) continue;
                if (got > 0) Seek(-static_cast<int64_t>(got), FromCurrent);
            }
        }
        gathered = true;
        if (unicode) {
            output.AppendChar(static_cast<char16_t>(unit));
        } else {
            bytes += static_cast<char>(unit);
        }
    }
    finish();
    return gathered;
}

bool XFile::WriteLine(const char* text, bool addEndOfLine) {
    std::string line(text ? text : "");
    if (addEndOfLine) line += "\r\n";
    return Write(line.data(), static_cast<uint32_t>(line.size()));
}

bool XFile::WriteLine(const char16_t* text, bool addEndOfLine) {
    std::u16string line(text ? text : u"");
    if (addEndOfLine) line += u"\r\n";
    // UTF-16 little-endian: the host's own order on the platforms the product runs on.
    static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "UTF-16LE output assumes a little-endian host");
    return Write(line.data(), static_cast<uint32_t>(line.size() * sizeof(char16_t)));
}

bool XFile::ReadAllLines(const XString& path, XStringList& list) {
    list.Clear();
    XFile file;
    if (!file.OpenRead(path)) {
        uint32_t error = XGetLastError();
        return error == XErr::FileNotFound || error == XErr::PathNotFound;
    }
    bool unicode = file.HasUtf16Bom();
    bool utf8 = !unicode && file.HasUtf8Bom();
    XString line;
    while (file.ReadLine(line, unicode, utf8)) list.Add(line);
    return true;
}
