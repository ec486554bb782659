// Gain and peak straight on 16-bit PCM must give exactly what the trip through double gives:
// every sample value, gains that clip and that round to ties, in place and at odd addresses,
// and lengths that leave a tail after the eight-sample steps.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <vector>

#include "pcm.h"

namespace {

tvfx::Layout Stereo16() {
    tvfx::Layout l;
    l.bits = 16;
    l.channels = 2;
    l.rate = 48000;
    l.frameBytes = 4;
    return l;
}

// Every 16-bit value once, in an order that puts neighbours far apart.
std::vector<uint8_t> AllValues() {
    std::vector<uint8_t> bytes(65536 * 2);
    for (uint32_t i = 0; i < 65536; ++i) {
        const auto v = static_cast<int16_t>(static_cast<uint16_t>(i * 40503u));
        std::memcpy(&bytes[2 * i], &v, 2);
    }
    return bytes;
}

std::vector<uint8_t> ThroughDouble(const uint8_t* in, size_t samples, double gain) {
    const tvfx::Layout l = Stereo16();
    std::vector<double> d(samples);
    tvfx::ToDouble(in, samples, l, d.data());
    for (double& v : d) v *= gain;
    std::vector<uint8_t> out(samples * 2);
    tvfx::FromDouble(d.data(), samples, l, out.data());
    return out;
}

}  // namespace

TEST(PcmGain, SixteenBitGainEqualsTheTripThroughDouble) {
    const tvfx::Layout l = Stereo16();
    const std::vector<uint8_t> all = AllValues();
    // -3 dB, ties at 0.5 and 1.5 steps, a clipping boost, a deep cut, and no change.
    for (double gain : {0.7079457843841379, 0.5, 1.5, 3.98, 1e-5, 1.0}) {
        SCOPED_TRACE(gain);
        for (size_t offset : {size_t{0}, size_t{1}}) {
            // Lengths around the eight-sample steps, and every value.
            for (size_t samples : {size_t{7}, size_t{8}, size_t{13}, all.size() / 2 - 1}) {
                std::vector<uint8_t> in(offset + samples * 2);
                std::memcpy(in.data() + offset, all.data(), samples * 2);
                const std::vector<uint8_t> want = ThroughDouble(in.data() + offset, samples, gain);
                std::vector<uint8_t> out(offset + samples * 2);
                tvfx::ScalePcm(in.data() + offset, samples, l, gain, out.data() + offset);
                ASSERT_EQ(0, std::memcmp(want.data(), out.data() + offset, samples * 2)) << samples << " " << offset;
                tvfx::ScalePcm(in.data() + offset, samples, l, gain, in.data() + offset);
                ASSERT_EQ(0, std::memcmp(want.data(), in.data() + offset, samples * 2)) << "in place";
            }
        }
    }
}

TEST(PcmGain, SixteenBitPeakIsTheLargestMagnitudeIncludingTheLowestValue) {
    const tvfx::Layout l = Stereo16();
    const auto peakOf = [&](std::vector<int16_t> v) {
        std::vector<uint8_t> bytes(v.size() * 2 + 1);
        if (!v.empty()) std::memcpy(bytes.data() + 1, v.data(), v.size() * 2);  // at an odd address
        return tvfx::PeakOfPcm(bytes.data() + 1, v.size(), l);
    };
    EXPECT_EQ(0.0, peakOf({}));
    EXPECT_EQ(0.0, peakOf({0, 0, 0}));
    EXPECT_EQ(1.0, peakOf({5, -32768, 7}));
    EXPECT_EQ(32767.0 / 32768, peakOf({-3, 32767, -32767}));
    EXPECT_EQ(200.0 / 32768, peakOf({-200, 100, 199}));
    // A long run whose peak sits in the tail after the vector steps.
    std::vector<int16_t> run(1001, 10);
    run.back() = -12345;
    EXPECT_EQ(12345.0 / 32768, peakOf(run));
}
