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
    // Momentary mode only: the gating blocks are kept here, so libebur128 need not compute
    // each of them a second time for its own integrated loudness.
    state = ebur128_init(ch, r, EBUR128_MODE_M);
    if (!state) return false;
    // WAV order of 7.1: the side pair after the back pair; both pairs weigh as surround.
    if (ch == 8) {
        ebur128_set_channel(state, 6, EBUR128_LEFT_SURROUND);
        ebur128_set_channel(state, 7, EBUR128_RIGHT_SURROUND);
    }
    channels = ch;
    rate = r;
    framesPerStep = (r + 5) / 10;
    // A 100 ms window holds exactly one step where libebur128 counts both alike; at other rates
    // each block is read whole.
    stepsAreWindows = framesPerStep == static_cast<size_t>(r) * 100 / 1000;
    steps[0] = steps[1] = steps[2] = steps[3] = 0;
    framesIn = 0;
    blocks.clear();
    truePeak.Start(ch, r);
    return true;
}

void LoudnessMeter::Add(const double* s, size_t frames) {
    if (!state) return;
    truePeak.Add(s, frames);
    AddLoudness(s, frames);
}

void LoudnessMeter::AddPcm(const uint8_t* data, size_t frames, const Layout& layout) {
    if (!state) return;
    truePeak.AddPcm(data, frames, layout);
    samples.resize(frames * channels);
    ToDouble(data, samples.size(), layout, samples.data());
    AddLoudness(samples.data(), frames);
}

void LoudnessMeter::AddLoudness(const double* s, size_t frames) {
    // Fed up to each 100 ms step. There the energy of the last 100 ms is read, and a gating
    // block (400 ms, stepped by 100 ms, as libebur128 takes them) is the mean of the last four.
    while (frames) {
        const size_t toStep = framesPerStep - static_cast<size_t>(framesIn % framesPerStep);
        const size_t n = std::min(frames, toStep);
        ebur128_add_frames_double(state, s, n);
        s += n * channels;
        frames -= n;
        framesIn += n;
        if (framesIn % framesPerStep != 0) continue;
        const uint64_t step = framesIn / framesPerStep;
        double energy = 0;
        if (stepsAreWindows) {
            double lufs = 0;
            if (ebur128_loudness_window(state, 100, &lufs) == EBUR128_SUCCESS && std::isfinite(lufs))
                energy = EnergyOf(lufs);
            steps[step % 4] = energy;
            if (step >= 4) blocks.push_back((steps[0] + steps[1] + steps[2] + steps[3]) / 4);
        } else if (step >= 4) {
            double momentary = 0;
            if (ebur128_loudness_momentary(state, &momentary) == EBUR128_SUCCESS && std::isfinite(momentary))
                energy = EnergyOf(momentary);
            blocks.push_back(energy);
        }
    }
}

double LoudnessMeter::Loudness() const { return GatedLoudness({&blocks}); }

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
