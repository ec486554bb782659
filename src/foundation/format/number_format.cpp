// Grouped numbers and byte sizes.
#include "foundation/format/number_format.h"

void XGroupDigits(XString& text, const XLocaleFormat& record) {
    int point = text.FindChar(u'.');
    int integerEnd = point != 0 ? point - 1 : text.Length();
    // Built backwards from the end of the integer part, then turned round.
    XString reversed;
    int thousandLength = 0;
    while (record.thousand[thousandLength] != 0) ++thousandLength;
    int group = 3;
    int inGroup = 0;
    for (int i = integerEnd; i >= 1; --i) {
        reversed.AppendChar(text.GetAt(i));
        if (++inGroup == group && i > 1 && text.GetAt(i - 1) != u'-') {
            for (int k = thousandLength - 1; k >= 0; --k) reversed.AppendChar(record.thousand[k]);
            inGroup = 0;
            if (record.indianGrouping) group = 2;
        }
    }
    XString result;
    result.Reserve(text.Length() + reversed.Length() + 16, 0);
    for (int i = reversed.Length(); i >= 1; --i) result.AppendChar(reversed.GetAt(i));
    if (point != 0) {
        result.AppendFast(record.decimal);
        result.AppendFast(text.From(point + 1));
    }
    if (result.IsEmpty()) {
        text = std::move(result);
        return;
    }
    if (result.GetAt(1) != u'-') {
        result.InsertString(record.positiveSign, 1);
        text = std::move(result);
        return;
    }
    result.RemoveAt(1);
    XString signedText;
    switch (record.negativeForm) {
        case 0:
            signedText.AppendChar(u'(');
            signedText.AppendFast(result);
            signedText.AppendChar(u')');
            break;
        case 2:
            signedText.AppendFast(record.negativeSign);
            signedText.AppendChar(u' ');
            signedText.AppendFast(result);
            break;
        case 3:
            signedText.AppendFast(result);
            signedText.AppendFast(record.negativeSign);
            break;
        case 4:
            signedText.AppendFast(result);
            signedText.AppendChar(u' ');
            signedText.AppendFast(record.negativeSign);
            break;
        default:
            signedText.AppendFast(record.negativeSign);
            signedText.AppendFast(result);
            break;
    }
    text = std::move(signedText);
}

XString FormatGroupedInt(int64_t value, const XLocaleFormat& record) {
    XString text = XString::FormatInt(value);
    XGroupDigits(text, record);
    return text;
}

XString FormatGroupedInt(int64_t value, bool neutral) { return FormatGroupedInt(value, XLocaleFor(neutral)); }

XString FormatGroupedUInt(uint64_t value, bool neutral) {
    XString text = XString::FormatUInt(value);
    XGroupDigits(text, neutral);
    return text;
}

XString FormatGroupedDouble(double value, int decimals, bool keepZeros, const XLocaleFormat& record) {
    XString text = XString::FormatDouble(value, decimals, keepZeros);
    XGroupDigits(text, record);
    return text;
}

XString FormatGroupedDouble(double value, int decimals, bool keepZeros, bool neutral) {
    return FormatGroupedDouble(value, decimals, keepZeros, XLocaleFor(neutral));
}

XString XFormatSize(uint64_t bytes, bool kilobytesOnly, const XLocaleFormat& record) {
    struct Unit {
        double size;
        const char16_t* name;
    };
    static const Unit Units[] = {{1099511627776.0, u" TB"}, {1073741824.0, u" GB"}, {1048576.0, u" MB"}};
    XString text;
    if (!kilobytesOnly)
        for (const Unit& unit : Units) {
            double value = static_cast<double>(bytes) / unit.size;
            if (static_cast<uint64_t>(value) != 0) {
                text = FormatGroupedDouble(value, 2, false, record);
                text.AppendFast(unit.name);
                return text;
            }
        }
    double kilobytes = static_cast<double>(bytes) / 1024.0;
    if (kilobytesOnly || static_cast<uint64_t>(kilobytes) != 0) {
        // Rounded up, so a part of a kilobyte never reads as less than it is.
        text = FormatGroupedInt(static_cast<int64_t>(kilobytes + 0.99), record);
        text.AppendFast(u" KB");
        return text;
    }
    text = XString::FormatUInt(bytes);
    text.AppendFast(bytes == 1 ? u" byte" : u" bytes");
    return text;
}

XString XFormatSize(uint64_t bytes, bool kilobytesOnly, bool neutral) {
    return XFormatSize(bytes, kilobytesOnly, XLocaleFor(neutral));
}
