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

// The largest magnitude among n doubles; NaN loses every comparison. Two registers of two,
// so that the comparisons don't wait on each other.
typedef double Vec2 __attribute__((vector_size(16)));

double PeakOf(const double* s, size_t n) {
    Vec2 m0 = {0, 0}, m1 = {0, 0};
    size_t i = 0;
    for (; i + 4 <= n; i += 4) {
        Vec2 a, b;
        std::memcpy(&a, s + i, sizeof a);
        std::memcpy(&b, s + i + 2, sizeof b);
        a = a < 0 ? -a : a;
        b = b < 0 ? -b : b;
        m0 = a > m0 ? a : m0;
        m1 = b > m1 ? b : m1;
    }
    double m = 0;
    for (double v : {m0[0], m0[1], m1[0], m1[1]}) m = v > m ? v : m;
    for (; i < n; ++i) {
        const double a = std::fabs(s[i]);
        m = a > m ? a : m;
    }
    return m;
}

// One phase of the filter: x[n - back[t]] is the input that coefficient t meets for output n.
struct PhaseRun {
    const float* coeff;
    const unsigned* back;
    size_t taps;
};

// The largest magnitude of the outputs from .. to - 1 of every phase. Each output sums its terms
// in the order a sample-by-sample filter would, so every way of running it gives the same figure.
// Eight outputs at a time, their sums kept in registers while the coefficients go by.
float TopOfPhases(const float* x, const PhaseRun* runs, size_t phases, size_t from, size_t to) {
    Vec4 top = {0, 0, 0, 0};
    float rest = 0;
    for (const PhaseRun* r = runs; r != runs + phases; ++r) {
        size_t n = from;
        for (; n + 8 <= to; n += 8) {
            Vec4 a0 = {0, 0, 0, 0}, a1 = {0, 0, 0, 0};
            for (size_t t = 0; t < r->taps; ++t) {
                const float k = r->coeff[t];
                const float* at = x + n - r->back[t];
                a0 += Load(at) * k;
                a1 += Load(at + 4) * k;
            }
            top = Max(top, Max(Abs(a0), Abs(a1)));
        }
        for (; n < to; ++n) {
            float a = 0;
            for (size_t t = 0; t < r->taps; ++t) a += x[n - r->back[t]] * r->coeff[t];
            rest = std::max(rest, std::fabs(a));
        }
    }
    return std::max({top[0], top[1], top[2], top[3], rest});
}

#if defined(__x86_64__) && defined(__GNUC__) && !defined(_WIN32)
// Sixteen outputs at a time in AVX registers where the processor has them: the same products
// and sums in the same order (no fused multiply-add), so the figures stay the same. Not on
// Windows, whose compilers don't keep the stack aligned for these registers.
typedef float Vec8 __attribute__((vector_size(32)));

__attribute__((target("avx"))) float TopOfPhasesAvx(const float* x, const PhaseRun* runs, size_t phases, size_t from,
                                                    size_t to) {
    Vec8 top = {0, 0, 0, 0, 0, 0, 0, 0};
    float rest = 0;
    for (const PhaseRun* r = runs; r != runs + phases; ++r) {
        size_t n = from;
        for (; n + 16 <= to; n += 16) {
            Vec8 a0 = {0, 0, 0, 0, 0, 0, 0, 0}, a1 = a0;
            for (size_t t = 0; t < r->taps; ++t) {
                const float k = r->coeff[t];
                const float* at = x + n - r->back[t];
                Vec8 v0, v1;
                std::memcpy(&v0, at, sizeof v0);
                std::memcpy(&v1, at + 8, sizeof v1);
                a0 += v0 * k;
                a1 += v1 * k;
            }
            a0 = a0 < 0 ? -a0 : a0;
            a1 = a1 < 0 ? -a1 : a1;
            a0 = a0 > a1 ? a0 : a1;
            top = top > a0 ? top : a0;
        }
        for (; n < to; ++n) {
            float a = 0;
            for (size_t t = 0; t < r->taps; ++t) a += x[n - r->back[t]] * r->coeff[t];
            rest = std::max(rest, std::fabs(a));
        }
    }
    for (int i = 0; i < 8; ++i) rest = std::max(rest, top[i]);
    return rest;
}

using TopFunction = float (*)(const float*, const PhaseRun*, size_t, size_t, size_t);
const TopFunction TopOfPhasesBest = [] {
    __builtin_cpu_init();  // this may run before the run-time library's own constructors
    return __builtin_cpu_supports("avx") ? TopOfPhasesAvx : TopOfPhases;
}();
#else
constexpr auto TopOfPhasesBest = TopOfPhases;
#endif
}  // namespace

void TruePeak::Add(const double* s, size_t frames) {
    if (frames == 0) return;
    // The samples' own peak counts too.
    peak = std::max(peak, PeakOf(s, frames * channels));
    if (phases.empty()) return;
    // Samples go through float, as libebur128 takes them.
    floats.resize(frames * channels);
    for (size_t i = 0; i < floats.size(); ++i) floats[i] = static_cast<float>(s[i]);
    FilterAll(frames);
}

void TruePeak::AddPcm(const uint8_t* data, size_t frames, const Layout& layout) {
    if (frames == 0) return;
    // Exact in double, NaN as silence, as PeakOf has it.
    peak = std::max(peak, PeakOfPcm(data, frames * channels, layout));
    if (phases.empty()) return;
    // The same floats as through double: the scale is a power of two, so one rounding either way.
    floats.resize(frames * channels);
    tvkit::PcmToFloat(data, floats.size(), layout, floats.data());
    FilterAll(frames);
}

void TruePeak::FilterAll(size_t frames) {
    line.resize(history + frames);
    for (unsigned c = 0; c < channels; ++c) {
        std::copy(kept[c].begin(), kept[c].end(), line.begin());
        const float* in = floats.data() + c;
        if (channels == 2) {
            for (size_t n = 0; n < frames; ++n) line[history + n] = in[2 * n];
        } else {
            for (size_t n = 0; n < frames; ++n) line[history + n] = in[n * channels];
        }
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
    PhaseRun runs[4];
    size_t count = 0;
    for (const Phase& p : phases) runs[count++] = {p.coeff.data(), p.back.data(), p.coeff.size()};
    return TopOfPhasesBest(line.data() + history, runs, count, from, to);
}

}  // namespace tvfx
