// The JPEG XL box container: concatenates the payloads of "jxlc" and "jxlp" boxes.
#include <algorithm>

#include "image/iso_box.h"
#include "image/jxl.h"
#include "image/sniffers.h"
#include "pp/abort.h"

namespace {

constexpr uint64_t kPartIndexBytes = 4;

}  // namespace

size_t jxl_unbox_codestream::read(void* buffer, size_t length) {
    auto* out = static_cast<uint8_t*>(buffer);
    size_t total = 0;
    while (total < length) {
        PP::checkAbort();
        while (remaining == 0) {
            const isoBoxHeader box = readIsoBoxHeader(source);
            if (box.is("jxlc")) {
                remaining = box.payload;
            } else if (box.is("jxlp")) {
                if (box.payload < kPartIndexBytes) throwInvalidImage();
                source.skipExact(kPartIndexBytes);
                // A part of unknown size keeps a count just below "unknown": it is read exactly.
                remaining = box.payload - kPartIndexBytes;
            } else {
                if (box.payload == PP::unknownLength) throwInvalidImage();
                source.skipExact(box.payload);
            }
        }
        const size_t wanted = length - total;
        size_t got = 0;
        if (remaining == PP::unknownLength) {
            got = source.read(out + total, wanted);
        } else {
            got = size_t(std::min<uint64_t>(remaining, wanted));
            source.readExact(out + total, got);
            remaining -= got;
        }
        if (got == 0) break;
        total += got;
    }
    return total;
}
