#pragma once
// The one UTF-8 <-> UTF-16 walker of host and plug-ins. Each calls put with every unit of the
// converted text; invalid input becomes U+FFFD, each maximal invalid subpart of UTF-8 one
// replacement and a lone surrogate the encoding of U+FFFD, as the system converters do.
#include <cstddef>
#include <cstdint>

namespace tvkit {

constexpr char16_t Replacement = 0xFFFD;

// UTF-8 to UTF-16.
template <class Sink>
void WalkUtf8(const unsigned char* s, size_t length, Sink&& put) {
    size_t i = 0;
    while (i < length) {
        unsigned c = s[i];
        if (c < 0x80) {
            put(static_cast<char16_t>(c));
            ++i;
            continue;
        }
        int need;
        unsigned lo = 0x80, hi = 0xBF;
        uint32_t cp;
        if (c >= 0xC2 && c <= 0xDF) {
            need = 1;
            cp = c & 0x1F;
        } else if (c >= 0xE0 && c <= 0xEF) {
            need = 2;
            cp = c & 0x0F;
            if (c == 0xE0) lo = 0xA0;
            if (c == 0xED) hi = 0x9F;  // no encoded surrogates
        } else if (c >= 0xF0 && c <= 0xF4) {
            need = 3;
            cp = c & 0x07;
            if (c == 0xF0) lo = 0x90;
            if (c == 0xF4) hi = 0x8F;
        } else {
            put(Replacement);
            ++i;
            continue;
        }
        size_t j = i + 1;
        bool ok = true;
        for (int k = 0; k < need; ++k, ++j) {
            if (j >= length) {
                ok = false;
                break;
            }
            unsigned t = s[j];
            unsigned tlo = k == 0 ? lo : 0x80, thi = k == 0 ? hi : 0xBF;
            if (t < tlo || t > thi) {
                ok = false;
                break;
            }
            cp = (cp << 6) | (t & 0x3F);
        }
        if (!ok) {
            put(Replacement);
            i = j;  // resume at the byte that broke the sequence
            continue;
        }
        if (cp >= 0x10000) {
            cp -= 0x10000;
            put(static_cast<char16_t>(0xD800 + (cp >> 10)));
            put(static_cast<char16_t>(0xDC00 + (cp & 0x3FF)));
        } else {
            put(static_cast<char16_t>(cp));
        }
        i = j;
    }
}

// UTF-16 to UTF-8; a lone surrogate becomes the encoding of U+FFFD.
template <class Sink>
void WalkUtf16(const char16_t* s, size_t length, Sink&& put) {
    for (size_t i = 0; i < length; ++i) {
        uint32_t c = s[i];
        if (c >= 0xD800 && c <= 0xDBFF && i + 1 < length && s[i + 1] >= 0xDC00 && s[i + 1] <= 0xDFFF) {
            c = 0x10000 + ((c - 0xD800) << 10) + (s[i + 1] - 0xDC00);
            ++i;
        } else if (c >= 0xD800 && c <= 0xDFFF) {
            c = Replacement;
        }
        if (c < 0x80) {
            put(static_cast<char>(c));
        } else if (c < 0x800) {
            put(static_cast<char>(0xC0 | (c >> 6)));
            put(static_cast<char>(0x80 | (c & 0x3F)));
        } else if (c < 0x10000) {
            put(static_cast<char>(0xE0 | (c >> 12)));
            put(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
            put(static_cast<char>(0x80 | (c & 0x3F)));
        } else {
            put(static_cast<char>(0xF0 | (c >> 18)));
            put(static_cast<char>(0x80 | ((c >> 12) & 0x3F)));
            put(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
            put(static_cast<char>(0x80 | (c & 0x3F)));
        }
    }
}

}  // namespace tvkit
