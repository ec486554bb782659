// BMP: the size and depth of the information header behind the 14-byte file header.
#include "image/sniffers.h"
#include "pp/stream.h"

namespace {

constexpr uint64_t kRestOfFileHeader = 12;  // size, reserved, pixel offset behind "BM"
constexpr uint32_t kMinHeaderSize = 12;     // the oldest header: 16-bit sizes
constexpr uint32_t kLongSizesHeader = 40;   // from here on: 32-bit sizes
constexpr uint64_t kPlanesBytes = 2;

}  // namespace

imageHeaderInfo sniffBmp(PP::streamIn& stream) {
    stream.skipExact(kRestOfFileHeader);
    const uint32_t headerSize = PP::readLE32(stream);
    imageHeaderInfo info;
    if (headerSize >= kLongSizesHeader) {
        // A top-down bitmap's negative height stays as its bit pattern.
        info.width = PP::readLE32(stream);
        info.height = PP::readLE32(stream);
    } else if (headerSize >= kMinHeaderSize) {
        info.width = PP::readLE16(stream);
        info.height = PP::readLE16(stream);
    } else {
        throwInvalidImage();
    }
    stream.skipExact(kPlanesBytes);
    info.bitsPerPixel = PP::readLE16(stream);
    info.hasAlpha = false;
    setImageNames(info, kBmpNames);
    return info;
}
