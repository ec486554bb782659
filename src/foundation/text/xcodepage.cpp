// UTF-8 and US-ASCII <-> UTF-16. Both directions run twice through the same walker: once to
// measure, once to write, so sizes always agree with what is written.
#include "foundation/text/xcodepage.h"

#include <cstring>

#include "foundation/platform/last_error.h"

namespace {

constexpr char16_t Replacement = 0xFFFD;

int MeasureNarrow(const char* source) {
    size_t n = strlen(source) + 1;
    return n > 0x7FFFFFFF ? -1 : static_cast<int>(n);
}

int MeasureWide(const char16_t* source) {
    size_t n = 0;
    while (source[n] != 0) ++n;
    ++n;
    return n > 0x7FFFFFFF ? -1 : static_cast<int>(n);
}

// Counts (and, with target, writes) the UTF-16 units of a UTF-8 text. Each maximal invalid
// subpart becomes one U+FFFD, as the system converters do.
template <class Sink>
void WalkUtf8(const unsigned char* s, int length, Sink&& put) {
    int i = 0;
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
        int j = i + 1;
        bool ok = true;
        for (int k = 0; k < need; ++k, ++j) {
            if (j >= length) { ok = false; break; }
            unsigned t = s[j];
            unsigned tlo = k == 0 ? lo : 0x80, thi = k == 0 ? hi : 0xBF;
            if (t < tlo || t > thi) { ok = false; break; }
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
void WalkUtf16(const char16_t* s, int length, Sink&& put) {
    for (int i = 0; i < length; ++i) {
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

bool KnownCodePage(uint32_t codePage) {
    return codePage == XCodePage::System || codePage == XCodePage::Utf8 ||
           codePage == XCodePage::Ascii;
}

// Runs a walker to measure, then to write; shared tail of both directions.
template <class Unit, class Walk>
int Convert(Walk&& walk, Unit* target, int targetSize) {
    long long needed = 0;
    walk([&](Unit) { ++needed; });
    if (needed > 0x7FFFFFFF) {
        XSetLastError(XErr::InvalidParameter);
        return 0;
    }
    if (targetSize == 0) return static_cast<int>(needed);
    if (needed > targetSize) {
        XSetLastError(XErr::InsufficientBuffer);
        return 0;
    }
    int at = 0;
    walk([&](Unit u) { target[at++] = u; });
    return at;
}

}  // namespace

int XMultiByteToWide(uint32_t codePage, const char* source, int sourceLength, char16_t* target,
                     int targetSize) {
    if (source == nullptr || sourceLength == 0 || sourceLength < -1 || targetSize < 0 ||
        (targetSize > 0 && target == nullptr) || !KnownCodePage(codePage)) {
        XSetLastError(XErr::InvalidParameter);
        return 0;
    }
    if (sourceLength == -1) sourceLength = MeasureNarrow(source);
    if (sourceLength < 0) {
        XSetLastError(XErr::InvalidParameter);
        return 0;
    }
    const auto* bytes = reinterpret_cast<const unsigned char*>(source);
    if (codePage == XCodePage::Ascii) {
        return Convert<char16_t>(
            [&](auto&& put) {
                for (int i = 0; i < sourceLength; ++i)
                    put(bytes[i] < 0x80 ? static_cast<char16_t>(bytes[i]) : Replacement);
            },
            target, targetSize);
    }
    return Convert<char16_t>([&](auto&& put) { WalkUtf8(bytes, sourceLength, put); }, target,
                             targetSize);
}

int XWideToMultiByte(uint32_t codePage, const char16_t* source, int sourceLength, char* target,
                     int targetSize) {
    if (source == nullptr || sourceLength == 0 || sourceLength < -1 || targetSize < 0 ||
        (targetSize > 0 && target == nullptr) || !KnownCodePage(codePage)) {
        XSetLastError(XErr::InvalidParameter);
        return 0;
    }
    if (sourceLength == -1) sourceLength = MeasureWide(source);
    if (sourceLength < 0) {
        XSetLastError(XErr::InvalidParameter);
        return 0;
    }
    if (codePage == XCodePage::Ascii) {
        return Convert<char>(
            [&](auto&& put) {
                for (int i = 0; i < sourceLength; ++i)
                    put(source[i] < 0x80 ? static_cast<char>(source[i]) : '?');
            },
            target, targetSize);
    }
    return Convert<char>([&](auto&& put) { WalkUtf16(source, sourceLength, put); }, target,
                         targetSize);
}
