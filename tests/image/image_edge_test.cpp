// Hand-made headers for the edge cases of the seven classic formats and the dispatch.
#include <gtest/gtest.h>

#include <array>

#include "image/image_info.h"
#include "image_test_util.h"
#include "pp/exceptions.h"
#include "pp/mem_stream.h"

namespace {

imageHeaderInfo identify(const bytes& data) { return imageHeaderFromMemory(data.data(), data.size()); }

void expectBlank(const imageFileInfo& info) {
    EXPECT_EQ(info.formatName, nullptr);
    EXPECT_EQ(info.mimeType, nullptr);
    EXPECT_EQ(info.format, 0);
    EXPECT_EQ(info.width, 0u);
    EXPECT_EQ(info.height, 0u);
    EXPECT_EQ(info.bitsPerPixel, 0u);
    EXPECT_FALSE(info.hasAlpha);
}

bytes pngChunk(const char* type, const bytes& payload) {
    bytes out;
    appendBE32(out, uint32_t(payload.size()));
    appendText(out, type);
    append(out, payload);
    appendBE32(out, 0);  // checksum, never checked
    return out;
}

bytes pngHead(uint8_t colourType) {
    bytes ihdr;
    appendBE32(ihdr, 3);
    appendBE32(ihdr, 2);
    ihdr.insert(ihdr.end(), {8, colourType, 0, 0, 0});
    bytes out = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    append(out, pngChunk("IHDR", ihdr));
    return out;
}

bytes icoWith(std::initializer_list<std::array<uint32_t, 3>> entries, uint16_t type = 1) {
    bytes out = {0, 0};
    appendLE16(out, type);
    appendLE16(out, uint32_t(entries.size()));
    for (const auto& e : entries) {
        out.insert(out.end(), {uint8_t(e[0]), uint8_t(e[1]), 0, 0});
        appendLE16(out, 1);
        appendLE16(out, e[2]);
        out.insert(out.end(), 8, 0);
    }
    return out;
}

TEST(ImageDispatch, ShortOrUnknownSourcesFail) {
    const uint8_t one[1] = {0xFF};
    EXPECT_THROW(imageHeaderFromMemory(one, 0), PP::invalid_input);
    EXPECT_THROW(imageHeaderFromMemory(one, 1), PP::invalid_input);
    expectBlank(identifyImageMemory(one, 0));
    expectBlank(identifyImageMemory(one, 1));
    try {
        identify({'X', 'Y', 0, 0});
        FAIL();
    } catch (const PP::invalid_input& e) {
        EXPECT_STREQ(e.what(), "invalid input");
    }
    EXPECT_THROW(identify({'G', 'X', 0, 0}), PP::invalid_input);
    EXPECT_THROW(identify({'I', 'M', 42, 0}), PP::invalid_input);
    EXPECT_FALSE(isJpegMemory("garbage!", 8));
    EXPECT_FALSE(isPngMemory("garbage!", 8));
}

TEST(ImageDispatch, ExtensionText) {
    imageFileInfo info;
    EXPECT_TRUE(imageExtension(info).IsEmpty());
    info.formatName = "JPEG";
    info.format = 1;
    EXPECT_TRUE(imageExtension(info) == u".jpg");
    info.formatName = "WebP";
    info.format = 5;
    EXPECT_TRUE(imageExtension(info) == u".webp");
    info.formatName = "JPEG XL";
    info.format = imageFormatFromName("JPEG XL");
    EXPECT_EQ(info.format, 0);
    EXPECT_TRUE(imageExtension(info) == u".jpeg xl");
    EXPECT_EQ(imageFormatFromName("TIFF"), 6);
    EXPECT_EQ(imageFormatFromName("tiff"), 0);
}

TEST(ImageGif, SizeAlphaAndShortenedTable) {
    bytes head = {'G', 'I', 'F', '8', '9', 'a'};
    appendLE16(head, 17);
    appendLE16(head, 9);
    // No global table: the transparency flag of the graphic control block is seen.
    bytes plain = head;
    plain.insert(plain.end(), {0x00, 0, 0, 0x21, 0xF9, 4, 0x01, 0, 0, 0, 0, 0x2C});
    imageHeaderInfo info = identify(plain);
    EXPECT_EQ(info.width, 17u);
    EXPECT_EQ(info.height, 9u);
    EXPECT_EQ(info.bitsPerPixel, 8u);
    EXPECT_TRUE(info.hasAlpha);

    // A 256-entry table is skipped as 21 bytes; the next byte is table data and ends the walk.
    bytes big = head;
    big.insert(big.end(), {0xF7, 0, 0});
    big.insert(big.end(), 768, 0);
    big.insert(big.end(), {0x21, 0xF9, 4, 0x01, 0, 0, 0, 0});
    info = identify(big);
    EXPECT_EQ(info.width, 17u);
    EXPECT_FALSE(info.hasAlpha);

    bytes zero = {'G', 'I', 'F', '8', '9', 'a', 0, 0, 9, 0, 0, 0, 0, 0x3B};
    EXPECT_THROW(identify(zero), PP::invalid_input);
}

TEST(ImagePng, ChunkWalk) {
    const bytes plte = pngChunk("PLTE", {1, 2, 3});
    const bytes trns = pngChunk("tRNS", {0});
    const bytes idat = pngChunk("IDAT", {0, 0});

    imageHeaderInfo info = identify(pngHead(3));  // cut just behind IHDR
    EXPECT_EQ(info.width, 3u);
    EXPECT_EQ(info.height, 2u);
    EXPECT_EQ(info.bitsPerPixel, 8u);
    EXPECT_FALSE(info.hasAlpha);

    EXPECT_TRUE(identify(concat({pngHead(3), plte, trns, idat})).hasAlpha);
    EXPECT_FALSE(identify(concat({pngHead(3), plte, idat, trns})).hasAlpha);
    EXPECT_TRUE(identify(concat({pngHead(2), trns})).hasAlpha);
    EXPECT_EQ(identify(pngHead(2)).bitsPerPixel, 24u);
    EXPECT_EQ(identify(pngHead(9)).bitsPerPixel, 8u);  // unknown colour type: one channel

    // A chunk length that runs past the end is swallowed.
    bytes broken = pngHead(0);
    appendBE32(broken, 0xFFFFFFFF);
    appendText(broken, "zzzz");
    EXPECT_FALSE(identify(broken).hasAlpha);

    // Grey with alpha ends at IHDR with alpha set, whatever follows.
    info = identify(concat({pngHead(4), bytes{1}}));
    EXPECT_TRUE(info.hasAlpha);
    EXPECT_EQ(info.bitsPerPixel, 16u);

    bytes cutInHeader = pngHead(3);
    cutInHeader.pop_back();  // the checksum of IHDR is skipped exactly
    EXPECT_THROW(identify(cutInHeader), PP::invalid_input);
    bytes shortHeader = pngHead(3);
    shortHeader[11] = 9;
    EXPECT_THROW(identify(shortHeader), PP::invalid_input);
    bytes badSignature = pngHead(3);
    badSignature[7] = 0;
    EXPECT_THROW(identify(badSignature), PP::invalid_input);
}

TEST(ImageIco, EntryLimitAndBestEntry) {
    imageHeaderInfo info = identify(icoWith({{32, 32, 32}, {64, 64, 8}}));
    EXPECT_EQ(info.width, 32u);
    EXPECT_EQ(info.bitsPerPixel, 32u);
    EXPECT_TRUE(info.hasAlpha);

    info = identify(icoWith({{16, 16, 32}, {0, 0, 32}, {48, 48, 32}}));  // 0 means 256
    EXPECT_EQ(info.width, 256u);
    EXPECT_EQ(info.height, 256u);

    info = identify(icoWith({{16, 32, 8}, {32, 16, 8}}));  // larger one way, smaller the other
    EXPECT_EQ(info.width, 16u);
    EXPECT_EQ(info.height, 32u);

    bytes hundred = {0, 0, 1, 0};
    appendLE16(hundred, 100);
    for (int i = 0; i < 100; ++i) hundred.insert(hundred.end(), {4, 4, 0, 0, 1, 0, 32, 0, 0, 0, 0, 0, 0, 0, 0, 0});
    EXPECT_EQ(identify(hundred).width, 4u);
    bytes hundredOne = hundred;
    hundredOne[4] = 101;
    hundredOne.insert(hundredOne.end(), {4, 4, 0, 0, 1, 0, 32, 0, 0, 0, 0, 0, 0, 0, 0, 0});
    EXPECT_THROW(identify(hundredOne), PP::invalid_input);

    EXPECT_THROW(identify(icoWith({{16, 16, 32}}, 2)), PP::invalid_input);  // a cursor
    EXPECT_THROW(identify(icoWith({})), PP::invalid_input);
    bytes reserved = icoWith({{16, 16, 32}});
    reserved[9] = 1;
    EXPECT_THROW(identify(reserved), PP::invalid_input);
}

// A little-endian directory: width, height, one 16-bit sample size and an orientation.
bytes tiffLE(uint32_t width, uint32_t height, uint32_t orientation, uint16_t magic = 42) {
    bytes out = {'I', 'I'};
    appendLE16(out, magic);
    appendLE32(out, 8);
    appendLE16(out, 4);
    auto entry = [&](uint16_t tag, uint16_t type, uint32_t count, uint32_t value) {
        appendLE16(out, tag);
        appendLE16(out, type);
        appendLE32(out, count);
        appendLE32(out, value);
    };
    entry(256, 4, 1, width);
    entry(257, 3, 1, height);
    entry(258, 3, 1, 8);
    entry(274, 3, 1, orientation);
    return out;
}

TEST(ImageTiff, OrientationSeekabilityAndMagic) {
    imageHeaderInfo info = identify(tiffLE(5, 7, 1));
    EXPECT_EQ(info.width, 5u);
    EXPECT_EQ(info.height, 7u);
    EXPECT_EQ(info.bitsPerPixel, 8u);
    EXPECT_FALSE(info.hasAlpha);
    info = identify(tiffLE(5, 7, 6));
    EXPECT_EQ(info.width, 7u);
    EXPECT_EQ(info.height, 5u);

    const bytes data = tiffLE(5, 7, 1);
    PP::streamInMemRef stream(data.data(), data.size());
    EXPECT_THROW(imageHeaderFromStream(stream), PP::invalid_input);
    EXPECT_THROW(identify(tiffLE(5, 7, 1, 43)), PP::invalid_input);

    bytes lowOffset = tiffLE(5, 7, 1);
    lowOffset[4] = 7;
    EXPECT_THROW(identify(lowOffset), PP::invalid_input);
    // An empty directory is a success with the names and a zero size.
    info = identify({'M', 'M', 0, 42, 0, 0, 0, 8, 0, 0});
    EXPECT_STREQ(info.formatName, "TIFF");
    EXPECT_EQ(info.width, 0u);
}

bytes webp(const char* chunk, std::initializer_list<uint8_t> body) {
    bytes out;
    appendText(out, "RIFF");
    appendLE32(out, 0);
    appendText(out, "WEBP");
    appendText(out, chunk);
    appendLE32(out, 0);
    out.insert(out.end(), body);
    out.resize(30, 0);
    return out;
}

TEST(ImageWebp, ChunkKinds) {
    // VP8 : frame tag at 20, start code at 23, sizes at 26 and 28.
    imageHeaderInfo info = identify(webp("VP8 ", {0, 0, 0, 0x9D, 0x01, 0x2A, 17, 0xC0, 9, 0}));
    EXPECT_EQ(info.width, 17u);  // the scale bits above the 14 are dropped
    EXPECT_EQ(info.height, 9u);
    EXPECT_EQ(info.bitsPerPixel, 24u);
    EXPECT_THROW(identify(webp("VP8 ", {0, 0, 0, 0x9D, 0x01, 0x2A, 0, 0, 9, 0})), PP::invalid_input);
    EXPECT_THROW(identify(webp("VP8 ", {0, 0, 0, 0x9D, 0x01, 0x2B, 1, 0, 9, 0})), PP::invalid_input);

    // VP8L with all-zero fields still reports 1x1, and bit 4 of byte 24 is alpha.
    info = identify(webp("VP8L", {}));
    EXPECT_EQ(info.width, 1u);
    EXPECT_EQ(info.height, 1u);
    EXPECT_FALSE(info.hasAlpha);
    info = identify(webp("VP8L", {0x2F, 0, 0, 0, 0x10}));
    EXPECT_TRUE(info.hasAlpha);
    EXPECT_EQ(info.bitsPerPixel, 32u);

    info = identify(webp("VP8X", {0x10, 0, 0, 0, 0xFF, 0x01, 0x00, 0x02, 0, 0}));
    EXPECT_EQ(info.width, 0x200u);
    EXPECT_EQ(info.height, 3u);
    EXPECT_TRUE(info.hasAlpha);

    EXPECT_THROW(identify(webp("ALPH", {})), PP::invalid_input);
    bytes notWebp = webp("VP8L", {});
    notWebp[8] = 'X';
    EXPECT_THROW(identify(notWebp), PP::invalid_input);
}

TEST(ImageBmp, HeaderSizes) {
    bytes head = {'B', 'M'};
    head.insert(head.end(), 12, 0);
    bytes core = head;
    appendLE32(core, 12);
    appendLE16(core, 300);
    appendLE16(core, 200);
    appendLE16(core, 1);
    appendLE16(core, 8);
    imageHeaderInfo info = identify(core);
    EXPECT_EQ(info.width, 300u);
    EXPECT_EQ(info.height, 200u);
    EXPECT_EQ(info.bitsPerPixel, 8u);

    bytes topDown = head;
    appendLE32(topDown, 40);
    appendLE32(topDown, 3);
    appendLE32(topDown, uint32_t(-2));
    appendLE16(topDown, 1);
    appendLE16(topDown, 24);
    EXPECT_EQ(identify(topDown).height, 0xFFFFFFFEu);

    bytes tiny = head;
    appendLE32(tiny, 11);
    tiny.insert(tiny.end(), 8, 0);
    EXPECT_THROW(identify(tiny), PP::invalid_input);
}

bytes jpegSof(uint16_t length, uint16_t width, uint16_t height) {
    bytes out = {0xFF, 0xC0};
    appendBE16(out, length);
    out.push_back(8);
    appendBE16(out, height);
    appendBE16(out, width);
    out.push_back(3);
    return out;
}

TEST(ImageJpeg, MarkerWalk) {
    const bytes soi = {0xFF, 0xD8};
    const bytes app = {0xFF, 0xE1, 0, 4, 'x', 'y'};
    const bytes dri = {0xFF, 0xDD, 0, 4, 0, 0};
    imageHeaderInfo info = identify(concat({soi, app, dri, jpegSof(17, 640, 480)}));
    EXPECT_EQ(info.width, 640u);
    EXPECT_EQ(info.height, 480u);
    EXPECT_EQ(info.bitsPerPixel, 24u);

    EXPECT_THROW(identify(concat({soi, jpegSof(5, 640, 480)})), PP::invalid_input);
    EXPECT_THROW(identify(concat({soi, jpegSof(17, 0, 480)})), PP::invalid_input);
    EXPECT_THROW(identify(concat({soi, bytes{0xFF, 0xD9}})), PP::invalid_input);
    EXPECT_THROW(identify(concat({soi, bytes{0xFF, 0xFF, 0xC0}})), PP::invalid_input);  // fill byte
    EXPECT_THROW(identify(concat({soi, bytes{0xFF, 0xE0, 0, 1}})), PP::invalid_input);
    // A scan before the frame is skipped by its length only; its data then breaks the walk.
    EXPECT_THROW(identify(concat({soi, bytes{0xFF, 0xDA, 0, 2, 0x12, 0x34}, jpegSof(17, 1, 1)})),
                 PP::invalid_input);
    EXPECT_FALSE(isJpegMemory(soi.data(), soi.size()));
}

}  // namespace
