#include "sample_hash.h"

#include <cstring>

namespace tvfx {

void SampleHash::Mix(uint64_t v) {
    // FNV-1a over the 8 bytes of the value.
    for (int i = 0; i < 8; ++i) {
        h ^= (v >> (8 * i)) & 0xFF;
        h *= 1099511628211ULL;
    }
}

void SampleHash::Add(const uint8_t* p, size_t count, const Layout& l) {
    const size_t samples = count * l.channels;
    frames += count;
    if (l.isFloat) {
        for (size_t i = 0; i < samples; ++i, p += l.bits / 8) {
            uint64_t v = 0;
            std::memcpy(&v, p, l.bits / 8);
            Mix(v);
        }
        return;
    }
    for (size_t i = 0; i < samples; ++i) {
        uint32_t v = 0;
        switch (l.bits) {
            case 8:
                v = static_cast<uint32_t>(p[0] ^ 0x80) << 24;
                break;
            case 16:
                v = static_cast<uint32_t>(p[0]) << 16 | static_cast<uint32_t>(p[1]) << 24;
                break;
            case 24:
                v = static_cast<uint32_t>(p[0]) << 8 | static_cast<uint32_t>(p[1]) << 16 |
                    static_cast<uint32_t>(p[2]) << 24;
                break;
            default:
                std::memcpy(&v, p, 4);
                break;
        }
        p += l.bits / 8;
        Mix(v);
    }
}

}  // namespace tvfx
