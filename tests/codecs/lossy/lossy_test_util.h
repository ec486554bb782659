#pragma once
// Helpers of the lossy codec tests: tones in any sample layout, format records, and how close
// decoded 16-bit audio is to its source.
#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include "codecs/codec_test_util.h"
#include "tvkit/tag_block.h"

namespace lossytest {

using codectest::Bytes;

// A format record of integer PCM (bits 8..32) or float (isFloat, 32 bits).
inline OpenFileRecord Record(unsigned bits, unsigned channels, unsigned rate, bool isFloat = false) {
    OpenFileRecord rec{};
    TvWaveFormatEx& f = rec.Format.Format;
    f.nChannels = uint16_t(channels);
    f.nSamplesPerSec = rate;
    f.wBitsPerSample = uint16_t(bits);
    f.nBlockAlign = uint16_t(bits / 8 * channels);
    f.nAvgBytesPerSec = f.nBlockAlign * rate;
    if (channels <= 2 && bits <= 16 && !isFloat) {
        f.wFormatTag = TV_WAVE_FORMAT_PCM;
    } else {
        f.wFormatTag = TV_WAVE_FORMAT_EXTENSIBLE;
        f.cbSize = TV_WAVE_EXTENSIBLE_EXTRA;
        rec.Format.wValidBitsPerSample = uint16_t(bits);
        rec.Format.SubFormat = TvWaveSubFormat(isFloat ? TV_WAVE_FORMAT_IEEE_FLOAT : TV_WAVE_FORMAT_PCM);
    }
    return rec;
}

// Channel c carries a tone of its own (so a swapped channel shows), at half scale. Channel 3
// is the LFE of 5.1 and 7.1, which the codecs cut above about 120 Hz.
inline double ToneValue(unsigned c, unsigned i, unsigned rate) {
    const double hz = c == 3 ? 70.0 : 300.0 + 170.0 * c;
    return 0.5 * std::sin(2 * M_PI * hz * i / rate);
}

inline Bytes Tone(const OpenFileRecord& rec, unsigned frames) {
    const TvWaveFormatEx& f = rec.Format.Format;
    const bool isFloat =
        f.wFormatTag == TV_WAVE_FORMAT_EXTENSIBLE && rec.Format.SubFormat.Data1 == TV_WAVE_FORMAT_IEEE_FLOAT;
    Bytes out;
    for (unsigned i = 0; i < frames; ++i) {
        for (unsigned c = 0; c < f.nChannels; ++c) {
            const double v = ToneValue(c, i, f.nSamplesPerSec);
            if (isFloat) {
                const float x = float(v);
                uint8_t b[4];
                std::memcpy(b, &x, 4);
                out.insert(out.end(), b, b + 4);
            } else if (f.wBitsPerSample == 8) {
                out.push_back(uint8_t(std::lround(v * 127) + 128));
            } else {
                const auto s = int64_t(std::llround(v * (std::ldexp(1.0, f.wBitsPerSample - 1) - 1)));
                for (unsigned k = 0; k < f.wBitsPerSample / 8u; ++k) out.push_back(uint8_t(uint64_t(s) >> (8 * k)));
            }
        }
    }
    return out;
}

inline int16_t Sample16(const Bytes& pcm, size_t index) {
    return int16_t(uint16_t(pcm[2 * index] | pcm[2 * index + 1] << 8));
}

// Signal-to-noise ratio in dB of channel c of decoded 16-bit audio against the tone it was
// made from, both at rate.
inline double ChannelSnr(const Bytes& pcm, unsigned channels, unsigned c, unsigned rate) {
    const size_t frames = pcm.size() / 2 / channels;
    double signal = 0, noise = 0;
    for (size_t i = 0; i < frames; ++i) {
        const double want = ToneValue(c, unsigned(i), rate);
        const double got = Sample16(pcm, i * channels + c) / 32768.0;
        signal += want * want;
        noise += (got - want) * (got - want);
    }
    return 10 * std::log10(signal / (noise > 0 ? noise : 1e-30));
}

// Root mean square of channel c, full scale 1.
inline double ChannelRms(const Bytes& pcm, unsigned channels, unsigned c) {
    const size_t frames = pcm.size() / 2 / channels;
    double sum = 0;
    for (size_t i = 0; i < frames; ++i) {
        const double v = Sample16(pcm, i * channels + c) / 32768.0;
        sum += v * v;
    }
    return frames ? std::sqrt(sum / double(frames)) : 0;
}

inline std::u16string TagOf(const void* block, uint32_t size, std::u16string_view name) {
    return tvkit::FindTag(tvkit::ParseTagBlock(block, size), name);
}

inline size_t ErrorLines(const std::string& log) {
    size_t n = 0;
    for (size_t at = log.find("Error:"); at != std::string::npos; at = log.find("Error:", at + 1)) ++n;
    return n;
}

}  // namespace lossytest
