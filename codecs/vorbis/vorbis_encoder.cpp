// encoder/vorbis.so: PCM to Ogg Vorbis through vorbisenc. Options as the oggenc tool takes
// them: -q n (quality -1..10, default 5). 1 to 8 channels, taken in WAV order and written in
// Vorbis order. The host writes the tags afterwards through decoder/vorbis.so, in place: the
// comment packet carries room for them after its framing bit, which decoders don't read.
#include <vorbis/vorbisenc.h>

#include <cstdio>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "lossy_encoder.h"
#include "tvkit/text.h"
#include "tvtags/file_tags.h"

namespace {

constexpr double kDefaultQuality = 5;

struct Settings {
    double quality = kDefaultQuality;
};

class VorbisEncoder final : public lossy::LossyEncoder {
public:
    using LossyEncoder::LossyEncoder;
    ~VorbisEncoder() override { Release(); }

private:
    const Names& Naming() const override {
        static const Names names{u".ogg", u"Vorbis", "Vorbis::BeginConversion", "Vorbis::EncodeBlock",
                                 "Vorbis::EndConversion"};
        return names;
    }

    bool Started() const override { return started; }

    std::vector<std::u16string_view> ValueOptions() const override { return {u"-q", u"--quality"}; }
    void ResetSettings() override { settings = Settings{}; }

    Verdict TakeOption(const lossy::Option& o) override {
        if (o.name != u"-q" && o.name != u"--quality") return Verdict::Unknown;
        return lossy::ParseDecimal(o.value, -1, 10, settings.quality) ? Verdict::Taken : Verdict::Invalid;
    }

    std::u16string OptionRanges() const override { return u"-q -1..10"; }

    bool EncodeChunk(const float* samples, size_t n, const char* function) override {
        float** planes = vorbis_analysis_buffer(&dsp, static_cast<int>(n));
        for (unsigned c = 0; c < layout.channels; ++c) {
            float* dst = planes[lossy::VorbisIndexOfWave(layout.channels, c)];
            const float* src = samples + c;
            for (size_t i = 0; i < n; ++i, src += layout.channels) dst[i] = *src;
        }
        vorbis_analysis_wrote(&dsp, static_cast<int>(n));
        if (!Drain(false)) {
            Log().Error(u"Error: Unable to write Ogg Vorbis file '" + path + u"'.", function);
            return false;
        }
        return true;
    }

    bool Finish(const char* function) override {
        vorbis_analysis_wrote(&dsp, 0);
        bool ok = Drain(true);
        ok = std::fclose(file) == 0 && ok;
        file = nullptr;
        if (!ok) Log().Error(u"Error: Unable to finish Ogg Vorbis file '" + path + u"'.", function);
        return ok;
    }

    bool Start(const TvWaveFormatExtensible& f, const char* function) override {
        if (!lossy::ReadLayout(f, layout) || layout.channels > lossy::kMaxChannels) {
            Log().Error(u"Error: Vorbis takes PCM or float audio of 1 to 8 channels; this audio is " +
                            lossy::Describe(f) + u".",
                        function);
            return false;
        }
        vorbis_info_init(&info);
        if (vorbis_encode_init_vbr(&info, static_cast<long>(layout.channels), static_cast<long>(layout.rate),
                                   static_cast<float>(settings.quality / 10)) != 0) {
            vorbis_info_clear(&info);
            Log().Error(u"Error: Vorbis can't encode " + lossy::Describe(f) +
                            u" at this quality; it takes 1 to 8 channels at 8000 to 192000 Hz.",
                        function);
            return false;
        }
        file = std::fopen(std::filesystem::path(tvkit::Utf16ToUtf8(OutputPath())).c_str(), "wb");
        if (!file) {
            vorbis_info_clear(&info);
            Log().Error(u"Error: Unable to create file '" + path + u"'.", function);
            return false;
        }
        vorbis_comment comment;
        vorbis_comment_init(&comment);  // the host's tag writer fills it later
        vorbis_analysis_init(&dsp, &info);
        vorbis_block_init(&dsp, &block);
        std::random_device seed;
        ogg_stream_init(&stream, static_cast<int>(seed() & 0x7FFFFFFF));
        started = true;
        ogg_packet id, comm, code;
        vorbis_analysis_headerout(&dsp, &comment, &id, &comm, &code);
        std::vector<unsigned char> padded(comm.packet, comm.packet + comm.bytes);
        vorbis_comment_clear(&comment);
        padded.resize(padded.size() + tvtags::TagRoom(tagBlock, tagBlockSize, tvtags::FileKind::OggVorbis), 0);
        comm.packet = padded.data();
        comm.bytes = static_cast<long>(padded.size());
        ogg_stream_packetin(&stream, &id);
        ogg_stream_packetin(&stream, &comm);
        ogg_stream_packetin(&stream, &code);
        // The headers end on a page of their own, as decoders expect.
        ogg_page page;
        bool ok = true;
        while (ogg_stream_flush(&stream, &page)) ok = WritePage(page) && ok;
        if (!ok) {
            Log().Error(u"Error: Unable to write Ogg Vorbis file '" + path + u"'.", function);
            Release();
            return false;
        }
        return true;
    }

    bool Drain(bool last) {
        bool ok = true;
        while (vorbis_analysis_blockout(&dsp, &block) == 1) {
            vorbis_analysis(&block, nullptr);
            vorbis_bitrate_addblock(&block);
            ogg_packet packet;
            while (vorbis_bitrate_flushpacket(&dsp, &packet)) {
                ogg_stream_packetin(&stream, &packet);
                ogg_page page;
                while (ogg_stream_pageout(&stream, &page)) ok = WritePage(page) && ok;
            }
        }
        if (last) {
            ogg_page page;
            while (ogg_stream_flush(&stream, &page)) ok = WritePage(page) && ok;
        }
        return ok;
    }

    bool WritePage(const ogg_page& page) {
        return std::fwrite(page.header, 1, static_cast<size_t>(page.header_len), file) ==
                   static_cast<size_t>(page.header_len) &&
               std::fwrite(page.body, 1, static_cast<size_t>(page.body_len), file) ==
                   static_cast<size_t>(page.body_len);
    }

    void Release() override {
        if (started) {
            ogg_stream_clear(&stream);
            vorbis_block_clear(&block);
            vorbis_dsp_clear(&dsp);
            vorbis_info_clear(&info);
        }
        started = false;
        if (file) std::fclose(file);
        file = nullptr;
    }

    bool started = false;
    vorbis_info info{};
    vorbis_dsp_state dsp{};
    vorbis_block block{};
    ogg_stream_state stream{};
    std::FILE* file = nullptr;
    Settings settings;
};

}  // namespace

TV_KIT_ENCODER_EXPORTS(VorbisEncoder)
