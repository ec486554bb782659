// HTTP dates from arbitrary text: a date that parses formats back to one that parses to the
// same time.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "pp/net/http_date.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string_view text(reinterpret_cast<const char*>(data), size);
    uint64_t t = 0;
    if (PP::parseHttpDate(text, t)) {
        std::string again = PP::formatHttpDate(t);
        uint64_t t2 = 0;
        if (!PP::parseHttpDate(again, t2) || t2 != t) __builtin_trap();
    }
    return 0;
}
