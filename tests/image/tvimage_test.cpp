// The built tvimage tool, byte for byte: outside test suites parse these lines.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>


namespace {

struct runResult {
    std::string output;
    int status = -1;
};

// Runs tvimage in the sample folder with the given arguments; standard error is dropped.
runResult runTvimage(const std::string& arguments) {
    const std::string command = "cd '" TV_SOURCE_DIR "/tests/data/images' && '" TV_BIN_DIR "/tvimage' " + arguments +
                                " 2>/dev/null";
    runResult result;
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) return result;
    char buffer[4096];
    size_t got = 0;
    while ((got = fread(buffer, 1, sizeof buffer, pipe)) > 0) result.output.append(buffer, got);
    const int raw = pclose(pipe);
    result.status = raw >= 0 && (raw & 0x7F) == 0 ? (raw >> 8) & 0xFF : -1;
    return result;
}

TEST(Tvimage, OneLinePerFileOfEveryFormat) {
    const runResult run = runTvimage(
        "rgb_17x9.jpg rgba_17x9.png trans_3x2.gif rgb_3x2.bmp lossless_alpha_17x9.webp rgba_be_3x2.tif "
        "multi.ico rgb_17x9.avif rgb_17x9.heic boxed_17x9.jxl");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.output,
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
    const runResult run = runTvimage("missing.png ../../image/image_test_util.h orient6_17x9.tif");
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.output,
              "missing.png\t!\tfile not found\n"
              "../../image/image_test_util.h\t!\tinvalid input\n"
              "orient6_17x9.tif\tTIFF\t9\t17\t24\t0\ttiff\timage/tiff\n");
    EXPECT_EQ(runTvimage("").status, 1);
}

}  // namespace
