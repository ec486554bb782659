#pragma once
// The Xing/Info frame at the start of an MP3 stream and the LAME extension inside it: frame
// count, stream bytes, VBR quality and the encoder's mode. mpg123 uses the same frame for
// gapless playback but doesn't hand out the mode, which the "Audio Quality" text needs.
#include <cstddef>
#include <cstdint>
#include <string>

namespace mp3tag {

// How far the first frame may lie behind the ID3v2 tag; farther is no stream we describe.
constexpr size_t kMaxFrameSearch = 4096;
// Bytes to read after the ID3v2 tag so that a whole first frame fits behind the search.
constexpr size_t kHeadBytes = kMaxFrameSearch + 2048;

enum class Mode { Unknown, Cbr, Abr, Vbr };

struct LameTag {
    bool found = false;   // a Xing or Info frame
    bool isInfo = false;  // "Info": written for a constant bit rate
    uint32_t frames = 0;  // 0 when the field is absent
    uint32_t bytes = 0;   // stream bytes, 0 when absent
    int quality = -1;     // 0..100, -1 when absent
    std::string encoder;  // "LAME3.100", empty without the extension
    Mode mode = Mode::Unknown;
    unsigned abrKbps = 0;  // target (ABR) or minimum (VBR) bit rate of the extension
    unsigned delay = 0, padding = 0;
};

// Size of an ID3v2 tag that starts at data (header, body and footer), 0 when there is none.
// needs 10 bytes.
size_t Id3v2Size(const uint8_t* data, size_t size);

// Reads the tag from the bytes that follow the ID3v2 tag. Never reads beyond size.
LameTag ParseLameTag(const uint8_t* data, size_t size);

// The -V level that the quality field stands for (LAME writes 100 - 10 * V - q), or -1.
int VbrLevel(const LameTag& tag);

}  // namespace mp3tag
