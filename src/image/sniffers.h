#pragma once
// The per-format readers behind the two-byte dispatch. Each takes the stream just behind the
// bytes that the dispatch consumed (or, where noted, from the file's first byte) and returns a
// filled record; every deviation throws PP::invalid_input.
#include <cstdint>

#include "image/image_info.h"
#include "pp/exceptions.h"

namespace PP {
class streamIn;
class fileIn;
}  // namespace PP

// The constant texts of one format.
struct imageNames {
    const char* formatName;
    const char* extension;
    const char* mimeType;
};

extern const imageNames kJpegNames;
extern const imageNames kPngNames;
extern const imageNames kGifNames;
extern const imageNames kBmpNames;
extern const imageNames kWebpNames;
extern const imageNames kTiffNames;
extern const imageNames kIcoNames;
extern const imageNames kAvifNames;
extern const imageNames kHeicNames;
extern const imageNames kJxlNames;

void setImageNames(imageHeaderInfo& info, const imageNames& names);

// Every deviation in a fixed field ends here.
[[noreturn]] inline void throwInvalidImage() { PP::throwFixed<PP::invalid_input>(); }

// Behind the two signature bytes.
imageHeaderInfo sniffJpeg(PP::streamIn& stream);
imageHeaderInfo sniffPng(PP::streamIn& stream);
imageHeaderInfo sniffGif(PP::streamIn& stream);
imageHeaderInfo sniffBmp(PP::streamIn& stream);
imageHeaderInfo sniffWebp(PP::streamIn& stream);
// Needs a seekable file; firstByte is 'I' (little-endian) or 'M' (big-endian).
imageHeaderInfo sniffTiff(PP::fileIn& file, uint8_t firstByte);

// From the file's first byte.
imageHeaderInfo sniffIco(PP::streamIn& stream);
imageHeaderInfo sniffHeif(PP::streamIn& stream);
imageHeaderInfo sniffJxlBoxed(PP::streamIn& stream);
imageHeaderInfo sniffJxlCodestream(PP::streamIn& stream);
