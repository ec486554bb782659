#include "pp/http/reply_head.h"

#include "pp/exceptions.h"
#include "pp/http/http_errors.h"

namespace PP {

namespace {

[[noreturn]] void invalidReply() {
    throw httpRequestErrors::invalid_reply(httpRequestErrors::invalid_reply::fixedText());
}

bool readHeadLine(streamIn& s, std::string& line) {
    try {
        return readLine(s, line, replyLineLimit);
    } catch (const invalid_input&) {
        invalidReply();  // longer than the limit
    }
}

}  // namespace

void readReplyHead(streamIn& s, std::string& statusLine, std::string& headers) {
    statusLine.clear();
    headers.clear();
    if (!readHeadLine(s, statusLine)) return;
    std::string line;
    for (size_t count = 0;; ++count) {
        line.clear();
        bool complete = readHeadLine(s, line);
        if (line.empty()) return;
        if (count >= replyMaxHeaderLines) invalidReply();
        headers += line;
        headers += "\r\n";
        if (!complete) return;
    }
}

bool parseReplyStatus(std::string_view line, int32_t& status, std::string& reason) {
    size_t i = line.find(' ');
    if (i == std::string_view::npos) return false;
    while (i < line.size() && line[i] == ' ') ++i;
    if (line.size() < i + 3) return false;
    int32_t value = 0;
    for (size_t k = i; k < i + 3; ++k) {
        if (line[k] < '0' || line[k] > '9') return false;
        value = value * 10 + (line[k] - '0');
    }
    i += 3;
    if (i < line.size() && line[i] != ' ') return false;
    while (i < line.size() && line[i] == ' ') ++i;
    status = value;
    reason = i < line.size() ? std::string(line.substr(i)) : std::string();
    if (reason.empty()) reason = "Unspecified HTTP Response";
    return true;
}

bool findHeaderAll(std::string_view headers, std::string_view name, std::vector<std::string>& values) {
    bool found = false;
    size_t start = 0;
    while (start < headers.size()) {
        size_t end = headers.find("\r\n", start);
        if (end == std::string_view::npos) end = headers.size();
        std::string_view line = headers.substr(start, end - start);
        start = end + 2;
        if (line.size() <= name.size() || line[name.size()] != ':' || !startsNoCase(line, name)) continue;
        size_t v = name.size() + 1;
        while (v < line.size() && (line[v] == ' ' || line[v] == '\t')) ++v;
        values.emplace_back(line.substr(v));
        found = true;
    }
    return found;
}

bool findHeader(std::string_view headers, std::string_view name, std::string& value) {
    std::vector<std::string> all;
    if (!findHeaderAll(headers, name, all)) return false;
    value = all.front();
    return true;
}

}  // namespace PP
