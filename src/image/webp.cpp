// WebP: the RIFF header and the first chunk's picture header, all within the first 30 bytes.
#include <cstring>

#include "image/sniffers.h"
#include "pp/stream.h"

namespace {

constexpr size_t kHeaderBytes = 30;  // file offsets 0 to 29
constexpr size_t kConsumedByDispatch = 2;
constexpr uint16_t kLossySizeMask = 0x3FFF;
constexpr uint32_t kLosslessSizeMask = 0x3FFF;
constexpr uint32_t kLosslessHeightShift = 14;
constexpr uint8_t kAlphaBit = 0x10;
constexpr uint32_t kBitsWithAlpha = 32;
constexpr uint32_t kBitsWithoutAlpha = 24;

uint32_t le16(const uint8_t* p) { return uint32_t(p[0]) | uint32_t(p[1]) << 8; }
uint32_t le24(const uint8_t* p) { return le16(p) | uint32_t(p[2]) << 16; }
uint32_t le32(const uint8_t* p) { return le24(p) | uint32_t(p[3]) << 24; }
bool tagAt(const uint8_t* p, const char* tag) { return std::memcmp(p, tag, 4) == 0; }

}  // namespace

imageHeaderInfo sniffWebp(PP::streamIn& stream) {
    uint8_t h[kHeaderBytes] = {'R', 'I'};
    stream.readExact(h + kConsumedByDispatch, kHeaderBytes - kConsumedByDispatch);
    if (!tagAt(h, "RIFF") || !tagAt(h + 8, "WEBP")) throwInvalidImage();

    imageHeaderInfo info;
    const uint8_t* chunk = h + 12;
    if (tagAt(chunk, "VP8 ")) {
        if (h[23] != 0x9D || h[24] != 0x01 || h[25] != 0x2A) throwInvalidImage();
        info.width = le16(h + 26) & kLossySizeMask;
        info.height = le16(h + 28) & kLossySizeMask;
        if (info.width == 0 || info.height == 0) throwInvalidImage();
        info.hasAlpha = false;
    } else if (tagAt(chunk, "VP8L")) {
        const uint32_t packed = le32(h + 21);
        info.width = (packed & kLosslessSizeMask) + 1;
        info.height = ((packed >> kLosslessHeightShift) & kLosslessSizeMask) + 1;
        info.hasAlpha = (h[24] & kAlphaBit) != 0;
    } else if (tagAt(chunk, "VP8X")) {
        info.width = le24(h + 24) + 1;
        info.height = le24(h + 27) + 1;
        info.hasAlpha = (h[20] & kAlphaBit) != 0;
    } else {
        throwInvalidImage();
    }
    info.bitsPerPixel = info.hasAlpha ? kBitsWithAlpha : kBitsWithoutAlpha;
    setImageNames(info, kWebpNames);
    return info;
}
