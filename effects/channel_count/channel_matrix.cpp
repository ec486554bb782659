#include "channel_matrix.h"

#include <cmath>

namespace tvfx {

namespace {
constexpr double K = 0.70710678118654752;

// The stereo pair of 5.1 or 7.1.
std::vector<double> SurroundToStereo(unsigned in) {
    std::vector<double> m(2 * in, 0.0);
    auto w = [&](unsigned o, unsigned i, double v) { m[o * in + i] = v; };
    w(0, 0, 1);
    w(1, 1, 1);
    w(0, 2, K);
    w(1, 2, K);
    w(0, 4, K);
    w(1, 5, K);
    if (in == 8) {
        w(0, 6, K);
        w(1, 7, K);
    }
    return m;
}
}  // namespace

std::vector<double> ChannelMatrix(unsigned in, unsigned out) {
    std::vector<double> m(size_t(out) * in, 0.0);
    if ((in == 6 || in == 8) && out <= 2) {
        const std::vector<double> stereo = SurroundToStereo(in);
        if (out == 2) return stereo;
        for (unsigned i = 0; i < in; ++i) m[i] = (stereo[i] + stereo[in + i]) / 2;
        return m;
    }
    if (out >= in) {
        for (unsigned o = 0; o < out; ++o) m[o * in + o % in] = 1.0;
        return m;
    }
    for (unsigned o = 0; o < out; ++o) {
        unsigned count = 0;
        for (unsigned i = o; i < in; i += out) ++count;
        for (unsigned i = o; i < in; i += out) m[o * in + i] = 1.0 / count;
    }
    return m;
}

}  // namespace tvfx
