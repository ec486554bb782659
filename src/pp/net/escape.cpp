#include "pp/net/escape.h"

namespace PP {

namespace {

bool isAlnum(unsigned char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9'); }

std::string escapeBy(std::string_view text, std::string_view kept, bool blankAsPlus) {
    static const char hex[] = "0123456789ABCDEF";
    std::string out;
    out.reserve(text.size());
    for (unsigned char c : text) {
        if (isAlnum(c) || kept.find(char(c)) != std::string_view::npos) {
            out += char(c);
        } else if (c == ' ' && blankAsPlus) {
            out += '+';
        } else {
            out += '%';
            out += hex[c >> 4];
            out += hex[c & 15];
        }
    }
    return out;
}

int hexValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

}  // namespace

std::string escapePath(std::string_view text) { return escapeBy(text, "_-!.~'()*/", false); }
std::string escapeName(std::string_view text) { return escapeBy(text, "_-!.~'()*", false); }
std::string escapeForm(std::string_view text) { return escapeBy(text, "-._~", true); }
std::string escapeForm(const void* bytes, size_t length) {
    return escapeForm(std::string_view(static_cast<const char*>(bytes), length));
}
std::string escapeQuery(std::string_view text) { return escapeBy(text, "-.", true); }

std::string unescape(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    for (size_t i = 0; i < text.size(); ++i) {
        char c = text[i];
        if (c == '+') {
            out += ' ';
        } else if (c == '%' && i + 2 < text.size()) {
            int hi = hexValue(text[i + 1]), lo = hexValue(text[i + 2]);
            int v = hi * 16 + lo;
            if (hi < 0 || lo < 0 || v == 0) {
                out += '%';
            } else {
                out += char(v);
                i += 2;
            }
        } else {
            out += c;
        }
    }
    return out;
}

bool isEscaped(std::string_view text) { return text.find(' ') == std::string_view::npos && unescape(text) != text; }

}  // namespace PP
