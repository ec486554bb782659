// ICY metadata from arbitrary bytes: the first byte picks the interval, the rest is the
// stream with its blocks; every block that arrives is parsed. The block text parser and the
// text conversion are fed the raw input as well.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "pp/exceptions.h"
#include "pp/http/icy_reader.h"
#include "pp/mem_stream.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    const int32_t interval = data[0] % 64;
    std::string_view text(reinterpret_cast<const char*>(data + 1), size - 1);
    std::string title, url;
    PP::parseIcyBlock(text, title, url);
    if (title.size() > text.size() || url.size() > text.size()) __builtin_trap();
    const std::string utf8 = PP::icyTextToUtf8(text);
    if (utf8.size() > 2 * text.size()) __builtin_trap();

    PP::streamInMemRef s(data + 1, size - 1);
    PP::icyReader reader;
    reader.restart(interval);
    uint8_t buffer[37];
    uint64_t audio = 0;
    for (size_t step = 0; step <= size; ++step) {
        const size_t n = reader.read(s, buffer, sizeof buffer, (step & 1) != 0);
        audio += n;
        if (reader.pending()) (void)reader.parse();
        if (n == 0) break;
    }
    if (audio > size || reader.audioPosition() != audio) __builtin_trap();
    return 0;
}
