// Base64 decoding of arbitrary text into buffers of every room, and round trips.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "pp/net/base64.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    std::string_view text(reinterpret_cast<const char*>(data + 1), size - 1);
    // The first byte picks a room that may be too small.
    size_t room = data[0] == 255 ? text.size() : data[0];
    std::vector<uint8_t> out(room);
    int64_t n = PP::decodeBase64(text, out.data(), room);
    if (n > int64_t(room)) __builtin_trap();
    std::string enc = PP::encodeBase64(text);
    std::vector<uint8_t> back = PP::decodeBase64(enc);
    if (std::string_view(reinterpret_cast<const char*>(back.data()), back.size()) != text) __builtin_trap();
    std::string lines = PP::encodeBase64Lines(text.data(), text.size(), data[0] & 3, (data[0] & 4) != 0);
    if (!(data[0] & 1)) {
        back = PP::decodeBase64(lines);
        if (std::string_view(reinterpret_cast<const char*>(back.data()), back.size()) != text) __builtin_trap();
    }
    return 0;
}
