// decoder/opus.so: Ogg Opus through opusfile as 16-bit PCM at 48 kHz (Opus's own rate) in WAV
// channel order, in blocks of about 100 ms. opusfile cuts the pre-skip and the end trim, so
// the length is exact. Tags come from the tag kit, which also writes them.
#include <opus/opusfile.h>  // TagLib has a header of the same name

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

constexpr unsigned kRate = 48000;
constexpr unsigned kBlockFrames = kRate / 10;
constexpr unsigned kMaxFrameSamples = 5760;  // 120 ms at 48 kHz: the most one packet gives

const tvkit::DecodesEntry kDecodes[] = {
    {u".opus", u"Ogg Opus"},
};

std::u16string Num(unsigned long long v) { return tvkit::Number16(v); }

const char16_t* ErrorText(int code) {
    switch (code) {
        case OP_EREAD:
            return u"the file can't be read";
        case OP_ENOTFORMAT:
            return u"it holds no Opus stream";
        case OP_EVERSION:
            return u"the Opus version is unknown";
        case OP_EBADHEADER:
            return u"the Opus headers are damaged";
        case OP_EIMPL:
            return u"it uses a feature this decoder lacks";
        case OP_HOLE:
            return u"data is missing";
        case OP_EBADPACKET:
            return u"a packet is damaged";
        default:
            return u"the stream is damaged";
    }
}

class OpusFileDecoder final : public codecrec::FileDecoder {
public:
    using FileDecoder::FileDecoder;
    ~OpusFileDecoder() override { Release(); }

    int32_t SetProperty(std::u16string_view name, PluginArgs& args) override {
        if (name == u"IDTags") return tvtags::SetIDTagsProperty(args, Log(), tvtags::FileKind::Opus);
        return FileDecoder::SetProperty(name, args);
    }

    int32_t OpenFile(OpenFileRecord& rec, const char* function) override {
        int err = 0;
        file = op_open_file(tvkit::Utf16ToUtf8(path).c_str(), &err);
        if (!file) {
            Log().Error(u"Error: Unable to read Opus file '" + path + u"': " + ErrorText(err) + u".", function);
            return 0;
        }
        const int ch = op_channel_count(file, -1);
        if (ch < 1 || ch > static_cast<int>(lossy::kMaxChannels) || op_link_count(file) != 1) {
            Log().Error(u"Error: Opus file '" + path +
                            u"' has a shape this decoder can't deliver (one stream of 1 to 8 channels).",
                        function);
            Release();
            return 0;
        }
        channels = static_cast<unsigned>(ch);
        const OpusHead* head = op_head(file, -1);
        preSkip = head ? head->pre_skip : 0;
        const ogg_int64_t length = op_pcm_total(file, -1);
        total = length > 0 ? static_cast<uint64_t>(length) : 0;
        format = HighQuality() ? lossy::MakeFloat32(channels, kRate) : lossy::MakePcm16(channels, kRate);
        BuildTags();
        codecrec::FillOpen(rec, format, total, idTags, infoTags);
        pending.resize((kBlockFrames + kMaxFrameSamples) * format.Format.nBlockAlign);
        floats.resize(kMaxFrameSamples * channels);
        return 1;
    }

    int32_t DecodeBlock(AudioBlockRecord& out) override {
        static const char* const kFunction = "Opus::DecodeBlock";
        if (!file) return 0;
        codecrec::BeginBlock(out, format, delivered);
        size_t frames = 0;
        while (!ended && frames < kBlockFrames) {
            const int n = op_read_float(file, floats.data(), static_cast<int>(floats.size()), nullptr);
            if (n == 0) {
                ended = true;
            } else if (n < 0) {
                Log().Error(u"Error: Opus stream is corrupt at " + lossy::TimeText(delivered + frames, kRate) + u": " +
                                ErrorText(n) + u".",
                            kFunction);
                return 0;
            } else {
                uint8_t* at = pending.data() + frames * format.Format.nBlockAlign;
                if (HighQuality())
                    lossy::VorbisInterleavedToFloat(floats.data(), channels, static_cast<size_t>(n), at);
                else
                    lossy::VorbisInterleavedToPcm16(floats.data(), channels, static_cast<size_t>(n), at);
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
    const char* OpenFunction() const override { return "Opus::Open"; }
    bool IsOpen() const override { return file != nullptr; }

    // opusfile ends quietly where a file was cut, and a damaged page in the middle can make it
    // take an early page for the last: the final page's position tells both apart from a
    // sound stream (which starts at position 0, as every encoder writes it).
    bool CheckEnd(const char* function) {
        int64_t granule = 0;
        const bool final = oggtail::FileEndsWithFinalPage(tvkit::Utf16ToUtf8(path), granule);
        if (final && delivered >= total && granule - preSkip <= static_cast<int64_t>(delivered)) return true;
        Log().Error(u"Error: Opus stream is " + std::u16string(final ? u"corrupt" : u"truncated") + u" at " +
                        lossy::TimeText(delivered, kRate) + u".",
                    function);
        return false;
    }

    void BuildTags() {
        std::u16string error;
        if (!tvtags::ReadFileTags(path, idTags, error, tvtags::FileKind::Opus))
            Log().Debug(u"No tags read from '" + path + u"': " + error);  // the audio is still good
        const uint64_t ms = total * 1000 / kRate;
        const opus_int32 bitrate = op_bitrate(file, -1);
        const unsigned kbps = bitrate > 0 ? static_cast<unsigned>(bitrate / 1000) : 0;
        infoTags.Clear();
        infoTags.Add(u"Audio Quality", u"VBR (about " + Num(kbps) + u" kbps)");
        infoTags.Add(u"Codec", u"Ogg Opus");
        const OpusTags* tags = op_tags(file, -1);
        if (tags && tags->vendor) infoTags.AddUtf8(u"Encoder", tags->vendor);
        infoTags.Add(u"Bit Rate", Num(kbps) + u" kbps");
        infoTags.Add(u"Sample Rate", Num(kRate));
        infoTags.Add(u"Channels", codecrec::ChannelsText(channels));
        infoTags.Add(u"Length", Num(ms) + u" ms");
        infoTags.Add(u"File Name", path);
    }

    void Release() override {
        if (file) op_free(file);
        file = nullptr;
    }

    OggOpusFile* file = nullptr;
    unsigned channels = 0;
    int64_t preSkip = 0;
    uint64_t total = 0, delivered = 0;
    bool ended = false;
    TvWaveFormatExtensible format{};
    std::vector<uint8_t> pending;
    std::vector<float> floats;
    tvkit::TagBlockWriter idTags, infoTags;
};

}  // namespace

TV_KIT_DECODER_EXPORTS(OpusFileDecoder)
