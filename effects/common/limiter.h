#pragma once
// A look-ahead peak limiter: the gain falls ahead of each peak that would pass the ceiling, so
// that no sample does, and recovers smoothly afterwards. Audio under the ceiling with no loud
// peak near passes untouched. The look-ahead delays the audio; Flush gives back the rest at
// the end, so the output is exactly as long as the input.
#include <cstddef>
#include <cstdint>
#include <vector>

namespace tvfx {

// -1 dBFS.
constexpr double LimiterCeiling = 0.8912509381337456;

class Limiter {
public:
    // ceiling: linear, below 1. Look-ahead and release in seconds.
    void Start(unsigned channels, unsigned rate, double ceiling = LimiterCeiling, double lookAhead = 0.005,
               double release = 0.05);
    bool Started() const { return channels != 0; }
    // Takes frames of interleaved samples; appends what is ready to out.
    void Process(const double* in, size_t frames, std::vector<double>& out);
    // Appends the frames still held.
    void Flush(std::vector<double>& out);

private:
    void Push(const double* frame, std::vector<double>& out);

    unsigned channels = 0;
    size_t lookAhead = 1;
    double ceiling = 1, releaseCoeff = 1;
    unsigned long long pushed = 0, real = 0;
    // The least need over the window: rising needs with the frame each belongs to, in a ring
    // a little longer than the window, so that each frame costs no search.
    std::vector<unsigned long long> minFrame;
    std::vector<double> minNeed;
    size_t minHead = 0, minCount = 0;
    std::vector<double> delayed;  // lookAhead + 1 frames, a ring; the next write goes to delayedAt
    size_t delayedAt = 0;
    std::vector<double> released;  // lookAhead gains, a ring; the oldest at releasedAt
    size_t releasedAt = 0;
    double releasedSum = 0, last = 1;
};

}  // namespace tvfx
