#include "driver/audio_source.h"
#include "foundation/platform/clock.h"

namespace {
constexpr int32_t IdleTable[5] = {-1, 0, 25, 25, 50};
constexpr int IdleMax = 4;
}  // namespace

void TvIdleWait::AfterEmptyRead() {
    if (index < IdleMax) ++index;
    const int32_t wait = IdleTable[index];
    if (wait >= 0) XSleep(static_cast<uint32_t>(wait));
}
