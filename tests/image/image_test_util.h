#pragma once
// Helpers of the picture tests: the committed sample pictures and builders of hand-made bytes.
#include <cstdint>
#include <initializer_list>
#include <string>
#include <tuple>
#include <vector>

#include "image/image_info.h"
#include "support/bytes.h"

using bytes = std::vector<uint8_t>;

// Width, height, bits per pixel and alpha in one comparable value.
using shape = std::tuple<uint32_t, uint32_t, uint32_t, bool>;
inline shape shapeOf(const imageHeaderInfo& info) {
    return {info.width, info.height, info.bitsPerPixel, info.hasAlpha};
}
inline imageHeaderInfo identify(const bytes& data) { return imageHeaderFromMemory(data.data(), data.size()); }

inline std::string samplePath(const std::string& name) {
    return std::string(TV_SOURCE_DIR) + "/tests/data/images/" + name;
}

inline bytes readSample(const std::string& name) {
    const std::string file = tvtest::ReadBytes(samplePath(name));
    return bytes(file.begin(), file.end());
}

inline void append(bytes& out, const bytes& more) { out.insert(out.end(), more.begin(), more.end()); }
inline void appendText(bytes& out, const char* text) {
    for (; *text != 0; ++text) out.push_back(uint8_t(*text));
}
inline void appendBE32(bytes& out, uint32_t v) { tvtest::PutBE32(out, v); }
inline void appendLE16(bytes& out, uint32_t v) { tvtest::PutLE16(out, v); }
inline void appendLE32(bytes& out, uint32_t v) { tvtest::PutLE32(out, v); }

// An ISO box with a 32-bit size; sizeOverride replaces the computed size when set.
inline bytes isoBox(const char* type, const bytes& payload, int64_t sizeOverride = -1) {
    bytes out;
    appendBE32(out, sizeOverride >= 0 ? uint32_t(sizeOverride) : uint32_t(payload.size() + 8));
    appendText(out, type);
    append(out, payload);
    return out;
}

inline bytes concat(std::initializer_list<bytes> parts) {
    bytes out;
    for (const bytes& part : parts) append(out, part);
    return out;
}

// Bits from the least significant end of each byte, as the JPEG XL headers are laid out.
class bitWriter {
public:
    bitWriter& put(uint32_t value, uint32_t count) {
        for (uint32_t i = 0; i < count; ++i) {
            if (used % 8 == 0) data.push_back(0);
            if ((value >> i) & 1) data.back() |= uint8_t(1u << (used % 8));
            ++used;
        }
        return *this;
    }
    bitWriter& flag(bool value) { return put(value ? 1 : 0, 1); }
    // Enough trailing zero bytes that a reader never runs out early.
    bytes finish() const {
        bytes out = data;
        out.insert(out.end(), 8, 0);
        return out;
    }

private:
    bytes data;
    uint32_t used = 0;
};
