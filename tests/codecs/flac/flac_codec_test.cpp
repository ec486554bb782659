// The FLAC plug-ins through the host's wrappers: WAV -> FLAC -> WAV is bit-exact, blocks are
// about 100 ms, the options and refusals hold, and damaged streams end in one error line.
#include <algorithm>
#include <cstring>

#include "codecs/codec_test_util.h"
#include "tvkit/tag_block.h"

using namespace codectest;

namespace {

const PluginLogHandles kNoLogs{0, 0, 0};

size_t ErrorLines(const std::string& log) {
    size_t n = 0;
    for (size_t at = log.find("Error:"); at != std::string::npos; at = log.find("Error:", at + 1)) ++n;
    return n;
}

std::u16string TagOf(const void* block, uint32_t size, std::u16string_view name) {
    return tvkit::FindTag(tvkit::ParseTagBlock(block, size), name);
}

}  // namespace

TEST(FlacCodec, WaveToFlacToWaveIsBitExact) {
    struct Shape {
        unsigned bits, channels, rate, valid = 0;
    };
    const Shape shapes[] = {{16, 1, 44100}, {16, 2, 44100}, {16, 6, 48000},     {16, 8, 48000},
                            {24, 1, 96000}, {24, 2, 48000}, {24, 6, 44100},     {24, 8, 48000},
                            {8, 2, 22050},  {32, 2, 48000}, {24, 2, 44100, 20}, {16, 1, 8000, 12}};
    for (const Shape& s : shapes) {
        const unsigned valid = s.valid ? s.valid : s.bits;
        const std::string name = "rt" + std::to_string(valid) + "_" + std::to_string(s.channels);
        SCOPED_TRACE(name);
        const unsigned frames = s.rate / 4 + 777;  // not a multiple of any block size
        const Bytes pcm = Signal(s.bits, s.channels, s.rate, frames, valid);
        const std::string wav = TempPath(name + ".wav"), flac = TempPath(name + ".flac"),
                          back = TempPath(name + "_back.wav");
        WriteFile(wav, Wave(pcm, s.bits, s.channels, s.rate, valid));

        clTvDecoder wavDec;
        Decoded src = DecodeAll(wavDec, "decoder/wave.so", wav, kNoLogs);
        ASSERT_TRUE(src.opened);
        ASSERT_EQ(1, EncodeAll("encoder/flac.so", src.rec, src.audio, flac, s.channels == 8 ? u"-8" : u"", kNoLogs));

        clTvDecoder flacDec;
        Decoded mid = DecodeAll(flacDec, "decoder/flac.so", flac, kNoLogs);
        ASSERT_TRUE(mid.opened);
        ASSERT_FALSE(mid.failed);
        EXPECT_EQ(pcm, mid.audio);
        EXPECT_EQ(int64_t(pcm.size()), int64_t{mid.rec.LengthBytes});
        EXPECT_EQ(int64_t(frames) * 1000 / s.rate, int64_t{mid.rec.LengthMs});
        EXPECT_EQ(s.bits, unsigned{mid.rec.Format.Format.wBitsPerSample});
        if (valid != s.bits) {
            EXPECT_EQ(valid, unsigned{mid.rec.Format.wValidBitsPerSample});
        }
        EXPECT_EQ(s.channels, unsigned{mid.rec.Format.Format.nChannels});
        // Every block but the last holds about 100 ms.
        const size_t tenth = size_t(s.rate) / 10 * mid.rec.Format.Format.nBlockAlign;
        for (size_t i = 0; i + 1 < mid.blockSizes.size(); ++i) {
            EXPECT_GE(mid.blockSizes[i], tenth);
            EXPECT_LT(mid.blockSizes[i], tenth * 2);
        }
        EXPECT_EQ(u"Lossless", TagOf(mid.rec.InfoTags, mid.rec.InfoTagsSize, u"Audio Quality"));
        EXPECT_EQ(u"FLAC", TagOf(mid.rec.InfoTags, mid.rec.InfoTagsSize, u"Codec"));
        EXPECT_FALSE(TagOf(mid.rec.InfoTags, mid.rec.InfoTagsSize, u"Bit Rate").empty());

        ASSERT_EQ(1, EncodeAll("encoder/wave.so", mid.rec, mid.audio, back, u"", kNoLogs));
        clTvDecoder backDec;
        EXPECT_EQ(pcm, DecodeAll(backDec, "decoder/wave.so", back, kNoLogs).audio);

        // The outside check: the reference tool tests the stream against its MD5, which the
        // encoder works out beside libFLAC and must have set.
        EXPECT_EQ("ok\n", RunCommand("flac -t -s " + Quote(flac) + " 2>&1 && echo ok"));
        EXPECT_NE("00000000000000000000000000000000\n", RunCommand("metaflac --show-md5sum " + Quote(flac)));
    }
}

// Long streams are hashed beside libFLAC, on a thread of their own: the MD5 must still be the one
// the reference tool computes, for every sample width.
TEST(FlacCodec, LongStreamsCarryTheReferenceMd5) {
    for (unsigned bits : {8u, 16u, 24u}) {
        SCOPED_TRACE(bits);
        const std::string name = "long" + std::to_string(bits);
        const Bytes pcm = Signal(bits, 2, 8000, 8000 * 21 + 5);
        const std::string wav = TempPath(name + ".wav"), flac = TempPath(name + ".flac"),
                          ref = TempPath(name + "_ref.flac");
        WriteFile(wav, Wave(pcm, bits, 2, 8000));
        clTvDecoder wavDec;
        Decoded src = DecodeAll(wavDec, "decoder/wave.so", wav, kNoLogs);
        ASSERT_TRUE(src.opened);
        ASSERT_EQ(1, EncodeAll("encoder/flac.so", src.rec, src.audio, flac, u"", kNoLogs, 3000));
        EXPECT_EQ("ok\n", RunCommand("flac -t -s " + Quote(flac) + " 2>&1 && echo ok"));
        RunCommand("flac -s -f -o " + Quote(ref) + " " + Quote(wav));
        const std::string md5 = RunCommand("metaflac --show-md5sum " + Quote(flac));
        EXPECT_EQ(RunCommand("metaflac --show-md5sum " + Quote(ref)), md5);
        EXPECT_NE("00000000000000000000000000000000\n", md5);
    }
}

TEST(FlacCodec, OptionsAndRefusals) {
    // Higher levels compress at least as well; all decode to the same samples.
    Bytes pcm = Signal(16, 2, 44100, 44100);
    const std::string wav = TempPath("levels.wav");
    WriteFile(wav, Wave(pcm, 16, 2, 44100));
    clTvDecoder wavDec;
    Decoded src = DecodeAll(wavDec, "decoder/wave.so", wav, kNoLogs);
    ASSERT_EQ(1, EncodeAll("encoder/flac.so", src.rec, src.audio, TempPath("l0.flac"), u"-0", kNoLogs));
    ASSERT_EQ(1, EncodeAll("encoder/flac.so", src.rec, src.audio, TempPath("l8.flac"), u"-8 -V", kNoLogs));
    EXPECT_LE(ReadFile(TempPath("l8.flac")).size(), ReadFile(TempPath("l0.flac")).size());
    clTvDecoder d8;
    EXPECT_EQ(pcm, DecodeAll(d8, "decoder/flac.so", TempPath("l8.flac"), kNoLogs).audio);

    // A compressed format is refused before any output exists, with what FLAC can hold.
    LogFile errors;
    const PluginLogHandles logs{errors.Handle(), 0, 0};
    OpenFileRecord mpegRec{};
    mpegRec.Format.Format = {0x55, 2, 44100, 16000, 1, 0, 0};
    const std::string refused = TempPath("mpeg.flac");
    std::filesystem::remove(refused);
    EXPECT_EQ(-1, EncodeAll("encoder/flac.so", mpegRec, Bytes(800), refused, u"", logs));
    EXPECT_FALSE(std::filesystem::exists(refused));
    EXPECT_NE(std::string::npos, errors.Text().find("FLAC holds PCM of 4 to 32 bits or float, 1 to 8 channels"));
}

namespace {

Bytes Floats(const std::vector<float>& v) {
    Bytes b(v.size() * 4);
    std::memcpy(b.data(), v.data(), b.size());
    return b;
}

int32_t Int24(const Bytes& pcm, size_t i) {
    return int32_t(uint32_t(pcm[3 * i]) << 8 | uint32_t(pcm[3 * i + 1]) << 16 | uint32_t(pcm[3 * i + 2]) << 24) >> 8;
}

}  // namespace

TEST(FlacCodec, FloatBecomes24BitExactlyOrWithDitherAndOneLine) {
    OpenFileRecord rec{};
    rec.Format.Format = {TV_WAVE_FORMAT_IEEE_FLOAT, 2, 48000, 48000 * 8, 8, 32, 0};
    const Bytes ints = Signal(24, 2, 48000, 20000);
    std::vector<float> exact(ints.size() / 3);
    for (size_t i = 0; i < exact.size(); ++i) exact[i] = float(Int24(ints, i)) / 8388608.0f;

    // Float made from 24-bit audio: lossless, silently.
    {
        LogFile infos;
        const std::string out = TempPath("float_exact.flac");
        ASSERT_EQ(1, EncodeAll("encoder/flac.so", rec, Floats(exact), out, u"", {0, infos.Handle(), 0}));
        EXPECT_EQ("", infos.Text());
        clTvDecoder dec;
        const Decoded d = DecodeAll(dec, "decoder/flac.so", out, kNoLogs);
        EXPECT_EQ(24, d.rec.Format.Format.wBitsPerSample);
        EXPECT_EQ(ints, d.audio);
    }
    // Anything else: rounded with dither (within 1.5 LSB either way), clipped values counted.
    {
        std::vector<float> loud = exact;
        for (size_t i = 0; i < loud.size(); ++i) loud[i] = loud[i] * 1.3f + 1e-5f;
        size_t beyond = 0;
        for (float v : loud) beyond += v > 1.0f || v < -1.0f;
        ASSERT_GT(beyond, 100u);
        LogFile infos;
        const std::string out = TempPath("float_loud.flac");
        ASSERT_EQ(1, EncodeAll("encoder/flac.so", rec, Floats(loud), out, u"", {0, infos.Handle(), 0}));
        EXPECT_EQ("Float audio was rounded to 24 bits with TPDF dither for FLAC; " + std::to_string(beyond) +
                      " samples beyond full scale were clipped.  [Flac::EndConversion]\r\n",
                  infos.Text());
        clTvDecoder dec;
        const Decoded d = DecodeAll(dec, "decoder/flac.so", out, kNoLogs);
        ASSERT_EQ(ints.size(), d.audio.size());
        for (size_t i = 0; i < loud.size(); ++i) {
            const double want = std::clamp(double(loud[i]) * 8388608.0, -8388608.0, 8388607.0);
            ASSERT_LE(std::abs(Int24(d.audio, i) - want), 1.5) << i;
        }
    }
}

TEST(FlacCodec, DamagedStreamsGiveOneErrorAndNoCrash) {
    Bytes pcm;
    const std::string good = MakeFlac("damage", 16, 2, 44100, 44100, &pcm);
    const Bytes file = ReadFile(good);
    ASSERT_GT(file.size(), 20000u);

    // Cut in the middle: the audio before the cut arrives, then the error.
    {
        const std::string cut = TempPath("cut.flac");
        WriteFile(cut, Bytes(file.begin(), file.begin() + long(file.size() * 6 / 10)));
        LogFile errors;
        clTvDecoder dec;
        Decoded d = DecodeAll(dec, "decoder/flac.so", cut, {errors.Handle(), 0, 0});
        ASSERT_TRUE(d.opened);
        EXPECT_TRUE(d.failed);
        EXPECT_NE(std::string::npos, errors.Text().find("Error: FLAC stream is truncated at 0:0")) << errors.Text();
        EXPECT_EQ(1u, ErrorLines(errors.Text()));
    }
    // Garbage in the middle of the frames.
    {
        Bytes bad = file;
        for (size_t i = bad.size() / 2; i < bad.size() / 2 + 300; ++i) bad[i] = uint8_t(i * 91);
        const std::string corrupt = TempPath("corrupt.flac");
        WriteFile(corrupt, bad);
        LogFile errors;
        clTvDecoder dec;
        Decoded d = DecodeAll(dec, "decoder/flac.so", corrupt, {errors.Handle(), 0, 0});
        ASSERT_TRUE(d.opened);
        EXPECT_TRUE(d.failed);
        EXPECT_NE(std::string::npos, errors.Text().find("Error: FLAC stream is corrupt at 0:00.")) << errors.Text();
        EXPECT_EQ(1u, ErrorLines(errors.Text()));
    }
    // Not FLAC at all, and only the header.
    for (const Bytes& bytes : {Bytes(5000, 0x55), Bytes(file.begin(), file.begin() + 30)}) {
        const std::string path = TempPath("notflac.flac");
        WriteFile(path, bytes);
        LogFile errors;
        clTvDecoder dec;
        EXPECT_FALSE(DecodeAll(dec, "decoder/flac.so", path, {errors.Handle(), 0, 0}).opened);
        EXPECT_NE(std::string::npos, errors.Text().find("Error: ")) << errors.Text();
    }
}

// A stream of 20 seconds or more is decoded ahead on a second thread: it must give the same
// bytes as the reference decoder, the same single error at a fault, and let go at once when the
// host closes it halfway.
TEST(FlacCodec, LongStreamsDecodedAheadMatchTheReferenceAndStopCleanly) {
    const std::string flac = TempPath("ahead.flac"), ref = TempPath("ahead.raw");
    ASSERT_EQ("ok\n",
              RunCommand("sox -n -r 44100 -c 2 -b 16 -t wav - synth 25 sine 200-4000 synth 25 pinknoise mix "
                         "vol 0.5 | flac -5 -s -f -o " +
                         Quote(flac) + " - && flac -d -s -f --force-raw-format --endian=little --sign=signed -o " +
                         Quote(ref) + " " + Quote(flac) + " && echo ok"));
    const Bytes reference = ReadFile(ref), file = ReadFile(flac);
    {
        clTvDecoder dec;
        const Decoded d = DecodeAll(dec, "decoder/flac.so", flac, kNoLogs);
        ASSERT_TRUE(d.opened);
        EXPECT_FALSE(d.failed);
        EXPECT_TRUE(d.audio == reference) << d.audio.size() << " bytes against " << reference.size();
    }
    // Damage at 60 %: what came before arrives unchanged, then one error line.
    {
        Bytes bad = file;
        for (size_t i = bad.size() * 6 / 10; i < bad.size() * 6 / 10 + 400; ++i) bad[i] = uint8_t(i * 37);
        const std::string corrupt = TempPath("ahead_corrupt.flac");
        WriteFile(corrupt, bad);
        LogFile errors;
        clTvDecoder dec;
        const Decoded d = DecodeAll(dec, "decoder/flac.so", corrupt, {errors.Handle(), 0, 0});
        ASSERT_TRUE(d.opened);
        EXPECT_TRUE(d.failed);
        EXPECT_EQ(1u, ErrorLines(errors.Text())) << errors.Text();
        EXPECT_NE(std::string::npos, errors.Text().find("Error: FLAC stream is corrupt at 0:1")) << errors.Text();
        ASSERT_GT(d.audio.size(), reference.size() / 2);
        EXPECT_TRUE(std::equal(d.audio.begin(), d.audio.end(), reference.begin()));
    }
    // Cut at 70 %: the truncation is told once the reader meets the end.
    {
        const std::string cut = TempPath("ahead_cut.flac");
        WriteFile(cut, Bytes(file.begin(), file.begin() + long(file.size() * 7 / 10)));
        LogFile errors;
        clTvDecoder dec;
        const Decoded d = DecodeAll(dec, "decoder/flac.so", cut, {errors.Handle(), 0, 0});
        EXPECT_TRUE(d.failed);
        EXPECT_EQ(1u, ErrorLines(errors.Text())) << errors.Text();
        EXPECT_NE(std::string::npos, errors.Text().find("Error: FLAC stream is truncated at 0:1")) << errors.Text();
    }
    // Closed after three blocks, as on a quit: the second thread stops, the next open starts afresh.
    {
        clTvDecoder dec;
        const XString wide(flac.c_str(), true);
        ASSERT_TRUE(dec.LoadFile(Plugin("decoder/flac.so"), XString(u".x")) && dec.Create(&kNoLogs));
        for (int round = 0; round < 2; ++round) {
            OpenFileRecord rec{};
            rec.Path = wide.Text();
            rec.RecordKind = TV_RECORD_KIND_PUMP;
            ASSERT_TRUE(dec.Open(&rec));
            Bytes first;
            for (int i = 0; i < 3; ++i) {
                AudioBlockRecord block{};
                ASSERT_TRUE(dec.DecodeBlock(&block));
                first.insert(first.end(), static_cast<uint8_t*>(block.Data),
                             static_cast<uint8_t*>(block.Data) + block.Size);
            }
            EXPECT_TRUE(std::equal(first.begin(), first.end(), reference.begin()));
            ConversionRecord conv{};
            dec.Close(&conv);
        }
    }
}
