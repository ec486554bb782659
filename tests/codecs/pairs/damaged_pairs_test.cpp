// Damaged sources of every bundled format, cut at random points and with random bytes flipped
// (seeded), converted by travex to every other bundled format: each run ends with status 0 and
// an output, or status 1, one error line and the old output untouched; never a signal, never a
// hidden temporary left. TV_CODEC_SWEEP=N sets the files per format (the full sweep is 25;
// the test command runs 2). sox -R makes the noise of the source the same in every run.
#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>

#include "codecs/codec_test_util.h"

using namespace codectest;
namespace fs = std::filesystem;

namespace {

struct Format {
    const char* encoder;
    const char* extension;
    const char* make;  // shell command from in.wav to the file named by $out
};
const Format kFormats[] = {
    {"wave", "wav", "cp in.wav \"$out\""},
    {"flac", "flac", "flac -s -f -o \"$out\" in.wav"},
    {"mp3", "mp3", "lame --quiet -V4 in.wav \"$out\""},
    {"vorbis", "ogg", "oggenc -Q -q3 -o \"$out\" in.wav"},
    {"opus", "opus", "opusenc --quiet --bitrate 64 in.wav \"$out\""},
};

unsigned FilesPerFormat() {
    const char* env = std::getenv("TV_CODEC_SWEEP");
    return env && std::atoi(env) > 0 ? unsigned(std::atoi(env)) : 2;
}

// Cut somewhere after the first tenth (sometimes not at all), then 1 to 8 bytes flipped anywhere.
Bytes Damage(const Bytes& clean, std::mt19937& rng) {
    Bytes b = clean;
    if (rng() % 4 != 0) b.resize(clean.size() / 10 + rng() % (clean.size() - clean.size() / 10));
    const unsigned flips = 1 + rng() % 8;
    for (unsigned i = 0; i < flips && !b.empty(); ++i) b[rng() % b.size()] ^= uint8_t(1 + rng() % 255);
    return b;
}

bool LeftOvers(const std::string& dir) {
    for (const auto& e : fs::directory_iterator(dir)) {
        const std::string n = e.path().filename().string();
        if (n.ends_with(".part") || n.find(".tmp.") != std::string::npos) return true;
    }
    return false;
}

}  // namespace

TEST(DamagedPairs, EveryRunEndsWithAnOutputOrOneErrorAndTheOldOutputKept) {
    const std::string dir = TempPath("damaged_pairs");
    fs::remove_all(dir);
    fs::create_directories(dir);
    ASSERT_EQ(
        0, std::system(("cd " + Quote(dir) + " && sox -R -n -r 44100 -c 2 -b 16 in.wav synth 2 sine 200-2000 synth 2 " +
                        "pinknoise mix vol 0.4")
                           .c_str()));
    const Bytes oldOutput = {'o', 'l', 'd', ' ', 'o', 'u', 't', 'p', 'u', 't'};
    const unsigned perFormat = FilesPerFormat();
    unsigned runs = 0, succeeded = 0;
    for (size_t from = 0; from < std::size(kFormats); ++from) {
        const Format& src = kFormats[from];
        const std::string clean = dir + "/clean." + src.extension;
        ASSERT_EQ(0, std::system(("cd " + Quote(dir) + " && out=" + Quote(clean) + " && " + src.make).c_str()));
        const Bytes cleanBytes = ReadFile(clean);
        std::mt19937 rng(unsigned(from * 1000 + 7));
        for (unsigned n = 0; n < perFormat; ++n) {
            const std::string in = dir + "/damaged" + std::to_string(n) + "." + src.extension;
            WriteFile(in, Damage(cleanBytes, rng));
            for (size_t to = 0; to < std::size(kFormats); ++to) {
                if (to == from) continue;
                const Format& dst = kFormats[to];
                SCOPED_TRACE(std::string(src.extension) + " #" + std::to_string(n) + " -> " + dst.extension);
                const std::string out = dir + "/out." + dst.extension;
                WriteFile(out, oldOutput);
                const RunResult r =
                    RunTravex("-infile=" + Quote(in) + " -outfile=" + Quote(out) + " -convert_to=" + dst.encoder);
                ++runs;
                ASSERT_TRUE(r.status == 0 || r.status == 1) << "status " << r.status << "\n" << r.errors;
                ASSERT_FALSE(r.SanitizerReport()) << r.raw;
                if (r.status == 0) {
                    ++succeeded;
                    EXPECT_NE(oldOutput, ReadFile(out));
                    EXPECT_GT(fs::file_size(out), 0u);
                } else {
                    EXPECT_EQ(1u, r.ErrorLines()) << r.errors;
                    EXPECT_EQ(oldOutput, ReadFile(out));
                }
                EXPECT_FALSE(LeftOvers(dir));
            }
        }
    }
    std::printf("%u damaged conversions, %u ended with an output\n", runs, succeeded);
}
