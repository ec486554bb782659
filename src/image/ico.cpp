// ICO: the directory's best entry, the largest with the most bits.
#include "image/sniffers.h"
#include "pp/stream.h"

namespace {

constexpr uint16_t kTypeIcon = 1;
constexpr uint16_t kMaxEntries = 100;
constexpr uint32_t kZeroMeans = 256;
constexpr uint64_t kReservedHeader = 2;
constexpr uint64_t kEntryTail = 8;  // data size and offset

struct icoEntry {
    uint32_t width = 0;
    uint32_t height = 0;
    uint32_t bits = 0;
};

uint32_t dimension(uint8_t byte) { return byte == 0 ? kZeroMeans : byte; }

}  // namespace

imageHeaderInfo sniffIco(PP::streamIn& stream) {
    stream.skipExact(kReservedHeader);
    if (PP::readLE16(stream) != kTypeIcon) throwInvalidImage();
    const uint16_t count = PP::readLE16(stream);
    if (count > kMaxEntries) throwInvalidImage();

    icoEntry best;
    for (uint16_t i = 0; i < count; ++i) {
        icoEntry entry;
        entry.width = dimension(PP::readByte(stream));
        entry.height = dimension(PP::readByte(stream));
        PP::readByte(stream);  // colour count
        if (PP::readByte(stream) != 0) throwInvalidImage();
        PP::readLE16(stream);  // planes
        entry.bits = PP::readLE16(stream);
        stream.skipExact(kEntryTail);
        // Among equals the later wins; one larger one way and smaller another is passed over.
        if (entry.width < best.width || entry.height < best.height || entry.bits < best.bits) continue;
        best = entry;
    }
    if (best.width == 0 || best.height == 0) throwInvalidImage();

    imageHeaderInfo info;
    info.width = best.width;
    info.height = best.height;
    info.bitsPerPixel = best.bits;
    info.hasAlpha = true;
    setImageNames(info, kIcoNames);
    return info;
}
