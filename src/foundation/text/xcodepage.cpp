// UTF-8 and US-ASCII <-> UTF-16. Both directions run twice through the same walker (the plug-in
// kit's, so that host and plug-ins convert alike): once to measure, once to write, so sizes
// always agree with what is written.
#include "foundation/text/xcodepage.h"

#include <cstring>

#include "foundation/platform/last_error.h"
#include "tvkit/utf.h"

namespace {

constexpr char16_t Replacement = tvkit::Replacement;

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

bool KnownCodePage(uint32_t codePage) {
    return codePage == XCodePage::System || codePage == XCodePage::Utf8 || codePage == XCodePage::Ascii;
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

int XMultiByteToWide(uint32_t codePage, const char* source, int sourceLength, char16_t* target, int targetSize) {
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
    return Convert<char16_t>([&](auto&& put) { tvkit::WalkUtf8(bytes, size_t(sourceLength), put); }, target,
                             targetSize);
}

int XWideToMultiByte(uint32_t codePage, const char16_t* source, int sourceLength, char* target, int targetSize) {
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
                for (int i = 0; i < sourceLength; ++i) put(source[i] < 0x80 ? static_cast<char>(source[i]) : '?');
            },
            target, targetSize);
    }
    return Convert<char>([&](auto&& put) { tvkit::WalkUtf16(source, size_t(sourceLength), put); }, target, targetSize);
}
