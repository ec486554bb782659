#include "pcm.h"

#include <cmath>
#include <cstring>

#include "dither.h"
#include "tvkit/text.h"

namespace tvfx {

namespace {
int32_t Signed24(const uint8_t* p) {
    return static_cast<int32_t>(static_cast<uint32_t>(p[0]) << 8 | static_cast<uint32_t>(p[1]) << 16 |
                                static_cast<uint32_t>(p[2]) << 24) >> 8;
}

// Rounds and clips a value in steps of the integer range [lo, hi].
int64_t Quantise(double v, double lo, double hi) {
    const double r = std::nearbyint(v);
    if (!(r >= lo)) return static_cast<int64_t>(lo);  // also NaN
    if (r > hi) return static_cast<int64_t>(hi);
    return static_cast<int64_t>(r);
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
    const bool sizeOk = out.isFloat ? (bits == 32 || bits == 64)
                                    : tag == TV_WAVE_FORMAT_PCM && (bits == 8 || bits == 16 || bits == 24 || bits == 32);
    return sizeOk && out.channels > 0 && out.rate > 0 && out.frameBytes == bits / 8 * out.channels;
}

std::u16string Describe(const TvWaveFormatExtensible& f) {
    Layout l;
    const bool known = ReadLayout(f, l);
    std::u16string text = tvkit::Number16(static_cast<unsigned long long>(f.Format.wBitsPerSample)) +
                          (!known ? u"-bit non-PCM" : l.isFloat ? u"-bit float" : u"-bit PCM");
    text += u", " + tvkit::Number16(static_cast<unsigned long long>(f.Format.nChannels)) + u" channels, ";
    return text + tvkit::Number16(static_cast<unsigned long long>(f.Format.nSamplesPerSec)) + u" Hz";
}

uint32_t DefaultSpeakerMask(unsigned channels) {
    switch (channels) {
    case 1: return 0x4;
    case 2: return 0x3;
    case 3: return 0x7;
    case 4: return 0x33;
    case 5: return 0x37;
    case 6: return 0x3F;
    case 7: return 0x13F;
    case 8: return 0x63F;
    default: return 0;
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
    const double scale = std::ldexp(1.0, static_cast<int>(l.bits) - 1);
    const double lo = -scale, hi = scale - 1;
    for (size_t i = 0; i < samples; ++i) {
        double v = in[i] * scale;
        if (dither) v += dither->Next();
        const int64_t s = Quantise(v, lo, hi);
        switch (l.bits) {
        case 8: *p++ = static_cast<uint8_t>(s + 128); break;
        case 16:
            *p++ = static_cast<uint8_t>(s);
            *p++ = static_cast<uint8_t>(s >> 8);
            break;
        case 24:
            *p++ = static_cast<uint8_t>(s);
            *p++ = static_cast<uint8_t>(s >> 8);
            *p++ = static_cast<uint8_t>(s >> 16);
            break;
        default: {
            const auto v32 = static_cast<int32_t>(s);
            std::memcpy(p, &v32, 4);
            p += 4;
            break;
        }
        }
    }
}

}  // namespace tvfx
