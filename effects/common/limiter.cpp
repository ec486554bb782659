#include "limiter.h"

#include <algorithm>
#include <cmath>

namespace tvfx {

void Limiter::Start(unsigned ch, unsigned rate, double ceil, double look, double release) {
    channels = ch;
    lookAhead = std::max<size_t>(1, static_cast<size_t>(look * rate));
    ceiling = ceil;
    releaseCoeff = 1.0 - std::exp(-1.0 / (release * rate));
    pushed = real = 0;
    // Frames m - 1 .. i may all be held for a moment, before m - 1 leaves.
    minFrame.assign(lookAhead + 2, 0);
    minNeed.assign(lookAhead + 2, 0.0);
    minHead = minCount = 0;
    delayed.assign((lookAhead + 1) * ch, 0.0);
    delayedAt = 0;
    released.assign(lookAhead, 1.0);
    releasedAt = 0;
    releasedSum = double(lookAhead);
    last = 1;
}

// Frame i comes in; frame i - lookAhead, whose window of need is now complete, goes out.
void Limiter::Push(const double* frame, std::vector<double>& out) {
    const unsigned long long i = pushed++;
    double peak = 0;
    for (unsigned c = 0; c < channels; ++c) peak = std::max(peak, std::fabs(frame[c]));
    const double need = peak > ceiling ? ceiling / peak : 1.0;
    std::copy(frame, frame + channels, &delayed[delayedAt * channels]);
    // Frame i - lookAhead sits where the next write goes.
    delayedAt = delayedAt == lookAhead ? 0 : delayedAt + 1;

    const size_t ring = minNeed.size();
    auto at = [&](size_t k) { return minHead + k < ring ? minHead + k : minHead + k - ring; };
    while (minCount && minNeed[at(minCount - 1)] >= need) --minCount;
    minFrame[at(minCount)] = i;
    minNeed[at(minCount)] = need;
    ++minCount;
    if (i < lookAhead) return;
    const unsigned long long m = i - lookAhead;
    while (minFrame[minHead] < m) {
        minHead = minHead + 1 == ring ? 0 : minHead + 1;
        --minCount;
    }
    const double held = minNeed[minHead];  // the least need over m .. m + lookAhead
    // Falls at once, recovers slowly; never above what the window needs.
    last = held < last ? held : last + (held - last) * releaseCoeff;
    double& slot = released[releasedAt];
    releasedAt = releasedAt + 1 == lookAhead ? 0 : releasedAt + 1;
    releasedSum += last - slot;
    slot = last;
    // The mean of the last lookAhead gains: smooth, and at most the need of frame m, since each
    // of those gains saw m in its window. No division while nothing is held back.
    const double window = double(lookAhead);
    const double gain = releasedSum >= window ? 1.0 : releasedSum / window;
    // The silence before the start (so that the first gains see the first peaks too) and the
    // silence that flushes the end are not given back.
    if (m < lookAhead || m - lookAhead >= real) return;
    const double* src = &delayed[delayedAt * channels];
    for (unsigned c = 0; c < channels; ++c) out.push_back(src[c] * gain);
}

void Limiter::Process(const double* in, size_t frames, std::vector<double>& out) {
    out.reserve(out.size() + (frames + lookAhead) * channels);
    if (pushed == 0) {
        const std::vector<double> silence(channels, 0.0);
        while (pushed < lookAhead) Push(silence.data(), out);
    }
    for (size_t f = 0; f < frames; ++f) {
        ++real;
        Push(in + f * channels, out);
    }
}

void Limiter::Flush(std::vector<double>& out) {
    const std::vector<double> silence(channels, 0.0);
    if (real == 0) return;
    while (pushed < real + 2 * lookAhead) Push(silence.data(), out);
}

}  // namespace tvfx
