// XFile's text lines: one unit per system call, which is fine for the small text files the
// product reads this way.
#include <cstring>
#include <string>

#include "foundation/files/line_reader.h"
#include "foundation/files/xfile.h"
#include "foundation/platform/last_error.h"

bool XFile::ReadLine(XString& output, bool unicode, bool utf8) {
    struct Source {
        XFile& file;
        uint32_t Take(uint8_t* bytes, uint32_t count) {
            bool error = false;
            const uint32_t got = file.Read(bytes, count, FromCurrent, &error);
            return error ? 0 : got;
        }
        void Back(uint32_t count) { file.Seek(-static_cast<int64_t>(count), FromCurrent); }
    } source{*this};
    XLineOptions options;
    options.unicode = unicode;
    options.utf8 = utf8;
    options.crPushBack = unicode ? 2 : 1;
    return XReadLine(source, output, options);
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
