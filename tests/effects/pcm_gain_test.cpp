// Gain and peak straight on 16-bit PCM must give exactly what the trip through double gives:
// every sample value, gains that clip and that round to ties, in place and at odd addresses,
// and lengths that leave tails after the sixteen- and eight-sample steps.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "pcm.h"

namespace {
const tvfx::Layout Stereo16{false, 16, 2, 48000, 4};
}

TEST(PcmGain, SixteenBitGainEqualsTheTripThroughDouble) {
    // Every value once, neighbours far apart.
    std::vector<int16_t> all(65536);
    for (uint32_t i = 0; i < all.size(); ++i) all[i] = static_cast<int16_t>(static_cast<uint16_t>(i * 40503u));
    // -3 dB, ties at 0.5 and 1.5 steps, a clipping boost, a deep cut, and no change.
    for (double gain : {0.7079457843841379, 0.5, 1.5, 3.98, 1e-5, 1.0}) {
        for (size_t samples : {size_t{7}, size_t{8}, size_t{13}, size_t{16}, size_t{27}, all.size()}) {
            SCOPED_TRACE(std::to_string(gain) + ", " + std::to_string(samples));
            std::vector<double> d(samples);
            tvfx::ToDouble(reinterpret_cast<const uint8_t*>(all.data()), samples, Stereo16, d.data());
            for (double& v : d) v *= gain;
            std::vector<uint8_t> want(samples * 2);
            tvfx::FromDouble(d.data(), samples, Stereo16, want.data());
            // At an odd address, then in place.
            std::vector<uint8_t> in(samples * 2 + 1), out(samples * 2 + 1);
            std::memcpy(in.data() + 1, all.data(), samples * 2);
            tvfx::ScalePcm(in.data() + 1, samples, Stereo16, gain, out.data() + 1);
            EXPECT_EQ(0, std::memcmp(want.data(), out.data() + 1, samples * 2));
            tvfx::ScalePcm(in.data() + 1, samples, Stereo16, gain, in.data() + 1);
            EXPECT_EQ(0, std::memcmp(want.data(), in.data() + 1, samples * 2));
        }
    }
}

TEST(PcmGain, SixteenBitPeakIsTheLargestMagnitudeIncludingTheLowestValue) {
    const auto peakOf = [](std::vector<int16_t> v) {
        std::vector<uint8_t> bytes(v.size() * 2 + 1);
        if (!v.empty()) std::memcpy(bytes.data() + 1, v.data(), v.size() * 2);  // at an odd address
        return tvfx::PeakOfPcm(bytes.data() + 1, v.size(), Stereo16);
    };
    EXPECT_EQ(0.0, peakOf({}));
    EXPECT_EQ(1.0, peakOf({5, -32768, 7}));
    EXPECT_EQ(32767.0 / 32768, peakOf({-3, 32767, -32767}));
    std::vector<int16_t> run(1001, 10);
    run.back() = -12345;  // in the tail after the vector steps
    EXPECT_EQ(12345.0 / 32768, peakOf(run));
}
