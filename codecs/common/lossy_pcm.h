#pragma once
// What the MP3, Vorbis and Opus plug-ins share: reading the host's PCM of any layout as float,
// the 16-bit format records the decoders hand out, the Vorbis channel order (Opus uses it
// too), and the encoder command-line words.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "tonvale/plugin.h"
#include "tvkit/pcm.h"

namespace lossy {

constexpr unsigned kMaxChannels = 8;

// The sample layout of a host format record, its description and its conversion to float:
// the kit's.
using Layout = tvkit::PcmLayout;
inline bool ReadLayout(const TvWaveFormatExtensible& f, Layout& out) { return tvkit::ReadPcmLayout(f, out); }
inline std::u16string Describe(const TvWaveFormatExtensible& f) { return tvkit::DescribePcm(f); }
bool SameShape(const TvWaveFormatExtensible& a, const TvWaveFormatExtensible& b);

// Interleaved samples to interleaved float, full scale at +-1.
inline void ToFloat(const uint8_t* data, size_t samples, const Layout& layout, float* out) {
    tvkit::PcmToFloat(data, samples, layout, out);
}

// The record of 16-bit PCM: plain up to stereo, extensible with the usual speaker mask above.
TvWaveFormatExtensible MakePcm16(unsigned channels, unsigned rate);
// The record of 32-bit float, full scale at +-1, extensible with the usual speaker mask; what
// the lossy decoders give on "Decode As" = "Highest Quality".
TvWaveFormatExtensible MakeFloat32(unsigned channels, unsigned rate);

// For channel c of a WAV-ordered frame, the index of the same speaker in Vorbis order.
// channels in 1..8.
unsigned VorbisIndexOfWave(unsigned channels, unsigned c);

// Float samples in Vorbis channel order to interleaved little-endian 16-bit PCM in WAV order,
// rounded and clipped: planes[c][i] (vorbisfile) or interleaved (opusfile).
void VorbisPlanarToPcm16(const float* const* planes, unsigned channels, size_t frames, uint8_t* out);
void VorbisInterleavedToPcm16(const float* in, unsigned channels, size_t frames, uint8_t* out);
// The same as interleaved 32-bit float in WAV order, unrounded and unclipped.
void VorbisPlanarToFloat(const float* const* planes, unsigned channels, size_t frames, uint8_t* out);
void VorbisInterleavedToFloat(const float* in, unsigned channels, size_t frames, uint8_t* out);

// "1:23.456" for a count of frames at a rate.
std::u16string TimeText(uint64_t frames, unsigned rate);

// One word of an encoder command line: "-V 2", "-V2", -V="2", --abr=192 and -abr="192" all
// give a name ("-V", "--abr") and a value. Names in takesValue take the next word when none is
// attached; single-letter names take a number glued to them. Long names get two dashes.
struct Option {
    std::u16string name;
    std::u16string value;
};
std::vector<Option> SplitOptions(std::u16string_view line, const std::vector<std::u16string_view>& takesValue);

// A whole number in [lo, hi], or false.
bool ParseNumber(std::u16string_view text, long lo, long hi, long& out);
// A decimal number such as "5" or "-1.5" in [lo, hi], or false.
bool ParseDecimal(std::u16string_view text, double lo, double hi, double& out);

}  // namespace lossy
