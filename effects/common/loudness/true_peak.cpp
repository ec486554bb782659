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
    gainBound = 0;
    for (const Phase& p : phases) {
        double sum = 0;
        for (float c : p.coeff) sum += std::fabs(c);
        gainBound = std::max(gainBound, sum);
    }
    // The filter sums a dozen float products: its rounding stays far below this margin.
    gainBound *= 1.0001;
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

float MaxAbs(const float* x, size_t n) {
    Vec4 top = {0, 0, 0, 0};
    size_t i = 0;
    for (; i + 4 <= n; i += 4) top = Max(top, Abs(Load(x + i)));
    float m = std::max({top[0], top[1], top[2], top[3]});
    for (; i < n; ++i) m = std::max(m, std::fabs(x[i]));
    return m;
}
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
        peak = std::max(peak, samplePeak);
        // A stretch whose loudest input, times the largest sum of a phase's coefficients, can't
        // pass the peak so far can't raise it: it is left out. Most stretches of music are.
        for (size_t from = 0; from < frames; from += Stretch) {
            const size_t to = std::min(frames, from + Stretch);
            if (MaxAbs(line.data() + from, to - from + history) * gainBound <= peak) continue;
            peak = std::max(peak, static_cast<double>(Filtered(from, to)));
        }
        std::copy(line.end() - history, line.end(), kept[c].begin());
    }
}

float TruePeak::Filtered(size_t from, size_t to) const {
    Vec4 top = {0, 0, 0, 0};
    float rest = 0;
    for (const Phase& p : phases) {
        // Eight outputs at a time, their sums kept in registers while the coefficients go by;
        // each output sums its terms in the order a sample-by-sample filter would.
        const size_t taps = p.coeff.size();
        size_t n = from;
        for (; n + 8 <= to; n += 8) {
            Vec4 a0 = {0, 0, 0, 0}, a1 = {0, 0, 0, 0};
            for (size_t t = 0; t < taps; ++t) {
                const float k = p.coeff[t];
                const float* x = line.data() + history - p.back[t] + n;
                a0 += Load(x) * k;
                a1 += Load(x + 4) * k;
            }
            top = Max(top, Max(Abs(a0), Abs(a1)));
        }
        for (; n < to; ++n) {
            float a = 0;
            for (size_t t = 0; t < taps; ++t) a += line[history - p.back[t] + n] * p.coeff[t];
            rest = std::max(rest, std::fabs(a));
        }
    }
    return std::max({top[0], top[1], top[2], top[3], rest});
}

}  // namespace tvfx
