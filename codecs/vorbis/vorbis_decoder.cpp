// decoder/vorbis.so: Ogg Vorbis through vorbisfile as 16-bit PCM in WAV channel order, in
// blocks of about 100 ms. Tags come from the tag kit, which also writes them.
#include <vorbis/vorbisfile.h>

#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include "decoder_records.h"
#include "file_decoder.h"
#include "lossy_pcm.h"
#include "ogg_tail.h"
#include "tvkit/plugin_base.h"
#include "tvkit/tag_block.h"
#include "tvkit/text.h"
#include "tvtags/file_tags.h"

namespace {

constexpr unsigned kBlocksPerSecond = 10;

const tvkit::DecodesEntry kDecodes[] = {
    {u".ogg", u"Ogg Vorbis"},
    {u".oga", u"Ogg Vorbis"},
};

std::u16string Num(unsigned long long v) { return tvkit::Number16(v); }

const char16_t* OpenErrorText(int code) {
    switch (code) {
        case OV_EREAD:
            return u"the file can't be read";
        case OV_ENOTVORBIS:
            return u"it holds no Vorbis stream";
        case OV_EVERSION:
            return u"the Vorbis version is unknown";
        case OV_EBADHEADER:
            return u"the Vorbis headers are damaged";
        default:
            return u"the stream is damaged";
    }
}

class VorbisDecoder final : public codecrec::FileDecoder {
public:
    using FileDecoder::FileDecoder;
    ~VorbisDecoder() override { Release(); }

    int32_t SetProperty(std::u16string_view name, PluginArgs& args) override {
        if (name == u"IDTags") return tvtags::SetIDTagsProperty(args, Log(), tvtags::FileKind::OggVorbis);
        return FileDecoder::SetProperty(name, args);
    }

    int32_t OpenFile(OpenFileRecord& rec, const char* function) override {
        const int r = ov_fopen(tvkit::Utf16ToUtf8(path).c_str(), &file);
        if (r != 0) {
            Log().Error(u"Error: Unable to read Ogg Vorbis file '" + path + u"': " + OpenErrorText(r) + u".", function);
            return 0;
        }
        open = true;
        const vorbis_info* info = ov_info(&file, -1);
        if (!info || info->channels < 1 || info->channels > static_cast<int>(lossy::kMaxChannels) || info->rate <= 0 ||
            ov_streams(&file) != 1) {
            Log().Error(u"Error: Ogg Vorbis file '" + path +
                            u"' has a shape this decoder can't deliver (one stream of 1 to 8 channels).",
                        function);
            Release();
            return 0;
        }
        rate = static_cast<unsigned>(info->rate);
        channels = static_cast<unsigned>(info->channels);
        const ogg_int64_t length = ov_pcm_total(&file, -1);
        total = length > 0 ? static_cast<uint64_t>(length) : 0;
        format = HighQuality() ? lossy::MakeFloat32(channels, rate) : lossy::MakePcm16(channels, rate);
        BuildTags(*info);
        codecrec::FillOpen(rec, format, total, idTags, infoTags);
        blockFrames = (rate + kBlocksPerSecond - 1) / kBlocksPerSecond;
        pending.resize(blockFrames * format.Format.nBlockAlign);
        return 1;
    }

    int32_t DecodeBlock(AudioBlockRecord& out) override {
        static const char* const kFunction = "Vorbis::DecodeBlock";
        if (!open) return 0;
        codecrec::BeginBlock(out, format, delivered);
        size_t frames = 0;
        while (!ended && frames < blockFrames) {
            float** planes = nullptr;
            int section = 0;
            const long n = ov_read_float(&file, &planes, static_cast<int>(blockFrames - frames), &section);
            if (n == 0) {
                ended = true;
            } else if (n < 0) {
                Log().Error(u"Error: Ogg Vorbis stream is corrupt at " + lossy::TimeText(delivered + frames, rate) +
                                (n == OV_HOLE ? u": data is missing." : u"."),
                            kFunction);
                return 0;
            } else {
                uint8_t* at = pending.data() + frames * format.Format.nBlockAlign;
                if (HighQuality())
                    lossy::VorbisPlanarToFloat(planes, channels, static_cast<size_t>(n), at);
                else
                    lossy::VorbisPlanarToPcm16(planes, channels, static_cast<size_t>(n), at);
                frames += static_cast<size_t>(n);
            }
        }
        delivered += frames;
        if (ended && !CheckEnd(kFunction)) return 0;
        codecrec::EndBlock(out, format, pending.data(), frames, ended);
        return 1;
    }

private:
    Listing Decodes() const override { return {kDecodes, std::size(kDecodes)}; }
    const char* OpenFunction() const override { return "Vorbis::Open"; }
    bool IsOpen() const override { return open; }

    // vorbisfile ends quietly where a file was cut.
    bool CheckEnd(const char* function) {
        int64_t granule = 0;
        if (delivered >= total && oggtail::FileEndsWithFinalPage(tvkit::Utf16ToUtf8(path), granule)) return true;
        Log().Error(u"Error: Ogg Vorbis stream is truncated at " + lossy::TimeText(delivered, rate) + u".", function);
        return false;
    }

    void BuildTags(const vorbis_info& info) {
        std::u16string error;
        if (!tvtags::ReadFileTags(path, idTags, error, tvtags::FileKind::OggVorbis))
            Log().Debug(u"No tags read from '" + path + u"': " + error);  // the audio is still good
        const uint64_t ms = total * 1000 / rate;
        std::error_code ec;
        const uintmax_t size = std::filesystem::file_size(std::filesystem::path(tvkit::Utf16ToUtf8(path)), ec);
        const unsigned kbps = !ec && ms ? static_cast<unsigned>(size * 8 / ms) : 0;
        const long nominal = info.bitrate_nominal > 0 ? info.bitrate_nominal / 1000 : 0;
        infoTags.Clear();
        infoTags.Add(
            u"Audio Quality",
            u"VBR (about " + Num(kbps) + u" kbps" +
                (nominal > 0 ? u", nominal " + Num(static_cast<unsigned long long>(nominal)) + u" kbps" : u"") + u")");
        infoTags.Add(u"Codec", u"Ogg Vorbis");
        const vorbis_comment* vc = ov_comment(&file, -1);
        if (vc && vc->vendor) infoTags.AddUtf8(u"Encoder", vc->vendor);
        infoTags.Add(u"Bit Rate", Num(kbps) + u" kbps");
        infoTags.Add(u"Sample Rate", Num(rate));
        infoTags.Add(u"Channels", codecrec::ChannelsText(channels));
        infoTags.Add(u"Length", Num(ms) + u" ms");
        infoTags.Add(u"File Name", path);
    }

    void Release() override {
        if (open) ov_clear(&file);
        open = false;
    }

    OggVorbis_File file{};
    bool open = false;
    unsigned rate = 0, channels = 0;
    uint64_t total = 0, delivered = 0;
    bool ended = false;
    size_t blockFrames = 0;
    TvWaveFormatExtensible format{};
    std::vector<uint8_t> pending;
    tvkit::TagBlockWriter idTags, infoTags;
};

}  // namespace

TV_KIT_DECODER_EXPORTS(VorbisDecoder)
