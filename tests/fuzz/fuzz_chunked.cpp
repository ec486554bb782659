// Chunked and plain HTTP bodies from arbitrary bytes. The first byte picks the path and the
// limit; for the plain path the input up to the first blank line is the header list.
#include <cstddef>
#include <cstdint>
#include <exception>
#include <string_view>
#include <vector>

#include "pp/http_body.h"
#include "pp/mem_stream.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    const uint8_t mode = data[0];
    ++data;
    --size;
    // Small limits reach the limit tests; the largest one lets overflow of the total show.
    static const uint64_t limits[4] = {0, 64, 1 << 16, UINT64_MAX};
    const uint64_t limit = limits[mode & 3];
    std::vector<uint8_t> body;
    try {
        if (mode & 4) {
            std::string_view all(reinterpret_cast<const char*>(data), size);
            size_t split = all.find("\r\n\r\n");
            std::string_view headers = split == std::string_view::npos ? all : all.substr(0, split + 2);
            size_t bodyAt = split == std::string_view::npos ? size : split + 4;
            PP::streamInMemRef s(data + bodyAt, size - bodyAt);
            PP::readHttpBody(headers, s, body, limit);
        } else {
            PP::streamInMemRef s(data, size);
            PP::readChunkedBody(s, body, limit);
        }
    } catch (const PP::invalid_input&) {
        // Malformed input is the expected failure.
    } catch (const PP::overflow&) {
        // A size line beyond 64 bits.
    }
    if (body.size() > limit || body.size() > size) __builtin_trap();
    return 0;
}
