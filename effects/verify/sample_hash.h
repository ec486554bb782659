#pragma once
// A running hash of audio samples that doesn't depend on how they are packed: integer samples
// count by their value left-justified to 32 bits (so 24 bits in 3 or 4 bytes hash alike),
// float samples by their bits.
#include <cstddef>
#include <cstdint>

#include "pcm.h"

namespace tvfx {

class SampleHash {
public:
    void Add(const uint8_t* data, size_t frames, const Layout& layout);
    uint64_t Value() const { return h; }
    uint64_t Frames() const { return frames; }

private:
    uint64_t h = 1469598103934665603ULL;
    uint64_t frames = 0;
};

}  // namespace tvfx
