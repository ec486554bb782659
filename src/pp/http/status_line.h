#pragma once
// The first line of an HTTP reply: "HTTP/1.1 200 OK".
#include <cstdint>
#include <string>
#include <string_view>

namespace PP {

// "HTTP/" and a version, a blank, three digits, and optionally a blank and the reason phrase
// (which may be empty). False for anything else.
bool parseStatusLine(std::string_view line, int32_t& status, std::string& reason);

}  // namespace PP
