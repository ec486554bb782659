#pragma once
// A soft limiter without memory: samples under the knee pass untouched, louder ones bend
// smoothly towards full scale and never reach it.
#include <cmath>
#include <cstddef>

namespace tvfx {

// -1 dBFS: where the bending starts.
constexpr double LimiterKnee = 0.8912509381337456;

inline void SoftLimit(double* s, size_t count) {
    constexpr double room = 1.0 - LimiterKnee;
    for (size_t i = 0; i < count; ++i) {
        const double a = std::fabs(s[i]);
        if (a <= LimiterKnee) continue;
        const double bent = LimiterKnee + room * std::tanh((a - LimiterKnee) / room);
        s[i] = s[i] < 0 ? -bent : bent;
    }
}

}  // namespace tvfx
