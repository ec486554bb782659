// "Verify Output Integrity": counts and hashes the audio on its way to the encoder, then
// decodes each finished output through the installed decoder of its type. An output that can't
// be decoded to its full length is an error; a lossless one must give back the very samples
// the encoder was given. Put it last in the chain (only ReplayGain, which leaves the audio as
// it is, goes after it), so that what it sees is what the encoder gets.
#include <cmath>
#include <cstdio>

#include "effect.h"
#include "installed_plugins.h"
#include "sample_hash.h"
#include "tvkit/tag_block.h"
#include "tvkit/text.h"

namespace {

// Lossy formats may trim or pad a little at the ends.
constexpr double LengthToleranceSeconds = 0.05;
// A decoder that never ends: more blocks than any real file has.
constexpr uint64_t MaxBlocks = 50000000;

std::u16string Seconds(double s) {
    char buf[32];
    std::snprintf(buf, sizeof buf, "%.3f s", s);
    return tvkit::Utf8ToUtf16(buf);
}

class Verify final : public tvfx::Effect {
public:
    explicit Verify(const PluginLogHandles* logs) : Effect(logs, u"Verify Output Integrity") {}

    int32_t PassAudioBlock(AudioBlockRecord& block) override {
        static const char* const kFunction = "Verify::PassAudioBlock";
        if (!block.Data || block.Size == 0) return 1;
        tvfx::Layout l;
        if (!tvfx::ReadLayout(block.Format, l)) {
            Log().Error(u"Error: Verify Output Integrity can't follow " + tvfx::Describe(block.Format) + u" audio.",
                        kFunction);
            return 0;
        }
        if (given.Frames() == 0) givenLayout = l;
        given.Add(static_cast<const uint8_t*>(block.Data), block.Size / l.frameBytes, l);
        return 1;
    }

    int32_t AfterConversion(ConversionRecord& conv) override {
        static const char* const kFunction = "Verify::AfterConversion";
        const std::u16string output(tvkit::View16(conv.OutputFile));
        if (conv.Failed || output.empty()) return 1;  // nothing finished to check
        auto decoder = tvfx::FindDecoderFor(output);
        if (!decoder) {
            Log().Info(u"Verify Output Integrity: no installed decoder reads '" + output + u"'; not verified.",
                       kFunction);
            return 1;
        }
        const PluginLogHandles logs{0, Log().Handles().InfoLog, Log().Handles().DebugLog};
        const TvInstance inst = decoder->create(&logs);
        if (!inst) {
            Log().Error(u"Error: Verify Output Integrity: the decoder of '" + output + u"' can't start.", kFunction);
            return 0;
        }
        const int32_t result = Check(*decoder, inst, output, conv);
        decoder->destroy(inst);
        return result;
    }

protected:
    std::vector<std::u16string_view> SettingNames() const override { return {}; }
    void Read(tvfx::Settings&) override {}

private:
    int32_t Check(tvfx::DecoderPlugin& d, TvInstance inst, const std::u16string& output, ConversionRecord& conv) {
        static const char* const kFunction = "Verify::AfterConversion";
        OpenFileRecord rec{};
        rec.Path = output.c_str();
        rec.RecordKind = TV_RECORD_KIND_PUMP;
        if (!d.open(inst, &rec)) {
            Log().Error(u"Error: Verify Output Integrity: '" + output + u"' can't be opened for decoding.", kFunction);
            return 0;
        }
        tvfx::SampleHash decoded;
        tvfx::Layout layout;
        bool broken = false, shapeKnown = false, shapeChanged = false;
        for (uint64_t n = 0; n < MaxBlocks; ++n) {
            AudioBlockRecord block{};
            if (!d.decodeBlock(inst, &block)) {
                broken = true;
                break;
            }
            if (block.Data && block.Size) {
                tvfx::Layout l;
                if (!tvfx::ReadLayout(block.Format, l)) {
                    broken = true;
                    break;
                }
                if (shapeKnown && (l.channels != layout.channels || l.rate != layout.rate)) shapeChanged = true;
                layout = l;
                shapeKnown = true;
                decoded.Add(static_cast<const uint8_t*>(block.Data), block.Size / l.frameBytes, l);
            }
            if (block.EndOfStream) break;
        }
        ConversionRecord none{};
        d.close(inst, &none);

        const double want = givenLayout.rate ? double(given.Frames()) / givenLayout.rate : 0.0;
        const double got = layout.rate ? double(decoded.Frames()) / layout.rate : 0.0;
        if (broken || shapeChanged || got + LengthToleranceSeconds < want) {
            Log().Error(u"Error: Verify Output Integrity: '" + output + u"' decodes to " + Seconds(got) + u" of " +
                            Seconds(want) + (broken ? u" before a decoding error." : u"."),
                        kFunction);
            return 0;
        }
        const auto info = tvkit::ParseTagBlock(conv.InfoTags, conv.InfoTagsSize);
        if (!tvfx::EncoderIsLossless(tvkit::FindTag(info, u"_encoder"), tvkit::View16(conv.CommandLine))) {
            Log().Info(u"Verify Output Integrity: '" + output + u"' decodes to its full length.", kFunction);
            return 1;
        }
        const bool sameShape = layout.channels == givenLayout.channels && layout.rate == givenLayout.rate &&
                               layout.isFloat == givenLayout.isFloat;
        if (!sameShape || decoded.Frames() != given.Frames() || decoded.Value() != given.Value()) {
            Log().Error(u"Error: Verify Output Integrity: the samples decoded from lossless '" + output +
                            u"' differ from those that passed this effect; it must come after every effect that "
                            u"changes the audio.",
                        kFunction);
            return 0;
        }
        Log().Info(u"Verify Output Integrity: '" + output + u"' decodes bit-exact.", kFunction);
        return 1;
    }

    tvfx::SampleHash given;
    tvfx::Layout givenLayout;
};

}  // namespace

TV_KIT_DSP_EXPORTS(Verify)
