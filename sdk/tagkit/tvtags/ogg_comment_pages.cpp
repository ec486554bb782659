#include "tvtags/ogg_comment_pages.h"

#include <ogg/ogg.h>

#include <cstring>

namespace tvtags::oggpages {

namespace {

constexpr uint8_t kContinued = 0x01;
constexpr uint8_t kFirstPage = 0x02;
constexpr uint8_t kLastPage = 0x04;
constexpr size_t kSerialAt = 14;
constexpr size_t kChecksumAt = 22;
constexpr size_t kSegmentCountAt = 26;

uint32_t Le32(const uint8_t* p) {
    return uint32_t{p[0]} | uint32_t{p[1]} << 8 | uint32_t{p[2]} << 16 | uint32_t{p[3]} << 24;
}

// Sets the page's checksum field from its bytes, as libogg computes it.
void SetChecksum(std::vector<uint8_t>& page, size_t headerBytes) {
    ogg_page view{};
    view.header = page.data();
    view.header_len = static_cast<long>(headerBytes);
    view.body = page.data() + headerBytes;
    view.body_len = static_cast<long>(page.size() - headerBytes);
    ogg_page_checksum_set(&view);
}

bool ChecksumHolds(std::vector<uint8_t>& page, size_t headerBytes) {
    uint8_t stored[4];
    std::memcpy(stored, page.data() + kChecksumAt, 4);
    SetChecksum(page, headerBytes);
    return std::memcmp(stored, page.data() + kChecksumAt, 4) == 0;
}

// Where the walk stands: in the identification packet, in the comment packet, or past it.
enum class State { IdPacket, Comment, Done };

}  // namespace

bool FindCommentPacket(const ReadFn& read, CommentPages& out) {
    out = CommentPages{};
    State state = State::IdPacket;
    bool midPacket = false;  // the last page ended inside a packet
    uint32_t serial = 0;
    uint64_t offset = 0;
    for (size_t index = 0; state != State::Done; ++index) {
        if (index >= kMaxHeaderPages) return false;
        CommentPage page;
        page.offset = offset;
        page.bytes.resize(kPageHeaderBytes + kMaxSegments);
        if (read(offset, page.bytes.data(), kPageHeaderBytes) != kPageHeaderBytes) return false;
        const uint8_t* h = page.bytes.data();
        if (std::memcmp(h, "OggS", 4) != 0 || h[4] != 0) return false;
        const uint8_t flags = h[5];
        if (index == 0) serial = Le32(h + kSerialAt);
        // A second stream's page here means a multiplexed file: not ours to rewrite.
        if (Le32(h + kSerialAt) != serial || ((flags & kFirstPage) != 0) != (index == 0)) return false;
        if ((flags & kLastPage) || ((flags & kContinued) != 0) != midPacket) return false;
        const size_t segments = h[kSegmentCountAt];
        const size_t headerBytes = kPageHeaderBytes + segments;
        if (read(offset + kPageHeaderBytes, page.bytes.data() + kPageHeaderBytes, segments) != segments) return false;
        size_t bodyBytes = 0;
        for (size_t i = 0; i < segments; ++i) bodyBytes += page.bytes[kPageHeaderBytes + i];
        page.bytes.resize(headerBytes + bodyBytes);
        if (read(offset + headerBytes, page.bytes.data() + headerBytes, bodyBytes) != bodyBytes) return false;
        if (!ChecksumHolds(page.bytes, headerBytes)) return false;

        size_t at = headerBytes;
        bool inPage = false;
        for (size_t i = 0; i < segments && state != State::Done; ++i) {
            const size_t lace = page.bytes[kPageHeaderBytes + i];
            if (state == State::Comment) {
                if (!inPage) page.from = page.to = at;
                inPage = true;
                page.to += lace;
                out.packetBytes += lace;
                if (out.packetBytes > kMaxPacketBytes) return false;
            }
            at += lace;
            midPacket = lace == kMaxSegmentBytes;
            if (!midPacket) state = state == State::IdPacket ? State::Comment : State::Done;
        }
        offset += page.bytes.size();
        if (inPage) out.pages.push_back(std::move(page));
    }
    return !out.pages.empty();
}

std::vector<uint8_t> PacketOf(const CommentPages& pages) {
    std::vector<uint8_t> packet;
    packet.reserve(pages.packetBytes);
    for (const CommentPage& page : pages.pages)
        packet.insert(packet.end(), page.bytes.begin() + static_cast<ptrdiff_t>(page.from),
                      page.bytes.begin() + static_cast<ptrdiff_t>(page.to));
    return packet;
}

bool ReplacePacket(CommentPages& pages, const uint8_t* packet, size_t size) {
    if (size != pages.packetBytes) return false;
    size_t at = 0;
    for (CommentPage& page : pages.pages) {
        const size_t n = page.to - page.from;
        if (n == 0 || std::memcmp(page.bytes.data() + page.from, packet + at, n) == 0) {
            at += n;
            continue;
        }
        std::memcpy(page.bytes.data() + page.from, packet + at, n);
        at += n;
        SetChecksum(page.bytes, kPageHeaderBytes + page.bytes[kSegmentCountAt]);
        page.changed = true;
    }
    return true;
}

}  // namespace tvtags::oggpages
