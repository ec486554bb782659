// The user's number and time settings, straight from the locale the user chose.
#include "foundation/platform/locale.h"

#include <windows.h>

#include "foundation/platform/win32/win32_util.h"

namespace {

XString Value(LCTYPE type) {
    wchar_t buffer[96] = {};
    const int length = GetLocaleInfoEx(LOCALE_NAME_USER_DEFAULT, type, buffer, 96);
    return length > 1 ? XFromWide(buffer, length - 1) : XString();
}

}  // namespace

void XReadUserLocale(XUserLocaleValues& values) {
    values = XUserLocaleValues();
    values.leadingZero = Value(LOCALE_ILZERO);
    values.negativeNumber = Value(LOCALE_INEGNUMBER);
    values.grouping = Value(LOCALE_SGROUPING);
    values.negativeSign = Value(LOCALE_SNEGATIVESIGN);
    values.positiveSign = Value(LOCALE_SPOSITIVESIGN);
    values.thousand = Value(LOCALE_STHOUSAND);
    values.decimal = Value(LOCALE_SDECIMAL);
    values.time = Value(LOCALE_STIME);
}
