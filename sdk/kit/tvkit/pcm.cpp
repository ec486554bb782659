#include "pcm.h"

#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "text.h"

namespace tvkit {

namespace {

// Little-endian samples of a container; 8-bit PCM is unsigned around 128.
template <unsigned Bytes>
int32_t Load(const uint8_t* p);
template <>
int32_t Load<1>(const uint8_t* p) {
    return static_cast<int32_t>(p[0]) - 128;
}
template <>
int32_t Load<2>(const uint8_t* p) {
    int16_t v;
    std::memcpy(&v, p, 2);
    return v;
}
template <>
int32_t Load<3>(const uint8_t* p) {
    return static_cast<int32_t>(static_cast<uint32_t>(p[0]) << 8 | static_cast<uint32_t>(p[1]) << 16 |
                                static_cast<uint32_t>(p[2]) << 24) >>
           8;
}
template <>
int32_t Load<4>(const uint8_t* p) {
    int32_t v;
    std::memcpy(&v, p, 4);
    return v;
}

template <unsigned Bytes>
void Store(uint8_t* p, int32_t v);
template <>
void Store<1>(uint8_t* p, int32_t v) {
    p[0] = static_cast<uint8_t>(v + 128);
}
template <>
void Store<2>(uint8_t* p, int32_t v) {
    const auto s = static_cast<int16_t>(v);
    std::memcpy(p, &s, 2);
}
template <>
void Store<3>(uint8_t* p, int32_t v) {
    p[0] = static_cast<uint8_t>(v);
    p[1] = static_cast<uint8_t>(v >> 8);
    p[2] = static_cast<uint8_t>(v >> 16);
}
template <>
void Store<4>(uint8_t* p, int32_t v) {
    std::memcpy(p, &v, 4);
}

template <unsigned Bytes>
constexpr double FullScale = static_cast<double>(int64_t{1} << (Bytes * 8 - 1));

template <unsigned Bytes, class T>
void IntegerTo(const uint8_t* in, size_t samples, T* out) {
    // Exact for every depth and both types: the step is a power of two.
    constexpr T step = static_cast<T>(1.0 / FullScale<Bytes>);
    for (size_t i = 0; i < samples; ++i) out[i] = static_cast<T>(Load<Bytes>(in + i * Bytes)) * step;
}

template <class T>
void ToReal(const uint8_t* in, size_t samples, const PcmLayout& l, T* out) {
    if (l.isFloat) {
        if (l.bits == sizeof(T) * 8) {
            std::memcpy(out, in, samples * sizeof(T));
        } else if (l.bits == 32) {
            for (size_t i = 0; i < samples; ++i) {
                float f;
                std::memcpy(&f, in + i * 4, 4);
                out[i] = static_cast<T>(f);
            }
        } else {
            for (size_t i = 0; i < samples; ++i) {
                double d;
                std::memcpy(&d, in + i * 8, 8);
                out[i] = static_cast<T>(d);
            }
        }
        return;
    }
    switch (l.bits) {
        case 8:
            IntegerTo<1>(in, samples, out);
            break;
        case 16:
            IntegerTo<2>(in, samples, out);
            break;
        case 24:
            IntegerTo<3>(in, samples, out);
            break;
        default:
            IntegerTo<4>(in, samples, out);
            break;
    }
}

// Round to nearest, ties to even, as the default rounding mode does, for |v| < 2^51: adding
// 1.5 * 2^52 leaves no bits below the units. Much cheaper than a call to llrint per sample.
inline double RoundToInteger(double v) {
    constexpr double shift = 6755399441055744.0;
    return (v + shift) - shift;
}

#if defined(__SSE2__)
// 16-bit, the commonest depth, eight samples at a time: SSE2 rounds in the default mode (ties to
// even, as above) and packs with saturation in a few instructions, where the generic loop
// needs many shuffles. Returns how many samples it did.
template <bool Noise>
size_t Quantise16(const double* in, size_t samples, uint8_t* out, const double* steps) {
    const __m128d scale = _mm_set1_pd(32768.0), lo = _mm_set1_pd(-32768.0), hi = _mm_set1_pd(32767.0);
    size_t i = 0;
    for (; i + 8 <= samples; i += 8) {
        __m128i q[4];
        for (size_t k = 0; k < 4; ++k) {
            __m128d v = _mm_mul_pd(_mm_loadu_pd(in + i + 2 * k), scale);
            if constexpr (Noise) v = _mm_add_pd(v, _mm_loadu_pd(steps + i + 2 * k));
            v = _mm_min_pd(_mm_max_pd(v, lo), hi);  // max takes lo for NaN
            q[k] = _mm_cvtpd_epi32(v);
        }
        const __m128i packed = _mm_packs_epi32(_mm_unpacklo_epi64(q[0], q[1]), _mm_unpacklo_epi64(q[2], q[3]));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 2 * i), packed);
    }
    return i;
}
#else
template <bool Noise>
size_t Quantise16(const double*, size_t, uint8_t*, const double*) {
    return 0;
}
#endif

template <unsigned Bytes, bool Noise>
void QuantiseAll(const double* in, size_t samples, uint8_t* out, const double* steps) {
    constexpr double scale = FullScale<Bytes>, lo = -scale, hi = scale - 1;
    size_t done = 0;
    if constexpr (Bytes == 2) done = Quantise16<Noise>(in, samples, out, steps);
    for (size_t i = done; i < samples; ++i) {
        double v = in[i] * scale;
        if constexpr (Noise) v += steps[i];
        v = v >= lo ? v : lo;  // also NaN
        v = v <= hi ? v : hi;
        Store<Bytes>(out + i * Bytes, static_cast<int32_t>(RoundToInteger(v)));
    }
}

template <unsigned Bytes>
void Quantise(const double* in, size_t samples, uint8_t* out, const double* steps) {
    if (steps) {
        QuantiseAll<Bytes, true>(in, samples, out, steps);
    } else {
        QuantiseAll<Bytes, false>(in, samples, out, nullptr);
    }
}

}  // namespace

bool ReadPcmLayout(const TvWaveFormatExtensible& f, PcmLayout& out) {
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

std::u16string DescribePcm(const TvWaveFormatExtensible& f) {
    PcmLayout l;
    const bool known = ReadPcmLayout(f, l);
    std::u16string text =
        Number16(static_cast<unsigned long long>(f.Format.wBitsPerSample)) + (!known      ? u"-bit non-PCM"
                                                                              : l.isFloat ? u"-bit float"
                                                                                          : u"-bit PCM");
    text += u", " + Number16(static_cast<unsigned long long>(f.Format.nChannels)) + u" channels, ";
    return text + Number16(static_cast<unsigned long long>(f.Format.nSamplesPerSec)) + u" Hz";
}

void PcmToFloat(const uint8_t* in, size_t samples, const PcmLayout& l, float* out) { ToReal(in, samples, l, out); }

void PcmToDouble(const uint8_t* in, size_t samples, const PcmLayout& l, double* out) { ToReal(in, samples, l, out); }

void DoubleToPcm(const double* in, size_t samples, const PcmLayout& l, uint8_t* out, const double* steps) {
    if (l.isFloat) {
        if (l.bits == 64) {
            std::memcpy(out, in, samples * sizeof(double));
            return;
        }
        for (size_t i = 0; i < samples; ++i) {
            const float f = static_cast<float>(in[i]);
            std::memcpy(out + i * 4, &f, 4);
        }
        return;
    }
    switch (l.bits) {
        case 8:
            Quantise<1>(in, samples, out, steps);
            break;
        case 16:
            Quantise<2>(in, samples, out, steps);
            break;
        case 24:
            Quantise<3>(in, samples, out, steps);
            break;
        default:
            Quantise<4>(in, samples, out, steps);
            break;
    }
}

}  // namespace tvkit
