// decoder/wave.so: RIFF WAVE and RF64/BW64, PCM and IEEE float, plain or extensible. The file
// is mapped privately, and blocks point straight into the mapping: no sample is copied, and a
// DSP that writes into a block only touches its own copy-on-write pages.
// Tags of RIFF files (LIST INFO and an "ID3 " chunk with pictures) go through the kit's TagLib
// part both ways; TagLib can't handle RF64, whose INFO texts this decoder reads and writes itself.
#include <cstring>
#include <string>

#include "lossy_pcm.h"
#include "rf64_tags.h"
#include "tvkit/os_file.h"
#include "tvkit/plugin_base.h"
#include "tvkit/tag_block.h"
#include "tvkit/text.h"
#include "tvtags/file_tags.h"
#include "wave_header.h"

namespace {

constexpr uint32_t kBlockBytes = 1u << 20;  // upper bound of one block

const tvkit::DecodesEntry kDecodes[] = {
    {u".wav", u"Wave"},
    {u".wave", u"Wave"},
    {u".rf64", u"Wave"},
    {u".bw64", u"Wave"},
};

std::u16string ChannelsText(uint16_t channels) {
    if (channels == 1) return u"Mono";
    if (channels == 2) return u"Stereo";
    return tvkit::Number16(static_cast<unsigned long long>(channels)) + u" Channels";
}

// Whether a file starts as a 64-bit container; false also when it can't be read, which
// leaves the reason to the tag writer's own attempt.
bool IsRf64File(const std::u16string& path) {
    tvkit::os::File file;
    char id[4] = {};
    size_t got = 0;
    return file.OpenRead(path) && file.ReadAt(id, sizeof id, 0, got) && got == sizeof id &&
           (std::memcmp(id, "RF64", 4) == 0 || std::memcmp(id, "BW64", 4) == 0);
}

class WaveDecoder final : public tvkit::DecoderBase {
public:
    using DecoderBase::DecoderBase;

    int32_t GetProperty(std::u16string_view name, PluginArgs& args) override {
        if (name == u"Decodes") return tvkit::AnswerListing(kDecodes, std::size(kDecodes), args);
        return DecoderBase::GetProperty(name, args);
    }

    // The host's tag writer: TagLib for RIFF; RF64 gets its INFO texts from here, as TagLib
    // can't rewrite those, and so does RIFF in a build without TagLib.
    int32_t SetProperty(std::u16string_view name, PluginArgs& args) override {
        if (name == u"IDTags") {
            const std::u16string path(tvkit::View16(args.Text));
            if (!path.empty() && (IsRf64File(path) || !tvtags::kHasTagLibrary))
                return wavefile::WriteInfoTags(path, args.Data, static_cast<uint32_t>(args.Value), Log()) ? 1 : 0;
            return tvtags::SetIDTagsProperty(args, Log(), tvtags::FileKind::Wave);
        }
        return DecoderBase::SetProperty(name, args);
    }

    int32_t Open(OpenFileRecord& rec) override {
        static const char* const kFunction = "Wave::Open";
        if (map.IsOpen()) {
            Log().Error(u"Error: The decoder is already open.", kFunction);
            return 0;
        }
        const std::u16string path(tvkit::View16(rec.Path));
        if (!map.Open(path)) {
            Log().Error(u"Error: Unable to open file '" + path + u"': " + tvkit::os::LastErrorText(), kFunction);
            return 0;
        }
        if (!wavefile::ParseWaveHeader(map.Data(), map.Size(), header)) {
            Log().Error(u"Error: Unable to read WAV file '" + path + u"': " + tvkit::Utf8ToUtf16(header.error) + u".",
                        kFunction);
            map.Close();
            return 0;
        }
        // A cut file's audio is still converted; its end then fails the run (DecodeBlock).
        if (header.partialFrame && !header.sizeClamped)
            Log().Info(u"WAV data of '" + path + u"' ends inside a sample; the incomplete sample was dropped.",
                       kFunction);

        const TvWaveFormatEx& f = header.format.Format;
        rec.Format = header.format;
        rec.BitsPerSecond = f.nSamplesPerSec * f.nChannels * f.wBitsPerSample;
        rec.LengthBytes = static_cast<int64_t>(header.dataSize);
        rec.LengthMs = static_cast<int64_t>(header.dataSize / f.nBlockAlign * 1000 / f.nSamplesPerSec);
        BuildTags(path);
        rec.IDTags = idTags.Data();
        rec.IDTagsSize = idTags.Size();
        rec.InfoTags = infoTags.Data();
        rec.InfoTagsSize = infoTags.Size();
        // Two seconds of audio, at most kBlockBytes: the host looks at its quit event between
        // blocks, so a block of a slow format must not last minutes.
        uint64_t want = f.nAvgBytesPerSec * 2;
        if (want > kBlockBytes) want = kBlockBytes;
        block = static_cast<uint32_t>(want - want % f.nBlockAlign);
        if (block == 0) block = f.nBlockAlign;
        done = 0;
        finished = false;
        return 1;
    }

    int32_t DecodeBlock(AudioBlockRecord& out) override {
        static const char* const kFunction = "Wave::DecodeBlock";
        if (!map.IsOpen()) return 0;
        const TvWaveFormatEx& f = header.format.Format;
        out.Format = header.format;
        out.BitsPerSecond = f.nAvgBytesPerSec * 8;
        out.PositionMs = static_cast<int64_t>(done * 1000 / f.nAvgBytesPerSec);
        // The blocks handed out before this call are the host's no longer: their pages go, so
        // that memory stays flat however long the file is.
        map.Release(header.dataOffset + done);
        if (finished) {  // asked again after the end: an empty last block
            if (header.sizeClamped) {
                const uint64_t align = f.nBlockAlign;
                Log().Error(u"Error: WAV data ends early at " +
                                lossy::TimeText(header.dataSize / align, f.nSamplesPerSec) + u" of " +
                                lossy::TimeText(header.declaredDataSize / align, f.nSamplesPerSec) + u".",
                            kFunction);
                return 0;
            }
            out.EndOfStream = 1;
            return 1;
        }
        const uint64_t left = header.dataSize - done;
        const uint32_t n = left < block ? static_cast<uint32_t>(left) : block;
        out.Data = n ? map.Data() + header.dataOffset + done : nullptr;
        out.Size = n;
        out.BlockLengthMs = static_cast<int64_t>(static_cast<uint64_t>(n) * 1000 / f.nAvgBytesPerSec);
        done += n;
        // The end comes as an empty block of its own, positioned behind the last sample, so
        // that the host's progress reaches 100 %.
        if (done >= header.dataSize) finished = true;
        return 1;
    }

    int32_t Close(ConversionRecord*) override {
        map.Close();
        return 1;
    }

private:
    void BuildTags(const std::u16string& path) {
        std::u16string error;
        if (!header.tagChunks) {
            // Nothing for TagLib to find: it isn't even loaded.
            idTags.Clear();
            BuildFacts(path);
            return;
        }
        const bool read = !header.rf64 && tvtags::ReadFileTags(path, idTags, error, tvtags::FileKind::Wave);
        if (!read) {
            // The audio is still good, and its INFO texts may still be readable.
            if (!header.rf64) Log().Debug(u"Tags of '" + path + u"' read without TagLib: " + error);
            BuildInfoTags();
        }
        BuildFacts(path);
    }

    void BuildInfoTags() {
        idTags.Clear();
        for (const wavefile::InfoText& t : header.info)
            for (size_t i = 0; i < wavefile::kInfoNameCount; ++i)
                if (std::memcmp(t.id, wavefile::kInfoNames[i].id, 4) == 0) {
                    idTags.AddUtf8(wavefile::kInfoNames[i].tag, t.value);
                    break;
                }
    }

    void BuildFacts(const std::u16string& path) {
        const TvWaveFormatEx& f = header.format.Format;
        const uint16_t tag = f.wFormatTag == TV_WAVE_FORMAT_EXTENSIBLE
                                 ? static_cast<uint16_t>(header.format.SubFormat.Data1)
                                 : f.wFormatTag;
        infoTags.Clear();
        infoTags.Add(u"Audio Quality", u"Lossless");
        infoTags.Add(u"Format", tag == TV_WAVE_FORMAT_IEEE_FLOAT ? u"IEEE Float" : u"PCM");
        infoTags.Add(u"Container", header.rf64 ? u"RF64" : u"RIFF");
        infoTags.Add(u"Sample Rate", tvkit::Number16(static_cast<unsigned long long>(f.nSamplesPerSec)));
        infoTags.Add(u"Channels", ChannelsText(f.nChannels));
        infoTags.Add(u"Bits Per Sample", tvkit::Number16(static_cast<unsigned long long>(f.wBitsPerSample)));
        infoTags.Add(u"Length", tvkit::Number16(static_cast<unsigned long long>(header.dataSize / f.nBlockAlign * 1000 /
                                                                                f.nSamplesPerSec)) +
                                    u" ms");
        infoTags.Add(u"File Name", path);
    }

    tvkit::os::Mapping map;
    wavefile::WaveHeader header;
    tvkit::TagBlockWriter idTags, infoTags;
    uint32_t block = 0;
    uint64_t done = 0;
    bool finished = false;
};

}  // namespace

TV_KIT_DECODER_EXPORTS(WaveDecoder)
