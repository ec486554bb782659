// decoder/flac.so: native FLAC and FLAC in Ogg through libFLAC, in blocks of about 100 ms,
// with the stream's MD5 checked at the end; a long stream is decoded ahead on a second thread. Tags come from the tag
// kit, which also writes them.
#include <FLAC/metadata.h>
#include <FLAC/stream_decoder.h>

#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include "decode_ahead.h"
#include "decoder_records.h"
#include "file_decoder.h"
#include "flac_pcm.h"
#include "tvkit/plugin_base.h"
#include "tvkit/tag_block.h"
#include "tvkit/text.h"
#include "tvtags/file_tags.h"

namespace {

constexpr unsigned kBlocksPerSecond = 10;
constexpr unsigned kMaxChannels = 8;
constexpr unsigned kMinDepth = 4;
constexpr unsigned kMaxDepth = 32;
constexpr unsigned kAheadSeconds = 20;
const char* const kDecodeFunction = "Flac::DecodeBlock";

// ".oga" is left to the Ogg Vorbis decoder: most such files are Vorbis, and two libraries that
// list one extension are chosen between at random. FLAC in Ogg is still read when it comes here.
const tvkit::DecodesEntry kDecodes[] = {
    {u".flac", u"FLAC"},
};

// No tags to write onto a native FLAC file that has none (a fresh output of an untagged source):
// the file is already as it should be, and TagLib need not be loaded to find that out.
bool NothingToTag(const PluginArgs& args) {
    const std::u16string_view path = tvkit::View16(args.Text);
    if (path.empty() || (!args.Data && args.Value) || !tvkit::ParseTagBlock(args.Data, args.Value).empty())
        return false;
    if (tvtags::KindOfFile(path) != tvtags::FileKind::Flac) return false;
    FLAC__Metadata_SimpleIterator* it = FLAC__metadata_simple_iterator_new();
    if (!it) return false;
    bool untagged = FLAC__metadata_simple_iterator_init(it, tvkit::Utf16ToUtf8(path).c_str(), true, false);
    while (untagged) {
        const FLAC__MetadataType type = FLAC__metadata_simple_iterator_get_block_type(it);
        if (type == FLAC__METADATA_TYPE_PICTURE) {
            untagged = false;
        } else if (type == FLAC__METADATA_TYPE_VORBIS_COMMENT) {
            FLAC__StreamMetadata* block = FLAC__metadata_simple_iterator_get_block(it);
            untagged = block && block->data.vorbis_comment.num_comments == 0;
            if (block) FLAC__metadata_object_delete(block);
        }
        if (!untagged || !FLAC__metadata_simple_iterator_next(it)) break;
    }
    // A damaged header also leaves the decision to the tag kit, which reports it.
    if (untagged && FLAC__metadata_simple_iterator_status(it) != FLAC__METADATA_SIMPLE_ITERATOR_STATUS_OK)
        untagged = false;
    FLAC__metadata_simple_iterator_delete(it);
    return untagged;
}

class FlacDecoder final : public codecrec::FileDecoder {
public:
    using FileDecoder::FileDecoder;
    ~FlacDecoder() override { Release(); }

    int32_t SetProperty(std::u16string_view name, PluginArgs& args) override {
        if (name == u"IDTags") {
            if (NothingToTag(args)) return 1;
            return tvtags::SetIDTagsProperty(args, Log());
        }
        return FileDecoder::SetProperty(name, args);
    }

    int32_t OpenFile(OpenFileRecord& rec, const char* function) override {
        const tvtags::FileKind kind = tvtags::KindOfFile(path);
        if (kind != tvtags::FileKind::Flac && kind != tvtags::FileKind::OggFlac) {
            Log().Error(u"Error: '" + path + u"' is not a FLAC file.", function);
            return 0;
        }
        decoder = FLAC__stream_decoder_new();
        if (!decoder) {
            Log().Error(u"Error: Out of memory.", function);
            return 0;
        }
        FLAC__stream_decoder_set_md5_checking(decoder, true);
        FLAC__stream_decoder_set_metadata_respond(decoder, FLAC__METADATA_TYPE_VORBIS_COMMENT);
        const std::string narrow = tvkit::Utf16ToUtf8(path);
        const FLAC__StreamDecoderInitStatus init =
            kind == tvtags::FileKind::OggFlac
                ? FLAC__stream_decoder_init_ogg_file(decoder, narrow.c_str(), &WriteCb, &MetadataCb, &ErrorCb, this)
                : FLAC__stream_decoder_init_file(decoder, narrow.c_str(), &WriteCb, &MetadataCb, &ErrorCb, this);
        if (init != FLAC__STREAM_DECODER_INIT_STATUS_OK) {
            Log().Error(u"Error: Unable to open file '" + path + u"': " +
                            tvkit::Utf8ToUtf16(FLAC__StreamDecoderInitStatusString[init]),
                        function);
            Release();
            return 0;
        }
        if (!FLAC__stream_decoder_process_until_end_of_metadata(decoder) || !haveInfo || streamError) {
            Log().Error(u"Error: Unable to read FLAC file '" + path + u"': the stream header is missing or damaged.",
                        function);
            Release();
            return 0;
        }
        if (channels < 1 || channels > kMaxChannels || depth < kMinDepth || depth > kMaxDepth || rate == 0) {
            Log().Error(u"Error: FLAC file '" + path +
                            u"' has a format this decoder can't deliver (1 to 8 channels, 4 to 32 bits).",
                        function);
            Release();
            return 0;
        }
        format = flacpcm::MakeFormat(channels, depth, rate);
        BuildTags(kind);
        codecrec::FillOpen(rec, format, total, idTags, infoTags);
        blockBytes = (rate + kBlocksPerSecond - 1) / kBlocksPerSecond * format.Format.nBlockAlign;
        return 1;
    }

    int32_t DecodeBlock(AudioBlockRecord& out) override {
        if (!decoder) return 0;
        codecrec::BeginBlock(out, format, delivered);
        if (!started) {
            started = true;
            // A long stream is decoded on a second thread while the host encodes; a short one
            // isn't worth a thread.
            if (total == 0 || total >= uint64_t{rate} * kAheadSeconds)
                ahead.Start([this](Piece& piece) { DecodeNext(piece); });
        }
        Piece* piece = &inline_;
        if (ahead.Running()) {
            piece = &ahead.Next();
        } else {
            inline_.Reset();
            DecodeNext(inline_);
        }
        if (!piece->error.empty()) {
            Log().Error(piece->error, kDecodeFunction);
            return 0;
        }
        const size_t frames = piece->bytes.Size() / format.Format.nBlockAlign;
        codecrec::EndBlock(out, format, piece->bytes.Data(), frames, piece->last);
        delivered += frames;
        return 1;
    }

private:
    // One block of decoded PCM, or the failure that ended the stream instead.
    struct Piece {
        flacpcm::ByteBuffer bytes;
        bool last = false;
        std::u16string error;
        void Reset() {
            bytes.Clear();
            last = false;
            error.clear();
        }
    };

    // About 100 ms of the stream into piece; runs on the second thread when there is one, and
    // then it alone touches the libFLAC decoder until the thread is stopped.
    void DecodeNext(Piece& piece) {
        target = &piece.bytes;
        while (!ended && piece.bytes.Size() < blockBytes) {
            if (FLAC__stream_decoder_get_state(decoder) == FLAC__STREAM_DECODER_END_OF_STREAM) {
                ended = true;
                break;
            }
            const bool ok = FLAC__stream_decoder_process_single(decoder);
            // After a fault libFLAC looks for the next frame: finding one means damage in the
            // middle, finding the end instead means the file was cut (told by Finish).
            if (!ok || (streamError && decoded > errorAt)) {
                piece.error = streamError
                                  ? CorruptText()
                                  : u"Error: FLAC decoding failed at " + flacpcm::TimeText(decoded, rate) + u": " +
                                        tvkit::Utf8ToUtf16(
                                            FLAC__StreamDecoderStateString[FLAC__stream_decoder_get_state(decoder)]);
                piece.last = true;
                return;
            }
        }
        if (ended && !finished) piece.error = Finish();
        piece.last = ended || !piece.error.empty();
    }

    Listing Decodes() const override { return {kDecodes, std::size(kDecodes)}; }
    const char* OpenFunction() const override { return "Flac::Open"; }
    bool IsOpen() const override { return decoder != nullptr; }

    // The end of the stream: it must hold all the samples its header promised, with their MD5.
    // The error text, empty when all is well.
    std::u16string Finish() {
        finished = true;
        if (total && decoded < total)
            return u"Error: FLAC stream is truncated at " + flacpcm::TimeText(decoded, rate) + u" of " +
                   flacpcm::TimeText(total, rate) + u".";
        if (streamError) return CorruptText();
        if (!FLAC__stream_decoder_finish(decoder))
            return u"Error: FLAC stream of '" + path + u"' fails its MD5 check: the audio is damaged.";
        return std::u16string();
    }

    std::u16string CorruptText() const {
        return u"Error: FLAC stream is corrupt at " + flacpcm::TimeText(errorAt, rate) + u" (" +
               tvkit::Utf8ToUtf16(FLAC__StreamDecoderErrorStatusString[errorStatus]) + u").";
    }

    void Release() override {
        ahead.Stop();  // before the decoder it uses goes
        if (decoder) FLAC__stream_decoder_delete(decoder);
        decoder = nullptr;
    }

    void BuildTags(tvtags::FileKind kind) {
        std::u16string error;
        if (!tvtags::ReadFileTags(path, idTags, error, kind))
            Log().Debug(u"No tags read from '" + path + u"': " + error);  // the audio is still good
        const uint64_t ms = total * 1000 / rate;
        std::error_code ec;
        const uintmax_t bytes = std::filesystem::file_size(std::filesystem::path(tvkit::Utf16ToUtf8(path)), ec);
        infoTags.Clear();
        infoTags.Add(u"Audio Quality", u"Lossless");
        infoTags.Add(u"Codec", kind == tvtags::FileKind::OggFlac ? u"Ogg FLAC" : u"FLAC");
        if (!vendor.empty()) infoTags.AddUtf8(u"Encoder", vendor);
        if (!ec && ms)
            infoTags.Add(u"Bit Rate", tvkit::Number16(static_cast<unsigned long long>(bytes * 8 / ms)) + u" kbps");
        infoTags.Add(u"Sample Rate", tvkit::Number16(static_cast<unsigned long long>(rate)));
        infoTags.Add(u"Channels", codecrec::ChannelsText(channels));
        infoTags.Add(u"Bits Per Sample", tvkit::Number16(static_cast<unsigned long long>(depth)));
        infoTags.Add(u"Length", tvkit::Number16(static_cast<unsigned long long>(ms)) + u" ms");
        infoTags.Add(u"File Name", path);
    }

    static FLAC__StreamDecoderWriteStatus WriteCb(const FLAC__StreamDecoder*, const FLAC__Frame* frame,
                                                  const FLAC__int32* const buffer[], void* self) {
        auto& d = *static_cast<FlacDecoder*>(self);
        const FLAC__FrameHeader& h = frame->header;
        if (h.channels != d.channels || h.bits_per_sample != d.depth) {
            // A frame of another shape than the stream header: nothing sound can follow.
            d.streamError = true;
            d.errorStatus = FLAC__STREAM_DECODER_ERROR_STATUS_UNPARSEABLE_STREAM;
            d.errorAt = d.decoded;
            return FLAC__STREAM_DECODER_WRITE_STATUS_ABORT;
        }
        flacpcm::Pack(buffer, h.channels, h.blocksize, h.bits_per_sample, *d.target);
        d.decoded += h.blocksize;
        return FLAC__STREAM_DECODER_WRITE_STATUS_CONTINUE;
    }

    static void MetadataCb(const FLAC__StreamDecoder*, const FLAC__StreamMetadata* meta, void* self) {
        auto& d = *static_cast<FlacDecoder*>(self);
        if (meta->type == FLAC__METADATA_TYPE_STREAMINFO) {
            const FLAC__StreamMetadata_StreamInfo& info = meta->data.stream_info;
            d.haveInfo = true;
            d.rate = info.sample_rate;
            d.channels = info.channels;
            d.depth = info.bits_per_sample;
            d.total = info.total_samples;
        } else if (meta->type == FLAC__METADATA_TYPE_VORBIS_COMMENT) {
            const FLAC__StreamMetadata_VorbisComment_Entry& v = meta->data.vorbis_comment.vendor_string;
            if (v.entry) d.vendor.assign(reinterpret_cast<const char*>(v.entry), v.length);
        }
    }

    static void ErrorCb(const FLAC__StreamDecoder*, FLAC__StreamDecoderErrorStatus status, void* self) {
        auto& d = *static_cast<FlacDecoder*>(self);
        if (d.streamError) return;  // the first fault is the one worth telling
        d.streamError = true;
        d.errorStatus = status;
        d.errorAt = d.decoded;
    }

    FLAC__StreamDecoder* decoder = nullptr;
    std::string vendor;
    bool haveInfo = false;
    unsigned rate = 0, channels = 0, depth = 0;
    uint64_t total = 0;      // samples per channel the header promises, 0 when unknown
    uint64_t decoded = 0;    // samples per channel decoded so far
    uint64_t delivered = 0;  // samples per channel handed to the host
    bool streamError = false;
    FLAC__StreamDecoderErrorStatus errorStatus = FLAC__STREAM_DECODER_ERROR_STATUS_LOST_SYNC;
    uint64_t errorAt = 0;
    bool ended = false, finished = false;
    TvWaveFormatExtensible format{};
    size_t blockBytes = 0;
    flacpcm::ByteBuffer* target = nullptr;  // where the write callback puts the frames it gets
    bool started = false;
    Piece inline_;  // the block decoded on the host's thread when there is no second one
    codecrec::DecodeAhead<Piece> ahead;
    tvkit::TagBlockWriter idTags, infoTags;
};

}  // namespace

TV_KIT_DECODER_EXPORTS(FlacDecoder)
