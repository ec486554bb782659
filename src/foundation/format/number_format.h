#pragma once
// Numbers, byte counts and durations as the user reads them. Everything rests on one record of
// locale values: the user's, read once, or a fixed one for text not meant for the user's eyes
// (`neutral` set).
#include <cstdint>

#include "foundation/text/xstring.h"

struct XLocaleFormat {
    static constexpr int TextSize = 6;  // at most 5 characters used, NUL-ended

    int32_t leadingZero = 1;
    int32_t negativeForm = 1;
    int32_t indianGrouping = 0;
    char16_t negativeSign[TextSize] = u"-";
    char16_t positiveSign[TextSize] = u"";
    char16_t thousand[TextSize] = u",";
    char16_t decimal[TextSize] = u".";
    char16_t time[TextSize] = u":";
};

struct XUserLocaleValues;

// Fills a record from the eight locale values, with the defaults for empty ones and each
// text cut to 5 characters.
void XLocaleFill(XLocaleFormat& record, const XUserLocaleValues& values);
// Fills a record from the user's locale.
void XLocaleRead(XLocaleFormat& record);
// The user's record and the fixed one; each built on first use, safely across threads.
const XLocaleFormat& XLocaleUser();
const XLocaleFormat& XLocaleNeutral();
inline const XLocaleFormat& XLocaleFor(bool neutral) { return neutral ? XLocaleNeutral() : XLocaleUser(); }

// Applies the record to a decimal text with '.' and '-': groups, decimal point and sign form.
void XGroupDigits(XString& text, const XLocaleFormat& record);
inline void XGroupDigits(XString& text, bool neutral) { XGroupDigits(text, XLocaleFor(neutral)); }

XString FormatGroupedInt(int64_t value, bool neutral);
XString FormatGroupedUInt(uint64_t value, bool neutral);
XString FormatGroupedDouble(double value, int decimals, bool keepZeros, bool neutral);
XString FormatGroupedInt(int64_t value, const XLocaleFormat& record);
XString FormatGroupedDouble(double value, int decimals, bool keepZeros, const XLocaleFormat& record);

// "1.5 MB", "2 KB", "1 byte"; kilobytes round up.
XString XFormatSize(uint64_t bytes, bool kilobytesOnly, bool neutral);
XString XFormatSize(uint64_t bytes, bool kilobytesOnly, const XLocaleFormat& record);

// Duration modes.
namespace XDuration {
constexpr int Words = 0;        // "1.5 seconds", "1 mili-second"
constexpr int Clock = 1;        // "1:02:05", "2:05"
constexpr int FullClock = 2;    // "01:02:05"
constexpr int FullClockMs = 3;  // "01:02:05.042"
constexpr int WholeWords = 4;   // words without fractions
}  // namespace XDuration

// The user's record supplies the separators.
XString XFormatDuration(uint64_t milliseconds, int mode);
XString XFormatDuration(uint64_t milliseconds, int mode, const XLocaleFormat& record);
