// The effects through the DSP contract alone: the settings words and their error lines, the
// down-mix coefficients by a tone per channel, bit depths with and without dither, the
// resampler's length and format hand-over, and the verifier on damaged and altered outputs.
#include <algorithm>
#include <cstdlib>

#include "effect_test_util.h"
#include "settings.h"
#include "tvkit/tag_block.h"

using namespace fxtest;

namespace {

struct BadCase {
    const char* effect;
    const char16_t* settings;
    const char* words;
};

std::vector<float> Floats(const AudioBlockRecord& b) {
    std::vector<float> v(b.Size / 4);
    std::memcpy(v.data(), b.Data, v.size() * 4);
    return v;
}

}  // namespace

TEST(EffectSettings, BadSettingsAreErrorLinesThatNameTheSettingAndWhatItAccepts) {
    const BadCase cases[] = {
        {"Volume Adjust", u"-gain=loud", "'-gain=loud' is not valid; -gain takes a gain in dB from -100 to 60."},
        {"Volume Adjust", u"-gain=-3 -peak=-1", "-peak: give either -gain or -peak, not both."},
        {"Volume Adjust", u"-limit=maybe", "-limit takes on or off."},
        {"Volume Normalize", u"-lufs=-99", "-lufs takes a loudness in LUFS from -70 to 0."},
        {"Volume Normalize", u"-tp=-1", "the true-peak ceiling goes with -lufs."},
        {"Resample", u"-quality=vhq", "the target rate is missing (-rate=48000)."},
        {"Resample", u"-rate=48000 -quality=best", "-quality takes quick, low, medium, high or vhq."},
        {"Bit Depth", u"-bits=12", "-bits takes 8, 16, 24, 32 or float."},
        {"Channel Count", u"-channels=2.5", "-channels takes a channel count from 1 to 8."},
        {"CPU Throttle", u"-percent=0", "-percent takes a share of one core in percent from 1 to 100."},
        {"ReplayGain", u"-album=on", "unknown setting '-album'; it takes no settings."},
        {"Verify Output Integrity", u"fast", "the setting 'fast' is not of the form -name=value."},
    };
    for (const BadCase& c : cases) {
        SCOPED_TRACE(std::string(c.effect) + ": " + XString(c.settings).ToStdUtf8());
        Effect fx(c.effect);
        fx.IsLive(c.settings);
        const std::string errors = fx.errors.Text();
        EXPECT_NE(std::string::npos, errors.find(std::string("Error: ") + c.effect + ": ")) << errors;
        EXPECT_NE(std::string::npos, errors.find(c.words)) << errors;
        // The later entries refuse the same words, without a second line.
        ConversionRecord conv{};
        TvFormatAndLength format{};
        format.Format = Format(16, 2, 44100);
        const int32_t later = fx.IsLive(u"") ? fx.dsp.BeginConversion(&conv, c.settings)
                                             : fx.dsp.PassNonLive(u"/nonexistent", &format, c.settings, u"");
        EXPECT_EQ(0, later);
    }
}

TEST(EffectSettings, GoodSettingsTellWhetherTheEffectIsLive) {
    struct Good {
        const char* effect;
        const char16_t* settings;
        int32_t live;
    };
    for (const Good& g :
         {Good{"Volume Adjust", u"--gain=\"-3.5\" -LIMIT=off", 1}, Good{"Volume Adjust", u"-peak=-1", 0},
          Good{"Volume Normalize", u"-lufs=-16 -tp=-2", 0}, Good{"Volume Normalize", u"", 0},
          Good{"Resample", u"-rate=48000 -quality=high", 1}, Good{"Bit Depth", u"-bits=float", 1},
          Good{"Channel Count", u"-channels=1", 1}, Good{"CPU Throttle", u"", 1}, Good{"ReplayGain", u"  ", 1},
          Good{"Verify Output Integrity", u"", 1}}) {
        SCOPED_TRACE(g.effect);
        Effect fx(g.effect);
        EXPECT_EQ(g.live, fx.IsLive(g.settings));
        EXPECT_EQ("", fx.errors.Text());
    }
    Effect rg("ReplayGain");
    PluginArgs args{};
    EXPECT_NE(0, rg.dsp.Get(u"SendOverReplayGainTags", &args));
}

TEST(EffectSettings, WordsKeepTheirFirstValueAndQuotedBlanks) {
    tvfx::Settings s(u"X", u"-a=1 -a=2 -b=\"two words\" --c=3", {u"a", u"b", u"c"});
    EXPECT_TRUE(s.Ok());
    EXPECT_EQ(u"1", s.Text(u"A"));
    EXPECT_EQ(u"two words", s.Text(u"b"));
    EXPECT_EQ(3, s.Whole(u"c", 0, 0, 9, u"x"));
    EXPECT_FALSE(s.Has(u"d"));
}

// Channel c alone carries 0.25; each output channel then shows its weight of c.
TEST(ChannelCount, DownMixCoefficientsByAToneInEachChannel) {
    const double k = std::sqrt(0.5);
    struct Mix {
        unsigned in, out;
        std::vector<std::vector<double>> weights;  // [output][input]
    };
    const std::vector<double> l51 = {1, 0, k, 0, k, 0}, r51 = {0, 1, k, 0, 0, k};
    const std::vector<double> l71 = {1, 0, k, 0, k, 0, k, 0}, r71 = {0, 1, k, 0, 0, k, 0, k};
    auto mono = [](const std::vector<double>& l, const std::vector<double>& r) {
        std::vector<double> m(l.size());
        for (size_t i = 0; i < l.size(); ++i) m[i] = (l[i] + r[i]) / 2;
        return m;
    };
    for (const Mix& mix : {Mix{6, 2, {l51, r51}}, Mix{8, 2, {l71, r71}}, Mix{6, 1, {mono(l51, r51)}},
                           Mix{8, 1, {mono(l71, r71)}}, Mix{2, 1, {{0.5, 0.5}}}, Mix{1, 2, {{1}, {1}}}}) {
        const std::u16string settings = u"-channels=" + std::u16string(1, char16_t(u'0' + mix.out));
        Effect fx("Channel Count");
        ASSERT_EQ(1, fx.IsLive(settings.c_str()));
        ConversionRecord conv{};
        ASSERT_EQ(1, fx.dsp.BeginConversion(&conv, settings.c_str()));
        for (unsigned c = 0; c < mix.in; ++c) {
            SCOPED_TRACE(std::to_string(mix.in) + " to " + std::to_string(mix.out) + ", input channel " +
                         std::to_string(c));
            std::vector<float> frames(4 * mix.in, 0.0f);
            for (unsigned f = 0; f < 4; ++f) frames[f * mix.in + c] = 0.25f;
            AudioBlockRecord block{};
            block.Format = Format(32, mix.in, 48000, true);
            block.Data = frames.data();
            block.Size = uint32_t(frames.size() * 4);
            ASSERT_EQ(1, fx.dsp.PassAudioBlock(&block));
            ASSERT_EQ(mix.out, block.Format.Format.nChannels);
            ASSERT_EQ(4u * 4 * mix.out, block.Size);
            const std::vector<float> got = Floats(block);
            for (unsigned o = 0; o < mix.out; ++o)
                EXPECT_NEAR(0.25 * mix.weights[o][c], got[o], 1e-7) << "output " << o;
        }
        EXPECT_EQ("", fx.errors.Text());
    }
}

TEST(BitDepth, UpIsExactDownRoundsOrDithersAndFloatClips) {
    std::mt19937 rng(7);
    std::vector<int64_t> v24;
    for (int i = 0; i < 4000; ++i) v24.push_back(int64_t(rng() % (1 << 24)) - (1 << 23));
    const Bytes pcm24 = Pack(v24, 24);

    auto run = [&](const char16_t* settings, const Bytes& in, const TvWaveFormatExtensible& format, Bytes& out,
                   TvWaveFormatExtensible& outFormat) {
        Effect fx("Bit Depth");
        ASSERT_EQ(1, fx.IsLive(settings));
        ConversionRecord conv{};
        ASSERT_EQ(1, fx.dsp.BeginConversion(&conv, settings));
        AudioBlockRecord block{};
        block.Format = format;
        block.Data = const_cast<uint8_t*>(in.data());
        block.Size = uint32_t(in.size());
        ASSERT_EQ(1, fx.dsp.PassAudioBlock(&block));
        out.assign(static_cast<uint8_t*>(block.Data), static_cast<uint8_t*>(block.Data) + block.Size);
        outFormat = block.Format;
    };
    Bytes out;
    TvWaveFormatExtensible f{};

    // 24 -> 32 shifts every sample, and the record says 32-bit integer.
    run(u"-bits=32", pcm24, Format(24, 2, 44100), out, f);
    EXPECT_EQ(32, f.Format.wBitsPerSample);
    EXPECT_EQ(TV_WAVE_FORMAT_PCM, f.SubFormat.Data1);
    const auto v32 = Unpack(out.data(), out.size(), 32);
    ASSERT_EQ(v24.size(), v32.size());
    for (size_t i = 0; i < v24.size(); ++i) ASSERT_EQ(v24[i] * 256, v32[i]) << i;

    // 24 -> 16 without dither: the nearest step.
    run(u"-bits=16 -dither=none", pcm24, Format(24, 2, 44100), out, f);
    EXPECT_EQ(4u, f.Format.nBlockAlign);
    auto v16 = Unpack(out.data(), out.size(), 16);
    for (size_t i = 0; i < v24.size(); ++i) {
        const double exact = v24[i] / 256.0;
        ASSERT_LE(std::fabs(v16[i] - exact), 0.5) << i;
    }

    // With TPDF dither: never more than one and a half steps off, off the nearest step often,
    // and no bias.
    run(u"-bits=16", pcm24, Format(24, 2, 44100), out, f);
    v16 = Unpack(out.data(), out.size(), 16);
    size_t moved = 0;
    double bias = 0;
    for (size_t i = 0; i < v24.size(); ++i) {
        const double exact = v24[i] / 256.0;
        const double err = v16[i] - exact;
        ASSERT_LT(std::fabs(err), 1.5 + 1e-9) << i;
        if (v16[i] != std::llround(exact)) ++moved;
        bias += err;
    }
    EXPECT_GT(moved, v24.size() / 5);
    EXPECT_LT(std::fabs(bias / double(v24.size())), 0.1);

    // Float above full scale clips at the integer ends.
    const std::vector<float> loud = {1.5f, -1.5f, 0.5f, -0.25f};
    Bytes floatBytes(loud.size() * 4);
    std::memcpy(floatBytes.data(), loud.data(), floatBytes.size());
    run(u"-bits=8 -dither=none", floatBytes, Format(32, 2, 44100, true), out, f);
    EXPECT_EQ((std::vector<int64_t>{127, -128, 64, -32}), Unpack(out.data(), out.size(), 8));
}

TEST(Resample, HandsOnTheNewRateAndExactlyTheSourceLengthAfterAnEmptyLastBlock) {
    Effect fx("Resample");
    const char16_t* settings = u"-rate=48000";
    ASSERT_EQ(1, fx.IsLive(settings));
    ConversionRecord conv{};
    ASSERT_EQ(1, fx.dsp.BeginConversion(&conv, settings));
    const unsigned frames = 44100;
    std::vector<int64_t> v;
    for (unsigned i = 0; i < frames; ++i) {
        const auto s = int64_t(std::lround(10000 * std::sin(2 * M_PI * 440.0 * i / 44100)));
        v.push_back(s);
        v.push_back(-s);
    }
    const Bytes pcm = Pack(v, 16);
    size_t outBytes = 0;
    for (size_t at = 0, piece = 1000; at < pcm.size(); at += piece * 4, piece = piece * 3 % 7919 + 1) {
        AudioBlockRecord block{};
        block.Format = Format(16, 2, 44100);
        block.Data = const_cast<uint8_t*>(pcm.data()) + at;
        block.Size = uint32_t(std::min(pcm.size() - at, piece * 4));
        ASSERT_EQ(1, fx.dsp.PassAudioBlock(&block));
        EXPECT_EQ(48000u, block.Format.Format.nSamplesPerSec);
        EXPECT_EQ(192000u, block.Format.Format.nAvgBytesPerSec);
        outBytes += block.Size;
    }
    // The last block of a decoder may be empty and carry no format at all.
    AudioBlockRecord last{};
    last.EndOfStream = 1;
    ASSERT_EQ(1, fx.dsp.PassAudioBlock(&last));
    outBytes += last.Size;
    EXPECT_EQ(48000u * 4, outBytes);
    EXPECT_EQ(48000u, last.Format.Format.nSamplesPerSec);

    // At the target rate already, blocks pass untouched.
    Effect same("Resample");
    ASSERT_EQ(1, same.dsp.BeginConversion(&conv, u"-rate=44100"));
    AudioBlockRecord block{};
    block.Format = Format(16, 2, 44100);
    block.Data = const_cast<uint8_t*>(pcm.data());
    block.Size = 400;
    ASSERT_EQ(1, same.dsp.PassAudioBlock(&block));
    EXPECT_EQ(pcm.data(), block.Data);
}

class VerifyContract : public Folder {
protected:
    // Passes pcm through a fresh verifier and tells it that output was written from it.
    int32_t Verify(const Bytes& pcm, const std::string& output, std::string& errors) {
        Effect fx("Verify Output Integrity");
        ConversionRecord conv{};
        EXPECT_EQ(1, fx.dsp.BeginConversion(&conv, u""));
        for (size_t at = 0; at < pcm.size(); at += 8192) {
            AudioBlockRecord block{};
            block.Format = Format(16, 2, 44100);
            block.Data = const_cast<uint8_t*>(pcm.data()) + at;
            block.Size = uint32_t(std::min<size_t>(8192, pcm.size() - at));
            EXPECT_EQ(1, fx.dsp.PassAudioBlock(&block));
        }
        EXPECT_EQ(1, fx.dsp.EndConversion(&conv));
        tvkit::TagBlockWriter info;
        info.Add(u"_encoder", u"flac");
        const XString out(output.c_str(), true);
        conv.OutputFile = out.Text();
        conv.InfoTags = info.Data();
        conv.InfoTagsSize = info.Size();
        conv.CommandLine = u"";
        const int32_t result = fx.dsp.AfterConversion(&conv);
        errors = fx.errors.Text();
        return result;
    }
};

TEST_F(VerifyContract, ALosslessOutputMustGiveBackEverySampleToItsFullLength) {
    Shell("sox -n -r 44100 -c 2 -b 16 in.wav synth 2 sine 300 sine 500 vol 0.5 && flac -s -o out.flac in.wav");
    const Bytes pcm = codectest::ReadFile(Path("in.wav"));
    const Bytes audio(pcm.begin() + 44, pcm.end());  // sox writes a plain 44-byte header here
    ASSERT_EQ(44100u * 2 * 4, audio.size());
    std::string errors;

    EXPECT_EQ(1, Verify(audio, Path("out.flac"), errors));
    EXPECT_EQ("", errors);

    Bytes altered = audio;
    altered[1000] ^= 1;
    EXPECT_EQ(0, Verify(altered, Path("out.flac"), errors));
    EXPECT_NE(std::string::npos, errors.find("differ from those that passed this effect")) << errors;

    const Bytes whole = codectest::ReadFile(Path("out.flac"));
    codectest::WriteFile(Path("cut.flac"), Bytes(whole.begin(), whole.begin() + long(whole.size() / 2)));
    EXPECT_EQ(0, Verify(audio, Path("cut.flac"), errors));
    EXPECT_NE(std::string::npos, errors.find("decodes to")) << errors;
    EXPECT_NE(std::string::npos, errors.find("of 2.000 s")) << errors;
}

// A source of nothing ends with one empty block that may carry no format at all.
TEST(LiveEffects, AnEmptyLastBlockWithoutAFormatPassesEveryEffect) {
    struct Live {
        const char* effect;
        const char16_t* settings;
    };
    for (const Live& l :
         {Live{"Volume Adjust", u"-gain=6"}, Live{"Resample", u"-rate=48000"}, Live{"Bit Depth", u"-bits=24"},
          Live{"Channel Count", u"-channels=1"}, Live{"ReplayGain", u""}, Live{"CPU Throttle", u"-percent=100"},
          Live{"Verify Output Integrity", u""}}) {
        SCOPED_TRACE(l.effect);
        Effect fx(l.effect);
        ASSERT_EQ(1, fx.IsLive(l.settings));
        ConversionRecord conv{};
        ASSERT_EQ(1, fx.dsp.BeginConversion(&conv, l.settings));
        AudioBlockRecord last{};
        last.EndOfStream = 1;
        EXPECT_EQ(1, fx.dsp.PassAudioBlock(&last));
        EXPECT_EQ(0u, last.Size);
        EXPECT_EQ(1, fx.dsp.EndConversion(&conv));
        EXPECT_EQ("", fx.errors.Text());
    }
}
