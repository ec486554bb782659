#pragma once
// The user's number and time settings, as the eight values the formatter reads. Empty where
// the system has nothing to say; the reader of the values supplies the defaults.
#include "foundation/text/xstring.h"

struct XUserLocaleValues {
    XString leadingZero;     // "0" or "1"
    XString negativeNumber;  // where the minus sign goes, "0" to "4"
    XString grouping;        // group sizes, e.g. "3;0" or "3;2;0"
    XString negativeSign;
    XString positiveSign;
    XString thousand;
    XString decimal;
    XString time;
};

// Reads the values of the user's locale (from the environment, as the C library does).
void XReadUserLocale(XUserLocaleValues& values);
