#pragma once
// The sample layouts an effect meets (integer PCM of 8, 16, 24, 32 bits, float of 32 and 64
// bits, plain or extensible records) and their trip to and from double, full scale at +-1.
#include <cstddef>
#include <cstdint>
#include <string>

#include "tonvale/plugin.h"

namespace tvfx {

class Dither;

struct Layout {
    bool isFloat = false;
    unsigned bits = 0;  // container bits of one sample
    unsigned channels = 0;
    unsigned rate = 0;
    size_t frameBytes = 0;
};

// False for any other format, or an inconsistent record.
bool ReadLayout(const TvWaveFormatExtensible& format, Layout& out);
// "16-bit PCM, 2 channels, 44100 Hz", for error lines.
std::u16string Describe(const TvWaveFormatExtensible& format);

// A consistent record: plain for integer PCM up to 16 bits and 2 channels, extensible otherwise,
// with the usual speaker mask for the count (or mask when it is nonzero).
TvWaveFormatExtensible MakeFormat(const Layout& layout, uint32_t mask = 0);
uint32_t SpeakerMask(const TvWaveFormatExtensible& format);
uint32_t DefaultSpeakerMask(unsigned channels);

// Interleaved samples to double and back. FromDouble rounds to the nearest step and clips to
// the range of integer formats; with dither, TPDF noise of one step is added first.
void ToDouble(const uint8_t* in, size_t samples, const Layout& layout, double* out);
void FromDouble(const double* in, size_t samples, const Layout& layout, uint8_t* out, Dither* dither = nullptr);

}  // namespace tvfx
