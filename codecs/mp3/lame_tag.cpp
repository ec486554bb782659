#include "lame_tag.h"

#include <cstring>

namespace mp3tag {

namespace {

constexpr size_t kId3HeaderBytes = 10;
constexpr size_t kFrameHeaderBytes = 4;
constexpr size_t kTocBytes = 100;
constexpr size_t kLameVersionBytes = 9;

uint32_t Be32(const uint8_t* p) {
    return static_cast<uint32_t>(p[0]) << 24 | static_cast<uint32_t>(p[1]) << 16 | static_cast<uint32_t>(p[2]) << 8 |
           p[3];
}

// A layer III frame header; its side-info size tells where the Xing frame puts its tag.
bool FrameHeader(const uint8_t* p, size_t& sideInfo) {
    if (p[0] != 0xFF || (p[1] & 0xE0) != 0xE0) return false;
    const unsigned version = (p[1] >> 3) & 3;  // 3: MPEG-1, 2: MPEG-2, 0: MPEG-2.5
    const unsigned layer = (p[1] >> 1) & 3;    // 1: layer III
    const unsigned bitrate = p[2] >> 4, rate = (p[2] >> 2) & 3;
    if (version == 1 || layer != 1 || bitrate == 0 || bitrate == 15 || rate == 3) return false;
    const bool mono = (p[3] >> 6) == 3;
    sideInfo = version == 3 ? (mono ? 17 : 32) : (mono ? 9 : 17);
    return true;
}

}  // namespace

size_t Id3v2Size(const uint8_t* d, size_t size) {
    if (size < kId3HeaderBytes || std::memcmp(d, "ID3", 3) != 0) return 0;
    if ((d[6] | d[7] | d[8] | d[9]) & 0x80) return 0;  // not a syncsafe size
    const size_t body =
        static_cast<size_t>(d[6]) << 21 | static_cast<size_t>(d[7]) << 14 | static_cast<size_t>(d[8]) << 7 | d[9];
    const bool footer = (d[5] & 0x10) != 0;
    return kId3HeaderBytes + body + (footer ? kId3HeaderBytes : 0);
}

LameTag ParseLameTag(const uint8_t* data, size_t size) {
    LameTag tag;
    size_t at = 0, sideInfo = 0;
    // The first frame header.
    for (;; ++at) {
        if (at >= kMaxFrameSearch || at + kFrameHeaderBytes > size) return tag;
        if (FrameHeader(data + at, sideInfo)) break;
    }
    size_t p = at + kFrameHeaderBytes + sideInfo;
    auto have = [&](size_t n) { return p <= size && n <= size - p; };
    if (!have(8)) return tag;
    if (std::memcmp(data + p, "Xing", 4) != 0 && std::memcmp(data + p, "Info", 4) != 0) return tag;
    tag.found = true;
    tag.isInfo = data[p] == 'I';
    const uint32_t flags = Be32(data + p + 4);
    p += 8;
    if (flags & 1) {
        if (!have(4)) return tag;
        tag.frames = Be32(data + p);
        p += 4;
    }
    if (flags & 2) {
        if (!have(4)) return tag;
        tag.bytes = Be32(data + p);
        p += 4;
    }
    if (flags & 4) {
        if (!have(kTocBytes)) return tag;
        p += kTocBytes;
    }
    if (flags & 8) {
        if (!have(4)) return tag;
        const uint32_t q = Be32(data + p);
        tag.quality = q <= 100 ? static_cast<int>(q) : -1;
        p += 4;
    }
    // The LAME extension: version text, then revision/method, lowpass, replay gain (8 bytes),
    // flags, the ABR/minimum bit rate and 24 bits of delay and padding.
    constexpr size_t kExtensionBytes = kLameVersionBytes + 1 + 1 + 8 + 1 + 1 + 3;
    if (!have(kExtensionBytes) || std::memcmp(data + p, "LAME", 4) != 0) return tag;
    for (size_t i = 0; i < kLameVersionBytes; ++i) {
        const char c = static_cast<char>(data[p + i]);
        if (c < 0x20 || c > 0x7E) break;
        tag.encoder += c;
    }
    while (!tag.encoder.empty() && tag.encoder.back() == ' ') tag.encoder.pop_back();
    p += kLameVersionBytes;
    switch (data[p] & 0x0F) {
        case 1:
        case 8:
            tag.mode = Mode::Cbr;
            break;
        case 2:
        case 9:
            tag.mode = Mode::Abr;
            break;
        case 3:
        case 4:
        case 5:
        case 6:
            tag.mode = Mode::Vbr;
            break;
        default:
            break;
    }
    p += 1 + 1 + 8 + 1;
    tag.abrKbps = data[p];
    ++p;
    tag.delay = static_cast<unsigned>(data[p]) << 4 | data[p + 1] >> 4;
    tag.padding = static_cast<unsigned>(data[p + 1] & 0x0F) << 8 | data[p + 2];
    return tag;
}

int VbrLevel(const LameTag& tag) {
    if (tag.quality < 0 || tag.quality > 100) return -1;
    const int level = (100 - tag.quality) / 10;
    return level <= 9 ? level : -1;
}

}  // namespace mp3tag
