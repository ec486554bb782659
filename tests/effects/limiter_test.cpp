// The look-ahead limiter on its own, fed in pieces of every size: no sample passes the ceiling,
// however the peaks fall (a run of ever smaller peaks fills its window of needs), the output is
// exactly as long as the input, and audio far from any peak passes untouched.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "limiter.h"

namespace {

std::vector<double> Limit(const std::vector<double>& in, unsigned channels, unsigned rate) {
    tvfx::Limiter limiter;
    limiter.Start(channels, rate);
    std::vector<double> out;
    const size_t frames = in.size() / channels;
    for (size_t at = 0, piece = 1; at < frames; at += piece, piece = piece * 3 % 1031 + 1)
        limiter.Process(&in[at * channels], std::min(piece, frames - at), out);
    limiter.Flush(out);
    return out;
}

TEST(Limiter, NoSamplePassesTheCeilingAndTheLengthStays) {
    const unsigned rate = 8000, channels = 2;  // 40 frames of look-ahead
    std::mt19937 rng(11);
    std::vector<double> in;
    auto frame = [&](double left, double right) {
        in.push_back(left);
        in.push_back(right);
    };
    for (int i = 0; i < 4000; ++i) frame(0.3 * std::sin(i * 0.05), -0.3 * std::sin(i * 0.05));  // quiet
    for (int i = 0; i < 300; ++i) frame(1.9 - i * 0.003, 0.1);  // falling peaks, each one a new least need
    for (int i = 0; i < 3000; ++i) frame(0.0, 0.2);
    for (int i = 0; i < 6000; ++i) {  // bursts
        const double level = (i / 50) % 3 == 0 ? 1.6 : 0.5;
        frame(level * (double(rng() % 2001) - 1000) / 1000, level * (double(rng() % 2001) - 1000) / 1000);
    }
    const std::vector<double> out = Limit(in, channels, rate);
    ASSERT_EQ(in.size(), out.size());
    double top = 0;
    for (double v : out) top = std::max(top, std::fabs(v));
    EXPECT_LE(top, tvfx::LimiterCeiling * (1 + 1e-12));
    EXPECT_GT(top, 0.85);  // lowered to the ceiling, not far under it
    // The quiet start is far from any peak: untouched.
    for (size_t i = 0; i < 2 * 3500; ++i) ASSERT_EQ(in[i], out[i]) << i;
    // After the falling peaks the gain recovers within the quiet stretch that follows them.
    EXPECT_NEAR(in[2 * 7200 + 1], out[2 * 7200 + 1], 1e-3);
}

}  // namespace
