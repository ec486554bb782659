#pragma once
// The sample layouts an effect meets, through the kit's PCM conversions, and what the effects
// add to them: format records, speaker masks, dither, and gain and peak straight on raw PCM.
#include <cstddef>
#include <cstdint>
#include <string>

#include "tonvale/plugin.h"
#include "tvkit/pcm.h"

namespace tvfx {

class Dither;

using Layout = tvkit::PcmLayout;

inline bool ReadLayout(const TvWaveFormatExtensible& format, Layout& out) { return tvkit::ReadPcmLayout(format, out); }
inline std::u16string Describe(const TvWaveFormatExtensible& format) { return tvkit::DescribePcm(format); }

// A consistent record: plain for integer PCM up to 16 bits and 2 channels, extensible otherwise,
// with the usual speaker mask for the count (or mask when it is nonzero).
TvWaveFormatExtensible MakeFormat(const Layout& layout, uint32_t mask = 0);
uint32_t SpeakerMask(const TvWaveFormatExtensible& format);
uint32_t DefaultSpeakerMask(unsigned channels);

// Interleaved samples to double and back. FromDouble rounds to the nearest step and clips to
// the range of integer formats; with dither, TPDF noise of one step is added first.
inline void ToDouble(const uint8_t* in, size_t samples, const Layout& layout, double* out) {
    tvkit::PcmToDouble(in, samples, layout, out);
}
void FromDouble(const double* in, size_t samples, const Layout& layout, uint8_t* out, Dither* dither = nullptr);

// Multiplies every sample by gain, exactly as ToDouble, a multiplication and FromDouble would;
// in may be out.
void ScalePcm(const uint8_t* in, size_t samples, const Layout& layout, double gain, uint8_t* out);
// The largest absolute sample, full scale at 1; NaN samples count as silence.
double PeakOfPcm(const uint8_t* in, size_t samples, const Layout& layout);

}  // namespace tvfx
