#pragma once
// The date form of HTTP headers: "Sun, 06 Nov 1994 08:49:37 GMT".
#include <cstdint>
#include <ctime>
#include <string>
#include <string_view>

namespace PP {

// Day name, comma, day, month name, year, hours:minutes:seconds. A text that holds "-" (the
// obsolete forms) or no "," fails; so does any field out of its range. The result is in the
// file-time unit (100 ns since 1601-01-01 UTC).
bool parseHttpDate(std::string_view text, uint64_t& fileTime);
// From a broken-down UTC time; day and month out of their ranges throw invalid_input.
std::string formatHttpDate(const std::tm& t);
std::string formatHttpDate(uint64_t fileTime);

}  // namespace PP
