#include "sample_hash.h"

#include <cstring>

namespace tvfx {

namespace {
// Integer samples left-justified to 32 bits.
template <unsigned Bytes>
uint32_t Justified(const uint8_t* p);
template <>
uint32_t Justified<1>(const uint8_t* p) {
    return static_cast<uint32_t>(p[0] ^ 0x80) << 24;
}
template <>
uint32_t Justified<2>(const uint8_t* p) {
    return static_cast<uint32_t>(p[0]) << 16 | static_cast<uint32_t>(p[1]) << 24;
}
template <>
uint32_t Justified<3>(const uint8_t* p) {
    return static_cast<uint32_t>(p[0]) << 8 | static_cast<uint32_t>(p[1]) << 16 | static_cast<uint32_t>(p[2]) << 24;
}
template <>
uint32_t Justified<4>(const uint8_t* p) {
    uint32_t v;
    std::memcpy(&v, p, 4);
    return v;
}

// One multiply per sample (FNV-1a over whole words), then the high half folded down so that
// every bit of the sample reaches every bit of the state within a few samples.
inline uint64_t Mix(uint64_t h, uint64_t v) {
    h = (h ^ v) * 1099511628211ULL;
    return h ^ (h >> 32);
}

template <unsigned Bytes>
uint64_t MixAll(uint64_t h, const uint8_t* p, size_t samples) {
    for (size_t i = 0; i < samples; ++i) h = Mix(h, Justified<Bytes>(p + i * Bytes));
    return h;
}
}  // namespace

void SampleHash::Add(const uint8_t* p, size_t count, const Layout& l) {
    const size_t samples = count * l.channels;
    frames += count;
    if (l.isFloat) {
        for (size_t i = 0; i < samples; ++i, p += l.bits / 8) {
            uint64_t v = 0;
            std::memcpy(&v, p, l.bits / 8);
            h = Mix(h, v);
        }
        return;
    }
    switch (l.bits) {
        case 8:
            h = MixAll<1>(h, p, samples);
            break;
        case 16:
            h = MixAll<2>(h, p, samples);
            break;
        case 24:
            h = MixAll<3>(h, p, samples);
            break;
        default:
            h = MixAll<4>(h, p, samples);
            break;
    }
}

}  // namespace tvfx
