// Whole travex runs with WAV files made by sox: a cut WAV converts what it holds and fails the
// run, leaving an existing output untouched; -noidtag leaves a WAV output without any tag.
#include <filesystem>
#include <string>

#include "codecs/codec_test_util.h"

using namespace codectest;

namespace {

// A folder of its own: other test programs may write beside TempDir at the same time.
std::string Folder() {
    const std::string dir = TempPath("wavetravex");
    std::filesystem::create_directories(dir);
    return dir;
}
std::string Path(const std::string& name) { return Folder() + "/" + name; }

bool Has(const Bytes& file, const std::string& id) {
    return std::string(file.begin(), file.end()).find(id) != std::string::npos;
}

bool NoPartFiles() {
    for (const auto& e : std::filesystem::directory_iterator(Folder()))
        if (e.path().filename().string().ends_with(".part")) return false;
    return true;
}

}  // namespace

TEST(WaveTravex, CutWaveFailsAfterConvertingWhatIsThere) {
    const std::string full = Path("full.wav");
    ASSERT_EQ(0, std::system(("sox -n -r 8000 -c 1 -b 16 " + Quote(full) + " synth 3 sine 440").c_str()));
    const Bytes whole = ReadFile(full);
    const std::string old = Path("old.flac");
    ASSERT_EQ(0, RunTravex("-infile=" + Quote(full) + " -outfile=" + Quote(old) + " -convert_to=flac").status);
    const Bytes oldBytes = ReadFile(old);

    struct Cut {
        const char* name;
        size_t bytes;
        const char* line;
    };
    // 44 header bytes, then 16000 bytes a second.
    const Cut cuts[] = {{"10%", whole.size() / 10, "Error: WAV data ends early at 0:00.297 of 0:03.000."},
                        {"50%", whole.size() / 2, "Error: WAV data ends early at 0:01.498 of 0:03.000."},
                        {"90%", whole.size() * 9 / 10, "Error: WAV data ends early at 0:02.699 of 0:03.000."}};
    for (const Cut& cut : cuts) {
        SCOPED_TRACE(cut.name);
        const std::string in = Path(std::string("cut") + cut.name + ".wav");
        WriteFile(in, Bytes(whole.begin(), whole.begin() + std::ptrdiff_t(cut.bytes)));
        const RunResult r = RunTravex("-infile=" + Quote(in) + " -outfile=" + Quote(old) + " -convert_to=flac");
        EXPECT_EQ(1, r.status);
        EXPECT_EQ(1u, r.ErrorLines()) << r.errors;
        EXPECT_NE(std::string::npos, r.errors.find(cut.line)) << r.errors;
        EXPECT_EQ(oldBytes, ReadFile(old));
    }

    // A data chunk that claims more than the file holds, to a new name: nothing is left.
    Bytes claims = whole;
    claims[41] = 0xFF;  // a data size of 65408 bytes in place of 48000
    const std::string in = Path("claims.wav");
    WriteFile(in, claims);
    const std::string fresh = Path("fresh.wav");
    std::filesystem::remove(fresh);
    const RunResult r = RunTravex("-infile=" + Quote(in) + " -outfile=" + Quote(fresh) + " -convert_to=wave");
    EXPECT_EQ(1, r.status);
    EXPECT_EQ(0u, r.errors.find("Error: WAV data ends early at 0:03.000 of 0:04.088.")) << r.errors;
    EXPECT_FALSE(std::filesystem::exists(fresh));
    EXPECT_TRUE(NoPartFiles());
}

TEST(WaveTravex, NoIdTagLeavesTheWaveOutputWithoutTags) {
    const std::string sample = std::string(TV_SOURCE_DIR) + "/samples/sample.flac";
    const std::string tagged = Path("tagged.wav"), bare = Path("bare.wav");
    ASSERT_EQ(0, RunTravex("-infile=" + Quote(sample) + " -outfile=" + Quote(tagged) + " -convert_to=wave").status);
    ASSERT_EQ(0,
              RunTravex("-infile=" + Quote(sample) + " -outfile=" + Quote(bare) + " -convert_to=wave -noidtag").status);
    const Bytes withTags = ReadFile(tagged), without = ReadFile(bare);
    EXPECT_TRUE(Has(withTags, "LIST") && Has(withTags, "Arpeggio in C"));
    EXPECT_FALSE(Has(without, "LIST") || Has(without, "id3 ") || Has(without, "ID3 ") || Has(without, "Arpeggio"));
    // The audio is the same.
    ASSERT_GT(without.size(), 100u);
    EXPECT_EQ(Bytes(without.begin() + 80, without.end()),
              Bytes(withTags.begin() + 80, withTags.begin() + std::ptrdiff_t(without.size())));
}
