// The two locale records.
#include "foundation/format/number_format.h"
#include "foundation/platform/locale.h"

namespace {
// Copies at most 5 characters; an empty value takes the fallback.
void SetText(char16_t (&field)[XLocaleFormat::TextSize], const XString& value, const char16_t* fallback) {
    const char16_t* source = value.IsEmpty() ? fallback : value.Text();
    int i = 0;
    for (; i < XLocaleFormat::TextSize - 1 && source[i] != 0; ++i) field[i] = source[i];
    field[i] = 0;
}
}  // namespace

void XLocaleFill(XLocaleFormat& record, const XUserLocaleValues& values) {
    record.leadingZero = values.leadingZero.GetAt(1) == u'0' ? 0 : 1;
    record.negativeForm = values.negativeNumber.IsEmpty() ? 1 : static_cast<int32_t>(values.negativeNumber.ToInt());
    record.indianGrouping = values.grouping == u"3;2;0" ? 1 : 0;
    SetText(record.negativeSign, values.negativeSign, u"-");
    SetText(record.positiveSign, values.positiveSign, u"");
    SetText(record.thousand, values.thousand, u"");
    SetText(record.decimal, values.decimal, u".");
    SetText(record.time, values.time, u":");
}

void XLocaleRead(XLocaleFormat& record) {
    XUserLocaleValues values;
    XReadUserLocale(values);
    XLocaleFill(record, values);
}

const XLocaleFormat& XLocaleUser() {
    static const XLocaleFormat user = [] {
        XLocaleFormat record;
        XLocaleRead(record);
        return record;
    }();
    return user;
}

const XLocaleFormat& XLocaleNeutral() {
    static const XLocaleFormat neutral;  // the defaults of the record are the fixed values
    return neutral;
}
