// encoder/mp3.so: PCM to MP3 through LAME. Options as the lame tool takes them: -V n (VBR
// quality 0..9, default 2), -b n (constant bit rate), --abr n (average bit rate), -q n
// (algorithm quality 0..9), --resample r (output rate in kHz). A source at a rate MPEG can't
// hold goes through libsoxr to the highest MPEG rate of its family not above it (96 kHz to
// 48 kHz, 88.2 kHz to 44.1 kHz). Every file gets the LAME/Xing frame with the encoder delay and
// padding, so that decoders can give back exactly the samples that went in. The host writes
// the tags afterwards through decoder/mp3.so, into an ID3v2.4 tag of padding alone that the
// file starts with, sized so that the write lands in place.
#include <lame/lame.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "lossy_encoder.h"
#include "resampler.h"
#include "tvkit/tag_block.h"
#include "tvkit/text.h"
#include "tvtags/file_tags.h"

namespace {

constexpr long kDefaultVbr = 2;
constexpr size_t kLameTagMax = 2880;  // the largest MP3 frame
constexpr size_t kId3HeaderBytes = 10;
constexpr uint64_t kMaxId3Body = (uint64_t{1} << 28) - 1;  // the syncsafe size field
const unsigned kRates[] = {8000, 11025, 12000, 16000, 22050, 24000, 32000, 44100, 48000};
// The MPEG rates by family, highest first.
const unsigned kFamilies[3][3] = {{44100, 22050, 11025}, {48000, 24000, 12000}, {32000, 16000, 8000}};
const unsigned kBitrates[] = {8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160, 192, 224, 256, 320};

enum class Mode { Vbr, Cbr, Abr };

struct Settings {
    Mode mode = Mode::Vbr;
    double vbr = kDefaultVbr;
    long kbps = 0;
    long quality = -1;  // LAME's default
    unsigned rate = 0;  // --resample; 0: the source's, or the nearest below of its family
};

std::u16string Num(unsigned v) { return tvkit::Number16(static_cast<unsigned long long>(v)); }

template <size_t N>
bool OneOf(const unsigned (&list)[N], long v) {
    for (unsigned x : list)
        if (static_cast<long>(x) == v) return true;
    return false;
}

// The output rate for a source rate: itself when MPEG holds it, else the highest rate of its
// family not above it, else the highest of any family not above it, else the lowest.
unsigned MpegRateFor(unsigned source) {
    for (unsigned r : kRates)
        if (r == source) return r;
    for (const auto& family : kFamilies)
        if (source % family[2] == 0)
            for (unsigned r : family)
                if (r <= source) return r;
    unsigned best = kRates[0];
    for (unsigned r : kRates)
        if (r <= source) best = r;
    return best;
}

template <size_t N>
std::u16string ListText(const unsigned (&list)[N], const char16_t* last) {
    std::u16string text;
    for (size_t i = 0; i < N; ++i)
        text += (i == 0 ? u"" : i + 1 == N ? last : u", ") + tvkit::Number16(static_cast<unsigned long long>(list[i]));
    return text;
}

class Mp3Encoder final : public lossy::LossyEncoder {
public:
    using LossyEncoder::LossyEncoder;
    ~Mp3Encoder() override { Release(); }

private:
    const Names& Naming() const override {
        static const Names names{u".mp3", u"MP3", "Mp3::BeginConversion", "Mp3::EncodeBlock", "Mp3::EndConversion"};
        return names;
    }

    bool Started() const override { return lame != nullptr; }

    std::vector<std::u16string_view> ValueOptions() const override {
        return {u"-V", u"-b", u"--abr", u"-q", u"--resample"};
    }
    void ResetSettings() override { settings = Settings{}; }

    Verdict TakeOption(const lossy::Option& o) override {
        if (o.name == u"-V") {
            if (!lossy::ParseDecimal(o.value, 0, 9.999, settings.vbr)) return Verdict::Invalid;
            settings.mode = Mode::Vbr;
        } else if (o.name == u"-b") {
            if (!lossy::ParseNumber(o.value, 8, 320, settings.kbps) || !OneOf(kBitrates, settings.kbps))
                return Verdict::Invalid;
            settings.mode = Mode::Cbr;
        } else if (o.name == u"--abr") {
            if (!lossy::ParseNumber(o.value, 8, 320, settings.kbps)) return Verdict::Invalid;
            settings.mode = Mode::Abr;
        } else if (o.name == u"-q") {
            if (!lossy::ParseNumber(o.value, 0, 9, settings.quality)) return Verdict::Invalid;
        } else if (o.name == u"--resample") {
            double khz = 0;
            if (!lossy::ParseDecimal(o.value, 8, 48, khz)) return Verdict::Invalid;
            const auto hz = static_cast<long>(khz * 1000 + 0.5);
            if (!OneOf(kRates, hz)) return Verdict::Invalid;
            settings.rate = static_cast<unsigned>(hz);
        } else {
            return Verdict::Unknown;
        }
        return Verdict::Taken;
    }

    std::u16string OptionRanges() const override {
        return u"-V 0..9, -b " + ListText(kBitrates, u" or ") +
               u", --abr 8..320, -q 0..9, --resample 8, 11.025, 12, 16, "
               u"22.05, 24, 32, 44.1 or 48";
    }

    bool EncodeChunk(const float* samples, size_t n, const char* function) override {
        if (!resampler.IsOpen()) return Encode(samples, n, function);
        std::string error;
        if (resampler.Process(
                samples, n, [&](const float* f, size_t count) { return Encode(f, count, function); }, error))
            return true;
        if (!error.empty()) ResampleFailed(error, function);
        return false;
    }

    void ResampleFailed(const std::string& error, const char* function) {
        Log().Error(u"Error: Resampling for '" + path + u"' failed: " + tvkit::Utf8ToUtf16(error), function);
    }

    bool Encode(const float* samples, size_t n, const char* function) {
        if (out.size() < n * 5 / 4 + 7200) out.resize(n * 5 / 4 + 7200);
        const int bytes = layout.channels == 1
                              ? lame_encode_buffer_ieee_float(lame, samples, samples, static_cast<int>(n), out.data(),
                                                              static_cast<int>(out.size()))
                              : lame_encode_buffer_interleaved_ieee_float(lame, samples, static_cast<int>(n),
                                                                          out.data(), static_cast<int>(out.size()));
        if (bytes < 0 || !Write(out.data(), static_cast<size_t>(bytes))) {
            Log().Error(u"Error: MP3 encoding of '" + path + u"' failed" +
                            (bytes < 0 ? u" (LAME error " + tvkit::Number16(static_cast<long long>(bytes)) + u")."
                                       : u": the file can't be written."),
                        function);
            return false;
        }
        return true;
    }

    bool Finish(const char* function) override {
        if (resampler.IsOpen()) {
            std::string error;
            if (!resampler.Flush([&](const float* f, size_t count) { return Encode(f, count, function); }, error)) {
                if (!error.empty()) ResampleFailed(error, function);
                return false;
            }
        }
        const int bytes = lame_encode_flush(lame, out.data(), static_cast<int>(out.size()));
        bool ok = bytes >= 0 && Write(out.data(), static_cast<size_t>(bytes));
        // The LAME/Xing frame now knows the frame count, delay and padding: it replaces the
        // placeholder that LAME put first.
        std::vector<uint8_t> tag(kLameTagMax);
        const size_t tagBytes = lame_get_lametag_frame(lame, tag.data(), tag.size());
        if (ok && tagBytes > 0 && tagBytes <= tag.size())
            ok = std::fseek(file, static_cast<long>(audioStart), SEEK_SET) == 0 &&
                 std::fwrite(tag.data(), 1, tagBytes, file) == tagBytes;
        ok = std::fclose(file) == 0 && ok;
        file = nullptr;
        if (!ok) Log().Error(u"Error: Unable to finish MP3 file '" + path + u"'.", function);
        return ok;
    }

    bool Start(const TvWaveFormatExtensible& f, const char* function) override {
        if (!lossy::ReadLayout(f, layout) || layout.channels > 2) {
            Log().Error(u"Error: MP3 holds mono or stereo audio; this audio is " + lossy::Describe(f) + u".", function);
            return false;
        }
        const unsigned rate = settings.rate ? settings.rate : MpegRateFor(layout.rate);
        if (rate != layout.rate) {
            std::string error;
            if (!resampler.Open(layout.rate, rate, layout.channels, error)) {
                Log().Error(u"Error: Unable to resample " + lossy::Describe(f) + u" to " + Num(rate) + u" Hz: " +
                                tvkit::Utf8ToUtf16(error),
                            function);
                return false;
            }
            Log().Info(u"Resampling from " + Num(layout.rate) + u" Hz to " + Num(rate) + u" Hz for MP3.", function);
        }
        lame = lame_init();
        if (!lame) {
            Log().Error(u"Error: Out of memory.", function);
            return false;
        }
        // libsoxr did any resampling: LAME's own would change the length.
        lame_set_in_samplerate(lame, static_cast<int>(rate));
        lame_set_out_samplerate(lame, static_cast<int>(rate));
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
        file = std::fopen(std::filesystem::path(tvkit::Utf16ToUtf8(OutputPath())).c_str(), "wb");
        if (!file) {
            Log().Error(u"Error: Unable to create file '" + path + u"'.", function);
            Release();
            return false;
        }
        if (!WriteTagRoom()) {
            Log().Error(u"Error: Unable to write MP3 file '" + path + u"'.", function);
            Release();
            return false;
        }
        out.resize(kChunkFrames * 5 / 4 + 7200);
        return true;
    }

    // An ID3v2.4 tag holding only padding, as large as the host's tags and a little slack. A
    // source without tags gets none: the file then starts with its first frame, as it did.
    bool WriteTagRoom() {
        if (!tagBlock || tvkit::ParseTagBlock(tagBlock, tagBlockSize).empty()) return true;
        uint64_t body = tvtags::TagRoom(tagBlock, tagBlockSize, tvtags::FileKind::Mp3);
        if (body > kMaxId3Body) body = kMaxId3Body;
        std::vector<uint8_t> tag(kId3HeaderBytes + body, 0);
        const uint8_t header[6] = {'I', 'D', '3', 4, 0, 0};
        std::copy(header, header + 6, tag.begin());
        for (int i = 0; i < 4; ++i) tag[6 + i] = static_cast<uint8_t>((body >> (7 * (3 - i))) & 0x7F);
        audioStart = tag.size();
        return Write(tag.data(), tag.size());
    }

    bool Write(const uint8_t* data, size_t size) { return size == 0 || std::fwrite(data, 1, size, file) == size; }

    void Release() override {
        resampler.Close();
        if (file) std::fclose(file);
        file = nullptr;
        if (lame) lame_close(lame);
        lame = nullptr;
    }

    lame_global_flags* lame = nullptr;
    std::FILE* file = nullptr;
    uint64_t audioStart = 0;  // where the first frame, the LAME/Xing frame, goes
    Settings settings;
    std::vector<uint8_t> out;
    mp3enc::Resampler resampler;
};

}  // namespace

TV_KIT_ENCODER_EXPORTS(Mp3Encoder)
