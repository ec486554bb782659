#include "true_peak.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace tvfx {

namespace {
constexpr unsigned Taps = 49;
constexpr double AlmostZero = 0.000001;
}  // namespace

void TruePeak::Start(unsigned ch, unsigned rate) {
    channels = ch;
    peak = 0;
    phases.clear();
    const unsigned factor = rate < 96000 ? 4 : rate < 192000 ? 2 : 1;
    history = 0;
    if (factor > 1) {
        phases.resize(factor);
        for (unsigned j = 0; j < Taps; ++j) {
            const double m = double(j) - double(Taps - 1) / 2.0;
            double c = 1.0;
            if (std::fabs(m) > AlmostZero) c = std::sin(m * M_PI / factor) / (m * M_PI / factor);
            c *= 0.5 * (1 - std::cos(2 * M_PI * j / (Taps - 1)));
            if (std::fabs(c) > AlmostZero) {
                phases[j % factor].coeff.push_back(static_cast<float>(c));
                phases[j % factor].back.push_back(j / factor);
                history = std::max(history, j / factor);
            }
        }
    }
    kept.assign(ch, std::vector<float>(history, 0.0f));
}

namespace {
// Four floats in one register where the machine has such, through the compiler's vector
// extension (GCC and clang), so the filter doesn't hang on the auto-vectoriser's mood.
typedef float Vec4 __attribute__((vector_size(16)));

Vec4 Load(const float* p) {
    Vec4 v;
    std::memcpy(&v, p, sizeof v);
    return v;
}
Vec4 Abs(Vec4 v) { return v < 0 ? -v : v; }
Vec4 Max(Vec4 a, Vec4 b) { return a > b ? a : b; }
}  // namespace

void TruePeak::Add(const double* s, size_t frames) {
    if (frames == 0) return;
    if (phases.empty()) {
        for (size_t i = 0; i < frames * channels; ++i) peak = std::max(peak, std::fabs(s[i]));
        return;
    }
    line.resize(history + frames);
    for (unsigned c = 0; c < channels; ++c) {
        std::copy(kept[c].begin(), kept[c].end(), line.begin());
        // Samples go through float, as libebur128 takes them; their own peak counts too.
        double samplePeak = 0;
        for (size_t n = 0; n < frames; ++n) {
            const double v = s[n * channels + c];
            line[history + n] = static_cast<float>(v);
            samplePeak = std::max(samplePeak, std::fabs(v));
        }
        Vec4 top = {0, 0, 0, 0};
        float rest = 0;
        for (const Phase& p : phases) {
            // Eight outputs at a time, their sums kept in registers while the coefficients go
            // by; each output sums its terms in the order a sample-by-sample filter would.
            const size_t taps = p.coeff.size();
            size_t n = 0;
            for (; n + 8 <= frames; n += 8) {
                Vec4 a0 = {0, 0, 0, 0}, a1 = {0, 0, 0, 0};
                for (size_t t = 0; t < taps; ++t) {
                    const float k = p.coeff[t];
                    const float* x = line.data() + history - p.back[t] + n;
                    a0 += Load(x) * k;
                    a1 += Load(x + 4) * k;
                }
                top = Max(top, Max(Abs(a0), Abs(a1)));
            }
            for (; n < frames; ++n) {
                float a = 0;
                for (size_t t = 0; t < taps; ++t) a += line[history - p.back[t] + n] * p.coeff[t];
                rest = std::max(rest, std::fabs(a));
            }
        }
        const float filtered = std::max({top[0], top[1], top[2], top[3], rest});
        peak = std::max({peak, samplePeak, static_cast<double>(filtered)});
        std::copy(line.end() - history, line.end(), kept[c].begin());
    }
}

}  // namespace tvfx
