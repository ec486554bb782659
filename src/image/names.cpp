// The constant texts of each format and the format code of a display name.
#include <cstring>

#include "image/sniffers.h"

const imageNames kJpegNames{"JPEG", "jpg", "image/jpeg"};
const imageNames kPngNames{"PNG", "png", "image/png"};
const imageNames kGifNames{"GIF", "gif", "image/gif"};
// The media type names another format; callers depend on this exact text.
const imageNames kBmpNames{"BMP", "bmp", "image/x-portable-bitmap"};
const imageNames kWebpNames{"WebP", "webp", "image/webp"};
const imageNames kTiffNames{"TIFF", "tiff", "image/tiff"};
const imageNames kIcoNames{"ICO", "ico", "image/x-icon"};
const imageNames kAvifNames{"AVIF", "avif", "image/avif"};
const imageNames kHeicNames{"HEIC", "heic", "image/heic"};
const imageNames kJxlNames{"JPEG XL", "jxl", "image/jxl"};

void setImageNames(imageHeaderInfo& info, const imageNames& names) {
    info.formatName = names.formatName;
    info.extension = names.extension;
    info.mimeType = names.mimeType;
}

int32_t imageFormatFromName(const char* formatName) {
    if (formatName == nullptr) return imageFormatUnknown;
    static const struct {
        const imageNames* names;
        imageFormat code;
    } coded[] = {
        {&kJpegNames, imageFormatJpeg}, {&kPngNames, imageFormatPng},   {&kGifNames, imageFormatGif},
        {&kBmpNames, imageFormatBmp},   {&kWebpNames, imageFormatWebp}, {&kTiffNames, imageFormatTiff},
        {&kIcoNames, imageFormatIco},
    };
    for (const auto& entry : coded) {
        if (std::strcmp(formatName, entry.names->formatName) == 0) return entry.code;
    }
    return imageFormatUnknown;
}
