// The loudness meter against libebur128, which loudgain uses: its own true-peak filter gives
// the same figure for noise and for tones with peaks between the samples at every oversampling
// factor, and the gating blocks it keeps (for album gain and its own loudness) give
// libebur128's integrated loudness, however the audio is cut into blocks.
#include <ebur128.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>
#include <utility>
#include <vector>

#include "loudness_meter.h"
#include "true_peak.h"

TEST(TruePeak, MatchesLibebur128AtEveryOversamplingFactor) {
    std::mt19937 rng(3);
    for (unsigned rate : {44100u, 48000u, 96000u, 192000u}) {
        // Noise; a tone peaking between its samples; and a tone at 0.6, then quiet noise (which
        // can't raise the peak and is skipped), then the loudest tone.
        for (int kind = 0; kind < 3; ++kind) {
            SCOPED_TRACE(std::to_string(rate) + (kind == 0 ? " noise" : kind == 1 ? " tone" : " quiet middle"));
            const unsigned channels = 2, frames = rate / 2;
            std::vector<double> s(size_t(frames) * channels);
            for (unsigned i = 0; i < frames; ++i)
                for (unsigned c = 0; c < channels; ++c) {
                    const double tone = std::sin(2 * M_PI * (rate / 4.0 - 7 - c) * i / rate + 0.7);
                    const double noise = (double(rng() % 65536) - 32768) / 32768;
                    const double third = i < frames / 3 ? 0.6 * tone : i < 2 * frames / 3 ? 0.05 * noise : 0.9 * tone;
                    s[i * channels + c] = kind == 0 ? noise : kind == 1 ? 0.9 * tone : third;
                }
            ebur128_state* reference = ebur128_init(channels, rate, EBUR128_MODE_TRUE_PEAK);
            ASSERT_NE(nullptr, reference);
            tvfx::TruePeak ours;
            ours.Start(channels, rate);
            for (size_t at = 0, piece = 1; at < frames; at += piece, piece = piece * 7 % 4093 + 1) {
                const size_t n = std::min<size_t>(piece, frames - at);
                ebur128_add_frames_double(reference, &s[at * channels], n);
                ours.Add(&s[at * channels], n);
            }
            double want = 0;
            for (unsigned c = 0; c < channels; ++c) {
                double p = 0;
                ebur128_true_peak(reference, c, &p);
                want = std::max(want, p);
            }
            ebur128_destroy(&reference);
            EXPECT_NEAR(want, ours.Peak(), 1e-6 * want);
            // The tone's samples fall well short of its 0.9; the oversampled peak finds it.
            if (kind == 1 && rate < 192000) {
                EXPECT_NEAR(0.9, ours.Peak(), 0.02);
            }
        }
    }
}

TEST(LoudnessMeter, KeptBlocksGateToLibebur128sIntegratedLoudness) {
    std::mt19937 rng(5);
    // 11025 Hz counts its 100 ms steps apart from its windows, so its blocks are read whole.
    for (unsigned rate : {11025u, 44100u, 48000u}) {
        SCOPED_TRACE(rate);
        const unsigned channels = 2, frames = rate * 7;
        std::vector<double> s(size_t(frames) * channels);
        for (unsigned i = 0; i < frames; ++i) {
            // Loud, then quiet enough for the relative gate, then silent for the absolute one.
            const double level = i < frames / 3 ? 0.5 : i < 2 * frames / 3 ? 0.02 : 0.0;
            for (unsigned c = 0; c < channels; ++c)
                s[i * channels + c] = level * ((double(rng() % 2001) - 1000) / 1000);
        }
        tvfx::LoudnessMeter meter;
        ASSERT_TRUE(meter.Start(channels, rate));
        for (size_t at = 0, piece = 3; at < frames; at += piece, piece = piece * 5 % 6007 + 1)
            meter.Add(&s[at * channels], std::min<size_t>(piece, frames - at));
        EXPECT_EQ(size_t(frames / ((rate + 5) / 10)) - 3, meter.BlockEnergies().size());
        ebur128_state* reference = ebur128_init(channels, rate, EBUR128_MODE_I);
        ASSERT_NE(nullptr, reference);
        ebur128_add_frames_double(reference, s.data(), frames);
        double want = 0;
        ASSERT_EQ(EBUR128_SUCCESS, ebur128_loudness_global(reference, &want));
        ebur128_destroy(&reference);
        EXPECT_NEAR(want, meter.Loudness(), 1e-6);
    }
}

TEST(LoudnessMeter, RawSamplesOfEveryLayoutGiveTheFiguresOfTheirDoubles) {
    std::mt19937 rng(7);
    const unsigned rate = 44100, frames = rate;
    // Integer depths, and float samples above full scale and NaN, which count as silence.
    for (auto [bits, isFloat] : {std::pair{16u, false}, {24u, false}, {32u, false}, {32u, true}, {64u, true}}) {
        for (unsigned channels : {1u, 2u, 3u}) {
            SCOPED_TRACE(std::to_string(bits) + (isFloat ? " float, " : " int, ") + std::to_string(channels));
            tvfx::Layout l;
            l.bits = bits;
            l.isFloat = isFloat;
            l.channels = channels;
            l.rate = rate;
            l.frameBytes = bits / 8 * channels;
            std::vector<uint8_t> raw(size_t(frames) * l.frameBytes);
            for (auto& b : raw) b = static_cast<uint8_t>(rng());
            if (isFloat) {
                for (size_t i = 0; i < size_t(frames) * channels; ++i) {
                    const double v = (double(rng() % 20001) - 10000) / 8000 * (i % 7 == 0 ? 1 : 0.3);
                    if (bits == 32) {
                        const float f = i == 777 ? NAN : static_cast<float>(v);
                        std::memcpy(&raw[i * 4], &f, 4);
                    } else {
                        const double d = i == 777 ? NAN : v;
                        std::memcpy(&raw[i * 8], &d, 8);
                    }
                }
            }
            std::vector<double> s(size_t(frames) * channels);
            tvfx::ToDouble(raw.data(), s.size(), l, s.data());
            tvfx::LoudnessMeter viaDouble, viaRaw;
            ASSERT_TRUE(viaDouble.Start(channels, rate));
            ASSERT_TRUE(viaRaw.Start(channels, rate));
            for (size_t at = 0, piece = 5; at < frames; at += piece, piece = piece * 3 % 9001 + 1) {
                const size_t n = std::min<size_t>(piece, frames - at);
                viaDouble.Add(&s[at * channels], n);
                viaRaw.AddPcm(&raw[at * l.frameBytes], n, l);
            }
            EXPECT_EQ(viaDouble.TruePeak(), viaRaw.TruePeak());
            EXPECT_GT(viaRaw.TruePeak(), 0.0);
            if (!isFloat) {
                EXPECT_EQ(viaDouble.Loudness(), viaRaw.Loudness());
            }
            EXPECT_EQ(viaDouble.BlockEnergies().size(), viaRaw.BlockEnergies().size());
        }
    }
}
