// XString: numbers to text and text to numbers.
#include <cmath>
#include <cstring>
#include <new>

#include "foundation/text/xstring.h"

namespace {

const char16_t HexDigits[] = u"0123456789ABCDEF";

// Longest fraction FormatDouble prints: 10^18 and its doubled form still fit in 64 bits.
constexpr int MaxDecimals = 18;

int HexValue(char16_t c) {
    if (c >= u'0' && c <= u'9') return c - u'0';
    if (c >= u'A' && c <= u'F') return c - u'A' + 10;
    if (c >= u'a' && c <= u'f') return c - u'a' + 10;
    return -1;
}

// Writes value in decimal at the end of buf (size 24); returns the first digit.
char16_t* UnsignedDigits(uint64_t value, char16_t* end) {
    *end = 0;
    char16_t* p = end;
    do {
        *--p = static_cast<char16_t>(u'0' + value % 10);
        value /= 10;
    } while (value != 0);
    return p;
}

uint64_t Pow10(int n) {
    uint64_t v = 1;
    while (n-- > 0) v *= 10;
    return v;
}

// Powers of ten by plain multiplication: exact up to 10^22 and the same with every C library,
// whereas pow and log10 differ between libraries by a few units in the last place.
double TenToThe(int n) {
    double v = 1;
    while (n-- > 0) v *= 10;
    return v;
}

}  // namespace

XString XString::FormatInt(int64_t value) {
    if (value == INT64_MIN) return XString(u"-9223372036854775808");
    char16_t buf[24];
    uint64_t magnitude = value < 0 ? static_cast<uint64_t>(-value) : static_cast<uint64_t>(value);
    char16_t* p = UnsignedDigits(magnitude, buf + 23);
    if (value < 0) *--p = u'-';
    return XString(p);
}

XString XString::FormatUInt(uint64_t value) {
    char16_t buf[24];
    return XString(UnsignedDigits(value, buf + 23));
}

XString XString::FormatHex(uint64_t value, int digits) {
    XString result;
    if (digits < 1) return result;
    result.SetLength(digits, u'0', true);
    for (int i = digits - 1, shift = 0; i >= 0 && shift < 64; --i, shift += 4)
        result.text[i] = HexDigits[(value >> shift) & 0xF];
    return result;
}

XString XString::FormatHex32(uint32_t value) { return FormatHex(value, 8); }

XString XString::FormatHexBytes(const void* bytes, size_t count) {
    XString result;
    if (bytes == nullptr || count == 0) return result;
    if (count >= 0x3FFFFFF0) throw std::bad_alloc();
    const auto* b = static_cast<const uint8_t*>(bytes);
    result.SetLength(static_cast<int>(count * 2), u'0', true);
    for (size_t i = 0; i < count; ++i) {
        result.text[2 * i] = HexDigits[b[i] >> 4];
        result.text[2 * i + 1] = HexDigits[b[i] & 0xF];
    }
    return result;
}

XString XString::FormatHexShort(uint64_t value) {
    XString result = FormatHex(value, 16);
    int zeros = 0;
    while (zeros < 15 && result.text[zeros] == u'0') ++zeros;
    if (zeros > 0) result.RemoveRange(1, zeros);
    return result;
}

XString XString::FormatDouble(double value, int decimals, bool keepZeros) {
    if (std::isnan(value)) return XString(u"NAN");
    if (decimals > MaxDecimals) decimals = MaxDecimals;
    XString result;
    if (value < 0) {
        result.AppendChar(u'-');
        value = -value;
    }
    value += decimals < 0 ? 0.5 * TenToThe(-decimals) : 0.5 / TenToThe(decimals);
    double part = std::floor(value);
    double fraction = value - part;
    if (part >= 1e100) return XString(u"NaN");
    if (part > 0) {
        int e = 0;
        for (double next = 10; part >= next; next *= 10) ++e;
        if (e > 16) {
            double scaled = part / TenToThe(e - 16);
            result.AppendFast(FormatUInt(static_cast<uint64_t>(scaled)));
            for (int i = 0; i < e - 16; ++i) result.AppendChar(u'0');
        } else {
            result.AppendFast(FormatUInt(static_cast<uint64_t>(part)));
        }
    } else {
        result.AppendChar(u'0');
    }
    if (decimals > 0) {
        uint64_t unit = Pow10(decimals);
        double scaledFraction = std::floor(static_cast<double>(unit) * fraction);
        if (scaledFraction < 0) scaledFraction = 0;
        if (scaledFraction >= static_cast<double>(unit)) scaledFraction = static_cast<double>(unit - 1);
        // The leading 1 keeps the fraction's leading zeros; it becomes the point.
        uint64_t n = static_cast<uint64_t>(scaledFraction) + unit;
        if (!keepZeros)
            while (n % 10 == 0) n /= 10;
        XString digits = FormatUInt(n);
        if (digits.Length() > 1) {
            digits.text[0] = u'.';
            result.AppendFast(digits);
        }
    }
    return result;
}

int64_t XString::ToInt() const {
    const char16_t* p = text;
    while (*p == u' ') ++p;
    bool negative = false;
    if (*p == u'-') {
        negative = true;
        ++p;
    } else if (*p == u'+') {
        ++p;
    }
    uint64_t value = 0;
    // Wraps modulo 2^64 on purpose: no overflow test.
    for (; *p >= u'0' && *p <= u'9'; ++p) value = value * 10 + static_cast<uint64_t>(*p - u'0');
    return static_cast<int64_t>(negative ? 0 - value : value);
}

uint64_t XString::ToUInt() const {
    const char16_t* p = text;
    while (*p == u' ') ++p;
    if (*p == u'-') return 0;
    if (*p == u'+') ++p;
    uint64_t value = 0;
    for (; *p >= u'0' && *p <= u'9'; ++p) value = value * 10 + static_cast<uint64_t>(*p - u'0');
    return value;
}

bool XString::ToBool() const {
    if (static_cast<uint32_t>(static_cast<uint64_t>(ToInt())) != 0) return true;
    return Equal(text, u"tRue", 0, true);
}

uint64_t XString::ToHexValue() const {
    uint64_t value = 0;
    for (const char16_t* p = text; HexValue(*p) >= 0; ++p) value = (value << 4) | static_cast<uint64_t>(HexValue(*p));
    return value;
}

double XString::ToDouble() const {
    const char16_t* p = text;
    while (*p == u' ') ++p;
    const char16_t* end = p;
    while (*end != 0 && *end != u' ') ++end;
    if (p < end && *p == u'+') ++p;
    bool negative = false;
    if (p < end && *p == u'-') {
        negative = true;
        ++p;
    }
    double whole = 0;
    const char16_t* q = p;
    for (; q < end && *q >= u'0' && *q <= u'9'; ++q) whole = whole * 10 + (*q - u'0');
    if (q == end || *q != u'.') return negative ? -whole : whole;
    // The fraction is read from the right, stopping at the first non-digit from that side.
    double fraction = 0;
    for (const char16_t* r = end - 1; r > q; --r) {
        if (*r < u'0' || *r > u'9') break;
        fraction = ((*r - u'0') + fraction) / 10;
    }
    double result = whole + fraction;
    return negative ? -result : result;
}

double XString::ToDoubleExp() const {
    int at = FindChar(u'e');
    if (at == 0) at = FindChar(u'E');
    if (at == 0) return ToDouble();
    double mantissa = Left(at - 1).ToDouble();
    double exponent = From(at + 1).ToDouble();
    if (exponent == std::floor(exponent) && std::fabs(exponent) <= 400) {
        double scale = TenToThe(static_cast<int>(std::fabs(exponent)));
        return exponent < 0 ? mantissa / scale : mantissa * scale;
    }
    return mantissa * std::pow(10.0, exponent);
}

bool XString::IsNaNText() const { return Equal(text, u"NAN", 0, true); }

bool XString::ParseHexBytes(uint8_t* output, size_t count) const {
    if (static_cast<size_t>((used - 1) / 2) != count) return false;
    for (size_t i = 0; i < count; ++i) {
        // As ToHexValue of the pair: digits up to the first other character.
        int high = HexValue(text[2 * i]);
        int low = high < 0 ? -1 : HexValue(text[2 * i + 1]);
        output[i] = static_cast<uint8_t>(high < 0 ? 0 : low < 0 ? high : high * 16 + low);
    }
    return true;
}
