#include "pcm.h"

#include <cmath>
#include <cstring>

#include "dither.h"
#include "tvkit/text.h"

namespace tvfx {

namespace {
int32_t Signed24(const uint8_t* p) {
    return static_cast<int32_t>(static_cast<uint32_t>(p[0]) << 8 | static_cast<uint32_t>(p[1]) << 16 |
                                static_cast<uint32_t>(p[2]) << 24) >>
           8;
}

// Rounds and clips a value in steps of the integer range [lo, hi].
inline int64_t Quantise(double v, double lo, double hi) {
    if (!(v >= lo)) return static_cast<int64_t>(lo);  // also NaN
    if (v > hi) return static_cast<int64_t>(hi);
    return std::llrint(v);
}
}  // namespace

bool ReadLayout(const TvWaveFormatExtensible& f, Layout& out) {
    uint16_t tag = f.Format.wFormatTag;
    if (tag == TV_WAVE_FORMAT_EXTENSIBLE) {
        if (f.Format.cbSize < TV_WAVE_EXTENSIBLE_EXTRA) return false;
        tag = static_cast<uint16_t>(f.SubFormat.Data1);
    }
    const unsigned bits = f.Format.wBitsPerSample;
    out.isFloat = tag == TV_WAVE_FORMAT_IEEE_FLOAT;
    out.bits = bits;
    out.channels = f.Format.nChannels;
    out.rate = f.Format.nSamplesPerSec;
    out.frameBytes = f.Format.nBlockAlign;
    const bool sizeOk = out.isFloat
                            ? (bits == 32 || bits == 64)
                            : tag == TV_WAVE_FORMAT_PCM && (bits == 8 || bits == 16 || bits == 24 || bits == 32);
    return sizeOk && out.channels > 0 && out.rate > 0 && out.frameBytes == bits / 8 * out.channels;
}

std::u16string Describe(const TvWaveFormatExtensible& f) {
    Layout l;
    const bool known = ReadLayout(f, l);
    std::u16string text =
        tvkit::Number16(static_cast<unsigned long long>(f.Format.wBitsPerSample)) + (!known      ? u"-bit non-PCM"
                                                                                     : l.isFloat ? u"-bit float"
                                                                                                 : u"-bit PCM");
    text += u", " + tvkit::Number16(static_cast<unsigned long long>(f.Format.nChannels)) + u" channels, ";
    return text + tvkit::Number16(static_cast<unsigned long long>(f.Format.nSamplesPerSec)) + u" Hz";
}

uint32_t DefaultSpeakerMask(unsigned channels) {
    switch (channels) {
        case 1:
            return 0x4;
        case 2:
            return 0x3;
        case 3:
            return 0x7;
        case 4:
            return 0x33;
        case 5:
            return 0x37;
        case 6:
            return 0x3F;
        case 7:
            return 0x13F;
        case 8:
            return 0x63F;
        default:
            return 0;
    }
}

uint32_t SpeakerMask(const TvWaveFormatExtensible& f) {
    if (f.Format.wFormatTag == TV_WAVE_FORMAT_EXTENSIBLE && f.dwChannelMask != 0) return f.dwChannelMask;
    return DefaultSpeakerMask(f.Format.nChannels);
}

TvWaveFormatExtensible MakeFormat(const Layout& l, uint32_t mask) {
    TvWaveFormatExtensible f{};
    f.Format.nChannels = static_cast<uint16_t>(l.channels);
    f.Format.nSamplesPerSec = l.rate;
    f.Format.wBitsPerSample = static_cast<uint16_t>(l.bits);
    f.Format.nBlockAlign = static_cast<uint16_t>(l.bits / 8 * l.channels);
    f.Format.nAvgBytesPerSec = f.Format.nBlockAlign * l.rate;
    if (!l.isFloat && l.bits <= 16 && l.channels <= 2 && (mask == 0 || mask == DefaultSpeakerMask(l.channels))) {
        f.Format.wFormatTag = TV_WAVE_FORMAT_PCM;
        return f;
    }
    f.Format.wFormatTag = TV_WAVE_FORMAT_EXTENSIBLE;
    f.Format.cbSize = TV_WAVE_EXTENSIBLE_EXTRA;
    f.wValidBitsPerSample = static_cast<uint16_t>(l.bits);
    f.dwChannelMask = mask ? mask : DefaultSpeakerMask(l.channels);
    f.SubFormat = TvWaveSubFormat(l.isFloat ? TV_WAVE_FORMAT_IEEE_FLOAT : TV_WAVE_FORMAT_PCM);
    return f;
}

void ToDouble(const uint8_t* p, size_t samples, const Layout& l, double* out) {
    if (l.isFloat) {
        if (l.bits == 32) {
            for (size_t i = 0; i < samples; ++i, p += 4) {
                float f;
                std::memcpy(&f, p, 4);
                out[i] = f;
            }
        } else {
            std::memcpy(out, p, samples * sizeof(double));
        }
        return;
    }
    switch (l.bits) {
        case 8:
            for (size_t i = 0; i < samples; ++i) out[i] = (static_cast<int>(p[i]) - 128) * (1.0 / 128);
            break;
        case 16:
            for (size_t i = 0; i < samples; ++i, p += 2)
                out[i] = static_cast<int16_t>(static_cast<uint16_t>(p[0] | p[1] << 8)) * (1.0 / 32768);
            break;
        case 24:
            for (size_t i = 0; i < samples; ++i, p += 3) out[i] = Signed24(p) * (1.0 / 8388608);
            break;
        default:
            for (size_t i = 0; i < samples; ++i, p += 4) {
                int32_t v;
                std::memcpy(&v, p, 4);
                out[i] = v * (1.0 / 2147483648.0);
            }
            break;
    }
}

namespace {
// One loop per depth, so that the per-sample work is a multiply, a round and a clip.
template <unsigned Bytes, class Store>
void QuantiseAll(const double* in, size_t samples, uint8_t* p, Dither* dither, Store store) {
    constexpr double scale = static_cast<double>(int64_t{1} << (Bytes * 8 - 1));
    if (dither) {
        for (size_t i = 0; i < samples; ++i, p += Bytes)
            store(p, Quantise(in[i] * scale + dither->Next(), -scale, scale - 1));
    } else {
        for (size_t i = 0; i < samples; ++i, p += Bytes) store(p, Quantise(in[i] * scale, -scale, scale - 1));
    }
}
}  // namespace

void FromDouble(const double* in, size_t samples, const Layout& l, uint8_t* p, Dither* dither) {
    if (l.isFloat) {
        if (l.bits == 32) {
            for (size_t i = 0; i < samples; ++i, p += 4) {
                const float f = static_cast<float>(in[i]);
                std::memcpy(p, &f, 4);
            }
        } else {
            std::memcpy(p, in, samples * sizeof(double));
        }
        return;
    }
    switch (l.bits) {
        case 8:
            QuantiseAll<1>(in, samples, p, dither, [](uint8_t* q, int64_t s) { q[0] = static_cast<uint8_t>(s + 128); });
            break;
        case 16:
            QuantiseAll<2>(in, samples, p, dither, [](uint8_t* q, int64_t s) {
                const auto v = static_cast<int16_t>(s);
                std::memcpy(q, &v, 2);
            });
            break;
        case 24:
            QuantiseAll<3>(in, samples, p, dither, [](uint8_t* q, int64_t s) {
                q[0] = static_cast<uint8_t>(s);
                q[1] = static_cast<uint8_t>(s >> 8);
                q[2] = static_cast<uint8_t>(s >> 16);
            });
            break;
        default:
            QuantiseAll<4>(in, samples, p, dither, [](uint8_t* q, int64_t s) {
                const auto v = static_cast<int32_t>(s);
                std::memcpy(q, &v, 4);
            });
            break;
    }
}

}  // namespace tvfx
