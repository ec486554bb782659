// The head of a proxy's reply to CONNECT: line limits and the status line.
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "pp/exceptions.h"
#include "pp/http/http_errors.h"
#include "pp/http/status_line.h"
#include "pp/mem_stream.h"
#include "pp/net/proxy.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    PP::streamInMemRef s(data, size);
    try {
        std::vector<std::string> lines = PP::readProxyReplyHead(s);
        if (lines.empty() || lines.size() > PP::proxyReplyMaxLines) __builtin_trap();
        for (const auto& l : lines)
            if (l.empty() || l.size() > PP::proxyReplyLineLimit) __builtin_trap();
        int32_t status = -1;
        std::string reason;
        if (PP::parseStatusLine(lines[0], status, reason)) {
            if (status < 0 || status > 999) __builtin_trap();
            (void)PP::httpStatusText(reason, status);
        }
    } catch (const PP::httpRequestErrors::invalid_reply&) {
        // A head that breaks the limits or ends early.
    }
    return 0;
}
