#pragma once
// The line format of the tvimage tool, which outside test suites parse: fields separated by one
// TAB, "FILE FORMAT WIDTH HEIGHT BITS_PER_PIXEL ALPHA EXTENSION MIME", or "FILE ! MESSAGE"
// when identification threw.
#include <string>

struct imageHeaderInfo;

std::string imageReportLine(const std::string& name, const imageHeaderInfo& info);
std::string imageReportFailure(const std::string& name, const std::string& message);

// Identifies a path or URL and gives its line, ending in LF; identified tells which form it is.
std::string imageReportFor(const std::string& pathOrUrl, bool& identified);
