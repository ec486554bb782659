// gain_dsp: a complete live DSP plug-in on the C++ plug-in kit.
//
// travex ... -dspeffect1="gain=-6" scales every sample by -6 dB (the settings text after the
// first "=" is the gain in decibels; empty means 0 dB). It works on 16-bit PCM and 32-bit float
// and passes other formats through untouched. Samples are clipped, never wrapped.
//
// Install as DSPs/gain.so beside travex, or in ~/.local/share/tonvale/DSPs/.
#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <tvkit/plugin_base.h>
#include <tvkit/text.h>

namespace {

class Gain final : public tvkit::DspBase {
public:
    using DspBase::DspBase;

    int32_t GetProperty(std::u16string_view name, PluginArgs& args) override {
        // Live: blocks come one by one between BeginConversion and EndConversion. A DSP that
        // needs the whole file answers 0 and gets PassNonLive instead.
        if (name == u"IsLive") return 1;
        return DspBase::GetProperty(name, args);
    }

    int32_t BeginConversion(ConversionRecord& conv, std::u16string_view settings) override {
        (void)conv;
        const std::string text = tvkit::Utf16ToUtf8(settings);
        char* end = nullptr;
        const double dB = text.empty() ? 0.0 : std::strtod(text.c_str(), &end);
        if (!text.empty() && (*end != '\0' || !std::isfinite(dB) || dB < -96 || dB > 48)) {
            Log().Error(u"Error: gain wants decibels from -96 to 48, not '" + std::u16string(settings) + u"'.",
                        "Gain::BeginConversion");
            return 0;
        }
        factor = std::pow(10.0, dB / 20.0);
        return 1;
    }

    int32_t PassAudioBlock(AudioBlockRecord& block) override {
        const TvWaveFormatExtensible& f = block.Format;
        const uint16_t tag = f.Format.wFormatTag == TV_WAVE_FORMAT_EXTENSIBLE ? static_cast<uint16_t>(f.SubFormat.Data1)
                                                                              : f.Format.wFormatTag;
        // The block's Data belongs to the decoder (or the DSP before us): work on a copy of
        // our own, which stays valid until our next call.
        out.assign(static_cast<const uint8_t*>(block.Data), static_cast<const uint8_t*>(block.Data) + block.Size);
        if (tag == TV_WAVE_FORMAT_PCM && f.Format.wBitsPerSample == 16) {
            for (size_t i = 0; i + 2 <= out.size(); i += 2) {
                int16_t s;
                std::memcpy(&s, &out[i], 2);
                const long scaled = std::lround(s * factor);
                s = static_cast<int16_t>(std::clamp(scaled, -32768L, 32767L));
                std::memcpy(&out[i], &s, 2);
            }
        } else if (tag == TV_WAVE_FORMAT_IEEE_FLOAT && f.Format.wBitsPerSample == 32) {
            for (size_t i = 0; i + 4 <= out.size(); i += 4) {
                float s;
                std::memcpy(&s, &out[i], 4);
                s = static_cast<float>(std::clamp(s * factor, -1.0, 1.0));
                std::memcpy(&out[i], &s, 4);
            }
        } else {
            return 1;  // not ours to change: the block goes on as it came
        }
        block.Data = out.data();
        return 1;
    }

private:
    double factor = 1.0;
    std::vector<uint8_t> out;
};

}  // namespace

TV_KIT_DSP_EXPORTS(Gain)
