// JPEG: walk the markers behind SOI up to the first start-of-frame header.
#include "image/sniffers.h"
#include "pp/abort.h"
#include "pp/stream.h"

namespace {

constexpr uint8_t kMarkerPrefix = 0xFF;
constexpr uint8_t kEndOfImage = 0xD9;
constexpr uint8_t kRestartInterval = 0xDD;
constexpr uint16_t kMinFrameLength = 6;
constexpr uint16_t kMinSegmentLength = 2;
constexpr uint16_t kRestartIntervalBytes = 4;

// 0xC0-0xCF without 0xC4 (Huffman tables), 0xC8 (reserved) and 0xCC (arithmetic conditioning).
bool isStartOfFrame(uint8_t marker) {
    return marker >= 0xC0 && marker <= 0xCF && marker != 0xC4 && marker != 0xC8 && marker != 0xCC;
}

// Segments passed by their length: tables, start of scan, application data and comments.
bool isSkippedSegment(uint8_t marker) {
    return marker == 0xC4 || marker == 0xDA || marker == 0xDB || (marker >= 0xE0 && marker <= 0xEF) || marker == 0xFE;
}

}  // namespace

imageHeaderInfo sniffJpeg(PP::streamIn& stream) {
    imageHeaderInfo info;
    for (;;) {
        PP::checkAbort();
        uint8_t marker[2];
        stream.readExact(marker, sizeof marker);
        if (marker[0] != kMarkerPrefix) throwInvalidImage();
        const uint8_t code = marker[1];
        if (isStartOfFrame(code)) {
            if (PP::readBE16(stream) < kMinFrameLength) throwInvalidImage();
            const uint8_t precision = PP::readByte(stream);
            info.height = PP::readBE16(stream);
            info.width = PP::readBE16(stream);
            if (info.width == 0 || info.height == 0) throwInvalidImage();
            const uint8_t components = PP::readByte(stream);
            info.bitsPerPixel = uint32_t(precision) * components;
            info.hasAlpha = false;
            setImageNames(info, kJpegNames);
            return info;
        }
        if (isSkippedSegment(code)) {
            const uint16_t length = PP::readBE16(stream);
            if (length < kMinSegmentLength) throwInvalidImage();
            stream.skipExact(length - kMinSegmentLength);
        } else if (code == kRestartInterval) {
            stream.skipExact(kRestartIntervalBytes);
        } else if (code == kEndOfImage) {
            throwInvalidImage();  // the image ended before any frame
        } else {
            throwInvalidImage();  // fill bytes and every other marker alike
        }
    }
}
