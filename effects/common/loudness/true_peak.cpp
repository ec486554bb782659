#include "true_peak.h"

#include <algorithm>
#include <cmath>

namespace tvfx {

namespace {
constexpr unsigned Taps = 49;
constexpr double AlmostZero = 0.000001;
constexpr size_t Lanes = 8;
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
                phases[j % factor].coeff.push_back(c);
                phases[j % factor].back.push_back(j / factor);
                history = std::max(history, j / factor);
            }
        }
    }
    kept.assign(ch, std::vector<double>(history, 0.0));
}

void TruePeak::Add(const double* s, size_t frames) {
    for (size_t i = 0; i < frames * channels; ++i) peak = std::max(peak, std::fabs(s[i]));
    if (phases.empty() || frames == 0) return;
    line.resize(history + frames);
    for (unsigned c = 0; c < channels; ++c) {
        std::copy(kept[c].begin(), kept[c].end(), line.begin());
        // Samples go through float, as libebur128 takes them, and are widened once here.
        for (size_t n = 0; n < frames; ++n) line[history + n] = static_cast<float>(s[n * channels + c]);
        double top = 0;
        for (const Phase& p : phases) {
            // Eight outputs at a time, their sums kept in registers while the coefficients go
            // by; each output sums its terms in the order a sample-by-sample filter would.
            const size_t taps = p.coeff.size();
            size_t n = 0;
            for (; n + Lanes <= frames; n += Lanes) {
                double a[Lanes] = {};
                for (size_t t = 0; t < taps; ++t) {
                    const double k = p.coeff[t];
                    const double* x = line.data() + history - p.back[t] + n;
                    for (size_t j = 0; j < Lanes; ++j) a[j] += x[j] * k;
                }
                for (size_t j = 0; j < Lanes; ++j) top = std::max(top, static_cast<double>(std::fabs(static_cast<float>(a[j]))));
            }
            for (; n < frames; ++n) {
                double a = 0;
                for (size_t t = 0; t < taps; ++t) a += line[history - p.back[t] + n] * p.coeff[t];
                top = std::max(top, static_cast<double>(std::fabs(static_cast<float>(a))));
            }
        }
        peak = std::max(peak, top);
        std::copy(line.end() - history, line.end(), kept[c].begin());
    }
}

}  // namespace tvfx
