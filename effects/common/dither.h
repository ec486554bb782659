#pragma once
// TPDF dither: the sum of two independent uniform values, one step wide each, so the noise
// spans +-1 step of the target depth. A small fixed-seed generator keeps runs reproducible.
#include <cstdint>

namespace tvfx {

class Dither {
public:
    // In steps of the target depth.
    double Next() { return Uniform() + Uniform() - 1.0; }

private:
    double Uniform() {
        // xorshift64*: fast and good enough for noise that is never heard on its own.
        state ^= state >> 12;
        state ^= state << 25;
        state ^= state >> 27;
        return static_cast<double>((state * 0x2545F4914F6CDD1DULL) >> 11) * (1.0 / 9007199254740992.0);
    }
    uint64_t state = 0x9E3779B97F4A7C15ULL;
};

}  // namespace tvfx
