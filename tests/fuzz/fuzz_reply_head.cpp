// An HTTP reply head from arbitrary bytes: the line and count limits, the status line, the
// header look-ups and the keep-alive rule.
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "pp/exceptions.h"
#include "pp/http/http_request.h"
#include "pp/http/reply_head.h"
#include "pp/mem_stream.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    PP::streamInMemRef s(data, size);
    std::string statusLine, headers;
    try {
        PP::readReplyHead(s, statusLine, headers);
    } catch (const PP::httpRequest::invalid_reply&) {
        return 0;  // over a limit: the expected refusal
    }
    if (statusLine.size() > PP::replyLineLimit) __builtin_trap();
    int32_t status = -1;
    std::string reason;
    if (PP::parseReplyStatus(statusLine, status, reason)) {
        if (status < 0 || status > 999 || reason.empty()) __builtin_trap();
    }
    for (const char* name : {"content-length", "transfer-encoding", "location", "set-cookie", "icy-metaint", ""}) {
        std::vector<std::string> values;
        std::string first;
        const bool any = PP::findHeaderAll(headers, name, values);
        if (any != PP::findHeader(headers, name, first)) __builtin_trap();
        if (any && first != values.front()) __builtin_trap();
    }
    (void)PP::replyKeepsAlive(statusLine, headers);
    return 0;
}
