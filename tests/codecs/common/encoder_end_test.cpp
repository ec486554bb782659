// Every bundled encoder ends a run cleanly whatever came before (no audio, a failure before
// the first block or in the middle, a full disk at the start), and a new output appears under
// its name only when the run succeeded: until then it is a hidden ".NAME.<random>.part" file
// beside it, which a failed run removes and a later run clears once it is stale.
#include <signal.h>
#include <sys/resource.h>
#include <utime.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "codecs/codec_test_util.h"

using namespace codectest;

namespace {

struct Encoder {
    const char* plugin;
    const char* extension;
};
const Encoder kEncoders[] = {{"encoder/wave.so", "wav"},
                             {"encoder/flac.so", "flac"},
                             {"encoder/mp3.so", "mp3"},
                             {"encoder/vorbis.so", "ogg"},
                             {"encoder/opus.so", "opus"}};

OpenFileRecord Stereo16(unsigned frames) {
    OpenFileRecord rec{};
    rec.Format.Format = {TV_WAVE_FORMAT_PCM, 2, 44100, 44100 * 4, 4, 16, 0};
    rec.LengthBytes = int64_t{frames} * 4;
    rec.LengthMs = int64_t{frames} * 1000 / 44100;
    return rec;
}

// A folder of its own for each case, so that what is left can be listed.
std::string FreshFolder(const std::string& name) {
    const std::string dir = TempPath("end_" + name);
    std::filesystem::remove_all(dir);
    std::filesystem::create_directories(dir);
    return dir;
}

std::vector<std::string> Names(const std::string& dir) {
    std::vector<std::string> out;
    for (const auto& e : std::filesystem::directory_iterator(dir)) out.push_back(e.path().filename().string());
    std::sort(out.begin(), out.end());
    return out;
}

enum class Path { NoAudio, FailBeforeAudio, FailInTheMiddle };

// Begin, then blocks of a tone (the failure marked after two of them when asked), then End.
// Returns the result of End, or -2 when Begin failed and -3 when a block failed.
int32_t RunEncoder(const Encoder& e, Path path, const std::string& out, uint32_t& writeTags,
                   const PluginLogHandles& logs) {
    clTvEncoder enc;
    if (!enc.LoadFile(Plugin(e.plugin)) || !enc.Create(&logs)) return -1;
    OpenFileRecord rec = Stereo16(path == Path::NoAudio ? 0 : 44100);
    const Bytes audio = Signal(16, 2, 44100, 44100);
    const XString outWide(out.c_str(), true);
    ConversionRecord conv{};
    conv.OutputFile = outWide.Text();
    conv.CommandLine = u"";
    conv.Format = TvFormatOf(&rec);
    if (!enc.BeginConversion(&conv)) return -2;
    if (path == Path::FailInTheMiddle) {
        for (size_t at = 0; at < 2 * 8820; at += 8820) {
            AudioBlockRecord block{};
            block.Format = rec.Format;
            block.Data = const_cast<uint8_t*>(audio.data()) + at;
            block.Size = 8820;
            if (!enc.EncodeBlock(&block)) return -3;
        }
    }
    if (path != Path::NoAudio) conv.Failed = 1;
    writeTags = 7;
    return enc.EndConversion(&conv, &writeTags);
}

}  // namespace

TEST(EncoderEnd, EveryEncoderEndsEveryPathCleanly) {
    for (const Encoder& e : kEncoders) {
        SCOPED_TRACE(e.plugin);
        const std::string name = std::string("out.") + e.extension;
        // No audio at all: a valid, empty output under its name.
        {
            LogFile errors;
            const std::string dir = FreshFolder("empty");
            uint32_t tags = 0;
            EXPECT_EQ(1, RunEncoder(e, Path::NoAudio, dir + "/" + name, tags, {errors.Handle(), 0, 0}));
            EXPECT_EQ(1u, tags);
            EXPECT_EQ(std::vector<std::string>{name}, Names(dir));
            EXPECT_GT(std::filesystem::file_size(dir + "/" + name), 0u);
            EXPECT_EQ("", errors.Text());
        }
        // A run that failed before any audio or in the middle: nothing is left, and an output
        // that was there already (the name the host gave) stays as it was.
        for (Path path : {Path::FailBeforeAudio, Path::FailInTheMiddle}) {
            SCOPED_TRACE(path == Path::FailBeforeAudio ? "before audio" : "in the middle");
            LogFile errors;
            const std::string dir = FreshFolder("failed");
            uint32_t tags = 0;
            EXPECT_EQ(1, RunEncoder(e, path, dir + "/" + name, tags, {errors.Handle(), 0, 0}));
            EXPECT_EQ(0u, tags);
            EXPECT_TRUE(Names(dir).empty());
            WriteFile(dir + "/" + name, Bytes{'o', 'l', 'd'});
            EXPECT_EQ(1, RunEncoder(e, path, dir + "/" + name, tags, {errors.Handle(), 0, 0}));
            EXPECT_EQ(std::vector<std::string>{name}, Names(dir));
            EXPECT_EQ((Bytes{'o', 'l', 'd'}), ReadFile(dir + "/" + name));
            EXPECT_EQ("", errors.Text());
        }
    }
}

TEST(EncoderEnd, AFullDiskLeavesNothingBehind) {
    // A file size limit of 0 stands in for a full disk: every write of the encoders fails.
    struct sigaction ignore {
    }, before{};
    ignore.sa_handler = SIG_IGN;
    sigaction(SIGXFSZ, &ignore, &before);
    rlimit old{};
    getrlimit(RLIMIT_FSIZE, &old);
    for (const Encoder& e : kEncoders) {
        SCOPED_TRACE(e.plugin);
        const std::string dir = FreshFolder("full");
        rlimit none = old;
        none.rlim_cur = 0;
        setrlimit(RLIMIT_FSIZE, &none);
        uint32_t tags = 0;
        const int32_t r = RunEncoder(e, Path::FailInTheMiddle, dir + "/out." + e.extension, tags, {0, 0, 0});
        setrlimit(RLIMIT_FSIZE, &old);
        // WAV, FLAC and Vorbis write at the start and fail there; MP3 and Opus fail on the blocks.
        EXPECT_TRUE(r == -2 || r == -3 || r == 1) << r;
        EXPECT_TRUE(Names(dir).empty()) << Names(dir).front();
    }
    sigaction(SIGXFSZ, &before, nullptr);
}

TEST(EncoderEnd, StaleHiddenTemporariesGoWhenARunWritesBesideThem) {
    const std::string dir = FreshFolder("stale");
    const std::vector<std::string> old = {".song.mp3.0123456789ab.part", ".x.flac.fedcba987654.part"};
    const std::vector<std::string> kept = {
        ".fresh.mp3.0123456789ab.part",  // a running conversion's: less than an hour old
        ".other.abc.part",               // not of the form
        "notes.0123456789ab.part",       // not hidden
    };
    for (const std::string& n : old) {
        WriteFile(dir + "/" + n, Bytes{1});
        const utimbuf twoHoursAgo{time(nullptr) - 7200, time(nullptr) - 7200};
        ASSERT_EQ(0, utime((dir + "/" + n).c_str(), &twoHoursAgo));
    }
    for (const std::string& n : kept) {
        WriteFile(dir + "/" + n, Bytes{1});
        if (n != kept[0]) {
            const utimbuf twoHoursAgo{time(nullptr) - 7200, time(nullptr) - 7200};
            ASSERT_EQ(0, utime((dir + "/" + n).c_str(), &twoHoursAgo));
        }
    }
    uint32_t tags = 0;
    ASSERT_EQ(1, RunEncoder(kEncoders[0], Path::NoAudio, dir + "/new.wav", tags, {0, 0, 0}));
    std::vector<std::string> want = kept;
    want.push_back("new.wav");
    // A name near the file systems' limit still gets a hidden temporary that fits.
    const std::string longName = std::string(246, 'n') + ".wav";
    ASSERT_EQ(1, RunEncoder(kEncoders[0], Path::NoAudio, dir + "/" + longName, tags, {0, 0, 0}));
    want.push_back(longName);
    std::sort(want.begin(), want.end());
    EXPECT_EQ(want, Names(dir));
}
