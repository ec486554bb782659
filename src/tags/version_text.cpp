// Version files are written by installers and people, so their encoding and size are not
// trusted: only the head is read, and anything that doesn't look like one line of text reads
// as no version at all.
#include "tags/version_text.h"

#include <cstdint>
#include <vector>

#include "foundation/platform/file_io.h"

namespace {

constexpr uint32_t kHeadBytes = 4096;  // a version line is short; the rest is never looked at
constexpr int kMaxLineLength = 256;

bool ReadHead(const XString& path, std::vector<uint8_t>& head) {
    head.clear();
    XFileHandle file =
        XSysOpenFile(path, XAccess::Read, XShare::Read | XShare::Write, XDisposition::OpenExisting, XAttributeNormal);
    if (file == XInvalidHandle) return false;
    head.resize(kHeadBytes);
    uint32_t filled = 0;
    bool ok = true;
    while (filled < kHeadBytes) {
        uint32_t done = 0;
        if (!XSysReadFile(file, head.data() + filled, kHeadBytes - filled, &done)) {
            ok = false;
            break;
        }
        if (done == 0) break;
        filled += done;
    }
    XSysCloseHandle(file);
    head.resize(filled);
    return ok;
}

bool IsLineEnd(char16_t c) { return c == u'\r' || c == u'\n' || c == 0; }

bool IsControl(char16_t c) { return (c < 0x20 && c != u'\t') || (c >= 0x7F && c <= 0x9F); }

XString FirstLineWide(const uint8_t* bytes, size_t size, bool bigEndian) {
    XString line;
    for (size_t i = 0; i + 1 < size; i += 2) {
        char16_t c = bigEndian ? char16_t((bytes[i] << 8) | bytes[i + 1]) : char16_t(bytes[i] | (bytes[i + 1] << 8));
        if (IsLineEnd(c)) break;
        line.AppendChar(c);
        if (line.Length() > kMaxLineLength) break;
    }
    return line;
}

XString FirstLineNarrow(const uint8_t* bytes, size_t size) {
    size_t end = 0;
    while (end < size && !IsLineEnd(char16_t(bytes[end]))) ++end;
    if (end == 0) return XString();
    // The converter turns bad input into U+FFFD, which real version text doesn't hold.
    XString utf8(bytes, end, XString::Bytes::Utf8);
    if (utf8.FindChar(u'\uFFFD') == 0) return utf8;
    // Not UTF-8: read the bytes one character each, as a single-byte code page would.
    XString latin;
    for (size_t i = 0; i < end; ++i) latin.AppendChar(char16_t(bytes[i]));
    return latin;
}

}  // namespace

XString ReadVersionLine(const XString& path) {
    std::vector<uint8_t> head;
    if (!ReadHead(path, head) || head.empty()) return XString();
    const uint8_t* bytes = head.data();
    size_t size = head.size();
    XString line;
    if (size >= 2 && bytes[0] == 0xFF && bytes[1] == 0xFE) {
        line = FirstLineWide(bytes + 2, size - 2, false);
    } else if (size >= 2 && bytes[0] == 0xFE && bytes[1] == 0xFF) {
        line = FirstLineWide(bytes + 2, size - 2, true);
    } else if (size >= 3 && bytes[0] == 0xEF && bytes[1] == 0xBB && bytes[2] == 0xBF) {
        line = FirstLineNarrow(bytes + 3, size - 3);
    } else {
        line = FirstLineNarrow(bytes, size);
    }
    if (line.Length() > kMaxLineLength) return XString();
    for (int i = 0; i < line.Length(); ++i) {
        if (IsControl(line.Text()[i])) return XString();
    }
    return line;
}
