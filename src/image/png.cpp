// PNG: the IHDR fields, then, for colour types without an alpha channel, a walk to tRNS or IDAT.
#include "image/sniffers.h"
#include "pp/stream.h"

namespace {

constexpr uint8_t kSignatureRest[6] = {'N', 'G', '\r', '\n', 0x1A, '\n'};
constexpr uint32_t kMinHeaderLength = 10;  // width, height, depth and colour type
constexpr uint32_t kHeaderFieldsRead = 10;
constexpr uint32_t kChecksumBytes = 4;

uint32_t channelsOfColourType(uint8_t colourType) {
    switch (colourType) {
        case 2:
            return 3;  // RGB
        case 4:
            return 2;  // grey and alpha
        case 6:
            return 4;  // RGBA
        default:
            return 1;  // grey, palette and anything unknown
    }
}

bool sameType(const uint8_t type[4], const char* name) {
    return type[0] == uint8_t(name[0]) && type[1] == uint8_t(name[1]) && type[2] == uint8_t(name[2]) &&
           type[3] == uint8_t(name[3]);
}

// True when a tRNS chunk comes before the first IDAT.
bool transparencyBeforeData(PP::streamIn& stream) {
    for (;;) {
        const uint32_t length = PP::readBE32(stream);
        uint8_t type[4];
        stream.readExact(type, sizeof type);
        if (sameType(type, "tRNS")) return true;
        if (sameType(type, "IDAT")) return false;
        stream.skipExact(uint64_t(length) + kChecksumBytes);
    }
}

}  // namespace

imageHeaderInfo sniffPng(PP::streamIn& stream) {
    uint8_t rest[6];
    stream.readExact(rest, sizeof rest);
    for (size_t i = 0; i < sizeof rest; ++i) {
        if (rest[i] != kSignatureRest[i]) throwInvalidImage();
    }
    const uint32_t length = PP::readBE32(stream);
    uint8_t type[4];
    stream.readExact(type, sizeof type);
    if (length < kMinHeaderLength || !sameType(type, "IHDR")) throwInvalidImage();

    imageHeaderInfo info;
    info.width = PP::readBE32(stream);
    info.height = PP::readBE32(stream);
    const uint8_t depth = PP::readByte(stream);
    const uint8_t colourType = PP::readByte(stream);
    stream.skipExact(uint64_t(length) - kHeaderFieldsRead + kChecksumBytes);
    info.bitsPerPixel = depth * channelsOfColourType(colourType);
    setImageNames(info, kPngNames);
    if (colourType == 4 || colourType == 6) {
        info.hasAlpha = true;
        return info;
    }
    try {
        info.hasAlpha = transparencyBeforeData(stream);
    } catch (const PP::invalid_input&) {
        // The size is known already; a file cut short or a bad length only leaves alpha unknown.
        info.hasAlpha = false;
    }
    return info;
}
