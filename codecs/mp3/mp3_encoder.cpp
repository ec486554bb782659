// encoder/mp3.so: PCM to MP3 through LAME. Options as the lame tool takes them: -V n (VBR
// quality 0..9, default 2), -b n (constant bit rate), --abr n (average bit rate), -q n
// (algorithm quality 0..9). Every file gets the LAME/Xing frame with the encoder delay and
// padding, so that decoders can give back exactly the samples that went in. The host writes
// the tags afterwards through decoder/mp3.so.
#include <lame/lame.h>

#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "lossy_pcm.h"
#include "tvkit/plugin_base.h"
#include "tvkit/text.h"

namespace {

constexpr long kDefaultVbr = 2;
constexpr size_t kChunkFrames = 4096;  // frames converted per LAME call
constexpr size_t kLameTagMax = 2880;   // the largest MP3 frame
const unsigned kRates[] = {8000, 11025, 12000, 16000, 22050, 24000, 32000, 44100, 48000};
const unsigned kBitrates[] = {8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160, 192, 224, 256, 320};

enum class Mode { Vbr, Cbr, Abr };

struct Settings {
    Mode mode = Mode::Vbr;
    double vbr = kDefaultVbr;
    long kbps = 0;
    long quality = -1;  // LAME's default
    std::u16string ignored, invalid;
};

template <size_t N>
bool OneOf(const unsigned (&list)[N], long v) {
    for (unsigned x : list)
        if (static_cast<long>(x) == v) return true;
    return false;
}

template <size_t N>
std::u16string ListText(const unsigned (&list)[N], const char16_t* last) {
    std::u16string text;
    for (size_t i = 0; i < N; ++i)
        text += (i == 0 ? u"" : i + 1 == N ? last : u", ") + tvkit::Number16(static_cast<unsigned long long>(list[i]));
    return text;
}

Settings ParseSettings(std::u16string_view line) {
    Settings s;
    for (const lossy::Option& o : lossy::SplitOptions(line, {u"-V", u"-b", u"--abr", u"-q"})) {
        const std::u16string word = o.value.empty() ? o.name : o.name + u" " + o.value;
        if (o.name == u"-V") {
            if (lossy::ParseDecimal(o.value, 0, 9.999, s.vbr)) s.mode = Mode::Vbr;
            else s.invalid += u" " + word;
        } else if (o.name == u"-b") {
            if (lossy::ParseNumber(o.value, 8, 320, s.kbps) && OneOf(kBitrates, s.kbps)) s.mode = Mode::Cbr;
            else s.invalid += u" " + word;
        } else if (o.name == u"--abr") {
            if (lossy::ParseNumber(o.value, 8, 320, s.kbps)) s.mode = Mode::Abr;
            else s.invalid += u" " + word;
        } else if (o.name == u"-q") {
            if (!lossy::ParseNumber(o.value, 0, 9, s.quality)) s.invalid += u" " + word;
        } else if (!o.name.empty()) {
            s.ignored += u" " + word;
        }
    }
    return s;
}

class Mp3Encoder final : public tvkit::EncoderBase {
public:
    using EncoderBase::EncoderBase;
    ~Mp3Encoder() override { Release(); }

    int32_t GetProperty(std::u16string_view name, PluginArgs& args) override {
        if (name == u"Extension") {
            args.Text = u".mp3";
            return 1;
        }
        if (name == u"IsLossless") return 0;
        return EncoderBase::GetProperty(name, args);
    }

    int32_t BeginConversion(ConversionRecord& conv) override {
        static const char* const kFunction = "Mp3::BeginConversion";
        if (lame || !conv.Format) {
            Log().Error(u"Error: No conversion to begin.", kFunction);
            return 0;
        }
        settings = ParseSettings(tvkit::View16(conv.CommandLine));
        if (!settings.invalid.empty()) {
            Log().Error(u"Error: Invalid MP3 options:" + settings.invalid + u" (-V 0..9, -b " +
                            ListText(kBitrates, u" or ") + u", --abr 8..320, -q 0..9).",
                        kFunction);
            return 0;
        }
        if (!settings.ignored.empty())
            Log().Info(u"Options not known to the MP3 encoder were ignored:" + settings.ignored, kFunction);
        path = std::u16string(tvkit::View16(conv.OutputFile));
        return Start(conv.Format->Format, kFunction) ? 1 : 0;
    }

    int32_t EncodeBlock(AudioBlockRecord& block) override {
        static const char* const kFunction = "Mp3::EncodeBlock";
        if (!lame) return 0;
        if (!block.Data || block.Size == 0) return 1;
        if (!lossy::SameShape(block.Format, format)) {
            if (written) {
                Log().Error(u"Error: The audio format changed in the middle of '" + path + u"'.", kFunction);
                return 0;
            }
            // A DSP changed the format before any audio came: start the file anew.
            Release();
            if (!Start(block.Format, kFunction)) return 0;
        }
        const auto* p = static_cast<const uint8_t*>(block.Data);
        size_t frames = block.Size / layout.frameBytes;
        while (frames) {
            const size_t n = frames < kChunkFrames ? frames : kChunkFrames;
            lossy::ToFloat(p, n * layout.channels, layout, samples.data());
            const int bytes =
                layout.channels == 1
                    ? lame_encode_buffer_ieee_float(lame, samples.data(), samples.data(), static_cast<int>(n), out.data(),
                                                    static_cast<int>(out.size()))
                    : lame_encode_buffer_interleaved_ieee_float(lame, samples.data(), static_cast<int>(n), out.data(),
                                                                static_cast<int>(out.size()));
            if (bytes < 0 || !Write(out.data(), static_cast<size_t>(bytes))) {
                Log().Error(u"Error: MP3 encoding of '" + path + u"' failed" +
                                (bytes < 0 ? u" (LAME error " + tvkit::Number16(static_cast<long long>(bytes)) + u")."
                                           : u": the file can't be written."),
                            kFunction);
                return 0;
            }
            p += n * layout.frameBytes;
            frames -= n;
            written += n;
        }
        return 1;
    }

    int32_t EndConversion(ConversionRecord&, uint32_t& writeTags) override {
        static const char* const kFunction = "Mp3::EndConversion";
        writeTags = 0;
        if (!lame) return 0;
        bool ok = true;
        const int bytes = lame_encode_flush(lame, out.data(), static_cast<int>(out.size()));
        ok = bytes >= 0 && Write(out.data(), static_cast<size_t>(bytes));
        // The LAME/Xing frame now knows the frame count, delay and padding: it replaces the
        // placeholder that LAME put first.
        std::vector<uint8_t> tag(kLameTagMax);
        const size_t tagBytes = lame_get_lametag_frame(lame, tag.data(), tag.size());
        if (ok && tagBytes > 0 && tagBytes <= tag.size())
            ok = std::fseek(file, 0, SEEK_SET) == 0 && std::fwrite(tag.data(), 1, tagBytes, file) == tagBytes;
        ok = std::fclose(file) == 0 && ok;
        file = nullptr;
        if (!ok) Log().Error(u"Error: Unable to finish MP3 file '" + path + u"'.", kFunction);
        Release();
        writeTags = ok ? 1 : 0;
        return ok ? 1 : 0;
    }

private:
    bool Start(const TvWaveFormatExtensible& f, const char* function) {
        if (!lossy::ReadLayout(f, layout) || layout.channels > 2 || !OneOf(kRates, layout.rate)) {
            Log().Error(u"Error: MP3 holds mono or stereo audio at " + ListText(kRates, u" or ") +
                            u" Hz; this audio is " + lossy::Describe(f) + u".",
                        function);
            return false;
        }
        format = f;
        lame = lame_init();
        if (!lame) {
            Log().Error(u"Error: Out of memory.", function);
            return false;
        }
        lame_set_in_samplerate(lame, static_cast<int>(layout.rate));
        lame_set_out_samplerate(lame, static_cast<int>(layout.rate));  // never resample: the length must hold
        lame_set_num_channels(lame, static_cast<int>(layout.channels));
        lame_set_mode(lame, layout.channels == 1 ? MONO : JOINT_STEREO);
        lame_set_bWriteVbrTag(lame, 1);
        lame_set_write_id3tag_automatic(lame, 0);
        switch (settings.mode) {
        case Mode::Vbr:
            lame_set_VBR(lame, vbr_default);
            lame_set_VBR_quality(lame, static_cast<float>(settings.vbr));
            break;
        case Mode::Cbr:
            lame_set_VBR(lame, vbr_off);
            lame_set_brate(lame, static_cast<int>(settings.kbps));
            break;
        case Mode::Abr:
            lame_set_VBR(lame, vbr_abr);
            lame_set_VBR_mean_bitrate_kbps(lame, static_cast<int>(settings.kbps));
            break;
        }
        if (settings.quality >= 0) lame_set_quality(lame, static_cast<int>(settings.quality));
        if (lame_init_params(lame) < 0) {
            Log().Error(u"Error: LAME refuses these settings for " + lossy::Describe(f) + u".", function);
            Release();
            return false;
        }
        file = std::fopen(std::filesystem::path(tvkit::Utf16ToUtf8(path)).c_str(), "wb");
        if (!file) {
            Log().Error(u"Error: Unable to create file '" + path + u"'.", function);
            Release();
            return false;
        }
        samples.resize(kChunkFrames * layout.channels);
        out.resize(kChunkFrames * 5 / 4 + 7200);
        written = 0;
        return true;
    }

    bool Write(const uint8_t* data, size_t size) { return size == 0 || std::fwrite(data, 1, size, file) == size; }

    void Release() {
        if (file) std::fclose(file);
        file = nullptr;
        if (lame) lame_close(lame);
        lame = nullptr;
    }

    lame_global_flags* lame = nullptr;
    std::FILE* file = nullptr;
    Settings settings;
    std::u16string path;
    TvWaveFormatExtensible format{};
    lossy::Layout layout;
    std::vector<float> samples;
    std::vector<uint8_t> out;
    uint64_t written = 0;
};

}  // namespace

TV_KIT_ENCODER_EXPORTS(Mp3Encoder)
