// The effects' settings words and the ReplayGain track records of a batch folder, on arbitrary
// bytes: never a read outside the input, and every value read back within its bounds.
#include <cstddef>
#include <cstdint>
#include <string>

#include "../../effects/replaygain/album_store.cpp"
#include "settings.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::u16string text;
    for (size_t i = 0; i + 1 < size; i += 2) text += static_cast<char16_t>(data[i] | data[i + 1] << 8);
    tvfx::Settings s(u"Fuzz", text, {u"gain", u"rate", u"bits"});
    const double gain = s.Decimal(u"gain", 0, -100, 60, u"x");
    const long rate = s.Whole(u"rate", 44100, 1000, 768000, u"x");
    const size_t bits = s.Choice(u"bits", 1, {u"8", u"16", u"24"});
    if (gain < -100 || gain > 60 || rate < 1000 || rate > 768000 || bits > 2) __builtin_trap();

    tvfx::TrackRecord record;
    if (tvfx::ParseTrackRecord(std::string(reinterpret_cast<const char*>(data), size), record)) {
        for (double e : record.blocks)
            if (!(e >= 0)) __builtin_trap();
        tvfx::TrackRecord again;
        if (!tvfx::ParseTrackRecord(tvfx::FormatTrackRecord(record), again) ||
            again.blocks.size() != record.blocks.size())
            __builtin_trap();
    }
    return 0;
}
