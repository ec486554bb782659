// encoder/vorbis.so: PCM to Ogg Vorbis through vorbisenc. Options as the oggenc tool takes
// them: -q n (quality -1..10, default 5). 1 to 8 channels, taken in WAV order and written in
// Vorbis order. The host writes the tags afterwards through decoder/vorbis.so.
#include <vorbis/vorbisenc.h>

#include <cstdio>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "lossy_pcm.h"
#include "tvkit/plugin_base.h"
#include "tvkit/text.h"

namespace {

constexpr double kDefaultQuality = 5;
constexpr size_t kChunkFrames = 4096;  // frames handed to libvorbis per analysis call

struct Settings {
    double quality = kDefaultQuality;
    std::u16string ignored, invalid;
};

Settings ParseSettings(std::u16string_view line) {
    Settings s;
    for (const lossy::Option& o : lossy::SplitOptions(line, {u"-q", u"--quality"})) {
        const std::u16string word = o.value.empty() ? o.name : o.name + u" " + o.value;
        if (o.name == u"-q" || o.name == u"--quality") {
            if (!lossy::ParseDecimal(o.value, -1, 10, s.quality)) s.invalid += u" " + word;
        } else if (!o.name.empty()) {
            s.ignored += u" " + word;
        }
    }
    return s;
}

class VorbisEncoder final : public tvkit::EncoderBase {
public:
    using EncoderBase::EncoderBase;
    ~VorbisEncoder() override { Release(); }

    int32_t GetProperty(std::u16string_view name, PluginArgs& args) override {
        if (name == u"Extension") {
            args.Text = u".ogg";
            return 1;
        }
        if (name == u"IsLossless") return 0;
        return EncoderBase::GetProperty(name, args);
    }

    int32_t BeginConversion(ConversionRecord& conv) override {
        static const char* const kFunction = "Vorbis::BeginConversion";
        if (started || !conv.Format) {
            Log().Error(u"Error: No conversion to begin.", kFunction);
            return 0;
        }
        settings = ParseSettings(tvkit::View16(conv.CommandLine));
        if (!settings.invalid.empty()) {
            Log().Error(u"Error: Invalid Vorbis options:" + settings.invalid + u" (-q -1..10).", kFunction);
            return 0;
        }
        if (!settings.ignored.empty())
            Log().Info(u"Options not known to the Vorbis encoder were ignored:" + settings.ignored, kFunction);
        path = std::u16string(tvkit::View16(conv.OutputFile));
        return Start(conv.Format->Format, kFunction) ? 1 : 0;
    }

    int32_t EncodeBlock(AudioBlockRecord& block) override {
        static const char* const kFunction = "Vorbis::EncodeBlock";
        if (!started) return 0;
        if (!block.Data || block.Size == 0) return 1;
        if (!lossy::SameShape(block.Format, format)) {
            if (written) {
                Log().Error(u"Error: The audio format changed in the middle of '" + path + u"'.", kFunction);
                return 0;
            }
            Release();  // a DSP changed the format before any audio came: start anew
            if (!Start(block.Format, kFunction)) return 0;
        }
        const auto* p = static_cast<const uint8_t*>(block.Data);
        size_t frames = block.Size / layout.frameBytes;
        while (frames) {
            const size_t n = frames < kChunkFrames ? frames : kChunkFrames;
            lossy::ToFloat(p, n * layout.channels, layout, interleaved.data());
            float** planes = vorbis_analysis_buffer(&dsp, static_cast<int>(n));
            for (unsigned c = 0; c < layout.channels; ++c) {
                float* dst = planes[lossy::VorbisIndexOfWave(layout.channels, c)];
                const float* src = interleaved.data() + c;
                for (size_t i = 0; i < n; ++i, src += layout.channels) dst[i] = *src;
            }
            vorbis_analysis_wrote(&dsp, static_cast<int>(n));
            if (!Drain(false)) {
                Log().Error(u"Error: Unable to write Ogg Vorbis file '" + path + u"'.", kFunction);
                return 0;
            }
            p += n * layout.frameBytes;
            frames -= n;
            written += n;
        }
        return 1;
    }

    int32_t EndConversion(ConversionRecord&, uint32_t& writeTags) override {
        static const char* const kFunction = "Vorbis::EndConversion";
        writeTags = 0;
        if (!started) return 0;
        vorbis_analysis_wrote(&dsp, 0);
        bool ok = Drain(true);
        ok = std::fclose(file) == 0 && ok;
        file = nullptr;
        if (!ok) Log().Error(u"Error: Unable to finish Ogg Vorbis file '" + path + u"'.", kFunction);
        Release();
        writeTags = ok ? 1 : 0;
        return ok ? 1 : 0;
    }

private:
    bool Start(const TvWaveFormatExtensible& f, const char* function) {
        if (!lossy::ReadLayout(f, layout) || layout.channels > lossy::kMaxChannels) {
            Log().Error(u"Error: Vorbis takes PCM or float audio of 1 to 8 channels; this audio is " + lossy::Describe(f) + u".",
                        function);
            return false;
        }
        format = f;
        vorbis_info_init(&info);
        if (vorbis_encode_init_vbr(&info, static_cast<long>(layout.channels), static_cast<long>(layout.rate),
                                   static_cast<float>(settings.quality / 10)) != 0) {
            vorbis_info_clear(&info);
            Log().Error(u"Error: Vorbis can't encode " + lossy::Describe(f) +
                            u" at this quality; it takes 1 to 8 channels at 8000 to 192000 Hz.",
                        function);
            return false;
        }
        file = std::fopen(std::filesystem::path(tvkit::Utf16ToUtf8(path)).c_str(), "wb");
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
        vorbis_comment_clear(&comment);
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
        interleaved.resize(kChunkFrames * layout.channels);
        written = 0;
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
        return std::fwrite(page.header, 1, static_cast<size_t>(page.header_len), file) == static_cast<size_t>(page.header_len) &&
               std::fwrite(page.body, 1, static_cast<size_t>(page.body_len), file) == static_cast<size_t>(page.body_len);
    }

    void Release() {
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
    std::u16string path;
    TvWaveFormatExtensible format{};
    lossy::Layout layout;
    std::vector<float> interleaved;
    uint64_t written = 0;
};

}  // namespace

TV_KIT_ENCODER_EXPORTS(VorbisEncoder)
