// The MP3, Vorbis and Opus plug-ins through the host's wrappers: round trips keep the length
// (MP3 to the sample), the sound and the channel order; options, quality facts and refusals.
#include <gtest/gtest.h>

#include <filesystem>

#include "lossy_test_util.h"

using namespace codectest;
using namespace lossytest;

// The leak of libvorbisenc itself, not of the plug-in (see CMakeLists.txt).
extern "C" const char* __lsan_default_suppressions() { return "leak:vorbis_encode_setup_init\n"; }

namespace {

const PluginLogHandles kNoLogs{0, 0, 0};

struct Trip {
    Decoded decoded;
    int encodeResult = -1;
};

// Encodes a tone of the given layout with the plug-in pair and decodes it again.
Trip RoundTrip(const char* codec, const char* ext, const std::string& name, OpenFileRecord rec, unsigned frames,
               const char16_t* options, clTvDecoder& dec) {
    const Bytes pcm = Tone(rec, frames);
    const std::string out = TempPath("lossy_" + name + ext);
    std::filesystem::remove(out);
    rec.LengthBytes = int64_t(pcm.size());
    Trip t;
    t.encodeResult = EncodeAll((std::string("encoder/") + codec + ".so").c_str(), rec, pcm, out, options, kNoLogs);
    if (t.encodeResult == 1)
        t.decoded = DecodeAll(dec, (std::string("decoder/") + codec + ".so").c_str(), out, kNoLogs);
    return t;
}

}  // namespace

TEST(LossyCodecs, Mp3RoundTripKeepsTheSampleCountAndTheSound) {
    struct Case {
        const char* name;
        unsigned bits, channels, rate;
        bool isFloat;
        const char16_t* options;
        const char16_t* quality;  // start of "Audio Quality"
    };
    const Case cases[] = {
        {"mp3_v2", 16, 2, 44100, false, u"", u"V2 (about "},
        {"mp3_cbr", 24, 2, 48000, false, u" -b=\"320\"", u"CBR 320 kbps"},
        {"mp3_abr", 32, 1, 32000, true, u"--abr 96 -q 2", u"ABR 96 kbps"},
        {"mp3_v5", 8, 1, 22050, false, u"-V5", u"V5 (about "},
        {"mp3_8k", 32, 2, 8000, false, u"-V 4", u"V4 (about "},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const unsigned frames = c.rate + 1234;  // a second and a bit: no whole number of MP3 frames
        clTvDecoder dec;
        const Trip t =
            RoundTrip("mp3", ".mp3", c.name, Record(c.bits, c.channels, c.rate, c.isFloat), frames, c.options, dec);
        ASSERT_EQ(1, t.encodeResult);
        ASSERT_TRUE(t.decoded.opened);
        ASSERT_FALSE(t.decoded.failed);
        const OpenFileRecord& r = t.decoded.rec;
        EXPECT_EQ(size_t(frames) * 2 * c.channels, t.decoded.audio.size());
        EXPECT_EQ(int64_t(frames) * 2 * c.channels, int64_t{r.LengthBytes});
        EXPECT_EQ(c.rate, unsigned{r.Format.Format.nSamplesPerSec});
        EXPECT_EQ(16u, unsigned{r.Format.Format.wBitsPerSample});
        const size_t tenth = size_t(c.rate) / 10 * r.Format.Format.nBlockAlign;
        for (size_t i = 0; i + 1 < t.decoded.blockSizes.size(); ++i)
            EXPECT_NEAR(double(t.decoded.blockSizes[i]), double(tenth), 2.0 * c.channels);
        // Gapless: the decoded tone lies exactly on the source, so the difference is the codec's noise only.
        for (unsigned ch = 0; ch < c.channels; ++ch)
            EXPECT_GT(ChannelSnr(t.decoded.audio, c.channels, ch, c.rate), 15.0);
        const std::u16string quality = TagOf(r.InfoTags, r.InfoTagsSize, u"Audio Quality");
        EXPECT_EQ(0u, quality.find(c.quality)) << XString(quality.c_str()).ToStdUtf8();
        EXPECT_EQ(0u, TagOf(r.InfoTags, r.InfoTagsSize, u"Encoder").find(u"LAME"));
        EXPECT_FALSE(TagOf(r.InfoTags, r.InfoTagsSize, u"Bit Rate").empty());
    }
    // The reference decoder agrees on the length (it reads the same LAME frame).
    const std::string wav = TempPath("lossy_mp3_v2_ref.wav");
    ASSERT_FALSE(RunCommand("mpg123 -q -w '" + wav + "' '" + TempPath("lossy_mp3_v2.mp3") + "' && echo ok").empty());
    EXPECT_EQ(44u + size_t(44100 + 1234) * 4, std::filesystem::file_size(wav));
}

TEST(LossyCodecs, VorbisAndOpusRoundTripsKeepLengthSoundAndChannelOrder) {
    struct Case {
        const char* codec;
        const char* ext;
        const char* name;
        unsigned bits, channels, rate;
        bool isFloat;
        const char16_t* options;
    };
    const Case cases[] = {
        {"vorbis", ".ogg", "vorbis_stereo", 16, 2, 44100, false, u""},
        {"vorbis", ".ogg", "vorbis_6ch", 24, 6, 48000, false, u"-q 3"},
        {"vorbis", ".ogg", "vorbis_float", 32, 1, 32000, true, u"-q=\"7.5\""},
        {"opus", ".opus", "opus_stereo", 16, 2, 48000, false, u""},
        {"opus", ".opus", "opus_8ch", 16, 8, 48000, false, u"--bitrate 384"},
        {"opus", ".opus", "opus_mono_float", 32, 1, 48000, true, u"--bitrate=64 --comp 5"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const unsigned frames = c.rate + 777;
        clTvDecoder dec;
        const Trip t =
            RoundTrip(c.codec, c.ext, c.name, Record(c.bits, c.channels, c.rate, c.isFloat), frames, c.options, dec);
        ASSERT_EQ(1, t.encodeResult);
        ASSERT_TRUE(t.decoded.opened);
        ASSERT_FALSE(t.decoded.failed);
        const OpenFileRecord& r = t.decoded.rec;
        EXPECT_EQ(size_t(frames) * 2 * c.channels, t.decoded.audio.size());
        EXPECT_EQ(int64_t(t.decoded.audio.size()), int64_t{r.LengthBytes});
        EXPECT_EQ(c.channels, unsigned{r.Format.Format.nChannels});
        // Each channel comes back as its own tone, in its own place (a swapped one would be far
        // below 0 dB). The LFE is coded coarsely.
        for (unsigned ch = 0; ch < c.channels; ++ch)
            EXPECT_GT(ChannelSnr(t.decoded.audio, c.channels, ch, c.rate), c.channels >= 6 && ch == 3 ? 6.0 : 15.0)
                << ch;
        EXPECT_EQ(0u, TagOf(r.InfoTags, r.InfoTagsSize, u"Audio Quality").find(u"VBR (about "));
        EXPECT_FALSE(TagOf(r.InfoTags, r.InfoTagsSize, u"Encoder").empty());
    }
}

TEST(LossyCodecs, OpusResamplesOtherRatesTo48k) {
    for (unsigned rate : {44100u, 22050u}) {
        SCOPED_TRACE(rate);
        clTvDecoder dec;
        const unsigned frames = rate + rate / 2;
        const Trip t =
            RoundTrip("opus", ".opus", "opus_" + std::to_string(rate), Record(24, 2, rate), frames, u"", dec);
        ASSERT_EQ(1, t.encodeResult);
        ASSERT_TRUE(t.decoded.opened);
        EXPECT_EQ(48000u, unsigned{t.decoded.rec.Format.Format.nSamplesPerSec});
        const double expected = double(frames) * 48000 / rate;
        EXPECT_NEAR(expected, double(t.decoded.audio.size() / 4), 2.0);
        // The tones keep their pitch and loudness: compared at the new rate.
        for (unsigned ch = 0; ch < 2; ++ch) EXPECT_GT(ChannelSnr(t.decoded.audio, 2, ch, 48000), 15.0);
        // The header records the source's rate, as the opusenc tool does.
        const Bytes file = ReadFile(TempPath("lossy_opus_" + std::to_string(rate) + ".opus"));
        const size_t head = std::string(file.begin(), file.end()).find("OpusHead");
        ASSERT_NE(std::string::npos, head);
        EXPECT_EQ(rate,
                  uint32_t(file[head + 12] | file[head + 13] << 8 | file[head + 14] << 16 | file[head + 15] << 24));
    }
}

TEST(LossyCodecs, Mp3ResamplesRatesMpegCantHold) {
    struct Case {
        unsigned from;
        const char16_t* options;
        unsigned to;
    };
    const Case cases[] = {{96000, u"", 48000},
                          {88200, u"", 44100},
                          {192000, u"", 48000},
                          {64000, u"", 32000},
                          {50000, u"", 48000},
                          {48000, u"--resample 44.1", 44100},
                          {96000, u"-resample=\"22.05\"", 22050}};
    for (const Case& c : cases) {
        SCOPED_TRACE(std::to_string(c.from) + " -> " + std::to_string(c.to));
        OpenFileRecord rec = Record(24, 2, c.from);
        const unsigned frames = c.from + c.from / 3;
        const Bytes pcm = Tone(rec, frames);
        rec.LengthBytes = int64_t(pcm.size());
        LogFile infos;
        const std::string out = TempPath("lossy_resampled.mp3");
        ASSERT_EQ(1, EncodeAll("encoder/mp3.so", rec, pcm, out, c.options, {0, infos.Handle(), 0}));
        EXPECT_EQ("Resampling from " + std::to_string(c.from) + " Hz to " + std::to_string(c.to) +
                      " Hz for MP3.  [Mp3::BeginConversion]\r\n",
                  infos.Text());
        clTvDecoder dec;
        const Decoded d = DecodeAll(dec, "decoder/mp3.so", out, kNoLogs);
        ASSERT_TRUE(d.opened);
        EXPECT_EQ(c.to, unsigned{d.rec.Format.Format.nSamplesPerSec});
        EXPECT_NEAR(double(frames) * c.to / c.from, double(d.audio.size() / 4), 2.0);
        for (unsigned ch = 0; ch < 2; ++ch) EXPECT_GT(ChannelSnr(d.audio, 2, ch, c.to), 15.0);
    }
}

TEST(LossyCodecs, DecodersGiveFloatWhenAskedForHighestQuality) {
    for (const char* codec : {"mp3", "vorbis", "opus"}) {
        SCOPED_TRACE(codec);
        clTvEncoder enc;
        ASSERT_TRUE(enc.LoadFile(Plugin((std::string("encoder/") + codec + ".so").c_str())));
        ASSERT_TRUE(enc.Create(&kNoLogs));
        PluginArgs args{};
        EXPECT_NE(0, enc.Get(u"NeedHQAudio", &args));

        clTvDecoder first;
        const Trip t = RoundTrip(codec, ".hq", std::string("hq_") + codec, Record(16, 2, 48000), 30000, u"", first);
        ASSERT_EQ(1, t.encodeResult);
        EXPECT_EQ(16, t.decoded.rec.Format.Format.wBitsPerSample);
        const std::string path = TempPath(std::string("lossy_hq_") + codec + ".hq");
        clTvDecoder dec;
        const Decoded hq =
            DecodeAll(dec, (std::string("decoder/") + codec + ".so").c_str(), path, kNoLogs, u"Highest Quality");
        ASSERT_TRUE(hq.opened);
        const TvWaveFormatExtensible& f = hq.rec.Format;
        EXPECT_EQ(32, f.Format.wBitsPerSample);
        EXPECT_EQ(8, f.Format.nBlockAlign);
        EXPECT_EQ(uint32_t{TV_WAVE_FORMAT_IEEE_FLOAT}, f.SubFormat.Data1);
        ASSERT_EQ(t.decoded.audio.size() * 2, hq.audio.size());
        // The same sound, with the precision a 16-bit step would have lost.
        size_t finer = 0;
        for (size_t i = 0; i < hq.audio.size() / 4; ++i) {
            float v;
            std::memcpy(&v, hq.audio.data() + 4 * i, 4);
            ASSERT_NEAR(Sample16(t.decoded.audio, i) / 32768.0, v, 1.01 / 32768) << i;
            finer += v * 32768 != std::nearbyint(v * 32768);
        }
        EXPECT_GT(finer, hq.audio.size() / 8);
    }
}

TEST(LossyCodecs, PropertiesAndRefusals) {
    struct Enc {
        const char* plugin;
        const char16_t* ext;
    };
    for (const Enc& e :
         {Enc{"encoder/mp3.so", u".mp3"}, Enc{"encoder/vorbis.so", u".ogg"}, Enc{"encoder/opus.so", u".opus"}}) {
        clTvEncoder enc;
        ASSERT_TRUE(enc.LoadFile(Plugin(e.plugin)));
        ASSERT_TRUE(enc.Create(&kNoLogs));
        PluginArgs args{};
        ASSERT_NE(0, enc.Get(u"Extension", &args));
        EXPECT_EQ(XString(e.ext), XString(args.Text));
        args = {};
        EXPECT_EQ(0, enc.Get(u"IsLossless", &args));
    }
    struct Dec {
        const char* plugin;
        std::vector<const char16_t*> exts;
    };
    for (const Dec& d : {Dec{"decoder/mp3.so", {u".mp3"}}, Dec{"decoder/vorbis.so", {u".ogg", u".oga"}},
                         Dec{"decoder/opus.so", {u".opus"}}}) {
        clTvDecoder dec;
        ASSERT_TRUE(dec.LoadFile(Plugin(d.plugin), XString(u".x")));
        ASSERT_TRUE(dec.Create(&kNoLogs));
        for (uint32_t i = 0; i <= d.exts.size(); ++i) {
            PluginArgs args{};
            args.Index = i;
            if (i == d.exts.size()) {
                EXPECT_EQ(0, dec.Get(u"Decodes", &args));
            } else {
                ASSERT_NE(0, dec.Get(u"Decodes", &args));
                EXPECT_EQ(XString(d.exts[i]), XString(args.Text));
            }
        }
    }

    // Refused in ENC_BeginConversion, before anything is written, with what is supported.
    struct Refusal {
        const char* plugin;
        OpenFileRecord rec;
        const char16_t* options;
        const char* says;
    };
    const Refusal refusals[] = {
        {"encoder/mp3.so", Record(16, 8, 48000), u"", "mono or stereo"},
        {"encoder/mp3.so", Record(16, 2, 96000), u"--resample 50", "Invalid MP3 options"},
        {"encoder/mp3.so", Record(16, 2, 44100), u"-b 100", "Invalid MP3 options"},
        {"encoder/mp3.so", Record(16, 2, 44100), u"-V 11", "Invalid MP3 options"},
        {"encoder/vorbis.so", Record(16, 2, 44100), u"-q 12", "Invalid Vorbis options"},
        {"encoder/opus.so", Record(16, 2, 44100), u"--bitrate 2", "Invalid Opus options"},
        // The host's form of every option: one dash, the value quoted.
        {"encoder/opus.so", Record(16, 2, 44100), u" -bitrate=\"600\"", "Invalid Opus options"},
        {"encoder/mp3.so", Record(16, 2, 44100), u" -abr=\"999\"", "Invalid MP3 options"},
    };
    for (const Refusal& r : refusals) {
        SCOPED_TRACE(r.says);
        LogFile errors;
        const PluginLogHandles logs{errors.Handle(), 0, 0};
        const std::string out = TempPath("lossy_refused.out");
        std::filesystem::remove(out);
        OpenFileRecord rec = r.rec;
        EXPECT_EQ(-1, EncodeAll(r.plugin, rec, Tone(rec, 1000), out, r.options, logs));
        EXPECT_FALSE(std::filesystem::exists(out));
        EXPECT_EQ(1u, ErrorLines(errors.Text()));
        EXPECT_NE(std::string::npos, errors.Text().find(r.says)) << errors.Text();
    }
}
