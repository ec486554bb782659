// Ten conversions racing onto one new output name: whichever finishes last, the file under
// that name is always one whole output, and no temporary is left beside it.
#include <filesystem>
#include <string>

#include "codecs/codec_test_util.h"

using namespace codectest;
namespace fs = std::filesystem;

TEST(RacingOutputs, TenRunsOntoOneNewNameLeaveOneWholeFile) {
    const std::string dir = TempPath("racing");
    fs::remove_all(dir);
    fs::create_directories(dir);
    const std::string sample = std::string(TV_SOURCE_DIR) + "/samples/sample.flac";
    clTvDecoder source;
    const Decoded want = DecodeAll(source, "decoder/flac.so", sample, {0, 0, 0});
    ASSERT_TRUE(want.opened && !want.failed);

    for (const char* format : {"flac", "wave"}) {
        SCOPED_TRACE(format);
        const std::string out = dir + "/out." + (std::string(format) == "wave" ? "wav" : format);
        const std::string home = TempPath("travex_home");
        fs::create_directories(home);
        std::string runs = "export TONVALE_CONFIG_HOME=" + Quote(home) + " HOME=" + Quote(home) +
                           " XDG_RUNTIME_DIR=" + Quote(home) + "; for i in 0 1 2 3 4 5 6 7 8 9; do " +
                           Quote(std::string(TV_BIN_DIR) + "/travex") + " -infile=" + Quote(sample) +
                           " -outfile=" + Quote(out) + " -convert_to=" + format +
                           " -silent >/dev/null 2>&1 </dev/null & done; wait";
        ASSERT_EQ(0, std::system(runs.c_str()));
        clTvDecoder dec;
        const Decoded got =
            DecodeAll(dec, std::string(format) == "wave" ? "decoder/wave.so" : "decoder/flac.so", out, {0, 0, 0});
        ASSERT_TRUE(got.opened);
        EXPECT_FALSE(got.failed);
        EXPECT_EQ(want.audio, got.audio);
        for (const auto& e : fs::directory_iterator(dir)) EXPECT_EQ(out, e.path().string());
        fs::remove(out);
    }
}
