// "ReplayGain": the audio passes unchanged while libebur128 measures it; the track's gain and
// peak go into the finished output at DSP_AfterConversion, when the last block has passed. In a
// batch each track also leaves its gating blocks in the batch's folder, and at the batch's end
// the album's gain and peak are computed over all of them and written into every output.
#include <cmath>
#include <optional>

#include "album_store.h"
#include "effect.h"
#include "gain_tags.h"
#include "meter_thread.h"
#include "tvkit/os_file.h"
#include "tvkit/tag_block.h"
#include "tvkit/text.h"

namespace {

using tvfx::GainFigures;

class ReplayGain final : public tvfx::Effect {
public:
    explicit ReplayGain(const PluginLogHandles* logs) : Effect(logs, u"ReplayGain") {}

    int32_t GetProperty(std::u16string_view name, PluginArgs& args) override {
        if (name == u"SendOverReplayGainTags") return 1;
        return Effect::GetProperty(name, args);
    }

    int32_t SetProperty(std::u16string_view name, PluginArgs& args) override {
        if (name == u"BatchEndConversion") {
            EndBatch(args);
            return 1;
        }
        return Effect::SetProperty(name, args);
    }

    int32_t PassAudioBlock(AudioBlockRecord& block) override {
        static const char* const kFunction = "ReplayGain::PassAudioBlock";
        if (!block.Data || block.Size == 0) {
            if (block.EndOfStream) meter.NoMoreBlocks();
            return 1;
        }
        tvfx::Layout layout;
        if (!tvfx::ReadLayout(block.Format, layout)) {
            Log().Error(u"Error: ReplayGain can't measure " + tvfx::Describe(block.Format) + u" audio.", kFunction);
            return 0;
        }
        if (!meter.Started()) {
            if (!meter.Start(layout)) {
                Log().Error(u"Error: ReplayGain can't measure " + tvfx::Describe(block.Format) + u" audio.", kFunction);
                return 0;
            }
        } else if (layout.channels != meter.Shape().channels || layout.rate != meter.Shape().rate ||
                   layout.bits != meter.Shape().bits || layout.isFloat != meter.Shape().isFloat) {
            Log().Error(u"Error: ReplayGain: the audio format changed in the middle of the stream.", kFunction);
            return 0;
        }
        meter.Add(static_cast<const uint8_t*>(block.Data), block.Size / layout.frameBytes);
        if (block.EndOfStream) meter.NoMoreBlocks();
        return 1;
    }

    int32_t EndConversion(ConversionRecord& conv) override {
        // A failed run's output gets no tags, so its last blocks need not be measured.
        if (conv.Failed) {
            meter.Abandon();
        } else {
            meter.Finish();
        }
        return 1;
    }

    int32_t AfterConversion(ConversionRecord& conv) override {
        static const char* const kFunction = "ReplayGain::AfterConversion";
        const std::u16string output(tvkit::View16(conv.OutputFile));
        if (conv.Failed || output.empty()) return 1;  // nothing finished to tag
        meter.Finish();
        const double loudness = meter.Meter().Loudness();
        if (!std::isfinite(loudness)) {
            Log().Info(u"ReplayGain: '" + output + u"' is silent or too short to measure; no gain written.", kFunction);
            return 1;
        }
        const GainFigures track{loudness, meter.Meter().TruePeak()};
        std::u16string error;
        if (!tvfx::WriteGainTags(output, track, std::nullopt, error)) {
            Log().Error(u"Error: ReplayGain can't tag '" + output + u"': " + error, kFunction);
            return 0;
        }
        if (BatchId() == 0) return 1;
        const std::u16string folder = tvfx::BatchFolder(BatchId());
        if (!tvkit::os::IsWritableFolder(folder)) {
            Log().Error(u"Error: ReplayGain: the batch folder '" + folder +
                            u"' is missing or can't be written; no album gain for this batch.",
                        kFunction);
            return 0;
        }
        tvfx::TrackRecord record{output, track.peak, meter.Meter().BlockEnergies()};
        if (!tvkit::os::WriteWholeFile(tvfx::TrackRecordPath(folder, output), tvfx::FormatTrackRecord(record))) {
            Log().Error(
                u"Error: ReplayGain can't write in the batch folder '" + folder + u"': " + tvkit::os::LastErrorText(),
                kFunction);
            return 0;
        }
        return 1;
    }

protected:
    std::vector<std::u16string_view> SettingNames() const override { return {}; }
    void Read(tvfx::Settings&) override {}

private:
    void EndBatch(const PluginArgs& args) {
        static const char* const kFunction = "ReplayGain::BatchEndConversion";
        const std::u16string folder = tvfx::BatchFolder(static_cast<uint32_t>(args.Value64));
        if (!tvkit::os::IsFolder(folder)) {
            Log().Error(
                u"Error: ReplayGain: the batch folder '" + folder + u"' is missing; no album gain for this batch.",
                kFunction);
            return;
        }
        const auto files = tvkit::ParseTagBlock(args.Data, args.Value);
        std::vector<tvfx::TrackRecord> tracks;
        for (unsigned n = 1;; ++n) {
            const std::u16string stem = u"file" + tvkit::Number16(static_cast<unsigned long long>(n)) + u"_";
            const std::u16string output = tvkit::FindTag(files, stem + u"out");
            if (output.empty()) break;
            bool failed = false;
            for (const auto& item : files)
                failed = failed || tvkit::EqualsIgnoreCase(item.name, stem + u"conversionhaderrors");
            if (failed) continue;  // a failed conversion left no output worth tagging
            std::string text;
            tvfx::TrackRecord record;
            if (!tvkit::os::ReadWholeFile(tvfx::TrackRecordPath(folder, output), text) ||
                !tvfx::ParseTrackRecord(text, record) || record.output != output) {
                Log().Error(u"Error: ReplayGain: no measurement of '" + output +
                                u"' in the batch folder; it gets no album gain.",
                            kFunction);
                continue;
            }
            tracks.push_back(std::move(record));
        }
        if (tracks.empty()) return;
        std::vector<const std::vector<double>*> blocks;
        GainFigures album{};
        for (const auto& t : tracks) {
            blocks.push_back(&t.blocks);
            album.peak = std::max(album.peak, t.peak);
        }
        album.loudness = tvfx::GatedLoudness(blocks);
        if (!std::isfinite(album.loudness)) {
            Log().Info(u"ReplayGain: the batch is silent; no album gain written.", kFunction);
            return;
        }
        for (const auto& t : tracks) {
            std::u16string error;
            if (!tvfx::WriteGainTags(t.output, std::nullopt, album, error))
                Log().Error(u"Error: ReplayGain can't tag '" + t.output + u"': " + error, kFunction);
        }
    }

    tvfx::MeterThread meter;
};

}  // namespace

TV_KIT_DSP_EXPORTS(ReplayGain)
