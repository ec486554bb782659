#include "tvkit/text.h"

namespace tvkit {

namespace {
constexpr char32_t Replacement = 0xFFFD;

void AppendUtf8(std::string& out, char32_t c) {
    if (c < 0x80) {
        out += static_cast<char>(c);
    } else if (c < 0x800) {
        out += static_cast<char>(0xC0 | (c >> 6));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        out += static_cast<char>(0xE0 | (c >> 12));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (c >> 18));
        out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    }
}

void AppendUtf16(std::u16string& out, char32_t c) {
    if (c < 0x10000) {
        out += static_cast<char16_t>(c);
    } else {
        c -= 0x10000;
        out += static_cast<char16_t>(0xD800 + (c >> 10));
        out += static_cast<char16_t>(0xDC00 + (c & 0x3FF));
    }
}
}  // namespace

std::u16string Utf8ToUtf16(std::string_view text) {
    std::u16string out;
    out.reserve(text.size());
    size_t i = 0;
    const size_t n = text.size();
    while (i < n) {
        const auto b = static_cast<unsigned char>(text[i]);
        int extra;
        char32_t c;
        char32_t minimum;
        if (b < 0x80) { out += b; ++i; continue; }
        if ((b & 0xE0) == 0xC0) { extra = 1; c = b & 0x1F; minimum = 0x80; }
        else if ((b & 0xF0) == 0xE0) { extra = 2; c = b & 0x0F; minimum = 0x800; }
        else if ((b & 0xF8) == 0xF0) { extra = 3; c = b & 0x07; minimum = 0x10000; }
        else { out += static_cast<char16_t>(Replacement); ++i; continue; }
        size_t j = i + 1;
        bool ok = true;
        for (int k = 0; k < extra; ++k, ++j) {
            if (j >= n || (static_cast<unsigned char>(text[j]) & 0xC0) != 0x80) { ok = false; break; }
            c = (c << 6) | (static_cast<unsigned char>(text[j]) & 0x3F);
        }
        if (!ok || c < minimum || c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) {
            out += static_cast<char16_t>(Replacement);
            i = ok ? j : (j > i + 1 ? j : i + 1);
            continue;
        }
        AppendUtf16(out, c);
        i = j;
    }
    return out;
}

std::string Utf16ToUtf8(std::u16string_view text) {
    std::string out;
    out.reserve(text.size());
    for (size_t i = 0; i < text.size(); ++i) {
        char32_t c = text[i];
        if (c >= 0xD800 && c <= 0xDBFF && i + 1 < text.size() && text[i + 1] >= 0xDC00 && text[i + 1] <= 0xDFFF) {
            c = 0x10000 + ((c - 0xD800) << 10) + (text[i + 1] - 0xDC00);
            ++i;
        } else if (c >= 0xD800 && c <= 0xDFFF) {
            c = Replacement;
        }
        AppendUtf8(out, c);
    }
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
    do { buf[--p] = static_cast<char16_t>(u'0' + value % 10); value /= 10; } while (value);
    return std::u16string(buf + p, buf + 24);
}

std::u16string Number16(long long value) {
    if (value >= 0) return Number16(static_cast<unsigned long long>(value));
    std::u16string text = Number16(0ULL - static_cast<unsigned long long>(value));
    text.insert(text.begin(), u'-');  // (not u"-" + text: gcc 12 warns falsely on that at -O3)
    return text;
}

}  // namespace tvkit
