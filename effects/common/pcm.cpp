#include "pcm.h"

#include <algorithm>
#include <cmath>

#include "dither.h"

namespace tvfx {

namespace {
// Samples converted at a time where a pass needs them as double: small enough for the stack
// and the first-level cache.
constexpr size_t ChunkSamples = 1024;
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
