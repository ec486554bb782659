#include "pp/http/status_line.h"

namespace PP {

bool parseStatusLine(std::string_view line, int32_t& status, std::string& reason) {
    if (line.substr(0, 5) != "HTTP/") return false;
    size_t blank = line.find(' ');
    if (blank == std::string_view::npos || blank == 5) return false;
    for (size_t i = 5; i < blank; ++i) {
        char c = line[i];
        if (!((c >= '0' && c <= '9') || c == '.')) return false;
    }
    std::string_view rest = line.substr(blank + 1);
    if (rest.size() < 3) return false;
    int32_t value = 0;
    for (size_t i = 0; i < 3; ++i) {
        if (rest[i] < '0' || rest[i] > '9') return false;
        value = value * 10 + (rest[i] - '0');
    }
    if (rest.size() > 3 && rest[3] != ' ') return false;
    status = value;
    reason = rest.size() > 4 ? std::string(rest.substr(4)) : std::string();
    return true;
}

}  // namespace PP
