// The user's locale through the C library, without touching the process's global locale: a
// locale object for "" is made current on this thread only while its values are read.
#include "foundation/platform/locale.h"

#include <langinfo.h>
#include <locale.h>
#include <climits>
#include <clocale>
#include <cstring>
#include <string>

namespace {

XString FromC(const char* text) { return XString(text != nullptr ? text : "", true); }

// C grouping bytes ("\3", "\3\2", ending in CHAR_MAX when the last size does not repeat) in
// the "3;2;0" form, where a closing 0 means the last size repeats.
XString GroupingText(const char* grouping) {
    XString text;
    if (grouping == nullptr || grouping[0] == 0) return text;
    bool repeats = true;
    for (const char* g = grouping; *g != 0; ++g) {
        if (*g == CHAR_MAX || *g <= 0) {
            repeats = false;
            break;
        }
        if (!text.IsEmpty()) text.AppendChar(u';');
        text.AppendFast(XString::FormatInt(*g));
    }
    if (repeats && !text.IsEmpty()) text.AppendFast(u";0");
    return text;
}

// The separator between hours and minutes in the time format, ":" when there is none.
XString TimeSeparator(const char* format) {
    if (format == nullptr) return XString();
    const char* h = strstr(format, "%H");
    if (h == nullptr) h = strstr(format, "%I");
    if (h == nullptr) return XString();
    const char* m = strstr(h + 2, "%M");
    if (m == nullptr || m == h + 2) return XString();
    std::string separator(h + 2, m);
    return FromC(separator.c_str());
}

}  // namespace

void XReadUserLocale(XUserLocaleValues& values) {
    values = XUserLocaleValues();
    locale_t user = newlocale(LC_NUMERIC_MASK | LC_MONETARY_MASK | LC_TIME_MASK, "", nullptr);
    if (user == nullptr) {
        // An unknown locale in the environment: the formatter's defaults stand.
        return;
    }
    locale_t previous = uselocale(user);
    const lconv* conventions = localeconv();
    values.decimal = FromC(conventions->decimal_point);
    values.thousand = FromC(conventions->thousands_sep);
    values.grouping = GroupingText(conventions->grouping);
    values.negativeSign = FromC(conventions->negative_sign);
    values.positiveSign = FromC(conventions->positive_sign);
    values.time = TimeSeparator(nl_langinfo(T_FMT));
    uselocale(previous);
    freelocale(user);
    // POSIX has no setting for these two: a leading zero, and the sign in front.
    values.leadingZero = u"1";
    values.negativeNumber = u"1";
}
