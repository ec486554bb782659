// "Volume Normalize": reads the rendered file once to measure it, then applies one gain in
// place. -peak=dBFS brings the highest sample there; -lufs=LUFS brings the integrated loudness
// (EBU R 128) there, lowered where needed so that the true peak stays under -tp=dBTP.
#include <algorithm>
#include <cmath>

#include "decibel.h"
#include "effect.h"
#include "loudness_meter.h"
#include "pcm_file.h"

namespace {

class VolumeNormalize final : public tvfx::Effect {
public:
    explicit VolumeNormalize(const PluginLogHandles* logs) : Effect(logs, u"Volume Normalize") {}

    int32_t PassNonLive(std::u16string_view path, TvFormatAndLength& format, std::u16string_view settings,
                        std::u16string_view) override {
        static const char* const kFunction = "VolumeNormalize::PassNonLive";
        if (!Configure(settings, false)) return 0;
        tvfx::Layout layout;
        if (!tvfx::ReadLayout(format.Format, layout)) {
            Log().Error(u"Error: Volume Normalize can't work on " + tvfx::Describe(format.Format) + u" audio.",
                        kFunction);
            return 0;
        }
        std::u16string error;
        double gainDb = 0;
        if (byLoudness) {
            tvfx::LoudnessMeter meter;
            if (!meter.Start(layout.channels, layout.rate)) {
                Log().Error(u"Error: Volume Normalize can't measure " + tvfx::Describe(format.Format) + u" audio.",
                            kFunction);
                return 0;
            }
            if (!tvfx::ForEachRawPiece(
                    path, layout, false, [&](uint8_t* data, size_t n) { meter.AddPcm(data, n, layout); }, error)) {
                Log().Error(u"Error: Volume Normalize " + error, kFunction);
                return 0;
            }
            const double loudness = meter.Loudness();
            if (!std::isfinite(loudness)) {
                Log().Info(u"Volume Normalize: the audio is silent or too short to measure; left as it is.", kFunction);
                return 1;
            }
            gainDb = targetLufs - loudness;
            const double peak = meter.TruePeak();
            if (peak > 0) gainDb = std::min(gainDb, truePeakDb - tvfx::GainToDb(peak));
        } else {
            double peak = 0;
            if (!tvfx::MeasurePeak(path, layout, peak, error)) {
                Log().Error(u"Error: Volume Normalize " + error, kFunction);
                return 0;
            }
            if (peak <= 0) return 1;  // silence stays silence
            gainDb = peakDb - tvfx::GainToDb(peak);
        }
        if (!tvfx::ApplyGain(path, layout, tvfx::DbToGain(gainDb), error)) {
            Log().Error(u"Error: Volume Normalize " + error, kFunction);
            return 0;
        }
        return 1;
    }

protected:
    std::vector<std::u16string_view> SettingNames() const override { return {u"peak", u"lufs", u"tp"}; }
    void Read(tvfx::Settings& s) override {
        peakDb = s.Decimal(u"peak", -1, -100, 0, u"a peak level in dBFS from -100 to 0");
        byLoudness = s.Has(u"lufs");
        targetLufs = s.Decimal(u"lufs", -16, -70, 0, u"a loudness in LUFS from -70 to 0");
        truePeakDb = s.Decimal(u"tp", -1, -20, 0, u"a true-peak ceiling in dBTP from -20 to 0");
        if (byLoudness && s.Has(u"peak")) s.Fail(u"lufs", u"give either -peak or -lufs, not both.");
        if (!byLoudness && s.Has(u"tp")) s.Fail(u"tp", u"the true-peak ceiling goes with -lufs.");
    }
    bool Live() const override { return false; }

private:
    double peakDb = -1, targetLufs = -16, truePeakDb = -1;
    bool byLoudness = false;
};

}  // namespace

TV_KIT_DSP_EXPORTS(VolumeNormalize)
