// decoder/mp3.so: MPEG audio through mpg123 as 16-bit PCM (32-bit float on "Decode As" =
// "Highest Quality") in blocks of about 100 ms. Gapless:
// the encoder delay and padding of the LAME tag are cut, so a stream gives back exactly the
// samples that were encoded. Tags come from the tag kit, which also writes them (ID3v2).
#include <mpg123.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>
#include <vector>

#include "decoder_records.h"
#include "file_decoder.h"
#include "lame_tag.h"
#include "lossy_pcm.h"
#include "tvkit/plugin_base.h"
#include "tvkit/tag_block.h"
#include "tvkit/text.h"
#include "tvtags/file_tags.h"

namespace {

constexpr unsigned kBlocksPerSecond = 10;
constexpr unsigned kMaxChannels = 2;

const tvkit::DecodesEntry kDecodes[] = {
    {u".mp3", u"MPEG Layer III"},
};

std::u16string Num(unsigned long long v) { return tvkit::Number16(v); }

class Mp3Decoder final : public codecrec::FileDecoder {
public:
    using FileDecoder::FileDecoder;
    ~Mp3Decoder() override { Release(); }

    int32_t SetProperty(std::u16string_view name, PluginArgs& args) override {
        if (name == u"IDTags") return tvtags::SetIDTagsProperty(args, Log(), tvtags::FileKind::Mp3);
        return FileDecoder::SetProperty(name, args);
    }

    int32_t OpenFile(OpenFileRecord& rec, const char* function) override {
        ReadHead();
        int err = MPG123_OK;
        handle = mpg123_new(nullptr, &err);
        if (!handle) {
            Log().Error(u"Error: Unable to start the MP3 decoder: " + tvkit::Utf8ToUtf16(mpg123_plain_strerror(err)),
                        function);
            return 0;
        }
        mpg123_param(handle, MPG123_ADD_FLAGS, MPG123_GAPLESS | MPG123_QUIET, 0);
        // One output encoding for every rate, so that the host sees one format.
        mpg123_format_none(handle);
        const long* rates = nullptr;
        size_t rateCount = 0;
        mpg123_rates(&rates, &rateCount);
        const int wanted = HighQuality() ? MPG123_ENC_FLOAT_32 : MPG123_ENC_SIGNED_16;
        for (size_t i = 0; i < rateCount; ++i) mpg123_format(handle, rates[i], MPG123_MONO | MPG123_STEREO, wanted);

        const std::string narrow = tvkit::Utf16ToUtf8(path);
        long rateL = 0;
        int ch = 0, encoding = 0;
        if (mpg123_open(handle, narrow.c_str()) != MPG123_OK ||
            mpg123_getformat(handle, &rateL, &ch, &encoding) != MPG123_OK) {
            Log().Error(
                u"Error: Unable to read MP3 file '" + path + u"': " + tvkit::Utf8ToUtf16(mpg123_strerror(handle)),
                function);
            Release();
            return 0;
        }
        if (rateL <= 0 || ch < 1 || ch > static_cast<int>(kMaxChannels) || encoding != wanted) {
            Log().Error(u"Error: MP3 file '" + path + u"' has a format this decoder can't deliver.", function);
            Release();
            return 0;
        }
        rate = static_cast<unsigned>(rateL);
        channels = static_cast<unsigned>(ch);
        // Without a frame count the length is only an estimate: count the frames once.
        if (!head.frames && mpg123_scan(handle) != MPG123_OK) {
            Log().Error(
                u"Error: Unable to read MP3 file '" + path + u"': " + tvkit::Utf8ToUtf16(mpg123_strerror(handle)),
                function);
            Release();
            return 0;
        }
        const off_t length = mpg123_length(handle);
        total = length > 0 ? static_cast<uint64_t>(length) : 0;
        format = HighQuality() ? lossy::MakeFloat32(channels, rate) : lossy::MakePcm16(channels, rate);
        BuildTags();
        codecrec::FillOpen(rec, format, total, idTags, infoTags);
        pending.resize((rate + kBlocksPerSecond - 1) / kBlocksPerSecond * format.Format.nBlockAlign);
        return 1;
    }

    int32_t DecodeBlock(AudioBlockRecord& out) override {
        static const char* const kFunction = "Mp3::DecodeBlock";
        if (!handle) return 0;
        codecrec::BeginBlock(out, format, delivered);
        size_t filled = 0;
        while (!ended && filled < pending.size()) {
            size_t done = 0;
            const int r = mpg123_read(handle, pending.data() + filled, pending.size() - filled, &done);
            filled += done;
            if (r == MPG123_DONE) {
                ended = true;
            } else if (r == MPG123_NEW_FORMAT) {
                long newRate = 0;
                int newChannels = 0, enc = 0;
                mpg123_getformat(handle, &newRate, &newChannels, &enc);
                // A frame of another rate or channel count in one file is damage, not a feature.
                if (static_cast<unsigned>(newRate) != rate || static_cast<unsigned>(newChannels) != channels) {
                    Log().Error(u"Error: MP3 stream is corrupt at " +
                                    lossy::TimeText(delivered + filled / format.Format.nBlockAlign, rate) +
                                    u": a frame of another format follows.",
                                kFunction);
                    return 0;
                }
            } else if (r != MPG123_OK) {
                Log().Error(u"Error: MP3 stream is corrupt at " +
                                lossy::TimeText(delivered + filled / format.Format.nBlockAlign, rate) + u": " +
                                tvkit::Utf8ToUtf16(mpg123_strerror(handle)),
                            kFunction);
                return 0;
            }
        }
        const size_t frames = filled / format.Format.nBlockAlign;
        delivered += frames;
        if (ended && !CheckEnd(kFunction)) return 0;
        codecrec::EndBlock(out, format, pending.data(), frames, ended);
        return 1;
    }

private:
    Listing Decodes() const override { return {kDecodes, std::size(kDecodes)}; }
    const char* OpenFunction() const override { return "Mp3::Open"; }
    bool IsOpen() const override { return handle != nullptr; }

    // mpg123 skips over what it can't decode; a stream that ends short of its frame count
    // was cut or damaged, and the file size tells which.
    bool CheckEnd(const char* function) {
        if (!head.frames || delivered >= total) return true;
        std::error_code ec;
        const uintmax_t size = std::filesystem::file_size(std::filesystem::path(tvkit::Utf16ToUtf8(path)), ec);
        const bool cut = !ec && head.bytes && size < headOffset + head.bytes;
        Log().Error(u"Error: MP3 stream is " + std::u16string(cut ? u"truncated" : u"corrupt") + u" at " +
                        lossy::TimeText(delivered, rate) + u" of " + lossy::TimeText(total, rate) + u".",
                    function);
        return false;
    }

    // The Xing/LAME frame behind any ID3v2 tag.
    void ReadHead() {
        std::ifstream in(std::filesystem::path(tvkit::Utf16ToUtf8(path)), std::ios::binary);
        uint8_t id3[10] = {};
        if (!in.read(reinterpret_cast<char*>(id3), sizeof id3)) return;
        headOffset = mp3tag::Id3v2Size(id3, sizeof id3);
        std::vector<uint8_t> bytes(mp3tag::kHeadBytes);
        in.clear();
        in.seekg(static_cast<std::streamoff>(headOffset));
        in.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
        head = mp3tag::ParseLameTag(bytes.data(), static_cast<size_t>(in.gcount()));
    }

    std::u16string QualityText(unsigned kbps, const mpg123_frameinfo& info) const {
        using mp3tag::Mode;
        const Mode mode = head.mode != Mode::Unknown              ? head.mode
                          : head.isInfo || info.vbr == MPG123_CBR ? Mode::Cbr
                          : info.vbr == MPG123_ABR                ? Mode::Abr
                                                                  : Mode::Vbr;
        if (mode == Mode::Cbr) return u"CBR " + Num(static_cast<unsigned>(info.bitrate)) + u" kbps";
        if (mode == Mode::Abr) {
            const unsigned target = head.abrKbps ? head.abrKbps : static_cast<unsigned>(info.abr_rate);
            return u"ABR " + Num(target ? target : kbps) + u" kbps";
        }
        const int level = head.mode == Mode::Vbr ? mp3tag::VbrLevel(head) : -1;
        const std::u16string about = u"(about " + Num(kbps) + u" kbps)";
        return level >= 0 ? u"V" + Num(static_cast<unsigned>(level)) + u" " + about : u"VBR " + about;
    }

    void BuildTags() {
        std::u16string error;
        if (!tvtags::ReadFileTags(path, idTags, error, tvtags::FileKind::Mp3))
            Log().Debug(u"No tags read from '" + path + u"': " + error);  // the audio is still good
        mpg123_frameinfo info{};
        mpg123_info(handle, &info);
        const uint64_t ms = total * 1000 / rate;
        std::error_code ec;
        const uintmax_t size = std::filesystem::file_size(std::filesystem::path(tvkit::Utf16ToUtf8(path)), ec);
        const uintmax_t streamBytes = head.bytes ? head.bytes : !ec && size > headOffset ? size - headOffset : 0;
        const unsigned kbps = ms ? static_cast<unsigned>(streamBytes * 8 / ms) : static_cast<unsigned>(info.bitrate);
        static const char16_t* const kVersions[] = {u"MPEG-1", u"MPEG-2", u"MPEG-2.5"};
        const unsigned version = info.version <= MPG123_2_5 ? static_cast<unsigned>(info.version) : 0;
        infoTags.Clear();
        infoTags.Add(u"Audio Quality", QualityText(kbps, info));
        infoTags.Add(u"Codec", std::u16string(kVersions[version]) + u" Layer III");
        if (!head.encoder.empty()) infoTags.AddUtf8(u"Encoder", head.encoder);
        infoTags.Add(u"Bit Rate", Num(kbps) + u" kbps");
        infoTags.Add(u"Sample Rate", Num(rate));
        infoTags.Add(u"Channels", channels == 1 ? u"Mono" : u"Stereo");
        infoTags.Add(u"Length", Num(ms) + u" ms");
        infoTags.Add(u"File Name", path);
    }

    void Release() override {
        if (handle) {
            mpg123_close(handle);
            mpg123_delete(handle);
        }
        handle = nullptr;
    }

    mpg123_handle* handle = nullptr;
    mp3tag::LameTag head;
    size_t headOffset = 0;  // bytes of the ID3v2 tag before the stream
    unsigned rate = 0, channels = 0;
    uint64_t total = 0;      // frames the stream holds (gapless)
    uint64_t delivered = 0;  // frames handed to the host
    bool ended = false;
    TvWaveFormatExtensible format{};
    std::vector<uint8_t> pending;
    tvkit::TagBlockWriter idTags, infoTags;
};

}  // namespace

TV_KIT_DECODER_EXPORTS(Mp3Decoder)
