#include "opus_head.h"

#include <cstring>
#include <vector>

#include "tvkit/os_file.h"

namespace opushead {

namespace {

constexpr size_t kPageHeader = 27;  // up to the segment table
constexpr size_t kCrcAt = 22;
constexpr size_t kRateInHead = 12;  // "OpusHead", version, channels, pre-skip
constexpr size_t kMinHead = 19;
constexpr size_t kMaxFirstPage = kPageHeader + 255 + 255 * 255;

}  // namespace

uint32_t OggCrc(const uint8_t* page, size_t size) {
    static const auto table = [] {
        std::vector<uint32_t> t(256);
        for (uint32_t i = 0; i < 256; ++i) {
            uint32_t r = i << 24;
            for (int k = 0; k < 8; ++k) r = r & 0x80000000u ? r << 1 ^ 0x04C11DB7u : r << 1;
            t[i] = r;
        }
        return t;
    }();
    uint32_t crc = 0;
    for (size_t i = 0; i < size; ++i) {
        const uint8_t byte = i >= kCrcAt && i < kCrcAt + 4 ? 0 : page[i];
        crc = crc << 8 ^ table[(crc >> 24) ^ byte];
    }
    return crc;
}

bool SetInputRate(uint8_t* page, size_t size, uint32_t rate) {
    if (size < kPageHeader || std::memcmp(page, "OggS", 4) != 0) return false;
    const size_t segments = page[26];
    if (size < kPageHeader + segments) return false;
    size_t body = 0;
    for (size_t i = 0; i < segments; ++i) body += page[kPageHeader + i];
    const size_t head = kPageHeader + segments;
    if (size != head + body || body < kMinHead || std::memcmp(page + head, "OpusHead", 8) != 0) return false;
    for (int i = 0; i < 4; ++i) page[head + kRateInHead + i] = static_cast<uint8_t>(rate >> (8 * i));
    const uint32_t crc = OggCrc(page, size);
    for (int i = 0; i < 4; ++i) page[kCrcAt + i] = static_cast<uint8_t>(crc >> (8 * i));
    return true;
}

bool SetInputRate(const std::u16string& path, uint32_t rate) {
    tvkit::os::File file;
    uint8_t header[kPageHeader + 255];
    size_t got = 0;
    if (!file.OpenReadWrite(path) || !file.ReadAt(header, sizeof header, 0, got) || got < kPageHeader) return false;
    size_t size = kPageHeader + header[26];
    for (size_t i = 0; i < header[26] && kPageHeader + i < got; ++i) size += header[kPageHeader + i];
    if (size > kMaxFirstPage) return false;
    std::vector<uint8_t> page(size);
    if (!file.ReadAt(page.data(), size, 0, got) || got != size || !SetInputRate(page.data(), size, rate)) return false;
    return file.WriteAt(page.data(), size, 0) && file.Close();
}

}  // namespace opushead
