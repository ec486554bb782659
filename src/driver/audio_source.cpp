// What the kinds of source share: the idle waits and the filling of a PCM block.
#include "driver/audio_source.h"
#include "foundation/platform/clock.h"
#include "plugins/records.h"

namespace {
constexpr int32_t IdleTable[5] = {-1, 0, 25, 25, 50};
constexpr int IdleMax = 4;
}  // namespace

void TvIdleWait::AfterEmptyRead() {
    if (index < IdleMax) ++index;
    const int32_t wait = IdleTable[index];
    if (wait >= 0) XSleep(static_cast<uint32_t>(wait));
}

void TvFillBlock(AudioBlockRecord& block, const XWaveFormat& format, void* data, uint32_t size, uint64_t encodedBytes) {
    StoreWaveFormat(block.Format, format);
    block.BitsPerSecond = format.Average() * 8;
    block.BlockLengthMs = static_cast<int64_t>(format.BytesToMilliseconds(size));
    block.Size = size;
    block.Data = data;
    block.PositionMs = static_cast<int64_t>(format.BytesToMilliseconds(encodedBytes));
}
