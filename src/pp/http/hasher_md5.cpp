// What the hash is to its callers, apart from the system library that computes it.
#include "pp/http/hasher_md5.h"

#include <algorithm>
#include <cstdint>

namespace PP {

void hasherMD5::write(const void* buffer, size_t length) {
    const uint8_t* p = static_cast<const uint8_t*>(buffer);
    while (length > 0) {
        size_t piece = std::min(length, maxPiece);
        update(p, piece);
        p += piece;
        length -= piece;
    }
}

std::string hasherMD5::finish() {
    unsigned char digest[digestBytes];
    finishRaw(digest);
    static const char hex[] = "0123456789abcdef";
    std::string out;
    for (unsigned char b : digest) {
        out += hex[b >> 4];
        out += hex[b & 15];
    }
    return out;
}

std::string hasherMD5::digestText() {
    std::string d = finish();
    reset();
    return d;
}

std::string md5Hex(std::string_view text) {
    hasherMD5 h;
    h.write(text.data(), text.size());
    return h.finish();
}

}  // namespace PP
