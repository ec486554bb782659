// XString: the printf-like formatter. The platform's wide printf works on wchar_t, which is not
// our unit here, so Format is the built-in formatter, which also covers %02d.
#include "foundation/text/xstring.h"

namespace {
// Widths and precisions beyond this come only from broken format strings.
constexpr int MaxWidth = 4096;

void Pad(XString& out, char16_t pad, int count) {
    for (int i = 0; i < count; ++i) out.AppendChar(pad);
}

XString LowerHex(XString digits) { return digits.ToLower(); }
}  // namespace

XString& XString::Format(const char16_t* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    FormatOwnV(format, arguments);
    va_end(arguments);
    return *this;
}

XString& XString::FormatV(const char16_t* format, va_list arguments) { return FormatOwnV(format, arguments); }

XString& XString::FormatOwn(const char16_t* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    FormatOwnV(format, arguments);
    va_end(arguments);
    return *this;
}

XString& XString::FormatOwnV(const char16_t* format, va_list arguments) {
    Clear();
    if (format == nullptr) return *this;
    const char16_t* p = format;
    while (*p != 0) {
        const char16_t* literal = p;
        while (*p != 0 && *p != u'%') ++p;
        AppendFast(literal, static_cast<int>(p - literal));
        if (*p == 0) break;
        ++p;  // the '%'
        bool plus = false;
        bool inPrecision = false;
        int precision = 6;
        int width = 0;
        char16_t pad = u' ';
        for (;;) {
            char16_t c = *p++;
            if (c == 0) {
                Clear();
                return *this;
            }
            if (c == u'+') {
                plus = true;
            } else if (c == u'.') {
                if (inPrecision) {
                    Clear();
                    return *this;
                }
                inPrecision = true;
                precision = 0;
            } else if (c >= u'0' && c <= u'9') {
                if (c == u'0' && !inPrecision && width == 0) {
                    pad = u'0';
                } else if (inPrecision) {
                    if (precision < MaxWidth) precision = precision * 10 + (c - u'0');
                } else if (width < MaxWidth) {
                    width = width * 10 + (c - u'0');
                }
            } else if (c == u'%') {
                AppendChar(u'%');
                break;
            } else if (c == u'c') {
                AppendChar(static_cast<char16_t>(va_arg(arguments, int)));
                break;
            } else if (c == u's') {
                AppendFast(va_arg(arguments, const char16_t*));
                break;
            } else if (c == u'd' || c == u'i') {
                int32_t value = va_arg(arguments, int32_t);
                char16_t sign = value < 0 ? u'-' : plus ? u'+' : 0;
                if (sign != 0 && width != 0) --width;
                uint32_t magnitude = value < 0 ? 0u - static_cast<uint32_t>(value) : static_cast<uint32_t>(value);
                XString digits = FormatUInt(magnitude);
                int fill = width - digits.Length();
                if (pad == u'0') {
                    AppendChar(sign);
                    Pad(*this, pad, fill);
                } else {
                    Pad(*this, pad, fill);
                    AppendChar(sign);
                }
                AppendFast(digits);
                break;
            } else if (c == u'u') {
                XString digits = FormatUInt(va_arg(arguments, uint32_t));
                Pad(*this, pad, width - digits.Length());
                AppendFast(digits);
                break;
            } else if (c == u'x' || c == u'X') {
                XString digits = FormatHexShort(va_arg(arguments, uint32_t));
                if (c == u'x') digits = LowerHex(std::move(digits));
                Pad(*this, pad, width - digits.Length());
                AppendFast(digits);
                break;
            } else if (c == u'f') {
                double value = va_arg(arguments, double);
                if (plus && value > 0) AppendChar(u'+');
                AppendFast(FormatDouble(value, precision, true));
                break;
            }
            // Anything else (length modifiers, flags we do not know) is skipped.
        }
    }
    return *this;
}
