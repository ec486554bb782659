#include "lossy_pcm.h"

#include <cmath>
#include <cstring>
#include <iterator>

#include "tvkit/text.h"

namespace lossy {

namespace {

// WAV speaker masks of the usual layouts, by channel count.
constexpr uint32_t kMasks[kMaxChannels + 1] = {0, 0x4, 0x3, 0x7, 0x33, 0x37, 0x3F, 0x70F, 0x63F};

// kVorbisOfWave[n][c]: the Vorbis position of WAV channel c in an n-channel frame.
constexpr unsigned kVorbisOfWave[kMaxChannels + 1][kMaxChannels] = {
    {},
    {0},
    {0, 1},
    {0, 2, 1},
    {0, 1, 2, 3},
    {0, 2, 1, 3, 4},
    {0, 2, 1, 5, 3, 4},
    {0, 2, 1, 6, 5, 3, 4},
    {0, 2, 1, 7, 5, 6, 3, 4},
};

}  // namespace

bool SameShape(const TvWaveFormatExtensible& a, const TvWaveFormatExtensible& b) {
    return a.Format.wFormatTag == b.Format.wFormatTag && a.Format.nChannels == b.Format.nChannels &&
           a.Format.nSamplesPerSec == b.Format.nSamplesPerSec && a.Format.wBitsPerSample == b.Format.wBitsPerSample &&
           a.SubFormat.Data1 == b.SubFormat.Data1;
}

TvWaveFormatExtensible MakePcm16(unsigned channels, unsigned rate) {
    TvWaveFormatExtensible f{};
    f.Format.nChannels = static_cast<uint16_t>(channels);
    f.Format.nSamplesPerSec = rate;
    f.Format.wBitsPerSample = 16;
    f.Format.nBlockAlign = static_cast<uint16_t>(2 * channels);
    f.Format.nAvgBytesPerSec = f.Format.nBlockAlign * rate;
    if (channels <= 2) {
        f.Format.wFormatTag = TV_WAVE_FORMAT_PCM;
        return f;
    }
    f.Format.wFormatTag = TV_WAVE_FORMAT_EXTENSIBLE;
    f.Format.cbSize = TV_WAVE_EXTENSIBLE_EXTRA;
    f.wValidBitsPerSample = 16;
    f.dwChannelMask = channels <= kMaxChannels ? kMasks[channels] : 0;
    f.SubFormat = TvWaveSubFormat(TV_WAVE_FORMAT_PCM);
    return f;
}

TvWaveFormatExtensible MakeFloat32(unsigned channels, unsigned rate) {
    TvWaveFormatExtensible f{};
    f.Format.wFormatTag = TV_WAVE_FORMAT_EXTENSIBLE;
    f.Format.nChannels = static_cast<uint16_t>(channels);
    f.Format.nSamplesPerSec = rate;
    f.Format.wBitsPerSample = 32;
    f.Format.nBlockAlign = static_cast<uint16_t>(4 * channels);
    f.Format.nAvgBytesPerSec = f.Format.nBlockAlign * rate;
    f.Format.cbSize = TV_WAVE_EXTENSIBLE_EXTRA;
    f.wValidBitsPerSample = 32;
    f.dwChannelMask = channels <= kMaxChannels ? kMasks[channels] : 0;
    f.SubFormat = TvWaveSubFormat(TV_WAVE_FORMAT_IEEE_FLOAT);
    return f;
}

unsigned VorbisIndexOfWave(unsigned channels, unsigned c) {
    return channels <= kMaxChannels && c < channels ? kVorbisOfWave[channels][c] : c;
}

namespace {

void Put16(float v, uint8_t* out) {
    const float scaled = v * 32768.0f;
    const long s = scaled >= 32767.0f ? 32767 : scaled <= -32768.0f ? -32768 : std::lrintf(scaled);
    const auto u = static_cast<uint16_t>(static_cast<int16_t>(s));
    out[0] = static_cast<uint8_t>(u);
    out[1] = static_cast<uint8_t>(u >> 8);
}

}  // namespace

void VorbisPlanarToPcm16(const float* const* planes, unsigned channels, size_t frames, uint8_t* out) {
    for (unsigned c = 0; c < channels; ++c) {
        const float* src = planes[VorbisIndexOfWave(channels, c)];
        uint8_t* dst = out + 2 * c;
        for (size_t i = 0; i < frames; ++i, dst += 2 * channels) Put16(src[i], dst);
    }
}

void VorbisInterleavedToPcm16(const float* in, unsigned channels, size_t frames, uint8_t* out) {
    for (unsigned c = 0; c < channels; ++c) {
        const float* src = in + VorbisIndexOfWave(channels, c);
        uint8_t* dst = out + 2 * c;
        for (size_t i = 0; i < frames; ++i, src += channels, dst += 2 * channels) Put16(*src, dst);
    }
}

void VorbisPlanarToFloat(const float* const* planes, unsigned channels, size_t frames, uint8_t* out) {
    for (unsigned c = 0; c < channels; ++c) {
        const float* src = planes[VorbisIndexOfWave(channels, c)];
        uint8_t* dst = out + 4 * c;
        for (size_t i = 0; i < frames; ++i, dst += 4 * channels) std::memcpy(dst, src + i, 4);
    }
}

void VorbisInterleavedToFloat(const float* in, unsigned channels, size_t frames, uint8_t* out) {
    for (unsigned c = 0; c < channels; ++c) {
        const float* src = in + VorbisIndexOfWave(channels, c);
        uint8_t* dst = out + 4 * c;
        for (size_t i = 0; i < frames; ++i, src += channels, dst += 4 * channels) std::memcpy(dst, src, 4);
    }
}

std::u16string TimeText(uint64_t frames, unsigned rate) {
    const uint64_t ms = rate ? frames * 1000 / rate : 0;
    std::u16string text = tvkit::Number16(static_cast<unsigned long long>(ms / 60000)) + u":";
    const unsigned sec = static_cast<unsigned>(ms / 1000 % 60), milli = static_cast<unsigned>(ms % 1000);
    text += static_cast<char16_t>(u'0' + sec / 10);
    text += static_cast<char16_t>(u'0' + sec % 10);
    text += u'.';
    text += static_cast<char16_t>(u'0' + milli / 100);
    text += static_cast<char16_t>(u'0' + milli / 10 % 10);
    text += static_cast<char16_t>(u'0' + milli % 10);
    return text;
}

std::vector<Option> SplitOptions(std::u16string_view line, const std::vector<std::u16string_view>& takesValue) {
    // Words first: blanks separate, double quotes group and are dropped.
    std::vector<std::u16string> words;
    std::u16string word;
    bool quoted = false, any = false;
    for (char16_t c : line) {
        if (c == u'"') {
            quoted = !quoted;
            any = true;
        } else if ((c == u' ' || c == u'\t') && !quoted) {
            if (any || !word.empty()) words.push_back(word);
            word.clear();
            any = false;
        } else {
            word += c;
        }
    }
    if (any || !word.empty()) words.push_back(word);

    auto wantsValue = [&](std::u16string_view name) {
        for (std::u16string_view n : takesValue)
            if (n == name) return true;
        return false;
    };
    std::vector<Option> out;
    for (size_t i = 0; i < words.size(); ++i) {
        Option o;
        const std::u16string& w = words[i];
        const size_t eq = w.find(u'=');
        const bool glued = w.size() > 2 && w[0] == u'-' && w[1] != u'-' &&
                           ((w[2] >= u'0' && w[2] <= u'9') || w[2] == u'.' || w[2] == u'-');
        if (eq != std::u16string::npos) {
            o.name = w.substr(0, eq);
            o.value = w.substr(eq + 1);
        } else if (glued && wantsValue(w.substr(0, 2))) {
            o.name = w.substr(0, 2);  // "-V2"
            o.value = w.substr(2);
        } else {
            o.name = w;
        }
        // The host hands every option on with one dash: "-bitrate" means "--bitrate".
        if (o.name.size() > 2 && o.name[0] == u'-' && o.name[1] != u'-') o.name.insert(0, 1, u'-');
        if (eq == std::u16string::npos && o.value.empty() && wantsValue(o.name) && i + 1 < words.size())
            o.value = words[++i];
        out.push_back(std::move(o));
    }
    return out;
}

bool ParseNumber(std::u16string_view text, long lo, long hi, long& out) {
    double d;
    if (!ParseDecimal(text, static_cast<double>(lo), static_cast<double>(hi), d) || d != std::floor(d)) return false;
    out = static_cast<long>(d);
    return true;
}

bool ParseDecimal(std::u16string_view text, double lo, double hi, double& out) {
    if (text.empty() || text.size() > 16) return false;
    size_t at = 0;
    const bool negative = text[0] == u'-';
    if (negative) ++at;
    double value = 0, scale = 0;
    bool digits = false;
    for (; at < text.size(); ++at) {
        const char16_t c = text[at];
        if (c == u'.' && scale == 0) {
            scale = 1;
        } else if (c >= u'0' && c <= u'9') {
            digits = true;
            if (scale > 0) {
                scale /= 10;
                value += (c - u'0') * scale;
            } else {
                value = value * 10 + (c - u'0');
            }
        } else {
            return false;
        }
    }
    if (negative) value = -value;
    if (!digits || value < lo || value > hi) return false;
    out = value;
    return true;
}

}  // namespace lossy
