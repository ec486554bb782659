// Hand-made headers for the edge cases of the seven classic formats and the dispatch.
#include <gtest/gtest.h>

#include <array>

#include "image/image_info.h"
#include "image_test_util.h"
#include "pp/exceptions.h"
#include "pp/mem_stream.h"

namespace {

bytes pngChunk(const char* type, const bytes& payload) {
    bytes out;
    appendBE32(out, uint32_t(payload.size()));
    appendText(out, type);
    append(out, payload);
    appendBE32(out, 0);  // checksum, never checked
    return out;
}

bytes pngHead(uint8_t colourType) {
    bytes ihdr = {0, 0, 0, 3, 0, 0, 0, 2, 8, colourType, 0, 0, 0};
    return concat({{0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'}, pngChunk("IHDR", ihdr)});
}

bytes icoWith(std::initializer_list<std::array<uint8_t, 3>> entries, uint8_t type = 1) {
    bytes out = {0, 0, type, 0, uint8_t(entries.size()), 0};
    for (const auto& e : entries) out.insert(out.end(), {e[0], e[1], 0, 0, 1, 0, e[2], 0, 0, 0, 0, 0, 0, 0, 0, 0});
    return out;
}

TEST(ImageDispatch, ShortSourcesAndExtensions) {
    const uint8_t one[1] = {0xFF};
    EXPECT_THROW(imageHeaderFromMemory(one, 0), PP::invalid_input);
    EXPECT_THROW(imageHeaderFromMemory(one, 1), PP::invalid_input);
    for (size_t length : {0, 1}) {
        const imageFileInfo blank = identifyImageMemory(one, length);
        EXPECT_TRUE(blank.formatName == nullptr && blank.mimeType == nullptr && blank.format == 0 && blank.width == 0 &&
                    blank.height == 0 && blank.bitsPerPixel == 0 && !blank.hasAlpha);
    }
    try {
        identify({'X', 'Y', 0, 0});
        FAIL();
    } catch (const PP::invalid_input& e) {
        EXPECT_STREQ(e.what(), "invalid input");
    }
    EXPECT_THROW(identify({'I', 'M', 42, 0}), PP::invalid_input);
    EXPECT_FALSE(isJpegMemory("garbage!", 8));

    imageFileInfo info;
    EXPECT_TRUE(imageExtension(info).IsEmpty());
    info.formatName = "JPEG";
    info.format = 1;
    EXPECT_TRUE(imageExtension(info) == u".jpg");
    info.formatName = "JPEG XL";
    info.format = imageFormatFromName("JPEG XL");
    EXPECT_EQ(info.format, 0);
    EXPECT_TRUE(imageExtension(info) == u".jpeg xl");
    EXPECT_EQ(imageFormatFromName("tiff"), 0);
}

TEST(ImageGif, AlphaAndShortenedTable) {
    const bytes head = {'G', 'I', 'F', '8', '9', 'a', 17, 0, 9, 0};
    // No global table: the transparency flag of the graphic control block is seen.
    EXPECT_EQ(shapeOf(identify(concat({head, {0x00, 0, 0, 0x21, 0xF9, 4, 0x01, 0, 0, 0, 0, 0x2C}}))),
              shape(17, 9, 8, true));
    // A 256-entry table is skipped as 21 bytes; the next byte is table data and ends the walk.
    EXPECT_EQ(shapeOf(identify(concat({head, {0xF7, 0, 0}, bytes(768, 0), {0x21, 0xF9, 4, 0x01, 0, 0, 0, 0}}))),
              shape(17, 9, 8, false));
    EXPECT_THROW(identify({'G', 'I', 'F', '8', '9', 'a', 0, 0, 9, 0, 0, 0, 0, 0x3B}), PP::invalid_input);
}

TEST(ImagePng, ChunkWalk) {
    const bytes plte = pngChunk("PLTE", {1, 2, 3});
    const bytes trns = pngChunk("tRNS", {0});
    const bytes idat = pngChunk("IDAT", {0, 0});
    EXPECT_EQ(shapeOf(identify(pngHead(3))), shape(3, 2, 8, false));  // cut just behind IHDR
    EXPECT_TRUE(identify(concat({pngHead(3), plte, trns, idat})).hasAlpha);
    EXPECT_FALSE(identify(concat({pngHead(3), plte, idat, trns})).hasAlpha);
    EXPECT_EQ(shapeOf(identify(concat({pngHead(2), trns}))), shape(3, 2, 24, true));
    EXPECT_EQ(shapeOf(identify(pngHead(4))), shape(3, 2, 16, true));

    // A chunk length that runs past the end is swallowed.
    EXPECT_FALSE(identify(concat({pngHead(0), {0xFF, 0xFF, 0xFF, 0xFF, 'z', 'z', 'z', 'z'}})).hasAlpha);

    bytes cutInHeader = pngHead(3);
    cutInHeader.pop_back();  // the checksum of IHDR is skipped exactly
    EXPECT_THROW(identify(cutInHeader), PP::invalid_input);
    bytes shortHeader = pngHead(3);
    shortHeader[11] = 9;
    EXPECT_THROW(identify(shortHeader), PP::invalid_input);
}

TEST(ImageIco, EntryLimitAndBestEntry) {
    EXPECT_EQ(shapeOf(identify(icoWith({{32, 32, 32}, {64, 64, 8}}))), shape(32, 32, 32, true));
    EXPECT_EQ(shapeOf(identify(icoWith({{16, 16, 32}, {0, 0, 32}, {48, 48, 32}}))), shape(256, 256, 32, true));
    // Larger one way and smaller the other is passed over.
    EXPECT_EQ(shapeOf(identify(icoWith({{16, 32, 8}, {32, 16, 8}}))), shape(16, 32, 8, true));

    bytes hundred = icoWith({});
    hundred[4] = 100;
    const bytes entry = icoWith({{4, 4, 32}});
    for (int i = 0; i < 100; ++i) hundred.insert(hundred.end(), entry.begin() + 6, entry.end());
    EXPECT_EQ(identify(hundred).width, 4u);
    hundred[4] = 101;
    append(hundred, bytes(16, 0));
    EXPECT_THROW(identify(hundred), PP::invalid_input);

    EXPECT_THROW(identify(icoWith({{16, 16, 32}}, 2)), PP::invalid_input);  // a cursor
    EXPECT_THROW(identify(icoWith({})), PP::invalid_input);
}

// A little-endian directory: width, height, one 8-bit sample and an orientation.
bytes tiffLE(uint32_t orientation, uint8_t magic = 42) {
    bytes out = {'I', 'I', magic, 0, 8, 0, 0, 0, 4, 0};
    const uint32_t entries[4][4] = {{256, 4, 1, 5}, {257, 3, 1, 7}, {258, 3, 1, 8}, {274, 3, 1, orientation}};
    for (const auto& e : entries) {
        appendLE16(out, e[0]);
        appendLE16(out, e[1]);
        appendLE32(out, e[2]);
        appendLE32(out, e[3]);
    }
    return out;
}

TEST(ImageTiff, OrientationSeekabilityAndMagic) {
    EXPECT_EQ(shapeOf(identify(tiffLE(1))), shape(5, 7, 8, false));
    EXPECT_EQ(shapeOf(identify(tiffLE(6))), shape(7, 5, 8, false));
    const bytes data = tiffLE(1);
    PP::streamInMemRef stream(data.data(), data.size());
    EXPECT_THROW(imageHeaderFromStream(stream), PP::invalid_input);
    EXPECT_THROW(identify(tiffLE(1, 43)), PP::invalid_input);
    // An empty directory is a success with the names and a zero size.
    const imageHeaderInfo info = identify({'M', 'M', 0, 42, 0, 0, 0, 8, 0, 0});
    EXPECT_STREQ(info.formatName, "TIFF");
    EXPECT_EQ(info.width, 0u);
}

bytes webp(const char* chunk, std::initializer_list<uint8_t> body) {
    bytes out;
    appendText(out, "RIFF....WEBP");
    appendText(out, chunk);
    appendText(out, "....");
    out.insert(out.end(), body);
    out.resize(30, 0);
    return out;
}

TEST(ImageWebp, ChunkKinds) {
    // VP8 : start code at 23, sizes at 26 and 28, whose scale bits above the 14 are dropped.
    EXPECT_EQ(shapeOf(identify(webp("VP8 ", {0, 0, 0, 0x9D, 0x01, 0x2A, 17, 0xC0, 9, 0}))), shape(17, 9, 24, false));
    EXPECT_THROW(identify(webp("VP8 ", {0, 0, 0, 0x9D, 0x01, 0x2A, 0, 0, 9, 0})), PP::invalid_input);
    // VP8L and VP8X add one to their fields; bit 4 of bytes 24 and 20 is alpha.
    EXPECT_EQ(shapeOf(identify(webp("VP8L", {}))), shape(1, 1, 24, false));
    EXPECT_EQ(shapeOf(identify(webp("VP8L", {0x2F, 0, 0, 0, 0x10}))), shape(1, 1, 32, true));
    EXPECT_EQ(shapeOf(identify(webp("VP8X", {0x10, 0, 0, 0, 0xFF, 0x01, 0x00, 0x02, 0, 0}))),
              shape(0x200, 3, 32, true));
    EXPECT_THROW(identify(webp("ALPH", {})), PP::invalid_input);
}

TEST(ImageBmpAndJpeg, HeaderFields) {
    const bytes bmpHead = {'B', 'M', 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    EXPECT_EQ(shapeOf(identify(concat({bmpHead, {12, 0, 0, 0, 44, 1, 200, 0, 1, 0, 8, 0}}))),
              shape(300, 200, 8, false));
    // A top-down bitmap's negative height stays as its bit pattern.
    EXPECT_EQ(identify(concat({bmpHead, {40, 0, 0, 0, 3, 0, 0, 0, 0xFE, 0xFF, 0xFF, 0xFF, 1, 0, 24, 0}})).height,
              0xFFFFFFFEu);
    EXPECT_THROW(identify(concat({bmpHead, {11, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}})), PP::invalid_input);

    const bytes soi = {0xFF, 0xD8};
    const bytes sof = {0xFF, 0xC0, 0, 17, 8, 0x01, 0xE0, 0x02, 0x80, 3};
    EXPECT_EQ(shapeOf(identify(concat({soi, {0xFF, 0xE1, 0, 4, 'x', 'y'}, {0xFF, 0xDD, 0, 4, 0, 0}, sof}))),
              shape(640, 480, 24, false));
    EXPECT_THROW(identify(concat({soi, {0xFF, 0xC0, 0, 5, 8, 0x01, 0xE0, 0x02, 0x80, 3}})), PP::invalid_input);
    EXPECT_THROW(identify(concat({soi, {0xFF, 0xD9}})), PP::invalid_input);
    EXPECT_THROW(identify(concat({soi, {0xFF}, sof})), PP::invalid_input);  // a fill byte
    // A scan before the frame is skipped by its length only; its data then breaks the walk.
    EXPECT_THROW(identify(concat({soi, {0xFF, 0xDA, 0, 2, 0x12, 0x34}, sof})), PP::invalid_input);
}

}  // namespace
