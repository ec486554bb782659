#include "tvkit/text.h"

#include "tvkit/utf.h"

namespace tvkit {

std::u16string Utf8ToUtf16(std::string_view text) {
    std::u16string out;
    out.reserve(text.size());
    WalkUtf8(reinterpret_cast<const unsigned char*>(text.data()), text.size(), [&](char16_t unit) { out += unit; });
    return out;
}

std::string Utf16ToUtf8(std::u16string_view text) {
    std::string out;
    out.reserve(text.size());
    WalkUtf16(text.data(), text.size(), [&](char unit) { out += unit; });
    return out;
}

size_t Length16(const TvChar16* text) {
    size_t n = 0;
    if (text)
        while (text[n]) ++n;
    return n;
}

char16_t FoldAscii(char16_t c) { return (c >= u'A' && c <= u'Z') ? static_cast<char16_t>(c + 32) : c; }

bool EqualsIgnoreCase(std::u16string_view a, std::u16string_view b) {
    if (a.size() != b.size()) return false;
    for (size_t i = 0; i < a.size(); ++i)
        if (FoldAscii(a[i]) != FoldAscii(b[i])) return false;
    return true;
}

bool EndsWithIgnoreCase(std::u16string_view text, std::u16string_view suffix) {
    return text.size() >= suffix.size() && EqualsIgnoreCase(text.substr(text.size() - suffix.size()), suffix);
}

std::u16string Number16(unsigned long long value) {
    char16_t buf[24];
    int p = 24;
    do {
        buf[--p] = static_cast<char16_t>(u'0' + value % 10);
        value /= 10;
    } while (value);
    return std::u16string(buf + p, buf + 24);
}

std::u16string Number16(long long value) {
    if (value >= 0) return Number16(static_cast<unsigned long long>(value));
    std::u16string text = Number16(0ULL - static_cast<unsigned long long>(value));
    text.insert(text.begin(), u'-');  // (not u"-" + text: gcc 12 warns falsely on that at -O3)
    return text;
}

}  // namespace tvkit
