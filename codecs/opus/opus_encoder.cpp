// encoder/opus.so: PCM to Ogg Opus, mono and stereo through libopus and libogg directly, more
// channels through libopusenc. Options as the opusenc tool takes them:
// --bitrate n (kbps; default 96 mono, 128 stereo, 64 a channel above), --comp n (complexity
// 0..10), --vbr, --cvbr, --hard-cbr. Opus runs at 48 kHz: other rates go through libsoxr at
// high quality first, and the header records the source's rate as its input rate, as the
// opusenc tool does. 1 to 8 channels; above stereo with the Vorbis channel layout (mapping
// family 1). The host writes the tags afterwards through decoder/opus.so, in place: OpusTags
// carries room for them as padding.
#include <opusenc.h>
#include <soxr.h>

#include <algorithm>
#include <filesystem>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "lossy_encoder.h"
#include "ogg_opus_stream.h"
#include "opus_head.h"
#include "tvkit/text.h"
#include "tvtags/file_tags.h"

namespace {

constexpr unsigned kRate = 48000;
constexpr long kMinKbps = 6, kMaxKbps = 512;

enum class RateMode { Vbr, Cvbr, Cbr };

struct Settings {
    long kbps = 0;  // 0: by channel count
    long complexity = -1;
    RateMode mode = RateMode::Vbr;
};

long DefaultKbps(unsigned channels) {
    return channels == 1 ? 96 : channels == 2 ? 128 : 64 * static_cast<long>(channels);
}

class OpusFileEncoder final : public lossy::LossyEncoder {
public:
    using LossyEncoder::LossyEncoder;
    ~OpusFileEncoder() override { Release(); }

private:
    const Names& Naming() const override {
        static const Names names{u".opus", u"Opus", "Opus::BeginConversion", "Opus::EncodeBlock",
                                 "Opus::EndConversion"};
        return names;
    }

    bool Started() const override { return encoder != nullptr || direct != nullptr; }

    std::vector<std::u16string_view> ValueOptions() const override { return {u"--bitrate", u"--comp"}; }
    void ResetSettings() override { settings = Settings{}; }

    Verdict TakeOption(const lossy::Option& o) override {
        if (o.name == u"--bitrate") {
            double kbps = 0;
            if (!lossy::ParseDecimal(o.value, kMinKbps, kMaxKbps, kbps)) return Verdict::Invalid;
            settings.kbps = static_cast<long>(kbps + 0.5);
        } else if (o.name == u"--comp") {
            if (!lossy::ParseNumber(o.value, 0, 10, settings.complexity)) return Verdict::Invalid;
        } else if (o.name == u"--vbr") {
            settings.mode = RateMode::Vbr;
        } else if (o.name == u"--cvbr") {
            settings.mode = RateMode::Cvbr;
        } else if (o.name == u"--hard-cbr") {
            settings.mode = RateMode::Cbr;
        } else {
            return Verdict::Unknown;
        }
        return Verdict::Taken;
    }

    std::u16string OptionRanges() const override { return u"--bitrate 6..512, --comp 0..10"; }

    bool EncodeChunk(const float* samples, size_t n, const char* function) override {
        return Feed(samples, n, function);
    }

    bool Finish(const char* function) override {
        if (resampler && !Feed(nullptr, 0, function)) return false;
        if (direct) {
            std::string error;
            if (direct->Finish(error)) return true;
            Log().Error(u"Error: Unable to finish Opus file '" + path + u"': " + tvkit::Utf8ToUtf16(error), function);
            return false;
        }
        // libopusenc asserts when it drains a stream that never began; an empty write begins
        // it, so that a source without audio gives a valid file of length 0.
        const float none = 0;
        int r = ope_encoder_write_float(encoder, &none, 0);
        if (r == OPE_OK) r = ope_encoder_drain(encoder);
        if (r != OPE_OK) {
            Log().Error(u"Error: Unable to finish Opus file '" + path + u"': " + tvkit::Utf8ToUtf16(ope_strerror(r)),
                        function);
            return false;
        }
        ope_encoder_destroy(encoder);  // closes the file
        encoder = nullptr;
        // libopusenc was given 48 kHz audio; the header is to name the source's rate.
        if (layout.rate != kRate && !opushead::SetInputRate(OutputPath(), layout.rate)) {
            Log().Error(u"Error: Unable to record the source's rate in the Opus file '" + path + u"'.", function);
            return false;
        }
        return true;
    }

    bool Start(const TvWaveFormatExtensible& f, const char* function) override {
        if (!lossy::ReadLayout(f, layout) || layout.channels > lossy::kMaxChannels) {
            Log().Error(
                u"Error: Opus takes PCM or float audio of 1 to 8 channels; this audio is " + lossy::Describe(f) + u".",
                function);
            return false;
        }
        if (layout.rate != kRate) {
            soxr_error_t err = nullptr;
            const soxr_io_spec_t io = soxr_io_spec(SOXR_FLOAT32_I, SOXR_FLOAT32_I);
            const soxr_quality_spec_t quality = soxr_quality_spec(SOXR_HQ, 0);
            resampler = soxr_create(layout.rate, kRate, layout.channels, &err, &io, &quality, nullptr);
            if (!resampler) {
                Log().Error(u"Error: Unable to resample " + lossy::Describe(f) + u" to 48000 Hz: " +
                                tvkit::Utf8ToUtf16(err ? err : "unknown error"),
                            function);
                return false;
            }
        }
        resampled.resize((kChunkFrames * kRate / layout.rate + 64) * layout.channels);
        const long kbps = settings.kbps ? settings.kbps : DefaultKbps(layout.channels);
        if (layout.channels <= 2) return StartDirect(kbps, function);
        comments = ope_comments_create();  // the host's tag writer fills them later
        int err = OPE_OK;
        if (comments)
            encoder =
                ope_encoder_create_file(std::filesystem::path(tvkit::Utf16ToUtf8(OutputPath())).c_str(), comments,
                                        kRate, static_cast<int>(layout.channels), layout.channels > 2 ? 1 : 0, &err);
        if (!encoder) {
            Log().Error(u"Error: Unable to create file '" + path + u"': " +
                            tvkit::Utf8ToUtf16(comments ? ope_strerror(err) : "out of memory"),
                        function);
            Release();
            return false;
        }
        ope_encoder_ctl(encoder, OPE_SET_COMMENT_PADDING(static_cast<opus_int32>(
                                     std::min<uint64_t>(TagRoom(), std::numeric_limits<opus_int32>::max()))));
        ope_encoder_ctl(encoder, OPUS_SET_BITRATE(static_cast<opus_int32>(kbps * 1000)));
        ope_encoder_ctl(encoder, OPUS_SET_VBR(settings.mode == RateMode::Cbr ? 0 : 1));
        ope_encoder_ctl(encoder, OPUS_SET_VBR_CONSTRAINT(settings.mode == RateMode::Cvbr ? 1 : 0));
        if (settings.complexity >= 0)
            ope_encoder_ctl(encoder, OPUS_SET_COMPLEXITY(static_cast<opus_int32>(settings.complexity)));
        ordered.resize(resampled.size());
        return true;
    }

    uint64_t TagRoom() const { return tvtags::TagRoom(tagBlock, tagBlockSize, tvtags::FileKind::Opus); }

    bool StartDirect(long kbps, const char* function) {
        oggopus::Settings s;
        s.bitrate = static_cast<int32_t>(kbps * 1000);
        s.vbr = settings.mode != RateMode::Cbr;
        s.constrained = settings.mode == RateMode::Cvbr;
        s.complexity = static_cast<int>(settings.complexity);
        s.tagRoom = TagRoom();
        direct = std::make_unique<oggopus::SingleStreamWriter>();
        std::string error;
        if (!direct->Open(std::filesystem::path(tvkit::Utf16ToUtf8(OutputPath())), layout.channels, layout.rate, s,
                          error)) {
            Log().Error(u"Error: Unable to create file '" + path + u"': " + tvkit::Utf8ToUtf16(error), function);
            Release();
            return false;
        }
        return true;
    }

    // Input frames through the resampler (data null: its tail) to the encoder.
    bool Feed(const float* data, size_t frames, const char* function) {
        if (!resampler) return Encode(data, frames, function);
        size_t consumed = 0;
        for (;;) {
            size_t used = 0, made = 0;
            const soxr_error_t err = soxr_process(resampler, data ? data + consumed * layout.channels : nullptr,
                                                  data ? frames - consumed : 0, &used, resampled.data(),
                                                  resampled.size() / layout.channels, &made);
            if (err) {
                Log().Error(u"Error: Resampling for '" + path + u"' failed: " + tvkit::Utf8ToUtf16(err), function);
                return false;
            }
            consumed += used;
            if (made && !Encode(resampled.data(), made, function)) return false;
            if (data ? consumed >= frames && made == 0 : made == 0) return true;
        }
    }

    bool Encode(const float* data, size_t frames, const char* function) {
        if (direct) {
            std::string error;
            if (direct->Write(data, frames, error)) return true;
            Log().Error(u"Error: Opus encoding of '" + path + u"' failed: " + tvkit::Utf8ToUtf16(error), function);
            return false;
        }
        const float* src = data;
        if (layout.channels > 2) {
            // Family 1 takes the Vorbis channel order.
            const unsigned n = layout.channels;
            if (ordered.size() < frames * n) ordered.resize(frames * n);
            for (size_t i = 0; i < frames; ++i)
                for (unsigned c = 0; c < n; ++c) ordered[i * n + lossy::VorbisIndexOfWave(n, c)] = data[i * n + c];
            src = ordered.data();
        }
        const int r = ope_encoder_write_float(encoder, src, static_cast<int>(frames));
        if (r != OPE_OK) {
            Log().Error(u"Error: Opus encoding of '" + path + u"' failed: " + tvkit::Utf8ToUtf16(ope_strerror(r)),
                        function);
            return false;
        }
        return true;
    }

    void Release() override {
        direct.reset();
        if (encoder) ope_encoder_destroy(encoder);
        encoder = nullptr;
        if (comments) ope_comments_destroy(comments);
        comments = nullptr;
        if (resampler) soxr_delete(resampler);
        resampler = nullptr;
    }

    std::unique_ptr<oggopus::SingleStreamWriter> direct;  // mono and stereo
    OggOpusEnc* encoder = nullptr;                        // more channels
    OggOpusComments* comments = nullptr;
    soxr_t resampler = nullptr;
    Settings settings;
    std::vector<float> resampled, ordered;
};

}  // namespace

TV_KIT_ENCODER_EXPORTS(OpusFileEncoder)
