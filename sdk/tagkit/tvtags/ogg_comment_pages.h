#pragma once
// The comment packet of an Ogg Vorbis or Opus stream (its second packet) found in the header
// pages, so that a new packet of the same size can be written over it page by page: the pages
// keep their layout and only their bodies and checksums change. Files come from anywhere, so
// the reader trusts nothing: a stream it doesn't fully understand is simply not found.
#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

namespace tvtags::oggpages {

constexpr size_t kPageHeaderBytes = 27;
constexpr size_t kMaxSegments = 255;
constexpr size_t kMaxSegmentBytes = 255;
// Header pages looked at before the comment packet must have ended, and the largest comment
// packet rewritten in place (a few pictures); beyond either the caller falls back.
constexpr size_t kMaxHeaderPages = 4096;
constexpr uint64_t kMaxPacketBytes = uint64_t{64} << 20;

// Reads up to size bytes at offset into data; returns how many it read (fewer at the end).
using ReadFn = std::function<size_t(uint64_t offset, uint8_t* data, size_t size)>;

// One page holding part of the comment packet, read whole.
struct CommentPage {
    uint64_t offset = 0;
    std::vector<uint8_t> bytes;  // header, segment table and body
    size_t from = 0, to = 0;     // the packet's bytes within bytes
    bool changed = false;        // set by ReplacePacket when the page needs writing back
};

struct CommentPages {
    std::vector<CommentPage> pages;
    uint64_t packetBytes = 0;
};

// Walks the first logical stream from offset 0 up to the end of its second packet. False when
// the file isn't such a stream, a page is damaged (bad capture, version or checksum), another
// stream's page comes first, or a limit is passed.
bool FindCommentPacket(const ReadFn& read, CommentPages& out);

// The comment packet's bytes.
std::vector<uint8_t> PacketOf(const CommentPages& pages);

// Puts packet (exactly packetBytes long) in place of the old one and sets the checksums of
// the pages it changed. False, with nothing changed, for a packet of another size.
bool ReplacePacket(CommentPages& pages, const uint8_t* packet, size_t size);

}  // namespace tvtags::oggpages
