#include "driver/progress.h"

namespace {
constexpr int ProgressStars = 60;
}  // namespace

void TvProgress::Position(int64_t positionMs, int64_t lengthMs) {
    const int64_t length = lengthMs == 0 ? 1 : lengthMs;
    int64_t percent = positionMs * 100 / length;
    if (percent > 100) percent = 100;
    if (commandFileMode) {
        if (percent > lastPercent) {
            lastPercent = percent;
            console.PrintLine(XString(u"MSGTO: vMX: PCDone: ") + XString::FormatInt(percent) + u" %", true);
        }
    } else if (!silent) {
        const int due = static_cast<int>(percent * ProgressStars / 100);
        while (stars < due) {
            console.PrintLine(u"*", false);
            ++stars;
        }
    }
}

void TvProgress::TellAction(const TvChar16* text, XString& last, const char16_t* prefix) {
    if (!commandFileMode || text == nullptr || text[0] == 0) return;
    if (XString::Equal(text, last.Text(), 0, false)) return;
    last = text;
    console.PrintLine(XString(prefix) + last, true);
}

void TvProgress::Count(uint64_t bytes) {
    if (counter.view == nullptr) return;
    uint8_t little[8];
    for (int i = 0; i < 8; ++i) little[i] = static_cast<uint8_t>(bytes >> (8 * i));
    counter.Write(little);
}
