// TIFF: the tags of the first directory that give size, depth, alpha and orientation.
#include <utility>

#include "image/sniffers.h"
#include "pp/stream.h"

namespace {

constexpr uint16_t kMagic = 42;
constexpr uint32_t kMinDirectoryOffset = 8;
constexpr uint16_t kTypeShort = 3;
constexpr uint16_t kTypeLong = 4;
constexpr uint16_t kTagWidth = 256;
constexpr uint16_t kTagHeight = 257;
constexpr uint16_t kTagBitsPerSample = 258;
constexpr uint16_t kTagPhotometric = 262;
constexpr uint16_t kTagOrientation = 274;
constexpr uint32_t kPhotometricMask = 4;   // transparency mask
constexpr uint32_t kSamplesWithAlpha = 3;  // more samples than this carry alpha

class tiffReader {
public:
    tiffReader(PP::fileIn& file, bool bigEndian) : file(file), bigEndian(bigEndian) {}
    uint16_t u16() { return bigEndian ? PP::readBE16(file) : PP::readLE16(file); }
    uint32_t u32() { return bigEndian ? PP::readBE32(file) : PP::readLE32(file); }

private:
    PP::fileIn& file;
    bool bigEndian;
};

bool isSizeType(uint16_t type) { return type == kTypeShort || type == kTypeLong; }

}  // namespace

imageHeaderInfo sniffTiff(PP::fileIn& file, uint8_t firstByte) {
    // The samples of tag 258 can lie anywhere in the file.
    if (!file.isSeekable()) throwInvalidImage();
    tiffReader in(file, firstByte == 'M');
    if (in.u16() != kMagic) throwInvalidImage();
    const uint32_t directoryOffset = in.u32();
    if (directoryOffset < kMinDirectoryOffset) throwInvalidImage();
    file.seek(directoryOffset);

    const uint16_t entries = in.u16();
    imageHeaderInfo info;
    setImageNames(info, kTiffNames);
    if (entries == 0) return info;

    uint32_t orientation = 1;
    uint32_t samplesOffset = 0;
    uint32_t samplesCount = 0;
    for (uint32_t i = 0; i < entries; ++i) {
        const uint16_t tag = in.u16();
        const uint16_t type = in.u16();
        const uint32_t count = in.u32();
        uint32_t first = 0;
        uint32_t second = 0;
        if (type == kTypeShort && count <= 2) {
            first = in.u16();
            second = in.u16();
        } else {
            first = in.u32();
        }
        switch (tag) {
            case kTagWidth:
                if (isSizeType(type) && count == 1) info.width = first;
                break;
            case kTagHeight:
                if (isSizeType(type) && count == 1) info.height = first;
                break;
            case kTagBitsPerSample:
                if (count > kSamplesWithAlpha) info.hasAlpha = true;
                if (type == kTypeShort && count > 2) {
                    samplesOffset = first;
                    samplesCount = count;
                } else if (type == kTypeShort) {
                    info.bitsPerPixel = first + second;
                }
                break;
            case kTagPhotometric:
                if (type == kTypeShort && count == 1 && first == kPhotometricMask) info.hasAlpha = true;
                break;
            case kTagOrientation:
                if (type == kTypeShort && count == 1) orientation = first;
                break;
            default:
                break;
        }
    }
    if (samplesOffset != 0 && samplesCount != 0) {
        file.seek(samplesOffset);
        for (uint32_t i = 0; i < samplesCount; ++i) info.bitsPerPixel += in.u16();
    }
    if (orientation >= 5 && orientation <= 8) std::swap(info.width, info.height);
    return info;
}
