#include "flac_pcm.h"

#include <cmath>
#include <cstring>

#include "tvkit/text.h"

namespace flacpcm {

namespace {
// FLAC's speaker layouts for 1 to 8 channels.
const uint32_t kMasks[9] = {0, 0x4, 0x3, 0x7, 0x33, 0x37, 0x3F, 0x70F, 0x63F};
}  // namespace

unsigned ContainerBits(unsigned depth) { return depth <= 8 ? 8 : depth <= 16 ? 16 : depth <= 24 ? 24 : 32; }

TvWaveFormatExtensible MakeFormat(unsigned channels, unsigned depth, unsigned rate) {
    TvWaveFormatExtensible f{};
    const unsigned container = ContainerBits(depth);
    f.Format.nChannels = static_cast<uint16_t>(channels);
    f.Format.nSamplesPerSec = rate;
    f.Format.wBitsPerSample = static_cast<uint16_t>(container);
    f.Format.nBlockAlign = static_cast<uint16_t>(container / 8 * channels);
    f.Format.nAvgBytesPerSec = f.Format.nBlockAlign * rate;
    if (channels <= 2 && container == depth && depth <= 16) {
        f.Format.wFormatTag = TV_WAVE_FORMAT_PCM;
        return f;
    }
    f.Format.wFormatTag = TV_WAVE_FORMAT_EXTENSIBLE;
    f.Format.cbSize = TV_WAVE_EXTENSIBLE_EXTRA;
    f.wValidBitsPerSample = static_cast<uint16_t>(depth);
    f.dwChannelMask = channels < std::size(kMasks) ? kMasks[channels] : 0;
    f.SubFormat = TvWaveSubFormat(TV_WAVE_FORMAT_PCM);
    return f;
}

uint8_t* ByteBuffer::Append(size_t n) {
    if (size + n > capacity) {
        const size_t grown = (size + n) * 2;
        std::unique_ptr<uint8_t[]> larger(new uint8_t[grown]);
        if (size) std::memcpy(larger.get(), bytes.get(), size);
        bytes = std::move(larger);
        capacity = grown;
    }
    uint8_t* at = bytes.get() + size;
    size += n;
    return at;
}

void Pack(const int32_t* const* channels, unsigned channelCount, size_t frames, unsigned depth, ByteBuffer& out) {
    const unsigned container = ContainerBits(depth);
    const unsigned shift = container - depth;
    uint8_t* q = out.Append(frames * channelCount * (container / 8));
    // Frame by frame, so that the writes run straight through the buffer.
    switch (container) {
        case 8:
            for (size_t i = 0; i < frames; ++i)
                for (unsigned c = 0; c < channelCount; ++c)
                    *q++ = static_cast<uint8_t>((static_cast<uint32_t>(channels[c][i]) << shift) + 128);
            break;
        case 16:
            if (channelCount == 2 && shift == 0) {
                const int32_t* l = channels[0];
                const int32_t* r = channels[1];
                for (size_t i = 0; i < frames; ++i, q += 4) {
                    const uint32_t v = (static_cast<uint32_t>(l[i]) & 0xFFFF) | static_cast<uint32_t>(r[i]) << 16;
                    std::memcpy(q, &v, 4);  // little-endian host, as the contract is
                }
                break;
            }
            for (size_t i = 0; i < frames; ++i)
                for (unsigned c = 0; c < channelCount; ++c, q += 2) {
                    const uint32_t v = static_cast<uint32_t>(channels[c][i]) << shift;
                    q[0] = static_cast<uint8_t>(v);
                    q[1] = static_cast<uint8_t>(v >> 8);
                }
            break;
        case 24:
            for (size_t i = 0; i < frames; ++i)
                for (unsigned c = 0; c < channelCount; ++c, q += 3) {
                    const uint32_t v = static_cast<uint32_t>(channels[c][i]) << shift;
                    q[0] = static_cast<uint8_t>(v);
                    q[1] = static_cast<uint8_t>(v >> 8);
                    q[2] = static_cast<uint8_t>(v >> 16);
                }
            break;
        default:
            for (size_t i = 0; i < frames; ++i)
                for (unsigned c = 0; c < channelCount; ++c, q += 4) {
                    const uint32_t v = static_cast<uint32_t>(channels[c][i]) << shift;
                    std::memcpy(q, &v, 4);
                }
            break;
    }
}

void Unpack(const uint8_t* data, size_t samples, unsigned container, unsigned depth, int32_t* out) {
    const unsigned shift = container - depth;
    switch (container) {
        case 8:
            for (size_t i = 0; i < samples; ++i) out[i] = (static_cast<int32_t>(data[i]) - 128) >> shift;
            break;
        case 16:
            for (size_t i = 0; i < samples; ++i, data += 2)
                out[i] = static_cast<int16_t>(uint32_t{data[0]} | uint32_t{data[1]} << 8) >> shift;
            break;
        case 24:
            for (size_t i = 0; i < samples; ++i, data += 3)
                out[i] =
                    static_cast<int32_t>(uint32_t{data[0]} << 8 | uint32_t{data[1]} << 16 | uint32_t{data[2]} << 24) >>
                    (shift + 8);
            break;
        default:
            for (size_t i = 0; i < samples; ++i, data += 4) {
                int32_t v;
                std::memcpy(&v, data, 4);
                out[i] = v >> shift;
            }
            break;
    }
}

double FloatTo24::Dither() {
    // Two uniform values in [0, 1) from xorshift64*; their difference is triangular in (-1, 1).
    auto next = [this] {
        state ^= state >> 12;
        state ^= state << 25;
        state ^= state >> 27;
        return static_cast<double>((state * 0x2545F4914F6CDD1Dull) >> 11) * 0x1.0p-53;
    };
    const double a = next();
    return a - next();
}

void FloatTo24::Convert(const uint8_t* data, size_t samples, unsigned bits, int32_t* out) {
    constexpr double kScale = 8388608.0, kMax = 8388607.0, kMin = -8388608.0;
    for (size_t i = 0; i < samples; ++i) {
        double x;
        if (bits == 64) {
            std::memcpy(&x, data + 8 * i, 8);
        } else {
            float f;
            std::memcpy(&f, data + 4 * i, 4);
            x = f;
        }
        if (!(x == x)) x = 0;  // NaN carries no sound
        if (x > 1.0 || x < -1.0) ++clipped;
        double v = x * kScale;
        if (v != std::nearbyint(v) || v > kMax || v < kMin) {
            ++rounded;
            v = std::nearbyint(v + Dither());
        }
        out[i] = static_cast<int32_t>(v > kMax ? kMax : v < kMin ? kMin : v);
    }
}

std::u16string TimeText(uint64_t samples, unsigned rate) {
    const uint64_t ms = rate ? samples * 1000 / rate : 0;
    const uint64_t minutes = ms / 60000, seconds = ms / 1000 % 60, millis = ms % 1000;
    std::u16string text = tvkit::Number16(static_cast<unsigned long long>(minutes)) + u":";
    if (seconds < 10) text += u'0';
    text += tvkit::Number16(static_cast<unsigned long long>(seconds)) + u".";
    if (millis < 100) text += u'0';
    if (millis < 10) text += u'0';
    return text + tvkit::Number16(static_cast<unsigned long long>(millis));
}

}  // namespace flacpcm
