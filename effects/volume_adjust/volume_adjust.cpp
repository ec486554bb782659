// "Volume Adjust": -gain=dB works block by block; -peak=dBFS needs the file's peak first and so
// makes the effect non-live. A look-ahead limiter keeps a raised signal under -1 dBFS unless
// -limit=off; it delays the audio by its 5 ms look-ahead and gives the rest back on the last block.
#include <cmath>

#include "decibel.h"
#include "effect.h"
#include "limiter.h"
#include "pcm_file.h"

namespace {

class VolumeAdjust final : public tvfx::Effect {
public:
    explicit VolumeAdjust(const PluginLogHandles* logs) : Effect(logs, u"Volume Adjust") {}

    int32_t PassAudioBlock(AudioBlockRecord& block) override {
        static const char* const kFunction = "VolumeAdjust::PassAudioBlock";
        if (!ReadBlock(block, kFunction)) return 0;
        if (inLayout.rate == 0) return 1;  // an empty last block before any audio: nothing to shape
        // Integer samples can't pass the ceiling at this gain: the limiter would change nothing.
        const bool quiet = !inLayout.isFloat && gain <= tvfx::LimiterCeiling && !limiter.Started();
        if (gain == 1.0 && (quiet || !limit)) return 1;  // the block goes on untouched
        const size_t count = frames * inLayout.channels;
        if (!limit || quiet) {
            const size_t bytes = frames * inLayout.frameBytes;
            tvfx::ScalePcm(static_cast<const uint8_t*>(block.Data), count, inLayout, gain, OutBuffer(bytes));
            Emit(block, bytes, inLayout, tvfx::SpeakerMask(block.Format));
            return 1;
        }
        Unpack(block, kFunction);
        double* s = samples.data();
        for (size_t i = 0; i < count; ++i) s[i] *= gain;
        if (!limiter.Started()) limiter.Start(inLayout.channels, inLayout.rate);
        limited.clear();
        limiter.Process(s, frames, limited);
        if (block.EndOfStream) limiter.Flush(limited);
        Pack(block, limited.data(), limited.size() / inLayout.channels, inLayout, tvfx::SpeakerMask(block.Format));
        return 1;
    }

    int32_t PassNonLive(std::u16string_view path, TvFormatAndLength& format, std::u16string_view settings,
                        std::u16string_view) override {
        static const char* const kFunction = "VolumeAdjust::PassNonLive";
        if (!Configure(settings, false)) return 0;
        tvfx::Layout layout;
        if (!tvfx::ReadLayout(format.Format, layout)) {
            Log().Error(u"Error: Volume Adjust can't work on " + tvfx::Describe(format.Format) + u" audio.", kFunction);
            return 0;
        }
        double peak = 0;
        std::u16string error;
        if (!tvfx::MeasurePeak(path, layout, peak, error)) {
            Log().Error(u"Error: Volume Adjust " + error, kFunction);
            return 0;
        }
        if (peak <= 0) return 1;  // silence stays silence
        if (!tvfx::ApplyGain(path, layout, tvfx::DbToGain(peakDb) / peak, error)) {
            Log().Error(u"Error: Volume Adjust " + error, kFunction);
            return 0;
        }
        return 1;
    }

protected:
    std::vector<std::u16string_view> SettingNames() const override { return {u"gain", u"peak", u"limit"}; }

    void Read(tvfx::Settings& s) override {
        gain = tvfx::DbToGain(s.Decimal(u"gain", 0, -100, 60, u"a gain in dB from -100 to 60"));
        toPeak = s.Has(u"peak");
        peakDb = s.Decimal(u"peak", -1, -100, 0, u"a peak level in dBFS from -100 to 0");
        limit = s.Choice(u"limit", 0, {u"on", u"off"}) == 0;
        if (toPeak && s.Has(u"gain")) s.Fail(u"peak", u"give either -gain or -peak, not both.");
    }

    bool Live() const override { return !toPeak; }

private:
    double gain = 1;
    bool toPeak = false;
    double peakDb = -1;
    bool limit = true;
    tvfx::Limiter limiter;
    std::vector<double> limited;
};

}  // namespace

TV_KIT_DSP_EXPORTS(VolumeAdjust)
