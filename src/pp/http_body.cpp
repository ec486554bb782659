#include "pp/http_body.h"

#include <algorithm>
#include <string>

#include "pp/abort.h"
#include "pp/ascii_case.h"

namespace PP {

namespace {

// Largest piece of a chunk read at once: a size line may promise far more than the source
// holds, so the vector grows only with bytes that really arrived.
constexpr size_t chunkReadStep = 1 << 16;

// The value of the first header line named `name`: from the first non-blank behind the colon
// to the end of the line. False when there is no such line.
bool findHeader(std::string_view headers, std::string_view name, std::string& value) {
    size_t pos = 0;
    while (pos < headers.size()) {
        size_t end = headers.find('\n', pos);
        if (end == std::string_view::npos) end = headers.size();
        std::string_view line = headers.substr(pos, end - pos);
        pos = end + 1;
        if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
        size_t colon = line.find(':');
        if (colon == std::string_view::npos || !equalNoCase(line.substr(0, colon), name)) continue;
        size_t v = colon + 1;
        while (v < line.size() && (line[v] == ' ' || line[v] == '\t')) ++v;
        value.assign(line.substr(v));
        return true;
    }
    return false;
}

enum class chunkState { sizeLine, data, dataEnd, done };

}  // namespace

void readChunkedBody(streamIn& s, std::vector<uint8_t>& body, uint64_t limit) {
    body.clear();
    chunkState state = chunkState::sizeLine;
    uint64_t chunkLeft = 0;
    bool lastChunk = false;
    std::string line;
    while (state != chunkState::done) {
        switch (state) {
            case chunkState::sizeLine: {
                checkAbort();
                // An end of source here leaves an empty or partial line, which parses or fails below;
                // the CR LF that must follow every chunk catches a body cut short.
                readLine(s, line, maxChunkSizeLine);
                chunkLeft = parseHex64(line);
                uint64_t total = body.size();
                if (chunkLeft > ~uint64_t(0) - total || total + chunkLeft > limit) throwFixed<invalid_input>();
                lastChunk = chunkLeft == 0;
                state = chunkState::data;
                break;
            }
            case chunkState::data: {
                if (chunkLeft == 0) {
                    state = chunkState::dataEnd;
                    break;
                }
                size_t step = static_cast<size_t>(std::min<uint64_t>(chunkLeft, chunkReadStep));
                size_t old = body.size();
                body.resize(old + step);
                size_t got = s.read(body.data() + old, step);
                if (got < step) {
                    body.resize(old + got);  // what arrived stays; nothing made up
                    throwFixed<invalid_input>();
                }
                chunkLeft -= step;
                break;
            }
            case chunkState::dataEnd: {
                uint8_t crlf[2];
                s.readExact(crlf, 2);
                if (crlf[0] != '\r' || crlf[1] != '\n') throwFixed<invalid_input>();
                state = lastChunk ? chunkState::done : chunkState::sizeLine;
                break;
            }
            case chunkState::done:
                break;
        }
    }
}

void readHttpBody(std::string_view headers, streamIn& s, std::vector<uint8_t>& body, uint64_t limit) {
    std::string value;
    if (findHeader(headers, "transfer-encoding", value) && equalNoCase(value, "chunked")) {
        readChunkedBody(s, body, limit);
        return;
    }
    uint64_t length = unknownLength;
    if (findHeader(headers, "content-length", value)) length = parseDecimal64(value);
    body.clear();
    if (length == 0 || length == unknownLength) return;
    if (length > limit) throwFixed<invalid_input>();
    readToLimit(s, body, length);
}

}  // namespace PP
