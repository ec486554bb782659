// Pictures made by the usual command-line tools, identified through every way in.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "foundation/files/xfile.h"
#include "image/image_info.h"
#include "image_test_util.h"
#include "pp/exceptions.h"
#include "pp/mem_stream.h"

namespace {

struct sample {
    const char* file;
    const char* format;
    uint32_t width;
    uint32_t height;
    uint32_t bits;
    bool alpha;
    const char* extension;
    const char* mime;
    int32_t code;
};

const sample kSamples[] = {
    {"rgb_17x9.jpg", "JPEG", 17, 9, 24, false, "jpg", "image/jpeg", 1},
    {"grey_17x9.jpg", "JPEG", 17, 9, 8, false, "jpg", "image/jpeg", 1},
    {"rgb_17x9.png", "PNG", 17, 9, 24, false, "png", "image/png", 2},
    {"rgba_17x9.png", "PNG", 17, 9, 32, true, "png", "image/png", 2},
    {"pal_3x2.png", "PNG", 3, 2, 8, false, "png", "image/png", 2},
    {"pal_alpha_3x2.png", "PNG", 3, 2, 8, true, "png", "image/png", 2},
    {"plain_17x9.gif", "GIF", 17, 9, 8, false, "gif", "image/gif", 3},
    // The shortened colour-table skip lands inside the table, before the transparency block.
    {"trans_3x2.gif", "GIF", 3, 2, 8, false, "gif", "image/gif", 3},
    {"rgb_3x2.bmp", "BMP", 3, 2, 24, false, "bmp", "image/x-portable-bitmap", 4},
    {"argb_3x2.bmp", "BMP", 3, 2, 32, false, "bmp", "image/x-portable-bitmap", 4},
    {"lossy_17x9.webp", "WebP", 17, 9, 24, false, "webp", "image/webp", 5},
    {"lossless_alpha_17x9.webp", "WebP", 17, 9, 32, true, "webp", "image/webp", 5},
    {"lossy_alpha_17x9.webp", "WebP", 17, 9, 32, true, "webp", "image/webp", 5},
    {"rgb_le_3x2.tif", "TIFF", 3, 2, 24, false, "tiff", "image/tiff", 6},
    {"rgba_be_3x2.tif", "TIFF", 3, 2, 32, true, "tiff", "image/tiff", 6},
    {"orient6_17x9.tif", "TIFF", 9, 17, 24, false, "tiff", "image/tiff", 6},
    {"multi.ico", "ICO", 8, 8, 32, true, "ico", "image/x-icon", 7},
    {"rgb_17x9.avif", "AVIF", 17, 9, 24, false, "avif", "image/avif", 0},
    {"rgba_17x9.avif", "AVIF", 17, 9, 24, false, "avif", "image/avif", 0},
    {"rgb_17x9.heic", "HEIC", 17, 9, 24, false, "heic", "image/heic", 0},
    {"bare_17x9.jxl", "JPEG XL", 17, 9, 48, false, "jxl", "image/jxl", 0},
    {"boxed_17x9.jxl", "JPEG XL", 17, 9, 48, false, "jxl", "image/jxl", 0},
    {"rgb8_17x9.jxl", "JPEG XL", 17, 9, 24, false, "jxl", "image/jxl", 0},
    // Its alpha channel has the all-default flag, which adds neither bits nor alpha.
    {"alpha_17x9.jxl", "JPEG XL", 17, 9, 24, false, "jxl", "image/jxl", 0},
};

void expectRecord(const sample& s, const imageHeaderInfo& info) {
    SCOPED_TRACE(s.file);
    ASSERT_NE(info.formatName, nullptr);
    EXPECT_STREQ(info.formatName, s.format);
    EXPECT_EQ(info.width, s.width);
    EXPECT_EQ(info.height, s.height);
    EXPECT_EQ(info.bitsPerPixel, s.bits);
    EXPECT_EQ(info.hasAlpha, s.alpha);
    EXPECT_STREQ(info.extension, s.extension);
    EXPECT_STREQ(info.mimeType, s.mime);
}

TEST(ImageSamples, MemoryPathAndFileInfoAgree) {
    for (const sample& s : kSamples) {
        const bytes data = readSample(s.file);
        ASSERT_FALSE(data.empty()) << s.file;
        expectRecord(s, imageHeaderFromMemory(data.data(), data.size()));
        expectRecord(s, identifyImageUrl(samplePath(s.file)));

        const imageFileInfo info = identifyImageMemory(data.data(), data.size());
        EXPECT_EQ(info.format, s.code) << s.file;
        EXPECT_STREQ(info.formatName, s.format);
        EXPECT_STREQ(info.mimeType, s.mime);
        EXPECT_EQ(info.width, s.width);
        EXPECT_EQ(info.height, s.height);
        EXPECT_EQ(info.bitsPerPixel, s.bits);
        EXPECT_EQ(info.hasAlpha, s.alpha);
        EXPECT_EQ(isJpegMemory(data.data(), data.size()), s.code == 1);
        EXPECT_EQ(isPngMemory(data.data(), data.size()), s.code == 2);
    }
}

TEST(ImageSamples, ForwardOnlyStreamReadsAllButTiff) {
    for (const sample& s : kSamples) {
        const bytes data = readSample(s.file);
        PP::streamInMemRef stream(data.data(), data.size());
        if (std::strcmp(s.format, "TIFF") == 0) {
            EXPECT_THROW(imageHeaderFromStream(stream), PP::invalid_input) << s.file;
        } else {
            expectRecord(s, imageHeaderFromStream(stream));
        }
    }
    const bytes png = readSample("rgb_17x9.png");
    PP::streamInMemRef stream(png.data(), png.size());
    EXPECT_EQ(imageSizeFromStream(stream), std::make_pair(17u, 9u));
    EXPECT_EQ(imageSizeFromUrl(samplePath("orient6_17x9.tif")), std::make_pair(9u, 17u));
}

// Every cut of every sample either identifies or throws invalid_input; the sanitizer build
// checks that none reads outside the block.
TEST(ImageSamples, EveryTruncationFailsCleanly) {
    for (const sample& s : kSamples) {
        const bytes data = readSample(s.file);
        for (size_t cut = 0; cut < data.size(); ++cut) {
            const bytes part(data.begin(), data.begin() + cut);
            try {
                imageHeaderFromMemory(part.data(), part.size());
            } catch (const PP::invalid_input&) {
            } catch (...) {
                ADD_FAILURE() << s.file << " cut at " << cut << " threw another class";
            }
            (void)identifyImageMemory(part.data(), part.size());
        }
    }
}

TEST(ImageSamples, OpenFileAndPath) {
    XFile file;
    ASSERT_TRUE(file.OpenRead(XString(samplePath("rgb_17x9.heic").c_str(), true)));
    uint8_t skipAhead[5];
    file.Read(skipAhead, sizeof skipAhead);
    imageFileInfo info = identifyImageFile(file);  // starts again at 0
    EXPECT_STREQ(info.formatName, "HEIC");
    EXPECT_EQ(info.width, 17u);
    EXPECT_TRUE(file.IsOpen());
    EXPECT_GT(file.Tell(), 5);

    ASSERT_TRUE(file.OpenRead(XString(samplePath("multi.ico").c_str(), true)));
    EXPECT_EQ(identifyImageFile(file).format, 7);
    file.Close();
    EXPECT_EQ(identifyImageFile(file).formatName, nullptr);

    info = identifyImagePath(XString(samplePath("rgba_be_3x2.tif").c_str(), true));
    EXPECT_EQ(info.format, 6);
    EXPECT_TRUE(info.hasAlpha);
    EXPECT_EQ(identifyImagePath(XString(samplePath("none.tif").c_str(), true)).formatName, nullptr);
}

TEST(ImageSamples, MissingFileThrowsFileNotFound) {
    EXPECT_THROW(identifyImageUrl(samplePath("no-such-picture.png")), PP::file_not_found);
}

}  // namespace
