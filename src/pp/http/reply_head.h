#pragma once
// The head of an HTTP reply: reading it with its limits, the status line, and looking up
// header lines in the CR LF separated text it is kept as.
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "pp/ascii_case.h"
#include "pp/stream.h"

namespace PP {

// Longest line of a reply head, and most header lines accepted behind the status line.
constexpr size_t replyLineLimit = 4096;
constexpr size_t replyMaxHeaderLines = 256;

// Reads the status line and the header lines up to the empty one; each header line goes to
// `headers` with CR LF behind it. The end of the stream ends the head quietly. A line over the
// limit, or too many lines, is httpRequest::invalid_reply.
void readReplyHead(streamIn& s, std::string& statusLine, std::string& headers);

// Anything up to the first blank, blanks, three digits, then a blank or the end. The reason
// is the rest behind the blanks, or "Unspecified HTTP Response". False when malformed.
bool parseReplyStatus(std::string_view line, int32_t& status, std::string& reason);

// The value of the first header `name` (any case), from the first non-blank behind the colon.
bool findHeader(std::string_view headers, std::string_view name, std::string& value);
// Every value of `name`, in order.
bool findHeaderAll(std::string_view headers, std::string_view name, std::vector<std::string>& values);

}  // namespace PP
