#pragma once
// The ReplayGain 2.0 figures of a finished file, written into its tags with the tag kit: the
// four "replaygain_*" fields, or for Opus the R128 gains that format defines (relative to
// -23 LUFS, in 1/256 dB) instead.
#include <optional>
#include <string>
#include <string_view>

namespace tvfx {

constexpr double ReplayGainReference = -18.0;  // LUFS
constexpr double OpusReference = -23.0;        // LUFS

struct GainFigures {
    double loudness = 0;  // LUFS
    double peak = 0;      // linear true peak
};

// "-6.54 dB" and "0.988831".
std::u16string GainText(double loudness);
std::u16string PeakText(double peak);
// The Q7.8 number of an R128 gain tag, clamped to its range.
int R128Gain(double loudness);

// Replaces the track or album fields of the file's tags, keeping every other tag and picture.
// False with a reason in error.
bool WriteGainTags(std::u16string_view path, const std::optional<GainFigures>& track,
                   const std::optional<GainFigures>& album, std::u16string& error);

}  // namespace tvfx
