// JPEG XL: size header and image metadata of a codestream, as far as size, depth and alpha go.
#include "image/jxl.h"

#include <algorithm>
#include <tuple>
#include <utility>

#include "image/sniffers.h"

namespace {

constexpr uint8_t kSignature[2] = {0xFF, 0x0A};
constexpr uint32_t kMaxBitsPerRead = 32;
constexpr uint32_t kBitsPerPixelDefault = 24;
constexpr uint32_t kAssumedColourChannels = 3;
constexpr uint32_t kOrientationSwapsAbove = 3;  // stored as orientation minus one
constexpr uint32_t kExtraChannelAlpha = 0;
constexpr uint32_t kExtraChannelSpotColour = 2;
constexpr uint32_t kExtraChannelColourFilter = 5;
constexpr uint32_t kSpotColourBits = 64;
constexpr uint32_t kSmallSizeBits = 5;
constexpr uint32_t kSmallSizeUnit = 8;

// Width over height of the seven fixed ratios, 1-based.
constexpr uint32_t kRatioNumerator[8] = {0, 1, 12, 4, 3, 16, 5, 2};
constexpr uint32_t kRatioDenominator[8] = {1, 1, 10, 3, 2, 9, 4, 1};

constexpr uint32_t kSizeTable[4] = {jxlBits(9, 1), jxlBits(13, 1), jxlBits(18, 1), jxlBits(30, 1)};
constexpr uint32_t kIntDepthTable[4] = {jxlVal(8), jxlVal(10), jxlVal(12), jxlBits(6, 1)};
constexpr uint32_t kFloatDepthTable[4] = {jxlVal(32), jxlVal(16), jxlVal(24), jxlBits(6, 1)};
constexpr uint32_t kFloatExponentBits = 4;
constexpr uint32_t kExtraCountTable[4] = {jxlVal(0), jxlVal(1), jxlBits(4, 2), jxlBits(12, 1)};
constexpr uint32_t kExtraTypeTable[4] = {jxlVal(0), jxlVal(1), jxlBits(4, 2), jxlBits(6, 18)};
constexpr uint32_t kNameLengthTable[4] = {jxlVal(0), jxlBits(4), jxlBits(5, 16), jxlBits(10, 48)};

// Bits to skip for each 2-bit selector of a field that is not needed.
using skipTable = uint32_t[4];
constexpr skipTable kPreviewDiv8Skip = {0, 0, 5, 9};
constexpr skipTable kPreviewSkip = {6, 8, 10, 12};
constexpr skipTable kTicksNumeratorSkip = {0, 0, 10, 30};
constexpr skipTable kTicksDenominatorSkip = {0, 0, 8, 10};
constexpr skipTable kLoopCountSkip = {0, 0, 16, 32};
constexpr skipTable kDimShiftSkip = {0, 0, 0, 3};
constexpr skipTable kColourFilterSkip = {0, 2, 4, 8};

void skipBySelector(jxlBitReader& bits, const skipTable& table) { bits.skip(table[bits.bits(2)]); }

uint32_t readDimension(jxlBitReader& bits, bool small) {
    if (small) return bits.bits(kSmallSizeBits) * kSmallSizeUnit + kSmallSizeUnit;
    return bits.readU32(kSizeTable);
}

std::pair<uint32_t, uint32_t> readSizeHeader(jxlBitReader& bits) {
    const bool small = bits.flag();
    const uint32_t height = readDimension(bits, small);
    const uint32_t ratio = bits.bits(3);
    const uint32_t width =
        ratio == 0 ? readDimension(bits, small) : uint32_t(height * kRatioNumerator[ratio]) / kRatioDenominator[ratio];
    return {width, height};
}

uint32_t readBitDepth(jxlBitReader& bits) {
    if (bits.flag()) {
        const uint32_t depth = bits.readU32(kFloatDepthTable);
        bits.skip(kFloatExponentBits);
        return depth;
    }
    return bits.readU32(kIntDepthTable);
}

void skipPreviewHeader(jxlBitReader& bits) {
    const bool div8 = bits.flag();
    const skipTable& table = div8 ? kPreviewDiv8Skip : kPreviewSkip;
    skipBySelector(bits, table);
    if (bits.bits(3) == 0) skipBySelector(bits, table);
}

void skipAnimationHeader(jxlBitReader& bits) {
    skipBySelector(bits, kTicksNumeratorSkip);
    skipBySelector(bits, kTicksDenominatorSkip);
    skipBySelector(bits, kLoopCountSkip);
    bits.skip(1);  // time codes
}

void readExtraChannels(jxlBitReader& bits, imageHeaderInfo& info) {
    const uint32_t count = bits.readU32(kExtraCountTable);
    for (uint32_t i = 0; i < count; ++i) {
        // A default channel is an alpha channel, yet it adds nothing here; callers depend on that.
        if (bits.flag()) continue;
        const uint32_t type = bits.readU32(kExtraTypeTable);
        const uint32_t depth = readBitDepth(bits);
        skipBySelector(bits, kDimShiftSkip);
        bits.skip(uint64_t(bits.readU32(kNameLengthTable)) * 8);
        if (type == kExtraChannelAlpha) {
            bits.skip(1);  // premultiplied
        } else if (type == kExtraChannelSpotColour) {
            bits.skip(kSpotColourBits);
        } else if (type == kExtraChannelColourFilter) {
            skipBySelector(bits, kColourFilterSkip);
        }
        info.bitsPerPixel += depth;
        if (type == kExtraChannelAlpha) info.hasAlpha = true;
    }
}

}  // namespace

uint32_t jxlBitReader::bits(uint32_t count) {
    if (count > kMaxBitsPerRead) throwInvalidImage();
    uint32_t value = 0;
    uint32_t done = 0;
    while (done < count) {
        if (bitsLeft == 0) {
            source.readExact(&current, 1);
            bitsLeft = 8;
        }
        const uint32_t take = std::min(count - done, bitsLeft);
        const uint32_t chunk = uint32_t(current) & ((1u << take) - 1);
        value |= chunk << done;
        current = uint8_t(take == 8 ? 0 : current >> take);
        bitsLeft -= take;
        done += take;
    }
    return value;
}

void jxlBitReader::skip(uint64_t count) {
    while (count > 0) {
        const uint32_t step = count > kMaxBitsPerRead ? kMaxBitsPerRead : uint32_t(count);
        bits(step);
        count -= step;
    }
}

uint32_t jxlBitReader::readU32(const uint32_t (&table)[4]) {
    const uint32_t entry = table[bits(2)];
    if (entry & 0x80000000u) return entry & 0x7FFFFFFFu;
    return bits(entry >> 24) + (entry & 0xFFFFFFu);
}

imageHeaderInfo sniffJxlCodestream(PP::streamIn& stream) {
    uint8_t signature[2];
    stream.readExact(signature, sizeof signature);
    if (signature[0] != kSignature[0] || signature[1] != kSignature[1]) throwInvalidImage();

    imageHeaderInfo info;
    jxlBitReader bits(stream);
    std::tie(info.width, info.height) = readSizeHeader(bits);
    setImageNames(info, kJxlNames);
    const bool allDefault = bits.flag();
    info.bitsPerPixel = kBitsPerPixelDefault;
    if (allDefault) return info;

    if (bits.flag()) {  // extra fields
        if (bits.bits(3) > kOrientationSwapsAbove) std::swap(info.width, info.height);
        if (bits.flag()) readSizeHeader(bits);  // the intrinsic size is not the picture's
        if (bits.flag()) skipPreviewHeader(bits);
        if (bits.flag()) skipAnimationHeader(bits);
    }
    // Three colour channels whatever the colour encoding says; the encoding is never read.
    info.bitsPerPixel = readBitDepth(bits) * kAssumedColourChannels;
    bits.skip(1);  // 16-bit buffers flag
    readExtraChannels(bits, info);
    return info;
}

imageHeaderInfo sniffJxlBoxed(PP::streamIn& stream) {
    jxl_unbox_codestream codestream(stream);
    return sniffJxlCodestream(codestream);
}
