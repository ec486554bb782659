// The built tvimage tool, byte for byte: outside test suites parse these lines.
#include <gtest/gtest.h>

#include <string>

#include "support/run_tool.h"

namespace {

// Runs tvimage in the sample folder with the given arguments; standard error is dropped.
tvtest::RunResult runTvimage(const std::string& arguments) {
    return tvtest::Capture("cd '" TV_SOURCE_DIR "/tests/data/images' && " +
                           tvtest::ShellQuote(tvtest::ToolPath("tvimage")) + " " + arguments + " 2>/dev/null");
}

TEST(Tvimage, OneLinePerFileOfEveryFormat) {
    const tvtest::RunResult run = runTvimage(
        "rgb_17x9.jpg rgba_17x9.png trans_3x2.gif rgb_3x2.bmp lossless_alpha_17x9.webp rgba_be_3x2.tif "
        "multi.ico rgb_17x9.avif rgb_17x9.heic boxed_17x9.jxl");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out,
              "rgb_17x9.jpg\tJPEG\t17\t9\t24\t0\tjpg\timage/jpeg\n"
              "rgba_17x9.png\tPNG\t17\t9\t32\t1\tpng\timage/png\n"
              "trans_3x2.gif\tGIF\t3\t2\t8\t0\tgif\timage/gif\n"
              "rgb_3x2.bmp\tBMP\t3\t2\t24\t0\tbmp\timage/x-portable-bitmap\n"
              "lossless_alpha_17x9.webp\tWebP\t17\t9\t32\t1\twebp\timage/webp\n"
              "rgba_be_3x2.tif\tTIFF\t3\t2\t32\t1\ttiff\timage/tiff\n"
              "multi.ico\tICO\t8\t8\t32\t1\tico\timage/x-icon\n"
              "rgb_17x9.avif\tAVIF\t17\t9\t24\t0\tavif\timage/avif\n"
              "rgb_17x9.heic\tHEIC\t17\t9\t24\t0\theic\timage/heic\n"
              "boxed_17x9.jxl\tJPEG XL\t17\t9\t48\t0\tjxl\timage/jxl\n");
}

TEST(Tvimage, FailuresGiveTheMessageAndStatusOne) {
    const tvtest::RunResult run = runTvimage("missing.png ../../image/image_test_util.h orient6_17x9.tif");
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.out,
              "missing.png\t!\tfile not found\n"
              "../../image/image_test_util.h\t!\tinvalid input\n"
              "orient6_17x9.tif\tTIFF\t9\t17\t24\t0\ttiff\timage/tiff\n");
    EXPECT_EQ(runTvimage("").status, 1);
}

}  // namespace
