// The measurement on its own thread gives the very figures of the meter fed on the caller's
// thread, whether the queue is so small that the caller measures nearly every block itself, in
// turn with the thread, or large enough for all;
// a run that is given up ends the thread with blocks still waiting, without a hang or a leak.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <vector>

#include "loudness_meter.h"
#include "meter_thread.h"

namespace {
const tvfx::Layout Stereo16{false, 16, 2, 48000, 4};

// Noise whose level steps each second, so that the gates and the peak both matter.
std::vector<uint8_t> Noise(unsigned seconds) {
    std::mt19937 rng(9);
    std::vector<int16_t> s(size_t(48000) * 2 * seconds);
    for (size_t i = 0; i < s.size(); ++i)
        s[i] = static_cast<int16_t>((i / 96000 % 3 == 0 ? 0.9 : 0.1) * (double(rng() % 65535) - 32767));
    std::vector<uint8_t> bytes(s.size() * 2);
    std::memcpy(bytes.data(), s.data(), bytes.size());
    return bytes;
}
}  // namespace

TEST(MeterThread, GivesTheFiguresOfTheMeterFedDirectlyWhateverTheQueueHolds) {
    const tvfx::Layout& l = Stereo16;
    const std::vector<uint8_t> audio = Noise(6);
    const size_t frames = audio.size() / l.frameBytes;

    tvfx::LoudnessMeter direct;
    ASSERT_TRUE(direct.Start(l.channels, l.rate));
    std::vector<double> samples(frames * l.channels);
    tvfx::ToDouble(audio.data(), samples.size(), l, samples.data());
    direct.Add(samples.data(), frames);

    // One block at a time (every Add measures the oldest), a few blocks, and the whole track.
    for (size_t queue : {size_t{1}, size_t{100000}, tvfx::MeterThread::DefaultQueueBytes}) {
        SCOPED_TRACE(queue);
        tvfx::MeterThread meter(queue);
        ASSERT_TRUE(meter.Start(l));
        // The end announced with the last block, or too early: blocks that come after it are
        // measured all the same.
        const size_t endAt = queue == 100000 ? frames / 2 : frames;
        for (size_t at = 0, piece = 1; at < frames; at += piece, piece = piece * 7 % 24001 + 1) {
            meter.Add(&audio[at * l.frameBytes], std::min(piece, frames - at));
            if (at < endAt && at + piece >= endAt) meter.NoMoreBlocks();
        }
        meter.Finish();
        meter.Finish();  // a second call, as the effect's last two entries both make, changes nothing
        EXPECT_EQ(direct.Loudness(), meter.Meter().Loudness());
        EXPECT_EQ(direct.TruePeak(), meter.Meter().TruePeak());
        EXPECT_EQ(direct.BlockEnergies(), meter.Meter().BlockEnergies());
    }
}

TEST(MeterThread, AGivenUpOrUnfinishedRunEndsItsThread) {
    const tvfx::Layout& l = Stereo16;
    const std::vector<uint8_t> audio = Noise(30);
    {
        tvfx::MeterThread meter;
        ASSERT_TRUE(meter.Start(l));
        meter.Add(audio.data(), audio.size() / l.frameBytes / 2);
        meter.Add(audio.data() + audio.size() / 2, audio.size() / l.frameBytes / 2);
        meter.Abandon();
        meter.Abandon();
    }
    {
        // Never finished: the destructor ends the thread.
        tvfx::MeterThread meter;
        ASSERT_TRUE(meter.Start(l));
        meter.Add(audio.data(), audio.size() / l.frameBytes);
    }
}
