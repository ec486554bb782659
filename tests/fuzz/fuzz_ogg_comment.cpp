// The search for an Ogg stream's comment packet on arbitrary bytes: never a read outside the
// file, and a packet put back in its place must be found again, byte for byte, in pages that
// still pass their checksums. Pages that the input lays out are resealed first, so that the
// walk gets past the checksums and the stream's rules are what gets tried.
#include <ogg/ogg.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "tvtags/ogg_comment_pages.h"

namespace {

tvtags::oggpages::ReadFn ReaderOf(const std::vector<uint8_t>& file) {
    return [&file](uint64_t at, uint8_t* data, size_t size) -> size_t {
        if (at >= file.size()) return 0;
        const size_t n = file.size() - at < size ? static_cast<size_t>(file.size() - at) : size;
        std::memcpy(data, file.data() + at, n);
        return n;
    };
}

// Sets the checksum of each whole page laid out back to back from the start.
void Reseal(std::vector<uint8_t>& file) {
    size_t at = 0;
    while (file.size() - at >= tvtags::oggpages::kPageHeaderBytes) {
        const size_t segments = file[at + 26];
        if (file.size() - at < tvtags::oggpages::kPageHeaderBytes + segments) return;
        size_t body = 0;
        for (size_t i = 0; i < segments; ++i) body += file[at + tvtags::oggpages::kPageHeaderBytes + i];
        const size_t header = tvtags::oggpages::kPageHeaderBytes + segments;
        if (file.size() - at - header < body) return;
        ogg_page page{file.data() + at, long(header), file.data() + at + header, long(body)};
        ogg_page_checksum_set(&page);
        at += header + body;
    }
}

// Finds the packet, puts a changed one in its place and finds that again.
void Check(std::vector<uint8_t> file) {
    tvtags::oggpages::CommentPages pages;
    if (!tvtags::oggpages::FindCommentPacket(ReaderOf(file), pages)) return;
    std::vector<uint8_t> packet = tvtags::oggpages::PacketOf(pages);
    if (packet.size() != pages.packetBytes) __builtin_trap();
    for (uint8_t& b : packet) b = static_cast<uint8_t>(b ^ 0x5A);
    if (tvtags::oggpages::ReplacePacket(pages, packet.data(), packet.size() + 1)) __builtin_trap();
    if (!tvtags::oggpages::ReplacePacket(pages, packet.data(), packet.size())) __builtin_trap();
    for (const tvtags::oggpages::CommentPage& page : pages.pages) {
        if (page.offset + page.bytes.size() > file.size()) __builtin_trap();
        std::memcpy(file.data() + page.offset, page.bytes.data(), page.bytes.size());
    }
    tvtags::oggpages::CommentPages again;
    if (!tvtags::oggpages::FindCommentPacket(ReaderOf(file), again)) __builtin_trap();
    if (tvtags::oggpages::PacketOf(again) != packet || again.pages.size() != pages.pages.size()) __builtin_trap();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::vector<uint8_t> file(data, data + size);
    Check(file);  // damaged checksums as they come
    Reseal(file);
    Check(file);
    return 0;
}
