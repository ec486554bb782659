// Durations as words or as clock text.
#include "foundation/format/number_format.h"

namespace {

// "1 hour", "2 hours": the singular only for exactly 1.
void AppendCount(XString& text, uint64_t count, const char16_t* one, const char16_t* many) {
    text.AppendFast(XString::FormatUInt(count));
    text.AppendFast(count == 1 ? one : many);
}

void AppendPadded(XString& text, uint64_t value, int width) {
    XString digits = XString::FormatUInt(value);
    for (int i = digits.Length(); i < width; ++i) text.AppendChar(u'0');
    text.AppendFast(digits);
}

XString Words(uint64_t hours, uint64_t minutes, uint64_t seconds, uint64_t rest, int mode,
              const XLocaleFormat& record) {
    XString text;
    if (hours != 0) {
        AppendCount(text, hours, u" hour", u" hours");
        if (minutes != 0) {
            text.AppendChar(u' ');
            AppendCount(text, minutes, u" minute", u" minutes");
        }
    } else if (minutes != 0) {
        AppendCount(text, minutes, u" minute", u" minutes");
        if (seconds != 0) {
            text.AppendChar(u' ');
            AppendCount(text, seconds, u" second", u" seconds");
        }
    } else if (seconds != 0) {
        if (mode == XDuration::Words && rest != 0) {
            double value = static_cast<double>(seconds) + static_cast<double>(rest) / 1000.0;
            text = FormatGroupedDouble(value, 1, false, record);
            text.AppendFast(u" seconds");
        } else {
            AppendCount(text, seconds, u" second", u" seconds");
        }
    } else if (rest != 0) {
        if (mode == XDuration::Words)
            AppendCount(text, rest, u" mili-second", u" mili-seconds");
        else
            text = u"0";
    } else {
        text = u"0";
    }
    return text;
}

}  // namespace

XString XFormatDuration(uint64_t milliseconds, int mode, const XLocaleFormat& record) {
    uint64_t hours = milliseconds / 3600000;
    uint64_t minutes = milliseconds / 60000 % 60;
    uint64_t seconds = milliseconds / 1000 % 60;
    uint64_t rest = milliseconds % 1000;
    XString text;
    switch (mode) {
        case XDuration::Words:
        case XDuration::WholeWords:
            return Words(hours, minutes, seconds, rest, mode, record);
        case XDuration::Clock:
            if (hours != 0) {
                text.AppendFast(XString::FormatUInt(hours));
                text.AppendFast(record.time);
                AppendPadded(text, minutes, 2);
            } else {
                text.AppendFast(XString::FormatUInt(minutes));
            }
            text.AppendFast(record.time);
            AppendPadded(text, seconds, 2);
            return text;
        case XDuration::FullClock:
        case XDuration::FullClockMs:
            AppendPadded(text, hours, 2);
            text.AppendFast(record.time);
            AppendPadded(text, minutes, 2);
            text.AppendFast(record.time);
            AppendPadded(text, seconds, 2);
            if (mode == XDuration::FullClockMs) {
                text.AppendFast(record.decimal);
                AppendPadded(text, rest, 3);
            }
            return text;
        default:
            return text;
    }
}

XString XFormatDuration(uint64_t milliseconds, int mode) { return XFormatDuration(milliseconds, mode, XLocaleUser()); }
