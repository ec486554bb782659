#include "pcm.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#if defined(__SSE2__)
#include <immintrin.h>
#endif

#include "dither.h"

namespace tvfx {

namespace {
// Samples converted at a time where a pass needs them as double: small enough for the stack
// and the first-level cache.
constexpr size_t ChunkSamples = 1024;

// 16-bit samples straight to 16-bit samples: x * gain is exactly what the trip through double
// at full scale 1 gives, since that scale is a power of two; then the same clip and rounding
// (to nearest, ties to even) as the kit's quantiser. Eight samples at a time with SSE2.
#if defined(__SSE2__)
size_t Scale16Wide(const uint8_t* in, size_t samples, double gain, uint8_t* out) {
    const __m128d g = _mm_set1_pd(gain), lo = _mm_set1_pd(-32768.0), hi = _mm_set1_pd(32767.0);
    const auto quantise = [&](__m128i two) {
        const __m128d v = _mm_mul_pd(_mm_cvtepi32_pd(two), g);
        return _mm_cvtpd_epi32(_mm_min_pd(_mm_max_pd(v, lo), hi));
    };
    size_t i = 0;
    for (; i + 8 <= samples; i += 8) {
        const __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in + 2 * i));
        // Sign-extended to 32 bits: the sample in the high half, shifted down arithmetically.
        const __m128i a = _mm_srai_epi32(_mm_unpacklo_epi16(x, x), 16);
        const __m128i b = _mm_srai_epi32(_mm_unpackhi_epi16(x, x), 16);
        const __m128i q0 = quantise(a), q1 = quantise(_mm_shuffle_epi32(a, 0x4E));
        const __m128i q2 = quantise(b), q3 = quantise(_mm_shuffle_epi32(b, 0x4E));
        const __m128i packed = _mm_packs_epi32(_mm_unpacklo_epi64(q0, q1), _mm_unpacklo_epi64(q2, q3));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 2 * i), packed);
    }
    return i;
}

// The same sixteen at a time where the processor has AVX2: a gain pass over a rendered file
// is memory-bound at SSE2's width only just, and runs twice in a normalising chain. The
// processor's own prefetching doesn't keep up with a loop this busy; a hint a kilobyte ahead
// takes a third off a pass over memory.
constexpr size_t PrefetchBytes = 1024;
__attribute__((target("avx2"))) inline __m128i Quantise4(__m128i four, __m256d g, __m256d lo, __m256d hi) {
    const __m256d v = _mm256_mul_pd(_mm256_cvtepi32_pd(four), g);
    return _mm256_cvtpd_epi32(_mm256_min_pd(_mm256_max_pd(v, lo), hi));
}

__attribute__((target("avx2"))) size_t Scale16Avx2(const uint8_t* in, size_t samples, double gain, uint8_t* out) {
    const __m256d g = _mm256_set1_pd(gain), lo = _mm256_set1_pd(-32768.0), hi = _mm256_set1_pd(32767.0);
    size_t i = 0;
    for (; i + 16 <= samples; i += 16) {
        _mm_prefetch(reinterpret_cast<const char*>(in + 2 * i + PrefetchBytes), _MM_HINT_T0);
        const __m256i x = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(in + 2 * i));
        const __m256i a = _mm256_cvtepi16_epi32(_mm256_castsi256_si128(x));
        const __m256i b = _mm256_cvtepi16_epi32(_mm256_extracti128_si256(x, 1));
        const __m128i q0 = Quantise4(_mm256_castsi256_si128(a), g, lo, hi);
        const __m128i q1 = Quantise4(_mm256_extracti128_si256(a, 1), g, lo, hi);
        const __m128i q2 = Quantise4(_mm256_castsi256_si128(b), g, lo, hi);
        const __m128i q3 = Quantise4(_mm256_extracti128_si256(b, 1), g, lo, hi);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 2 * i), _mm_packs_epi32(q0, q1));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 2 * i + 16), _mm_packs_epi32(q2, q3));
    }
    return i;
}

// Eight doubles a lane where the processor has AVX-512: the conversions to and from double are
// the loop's cost, and half as many of them go through. GCC 12 takes the undefined first input
// that these intrinsics pass to their masked builtins for an uninitialised variable.
#if !defined(__clang__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif
__attribute__((target("avx512f"))) inline __m256i Quantise8(__m256i eight, __m512d g, __m512d lo, __m512d hi) {
    const __m512d v = _mm512_mul_pd(_mm512_cvtepi32_pd(eight), g);
    return _mm512_cvtpd_epi32(_mm512_min_pd(_mm512_max_pd(v, lo), hi));
}

__attribute__((target("avx512f"))) size_t Scale16Avx512(const uint8_t* in, size_t samples, double gain, uint8_t* out) {
    const __m512d g = _mm512_set1_pd(gain), lo = _mm512_set1_pd(-32768.0), hi = _mm512_set1_pd(32767.0);
    size_t i = 0;
    for (; i + 16 <= samples; i += 16) {
        _mm_prefetch(reinterpret_cast<const char*>(in + 2 * i + PrefetchBytes), _MM_HINT_T0);
        const __m512i x = _mm512_cvtepi16_epi32(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(in + 2 * i)));
        const __m256i qa = Quantise8(_mm512_castsi512_si256(x), g, lo, hi);
        const __m256i qb = Quantise8(_mm512_extracti64x4_epi64(x, 1), g, lo, hi);
        // In range after the clip, so the narrowing's saturation never acts.
        const __m512i q = _mm512_inserti64x4(_mm512_castsi256_si512(qa), qb, 1);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + 2 * i), _mm512_cvtsepi32_epi16(q));
    }
    return i;
}
#if !defined(__clang__)
#pragma GCC diagnostic pop
#endif

size_t Scale16Fast(const uint8_t* in, size_t samples, double gain, uint8_t* out) {
    static const bool avx512 = __builtin_cpu_supports("avx512f");
    static const bool avx2 = __builtin_cpu_supports("avx2");
    const size_t done = avx512 ? Scale16Avx512(in, samples, gain, out) : avx2 ? Scale16Avx2(in, samples, gain, out) : 0;
    return done + Scale16Wide(in + 2 * done, samples - done, gain, out + 2 * done);
}
#else
size_t Scale16Fast(const uint8_t*, size_t, double, uint8_t*) { return 0; }
#endif

void Scale16(const uint8_t* in, size_t samples, double gain, uint8_t* out) {
    constexpr double shift = 6755399441055744.0;  // 1.5 * 2^52: rounds to nearest, ties to even
    for (size_t i = Scale16Fast(in, samples, gain, out); i < samples; ++i) {
        int16_t x;
        std::memcpy(&x, in + 2 * i, 2);
        double v = double(x) * gain;
        v = v >= -32768.0 ? v : -32768.0;
        v = v <= 32767.0 ? v : 32767.0;
        const auto q = static_cast<int16_t>((v + shift) - shift);
        std::memcpy(out + 2 * i, &q, 2);
    }
}

// The lowest and highest of the samples in 16-bit lanes, which the vectoriser keeps in
// registers; the magnitude is taken once at the end, where -32768 can't overflow.
double Peak16(const uint8_t* in, size_t samples) {
    int16_t low = 0, high = 0;
    for (size_t i = 0; i < samples; ++i) {
        int16_t x;
        std::memcpy(&x, in + 2 * i, 2);
        low = x < low ? x : low;
        high = x > high ? x : high;
    }
    return std::max(-int32_t{low}, int32_t{high}) * (1.0 / 32768.0);
}
}  // namespace

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

void FromDouble(const double* in, size_t samples, const Layout& l, uint8_t* out, Dither* dither) {
    if (!dither || l.isFloat) {
        tvkit::DoubleToPcm(in, samples, l, out);
        return;
    }
    double noise[ChunkSamples];
    for (size_t done = 0; done < samples;) {
        const size_t n = std::min(ChunkSamples, samples - done);
        for (size_t i = 0; i < n; ++i) noise[i] = dither->Next();
        tvkit::DoubleToPcm(in + done, n, l, out + done * (l.bits / 8), noise);
        done += n;
    }
}

void ScalePcm(const uint8_t* in, size_t samples, const Layout& l, double gain, uint8_t* out) {
    if (!l.isFloat && l.bits == 16) {
        Scale16(in, samples, gain, out);
        return;
    }
    const size_t bytes = l.bits / 8;
    double chunk[ChunkSamples];
    for (size_t done = 0; done < samples;) {
        const size_t n = std::min(ChunkSamples, samples - done);
        tvkit::PcmToDouble(in + done * bytes, n, l, chunk);
        for (size_t i = 0; i < n; ++i) chunk[i] *= gain;
        tvkit::DoubleToPcm(chunk, n, l, out + done * bytes);
        done += n;
    }
}

double PeakOfPcm(const uint8_t* in, size_t samples, const Layout& l) {
    if (!l.isFloat && l.bits == 16) return Peak16(in, samples);
    const size_t bytes = l.bits / 8;
    double chunk[ChunkSamples];
    // Four running maxima, so that the comparisons don't wait on each other.
    double m[4] = {0, 0, 0, 0};
    for (size_t done = 0; done < samples;) {
        const size_t n = std::min(ChunkSamples, samples - done);
        tvkit::PcmToDouble(in + done * bytes, n, l, chunk);
        size_t i = 0;
        for (; i + 4 <= n; i += 4)
            for (size_t k = 0; k < 4; ++k) {
                const double a = std::fabs(chunk[i + k]);
                m[k] = a > m[k] ? a : m[k];  // NaN loses
            }
        for (; i < n; ++i) {
            const double a = std::fabs(chunk[i]);
            m[0] = a > m[0] ? a : m[0];
        }
        done += n;
    }
    return std::max(std::max(m[0], m[1]), std::max(m[2], m[3]));
}

}  // namespace tvfx
