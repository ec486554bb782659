#pragma once
// The sample layouts a plug-in meets in a host format record (integer PCM of 8, 16, 24, 32
// bits, float of 32 and 64 bits, plain or extensible records) and their trip to and from
// float or double, full scale at +-1. The loops are written for the vectoriser: no calls and
// no divisions per sample.
#include <cstddef>
#include <cstdint>
#include <string>

#include "tonvale/plugin.h"

namespace tvkit {

struct PcmLayout {
    bool isFloat = false;
    unsigned bits = 0;  // container bits of one sample
    unsigned channels = 0;
    unsigned rate = 0;
    size_t frameBytes = 0;
};

// False for any other format, or an inconsistent record.
bool ReadPcmLayout(const TvWaveFormatExtensible& format, PcmLayout& out);
// "16-bit PCM, 2 channels, 44100 Hz", for error lines.
std::u16string DescribePcm(const TvWaveFormatExtensible& format);

// Interleaved samples of a layout to float or double.
void PcmToFloat(const uint8_t* in, size_t samples, const PcmLayout& layout, float* out);
void PcmToDouble(const uint8_t* in, size_t samples, const PcmLayout& layout, double* out);
// Double to samples of a layout: integers are rounded to the nearest step (ties to even) and
// clipped to their range; NaN becomes the lowest value. steps, when given, is added to each
// scaled sample before rounding (dither noise, in steps of the depth).
void DoubleToPcm(const double* in, size_t samples, const PcmLayout& layout, uint8_t* out,
                 const double* steps = nullptr);

}  // namespace tvkit
