// The two-byte dispatch to the format readers.
#include <cstring>

#include "image/sniffers.h"
#include "pp/stream.h"
#include "pp/stream_adapters.h"

namespace {

constexpr size_t kSignatureBytes = 2;
constexpr size_t kBoxPrefixBytes = 8;  // enough to see the box type at offset 4

imageHeaderInfo sniffZeroPrefixed(PP::fileIn& file) {
    uint8_t prefix[kBoxPrefixBytes] = {0, 0};
    file.readExact(prefix + kSignatureBytes, kBoxPrefixBytes - kSignatureBytes);
    PP::streamPrefixed stream(prefix, sizeof prefix, file);
    if (std::memcmp(prefix + 4, "JXL ", 4) == 0) return sniffJxlBoxed(stream);
    if (std::memcmp(prefix + 4, "ftyp", 4) == 0) return sniffHeif(stream);
    return sniffIco(stream);
}

}  // namespace

imageHeaderInfo identifyImageStream(PP::fileIn& file) {
    if (file.isSeekable()) file.seek(0);
    uint8_t b[kSignatureBytes];
    file.readExact(b, sizeof b);
    // Only these two bytes test a format; each reader checks the rest as far as it cares.
    switch (b[0]) {
        case 'G':
            if (b[1] == 'I') return sniffGif(file);
            break;
        case 0x89:
            if (b[1] == 'P') return sniffPng(file);
            break;
        case 'R':
            if (b[1] == 'I') return sniffWebp(file);
            break;
        case 'B':
            if (b[1] == 'M') return sniffBmp(file);
            break;
        case 'M':
        case 'I':
            if (b[1] == b[0]) return sniffTiff(file, b[0]);
            break;
        case 0x00:
            if (b[1] == 0x00) return sniffZeroPrefixed(file);
            break;
        case 0xFF:
            if (b[1] == 0xD8) return sniffJpeg(file);
            if (b[1] == 0x0A) {
                PP::streamPrefixed stream(b, sizeof b, file);
                return sniffJxlCodestream(stream);
            }
            break;
        default:
            break;
    }
    throwInvalidImage();
}
