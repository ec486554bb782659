// Box headers: 32-bit size (0 to the end, 1 for a 64-bit size behind the type) and a type.
#include "image/iso_box.h"

#include <cstring>

#include "image/sniffers.h"
#include "pp/stream.h"

namespace {

constexpr uint32_t kSizeToEnd = 0;
constexpr uint32_t kSizeIsLarge = 1;
constexpr uint64_t kHeaderBytes = 8;
constexpr uint64_t kLargeHeaderBytes = 16;

}  // namespace

bool isoBoxHeader::is(const char* name) const { return std::memcmp(type, name, sizeof type) == 0; }

isoBoxHeader readIsoBoxHeader(PP::streamIn& stream) {
    isoBoxHeader box{};
    const uint32_t size = PP::readBE32(stream);
    stream.readExact(box.type, sizeof box.type);
    if (size == kSizeToEnd) {
        box.payload = PP::unknownLength;
    } else if (size == kSizeIsLarge) {
        const uint64_t large = PP::readBE64(stream);
        if (large < kLargeHeaderBytes) throwInvalidImage();
        box.payload = large - kLargeHeaderBytes;
    } else {
        if (size < kHeaderBytes) throwInvalidImage();
        box.payload = size - kHeaderBytes;
    }
    return box;
}
