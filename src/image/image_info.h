#pragma once
// Picture identification: format, size, depth and alpha from a picture's header, read through
// PP streams without decoding a pixel and without reading past the fields that settle the answer.
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>

#include "foundation/text/xstring.h"

class XFile;

namespace PP {
class streamIn;
class fileIn;
}  // namespace PP

// What every reader fills. The three texts are program constants, never freed; a blank record
// has every field zero and every pointer null.
struct imageHeaderInfo {
    uint32_t width = 0;
    uint32_t height = 0;
    uint32_t bitsPerPixel = 0;
    bool hasAlpha = false;
    const char* formatName = nullptr;
    const char* extension = nullptr;
    const char* mimeType = nullptr;
};

// Codes of the seven formats that have one; AVIF, HEIC and JPEG XL share 0 with "unknown".
enum imageFormat : int32_t {
    imageFormatUnknown = 0,
    imageFormatJpeg = 1,
    imageFormatPng = 2,
    imageFormatGif = 3,
    imageFormatBmp = 4,
    imageFormatWebp = 5,
    imageFormatTiff = 6,
    imageFormatIco = 7,
};

struct imageFileInfo {
    const char* formatName = nullptr;
    const char* mimeType = nullptr;
    int32_t format = 0;
    uint32_t width = 0;
    uint32_t height = 0;
    uint32_t bitsPerPixel = 0;
    bool hasAlpha = false;
};

// The code of a display name: the whole text compared with the seven coded names, else 0.
int32_t imageFormatFromName(const char* formatName);

// Throwing entry points: every failure passes as the PP exception that caused it.
imageHeaderInfo identifyImageStream(PP::fileIn& file);
imageHeaderInfo imageHeaderFromMemory(const void* data, size_t length);
imageHeaderInfo imageHeaderFromStream(PP::streamIn& stream);
imageHeaderInfo identifyImageUrl(const std::string& pathOrUrl);
std::pair<uint32_t, uint32_t> imageSizeFromUrl(const std::string& pathOrUrl);
std::pair<uint32_t, uint32_t> imageSizeFromStream(PP::streamIn& stream);

// Catch-all entry points: any failure gives the blank record (format 0, null formatName).
imageFileInfo identifyImageFile(XFile& file);
imageFileInfo identifyImageMemory(const void* data, size_t length);
imageFileInfo identifyImagePath(const XString& path);
bool isJpegMemory(const void* data, size_t length);
bool isPngMemory(const void* data, size_t length);

// ".jpg" for JPEG, else "." and the display name, folded to lower case (A-Z only); empty when
// the record has no name.
XString imageExtension(const imageFileInfo& info);
