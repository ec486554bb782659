#pragma once
// Reading a whole HTTP reply body into memory, plain or chunked.
#include <cstdint>
#include <string_view>
#include <vector>

#include "pp/stream.h"

namespace PP {

// Longest chunk-size line accepted.
constexpr size_t maxChunkSizeLine = 4096;

// `headers` are the reply's header lines, each ended by CR LF. A "transfer-encoding" of
// "chunked" reads a chunked body; otherwise "content-length" bytes are read (none when the
// length is 0 or absent). A body over `limit` throws invalid_input.
void readHttpBody(std::string_view headers, streamIn& s, std::vector<uint8_t>& body, uint64_t limit);
// Size lines in hexadecimal, each chunk followed by CR LF, ended by a chunk of size 0 and its
// CR LF. Extensions and trailers are not accepted.
void readChunkedBody(streamIn& s, std::vector<uint8_t>& body, uint64_t limit);

}  // namespace PP
