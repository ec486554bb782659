#include "loudness_meter.h"

#include <ebur128.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace tvfx {

namespace {
constexpr double AbsoluteGateLufs = -70.0;
constexpr double RelativeGateLu = -10.0;
constexpr double Offset = -0.691;  // BS.1770's K-weighting offset

double EnergyOf(double lufs) { return std::pow(10.0, (lufs - Offset) / 10.0); }
double LufsOf(double energy) {
    return energy > 0 ? Offset + 10.0 * std::log10(energy) : -std::numeric_limits<double>::infinity();
}
}  // namespace

LoudnessMeter::~LoudnessMeter() {
    if (state) ebur128_destroy(&state);
}

bool LoudnessMeter::Start(unsigned ch, unsigned r) {
    if (state) ebur128_destroy(&state);
    state = ebur128_init(ch, r, EBUR128_MODE_I);
    if (!state) return false;
    // WAV order of 7.1: the side pair after the back pair; both pairs weigh as surround.
    if (ch == 8) {
        ebur128_set_channel(state, 6, EBUR128_LEFT_SURROUND);
        ebur128_set_channel(state, 7, EBUR128_RIGHT_SURROUND);
    }
    channels = ch;
    rate = r;
    framesPerStep = (r + 5) / 10;
    framesIn = 0;
    blocks.clear();
    truePeak.Start(ch, r);
    return true;
}

void LoudnessMeter::Add(const double* s, size_t frames) {
    if (!state) return;
    truePeak.Add(s, frames);
    // Fed up to each 100 ms step, so that the momentary loudness read there is exactly the
    // gating block that libebur128 has just taken.
    while (frames) {
        const size_t toStep = framesPerStep - static_cast<size_t>(framesIn % framesPerStep);
        const size_t n = std::min(frames, toStep);
        ebur128_add_frames_double(state, s, n);
        s += n * channels;
        frames -= n;
        framesIn += n;
        if (framesIn % framesPerStep == 0 && framesIn >= 4 * uint64_t(framesPerStep)) {
            double momentary = 0;
            if (ebur128_loudness_momentary(state, &momentary) == EBUR128_SUCCESS && std::isfinite(momentary))
                blocks.push_back(EnergyOf(momentary));
            else
                blocks.push_back(0.0);
        }
    }
}

double LoudnessMeter::Loudness() const {
    double out = -std::numeric_limits<double>::infinity();
    if (state && ebur128_loudness_global(state, &out) != EBUR128_SUCCESS) out = -std::numeric_limits<double>::infinity();
    return out;
}

double LoudnessMeter::TruePeak() const { return truePeak.Peak(); }

double GatedLoudness(const std::vector<const std::vector<double>*>& tracks) {
    const double absolute = EnergyOf(AbsoluteGateLufs);
    double sum = 0;
    size_t count = 0;
    for (const auto* t : tracks)
        for (double e : *t)
            if (e >= absolute) {
                sum += e;
                ++count;
            }
    if (count == 0) return -std::numeric_limits<double>::infinity();
    const double relative = sum / double(count) * std::pow(10.0, RelativeGateLu / 10.0);
    double gated = 0;
    size_t gatedCount = 0;
    for (const auto* t : tracks)
        for (double e : *t)
            if (e >= absolute && e >= relative) {
                gated += e;
                ++gatedCount;
            }
    return gatedCount ? LufsOf(gated / double(gatedCount)) : -std::numeric_limits<double>::infinity();
}

}  // namespace tvfx
