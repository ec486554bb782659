// Escaping and unescaping arbitrary bytes: every escape set must unescape to its input (a NUL
// byte aside, whose "%00" unescape keeps on purpose), and unescape must never grow a text.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "pp/net/escape.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string_view text(reinterpret_cast<const char*>(data), size);
    std::string plain = PP::unescape(text);
    if (plain.size() > text.size()) __builtin_trap();
    (void)PP::isEscaped(text);
    if (text.find('\0') != std::string_view::npos) return 0;
    if (PP::unescape(PP::escapePath(text)) != text) __builtin_trap();
    if (PP::unescape(PP::escapeName(text)) != text) __builtin_trap();
    if (PP::unescape(PP::escapeForm(text)) != text) __builtin_trap();
    if (PP::unescape(PP::escapeQuery(text)) != text) __builtin_trap();
    return 0;
}
