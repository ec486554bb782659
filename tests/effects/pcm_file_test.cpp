// The passes of the non-live effects over a raw PCM file: a file of several population steps
// with a partial last step and a torn frame behind it is walked whole, in two halves on two
// threads, and comes out exactly as a sample-by-sample computation says.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <fstream>
#include <iterator>
#include <random>
#include <vector>

#include "pcm_file.h"
#include "support/temp_folder.h"

namespace {

TEST(PcmFile, PeakAndGainPassesCoverEveryFrameAndLeaveATornFrameAlone) {
    tvtest::TempFolder dir;
    // 2.4 steps of 64 pieces of 32768 stereo frames, and one byte of a frame that never ended.
    const size_t frames = size_t{32768} * 64 * 12 / 5 + 77;
    std::vector<int16_t> samples(frames * 2);
    std::mt19937 rng(3);
    for (auto& s : samples) s = static_cast<int16_t>(static_cast<int>(rng() % 20001) - 10000);
    samples[frames * 2 - 3] = -23456;  // the peak, in the last partial piece
    std::vector<uint8_t> bytes(samples.size() * 2 + 1);
    std::memcpy(bytes.data(), samples.data(), samples.size() * 2);
    bytes.back() = 0x5A;
    std::ofstream(dir.Str("f.raw"), std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));

    tvfx::Layout layout;
    layout.channels = 2;
    layout.rate = 44100;
    layout.bits = 16;
    layout.frameBytes = 4;
    const std::string narrow = dir.Str("f.raw");
    const std::u16string path(narrow.begin(), narrow.end());
    std::u16string error;
    double peak = 0;
    ASSERT_TRUE(tvfx::MeasurePeak(path, layout, peak, error)) << std::string(error.begin(), error.end());
    EXPECT_DOUBLE_EQ(peak, 23456.0 / 32768.0);

    ASSERT_TRUE(tvfx::ApplyGain(path, layout, 1.37, error));
    std::ifstream in(dir.Str("f.raw"), std::ios::binary);
    const std::vector<uint8_t> after(std::istreambuf_iterator<char>(in), {});
    ASSERT_EQ(after.size(), bytes.size());
    EXPECT_EQ(after.back(), 0x5A);
    for (size_t i = 0; i < samples.size(); ++i) {
        int16_t got;
        std::memcpy(&got, after.data() + 2 * i, 2);
        const double want = std::clamp(std::nearbyint(samples[i] * 1.37), -32768.0, 32767.0);
        ASSERT_EQ(got, static_cast<int16_t>(want)) << "sample " << i;
    }
}

}  // namespace
