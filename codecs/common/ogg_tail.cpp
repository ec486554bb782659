#include "ogg_tail.h"

#include <cstring>
#include <filesystem>
#include <fstream>
#include <vector>

namespace oggtail {

namespace {

constexpr size_t kPageHeaderBytes = 27;
constexpr uint8_t kEndOfStream = 0x04;

}  // namespace

bool EndsWithFinalPage(const uint8_t* tail, size_t size, int64_t& granule) {
    // From the back: the last capture pattern whose page runs exactly to the end. A pattern
    // that happens to sit inside packet data doesn't line up with the end and is passed over.
    for (size_t at = size >= kPageHeaderBytes ? size - kPageHeaderBytes + 1 : 0; at-- > 0;) {
        if (std::memcmp(tail + at, "OggS", 4) != 0) continue;
        const size_t segments = tail[at + 26];
        if (at + kPageHeaderBytes + segments > size) continue;
        size_t body = 0;
        for (size_t i = 0; i < segments; ++i) body += tail[at + kPageHeaderBytes + i];
        if (at + kPageHeaderBytes + segments + body != size) continue;
        uint64_t position = 0;
        for (size_t i = 0; i < 8; ++i) position |= static_cast<uint64_t>(tail[at + 6 + i]) << (8 * i);
        granule = static_cast<int64_t>(position);
        return (tail[at + 5] & kEndOfStream) != 0;
    }
    return false;
}

bool FileEndsWithFinalPage(const std::string& utf8Path, int64_t& granule) {
    std::ifstream in(std::filesystem::path(utf8Path), std::ios::binary | std::ios::ate);
    if (!in) return false;
    const std::streamoff size = in.tellg();
    const std::streamoff take =
        size < static_cast<std::streamoff>(kTailBytes) ? size : static_cast<std::streamoff>(kTailBytes);
    std::vector<uint8_t> tail(static_cast<size_t>(take));
    in.seekg(size - take);
    if (!in.read(reinterpret_cast<char*>(tail.data()), take)) return false;
    return EndsWithFinalPage(tail.data(), tail.size(), granule);
}

}  // namespace oggtail
