// Whole conversions by travex between WAV, MP3, Ogg Vorbis and Opus: the sample count of the
// MP3 leg, the tags through every leg, and an input MP3 can't hold refused before any output.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

#include "lossy_test_util.h"
#include "support/temp_folder.h"

using namespace codectest;
using namespace lossytest;
namespace fs = std::filesystem;

namespace {

const PluginLogHandles kNoLogs{0, 0, 0};

class LossyTravex : public ::testing::Test {
protected:
    // travex in the folder with a settings store of its own; its exit status, and its
    // standard error (UTF-16) as ASCII in err.
    int Travex(const std::string& args, std::string* err = nullptr) {
        const tvtest::RunResult r =
            tvtest::RunIn(dir.path,
                          "export TONVALE_CONFIG_HOME=\"$PWD\" HOME=\"$PWD\" "
                          "XDG_RUNTIME_DIR=\"$PWD\" TONVALE_DEBUG= && " +
                              tvtest::ShellQuote(tvtest::ToolPath("travex")) + " " + args + " -silent");
        if (err) {
            err->clear();
            for (char c : tvtest::AsciiOfUtf16(r.err))
                if (c >= 0x20 && c < 0x7F) *err += c;
        }
        return r.status;
    }
    std::string Path(const std::string& name) const { return dir.Str(name); }

    tvtest::TempFolder dir{"lossy-travex"};
};

}  // namespace

TEST_F(LossyTravex, WaveToMp3ToVorbisToOpusKeepsTagsAndTheMp3SampleCount) {
    OpenFileRecord rec = Record(16, 2, 44100);
    const unsigned frames = 44100 + 4321;
    WriteFile(Path("in.wav"), Wave(Tone(rec, frames), 16, 2, 44100));

    ASSERT_EQ(0, Travex("-infile=in.wav -outfile=a.mp3 -convert_to=mp3 -V=3 \"-tag=Title=Round the Formats\" "
                        "\"-tag=Artist=Travex\""));
    ASSERT_EQ(0, Travex("-infile=a.mp3 -outfile=b.ogg -convert_to=vorbis -q=4"));
    ASSERT_EQ(0, Travex("-infile=b.ogg -outfile=c.opus -convert_to=opus -bitrate=96"));
    ASSERT_EQ(0, Travex("-infile=a.mp3 -outfile=d.wav -convert_to=wave"));

    struct Leg {
        const char* plugin;
        const char* file;
        size_t bytes;  // of decoded 16-bit stereo audio
    };
    const size_t at44 = size_t(frames) * 4, at48 = size_t(frames) * 48000 / 44100 * 4;
    for (const Leg& leg : {Leg{"decoder/mp3.so", "a.mp3", at44}, Leg{"decoder/vorbis.so", "b.ogg", at44},
                           Leg{"decoder/opus.so", "c.opus", at48}}) {
        SCOPED_TRACE(leg.file);
        clTvDecoder dec;
        const Decoded d = DecodeAll(dec, leg.plugin, Path(leg.file), kNoLogs);
        ASSERT_TRUE(d.opened);
        EXPECT_FALSE(d.failed);
        EXPECT_NEAR(double(leg.bytes), double(d.audio.size()), 8.0);
        EXPECT_EQ(u"Round the Formats", TagOf(d.rec.IDTags, d.rec.IDTagsSize, u"Title"));
        EXPECT_EQ(u"Travex", TagOf(d.rec.IDTags, d.rec.IDTagsSize, u"Artist"));
    }
    // The MP3 leg back to WAV: every sample of the source, not one more.
    clTvDecoder wav;
    EXPECT_EQ(at44, DecodeAll(wav, "decoder/wave.so", Path("d.wav"), kNoLogs).audio.size());
}

TEST_F(LossyTravex, EightChannelsToMp3AreRefusedBeforeAnyOutput) {
    WriteFile(Path("eight.wav"), Wave(Tone(Record(16, 8, 48000), 4800), 16, 8, 48000));
    std::string err;
    EXPECT_NE(0, Travex("-infile=eight.wav -outfile=eight.mp3 -convert_to=mp3", &err));
    EXPECT_FALSE(fs::exists(Path("eight.mp3")));
    EXPECT_NE(std::string::npos, err.find("MP3 holds mono or stereo")) << err;
}

TEST_F(LossyTravex, HighRateFlacToMp3Becomes48kOfTheSameLength) {
    ASSERT_EQ(0, std::system(("cd " + tvtest::ShellQuote(dir.Str()) +
                              " && sox -n -r 96000 -c 2 -b 24 hi.flac synth 2.5 sine 300-4000 gain -6")
                                 .c_str()));
    ASSERT_EQ(0, Travex("-infile=hi.flac -outfile=hi.mp3 -convert_to=mp3"));
    clTvDecoder dec;
    const Decoded d = DecodeAll(dec, "decoder/mp3.so", Path("hi.mp3"), kNoLogs);
    ASSERT_TRUE(d.opened);
    EXPECT_FALSE(d.failed);
    EXPECT_EQ(48000u, unsigned{d.rec.Format.Format.nSamplesPerSec});
    EXPECT_NEAR(2.5 * 48000, double(d.audio.size() / 4), 1152.0);  // within one MP3 frame
}

TEST_F(LossyTravex, VorbisCutInHalfToEveryEncoderFailsCleanly) {
    ASSERT_EQ(0, std::system(("cd " + tvtest::ShellQuote(dir.Str()) +
                              " && sox -n -r 44100 -c 2 -b 16 in.wav synth 3 sine 440 && oggenc -Q -o whole.ogg in.wav")
                                 .c_str()));
    const Bytes whole = ReadFile(Path("whole.ogg"));
    WriteFile(Path("cut.ogg"), Bytes(whole.begin(), whole.begin() + std::ptrdiff_t(whole.size() / 2)));
    for (const char* encoder : {"opus", "mp3", "vorbis", "flac", "wave"}) {
        SCOPED_TRACE(encoder);
        std::string err;
        EXPECT_EQ(
            1, Travex(std::string("-infile=cut.ogg -outfile=out.x -convert_to=") + encoder, &err));  // 1, not a signal
        EXPECT_EQ(0u, err.find("Error: Ogg Vorbis stream is truncated at ")) << err;
        EXPECT_FALSE(fs::exists(Path("out.x")));
    }
}
