// The kit's sample conversions: integer output must round exactly as llrint does (ties to even)
// and clip, for every depth, with and without added noise; integer input must come back to the
// same bytes.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include "tvkit/pcm.h"

namespace {

tvkit::PcmLayout IntLayout(unsigned bits) {
    tvkit::PcmLayout l;
    l.bits = bits;
    l.channels = 1;
    l.rate = 44100;
    l.frameBytes = bits / 8;
    return l;
}

// What each integer depth must hold after DoubleToPcm, from first principles.
int64_t Expected(double v, unsigned bits, double noise) {
    const double scale = std::ldexp(1.0, static_cast<int>(bits) - 1);
    const double x = v * scale + noise;
    if (!(x >= -scale)) return static_cast<int64_t>(-scale);
    if (x > scale - 1) return static_cast<int64_t>(scale - 1);
    return std::llrint(x);
}

int64_t Stored(const uint8_t* p, unsigned bits) {
    switch (bits) {
        case 8:
            return int64_t{p[0]} - 128;
        case 16:
            return static_cast<int16_t>(p[0] | p[1] << 8);
        case 24:
            return static_cast<int32_t>(uint32_t{p[0]} << 8 | uint32_t{p[1]} << 16 | uint32_t{p[2]} << 24) >> 8;
        default: {
            int32_t v;
            std::memcpy(&v, p, 4);
            return v;
        }
    }
}

TEST(KitPcm, IntegerOutputRoundsTiesToEvenAndClipsAtEveryDepth) {
    std::mt19937_64 random(7);
    std::uniform_real_distribution<double> wide(-1.3, 1.3), steps(-1.0, 1.0);
    for (unsigned bits : {8u, 16u, 24u, 32u}) {
        const double scale = std::ldexp(1.0, static_cast<int>(bits) - 1);
        std::vector<double> in = {0.0,
                                  -0.0,
                                  1.0,
                                  -1.0,
                                  2.0,
                                  -2.0,
                                  std::numeric_limits<double>::quiet_NaN(),
                                  HUGE_VAL,
                                  -HUGE_VAL,
                                  (scale - 1) / scale,
                                  (scale - 0.5) / scale,
                                  (scale - 1.5) / scale,
                                  -(scale - 0.5) / scale,
                                  (-scale - 0.5) / scale};
        // Exact halves of a step, where a careless rounding goes the wrong way.
        for (int k = -6; k <= 6; ++k) in.push_back((k + 0.5) / scale);
        for (int i = 0; i < 4000; ++i) in.push_back(wide(random));
        std::vector<double> noise(in.size());
        for (double& n : noise) n = steps(random);
        noise[0] = 0.5;  // a tie made by the noise itself

        const tvkit::PcmLayout layout = IntLayout(bits);
        std::vector<uint8_t> plain(in.size() * (bits / 8)), noisy(plain.size());
        tvkit::DoubleToPcm(in.data(), in.size(), layout, plain.data());
        tvkit::DoubleToPcm(in.data(), in.size(), layout, noisy.data(), noise.data());
        for (size_t i = 0; i < in.size(); ++i) {
            ASSERT_EQ(Stored(&plain[i * (bits / 8)], bits), Expected(in[i], bits, 0)) << bits << " bits, " << in[i];
            ASSERT_EQ(Stored(&noisy[i * (bits / 8)], bits), Expected(in[i], bits, noise[i]))
                << bits << " bits, " << in[i] << " + " << noise[i];
        }
    }
}

TEST(KitPcm, IntegerSamplesComeBackToTheSameBytesThroughDoubleAndFloat) {
    for (unsigned bits : {8u, 16u, 24u, 32u}) {
        const tvkit::PcmLayout layout = IntLayout(bits);
        // Every 16-bit value; random ones of the other depths.
        const size_t samples = 65536;
        std::vector<uint8_t> bytes(samples * (bits / 8));
        std::mt19937 random(bits);
        for (size_t i = 0; i < bytes.size(); ++i)
            bytes[i] = static_cast<uint8_t>(bits == 16 ? (i / 2) >> (i % 2 * 8) : random());
        std::vector<double> d(samples);
        tvkit::PcmToDouble(bytes.data(), samples, layout, d.data());
        for (double v : d) ASSERT_TRUE(v >= -1.0 && v < 1.0);
        std::vector<uint8_t> back(bytes.size());
        tvkit::DoubleToPcm(d.data(), samples, layout, back.data());
        EXPECT_EQ(back, bytes) << bits << " bits";
        if (bits == 32) continue;  // float keeps 24 bits
        std::vector<float> f(samples);
        tvkit::PcmToFloat(bytes.data(), samples, layout, f.data());
        for (size_t i = 0; i < samples; ++i) ASSERT_EQ(static_cast<double>(f[i]), d[i]);
    }
}

TEST(KitPcm, LayoutsOfFormatRecords) {
    TvWaveFormatExtensible f{};
    f.Format.wFormatTag = TV_WAVE_FORMAT_EXTENSIBLE;
    f.Format.cbSize = TV_WAVE_EXTENSIBLE_EXTRA;
    f.SubFormat = TvWaveSubFormat(TV_WAVE_FORMAT_IEEE_FLOAT);
    f.Format.nChannels = 6;
    f.Format.nSamplesPerSec = 48000;
    f.Format.wBitsPerSample = 32;
    f.Format.nBlockAlign = 24;
    tvkit::PcmLayout l;
    ASSERT_TRUE(tvkit::ReadPcmLayout(f, l));
    EXPECT_TRUE(l.isFloat);
    EXPECT_EQ(l.frameBytes, 24u);
    EXPECT_EQ(tvkit::DescribePcm(f), u"32-bit float, 6 channels, 48000 Hz");
    f.Format.nBlockAlign = 20;  // inconsistent with the channels
    EXPECT_FALSE(tvkit::ReadPcmLayout(f, l));
    f.Format.nBlockAlign = 24;
    f.Format.cbSize = 0;  // extensible without its extension
    EXPECT_FALSE(tvkit::ReadPcmLayout(f, l));
    EXPECT_EQ(tvkit::DescribePcm(f), u"32-bit non-PCM, 6 channels, 48000 Hz");
    f.Format.cbSize = TV_WAVE_EXTENSIBLE_EXTRA;
    f.SubFormat = TvWaveSubFormat(TV_WAVE_FORMAT_PCM);
    f.Format.wBitsPerSample = 20;  // no container of that size
    f.Format.nBlockAlign = 15;
    EXPECT_FALSE(tvkit::ReadPcmLayout(f, l));
}

}  // namespace
