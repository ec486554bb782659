#include "pp/net/base64.h"

namespace PP {

namespace {

const char alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr size_t lineLength = 76;

int valueOf(unsigned char c) {
    if (c >= 'A' && c <= 'Z') return c - 'A';
    if (c >= 'a' && c <= 'z') return c - 'a' + 26;
    if (c >= '0' && c <= '9') return c - '0' + 52;
    if (c == '+') return 62;
    if (c == '/') return 63;
    return -1;
}

std::string encode(const uint8_t* p, size_t n, bool pad) {
    std::string out;
    out.reserve((n + 2) / 3 * 4);
    size_t i = 0;
    for (; i + 3 <= n; i += 3) {
        uint32_t v = uint32_t(p[i]) << 16 | uint32_t(p[i + 1]) << 8 | p[i + 2];
        out += alphabet[v >> 18];
        out += alphabet[(v >> 12) & 63];
        out += alphabet[(v >> 6) & 63];
        out += alphabet[v & 63];
    }
    if (i < n) {
        uint32_t v = uint32_t(p[i]) << 16 | (i + 1 < n ? uint32_t(p[i + 1]) << 8 : 0);
        out += alphabet[v >> 18];
        out += alphabet[(v >> 12) & 63];
        if (i + 1 < n) out += alphabet[(v >> 6) & 63];
        if (pad) out += i + 1 < n ? "=" : "==";
    }
    return out;
}

}  // namespace

std::string encodeBase64(const void* bytes, size_t length) {
    return encode(static_cast<const uint8_t*>(bytes), length, true);
}

std::string encodeBase64(std::string_view bytes) { return encodeBase64(bytes.data(), bytes.size()); }

int64_t decodeBase64(std::string_view text, uint8_t* out, size_t room) {
    size_t done = 0;
    uint32_t group = 0;
    int have = 0;
    for (unsigned char c : text) {
        if (c == 0) break;
        int v = valueOf(c);
        if (v < 0) continue;
        group = group << 6 | uint32_t(v);
        if (++have == 4) {
            if (room - done < 3) return -1;
            out[done++] = uint8_t(group >> 16);
            out[done++] = uint8_t(group >> 8);
            out[done++] = uint8_t(group);
            group = 0;
            have = 0;
        }
    }
    // A last group of two or three characters carries one or two bytes; one alone carries none.
    if (have >= 2) {
        size_t extra = size_t(have - 1);
        if (room - done < extra) return -1;
        group <<= 6 * (4 - have);
        out[done++] = uint8_t(group >> 16);
        if (have == 3) out[done++] = uint8_t(group >> 8);
    }
    return int64_t(done);
}

std::vector<uint8_t> decodeBase64(std::string_view text) {
    std::vector<uint8_t> out(text.size() / 4 * 3 + 3);
    int64_t n = decodeBase64(text, out.data(), out.size());
    out.resize(n < 0 ? 0 : size_t(n));
    return out;
}

std::string encodeBase64Lines(const void* bytes, size_t length, unsigned flags, bool closingNul) {
    std::string flat = encode(static_cast<const uint8_t*>(bytes), length, !(flags & base64NoPadding));
    std::string out;
    if (flags & base64NoLineBreaks) {
        out = std::move(flat);
    } else {
        for (size_t i = 0; i < flat.size(); i += lineLength) {
            out.append(flat, i, lineLength);
            out += "\r\n";
        }
    }
    if (closingNul) out += '\0';
    return out;
}

}  // namespace PP
