// GIF: the logical screen and, behind the (shortened) colour-table skip, the first extensions.
#include "image/sniffers.h"
#include "pp/stream.h"

namespace {

constexpr uint32_t kBitsPerPixel = 8;
constexpr uint64_t kSignatureRest = 4;  // "F87a" or "F89a" behind "GI"; never compared
constexpr uint8_t kGlobalTableFlag = 0x80;
constexpr uint8_t kTableSizeMask = 7;
constexpr uint64_t kBytesPerTableUnit = 3;
constexpr uint64_t kScreenTrailer = 2;  // background index, aspect ratio
constexpr uint8_t kExtensionIntroducer = 0x21;
constexpr uint8_t kGraphicControlLabel = 0xF9;
constexpr uint8_t kGraphicControlSize = 4;
constexpr uint8_t kTransparencyFlag = 1;

}  // namespace

imageHeaderInfo sniffGif(PP::streamIn& stream) {
    imageHeaderInfo info;
    setImageNames(info, kGifNames);
    info.bitsPerPixel = kBitsPerPixel;
    stream.skipExact(kSignatureRest);
    info.width = PP::readLE16(stream);
    info.height = PP::readLE16(stream);
    if (info.width == 0 || info.height == 0) throwInvalidImage();
    const uint8_t flags = PP::readByte(stream);
    stream.skipExact(kScreenTrailer);
    // The table is taken as three bytes per unit of the size field, not its true length; callers
    // rely on the answers that this gives.
    if (flags & kGlobalTableFlag) stream.skipExact((flags & kTableSizeMask) * kBytesPerTableUnit);

    uint8_t next = PP::readByte(stream);
    while (next == kExtensionIntroducer) {
        const uint8_t label = PP::readByte(stream);
        uint8_t size = PP::readByte(stream);
        if (label == kGraphicControlLabel && size == kGraphicControlSize) {
            --size;
            if (PP::readByte(stream) & kTransparencyFlag) info.hasAlpha = true;
        }
        stream.skipExact(size);
        next = PP::readByte(stream);
    }
    return info;
}
