// decoder/wave.so: RIFF WAVE and RF64/BW64, PCM and IEEE float, plain or extensible. The file
// is mapped privately, and blocks point straight into the mapping: no sample is copied, and a
// DSP that writes into a block only touches its own copy-on-write pages.
// Tags of RIFF files (LIST INFO and an "ID3 " chunk with pictures) go through the kit's TagLib
// part both ways; TagLib can't read RF64, whose INFO texts this decoder reads itself.
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

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
    const int fd = ::open(tvkit::Utf16ToUtf8(path).c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return false;
    char id[4] = {};
    const bool whole = ::pread(fd, id, sizeof id, 0) == static_cast<ssize_t>(sizeof id);
    ::close(fd);
    return whole && (std::memcmp(id, "RF64", 4) == 0 || std::memcmp(id, "BW64", 4) == 0);
}

class WaveDecoder final : public tvkit::DecoderBase {
public:
    using DecoderBase::DecoderBase;
    ~WaveDecoder() override { Unmap(); }

    int32_t GetProperty(std::u16string_view name, PluginArgs& args) override {
        if (name == u"Decodes") return tvkit::AnswerListing(kDecodes, std::size(kDecodes), args);
        return DecoderBase::GetProperty(name, args);
    }

    // The host's tag writer: the WAV encoder asks for it on RIFF output and writes the INFO
    // texts of RF64 output itself, as TagLib can't rewrite those.
    int32_t SetProperty(std::u16string_view name, PluginArgs& args) override {
        if (name == u"IDTags") {
            const std::u16string path(tvkit::View16(args.Text));
            if (!path.empty() && IsRf64File(path)) {
                Log().Error(u"Error: Tags of the RF64 file '" + path + u"' can only be written while encoding it.",
                            "Wave::SetIDTags");
                return 0;
            }
            return tvtags::SetIDTagsProperty(args, Log(), tvtags::FileKind::Wave);
        }
        return DecoderBase::SetProperty(name, args);
    }

    int32_t Open(OpenFileRecord& rec) override {
        static const char* const kFunction = "Wave::Open";
        if (map) {
            Log().Error(u"Error: The decoder is already open.", kFunction);
            return 0;
        }
        const std::u16string path(tvkit::View16(rec.Path));
        if (!MapFile(path)) {
            Log().Error(u"Error: Unable to open file '" + path + u"': " + tvkit::Utf8ToUtf16(std::strerror(lastErrno)),
                        kFunction);
            return 0;
        }
        if (!wavefile::ParseWaveHeader(map, mapSize, header)) {
            Log().Error(u"Error: Unable to read WAV file '" + path + u"': " + tvkit::Utf8ToUtf16(header.error) + u".",
                        kFunction);
            Unmap();
            return 0;
        }
        if (header.sizeClamped)
            Log().Info(u"WAV header of '" + path + u"' claims more audio than the file holds; reading what is there.",
                       kFunction);
        if (header.partialFrame)
            Log().Info(u"WAV data of '" + path + u"' ends inside a sample; the incomplete sample was dropped.", kFunction);

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
        if (!map) return 0;
        const TvWaveFormatEx& f = header.format.Format;
        out.Format = header.format;
        out.BitsPerSecond = f.nAvgBytesPerSec * 8;
        out.PositionMs = static_cast<int64_t>(done * 1000 / f.nAvgBytesPerSec);
        ReleaseDelivered();
        if (finished) {  // asked again after the end: an empty last block
            out.EndOfStream = 1;
            return 1;
        }
        const uint64_t left = header.dataSize - done;
        const uint32_t n = left < block ? static_cast<uint32_t>(left) : block;
        out.Data = n ? map + header.dataOffset + done : nullptr;
        out.Size = n;
        out.BlockLengthMs = static_cast<int64_t>(static_cast<uint64_t>(n) * 1000 / f.nAvgBytesPerSec);
        done += n;
        // The end comes as an empty block of its own, positioned behind the last sample, so
        // that the host's progress reaches 100 %.
        if (done >= header.dataSize) finished = true;
        return 1;
    }

    int32_t Close(ConversionRecord*) override {
        Unmap();
        return 1;
    }

private:
    bool MapFile(const std::u16string& path) {
        const std::string narrow = tvkit::Utf16ToUtf8(path);
        const int fd = ::open(narrow.c_str(), O_RDONLY | O_CLOEXEC);
        if (fd < 0) {
            lastErrno = errno;
            return false;
        }
        struct stat st {};
        if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
            lastErrno = S_ISDIR(st.st_mode) ? EISDIR : errno;
            ::close(fd);
            return false;
        }
        mapSize = static_cast<uint64_t>(st.st_size);
        if (mapSize == 0) {
            // Nothing to map; the parser refuses an empty file with its own words.
            map = empty;
            ::close(fd);
            return true;
        }
        void* p = ::mmap(nullptr, mapSize, PROT_READ | PROT_WRITE, MAP_PRIVATE, fd, 0);
        lastErrno = errno;
        ::close(fd);
        if (p == MAP_FAILED) return false;
        ::madvise(p, mapSize, MADV_SEQUENTIAL);
        map = static_cast<uint8_t*>(p);
        return true;
    }

    // The blocks handed out before this call are the host's no longer: their pages go, so that
    // memory stays flat however long the file is.
    void ReleaseDelivered() {
        if (map == empty) return;
        const uint64_t page = static_cast<uint64_t>(::sysconf(_SC_PAGESIZE));
        const uint64_t end = (header.dataOffset + done) / page * page;
        if (end <= released) return;
        ::madvise(map + released, end - released, MADV_DONTNEED);  // only advice; nothing to do on failure
        released = end;
    }

    void Unmap() {
        released = 0;
        if (map && map != empty) ::munmap(map, mapSize);
        map = nullptr;
        mapSize = 0;
    }

    void BuildTags(const std::u16string& path) {
        std::u16string error;
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
        const uint16_t tag = f.wFormatTag == TV_WAVE_FORMAT_EXTENSIBLE ? static_cast<uint16_t>(header.format.SubFormat.Data1)
                                                                        : f.wFormatTag;
        infoTags.Clear();
        infoTags.Add(u"Audio Quality", u"Lossless");
        infoTags.Add(u"Format", tag == TV_WAVE_FORMAT_IEEE_FLOAT ? u"IEEE Float" : u"PCM");
        infoTags.Add(u"Container", header.rf64 ? u"RF64" : u"RIFF");
        infoTags.Add(u"Sample Rate", tvkit::Number16(static_cast<unsigned long long>(f.nSamplesPerSec)));
        infoTags.Add(u"Channels", ChannelsText(f.nChannels));
        infoTags.Add(u"Bits Per Sample", tvkit::Number16(static_cast<unsigned long long>(f.wBitsPerSample)));
        infoTags.Add(u"Length", tvkit::Number16(static_cast<unsigned long long>(header.dataSize / f.nBlockAlign * 1000 /
                                                                                f.nSamplesPerSec)) + u" ms");
        infoTags.Add(u"File Name", path);
    }

    uint8_t empty[1] = {0};
    uint8_t* map = nullptr;
    uint64_t mapSize = 0;
    uint64_t released = 0;  // bytes from the map's start whose pages were given back
    int lastErrno = 0;
    wavefile::WaveHeader header;
    tvkit::TagBlockWriter idTags, infoTags;
    uint32_t block = 0;
    uint64_t done = 0;
    bool finished = false;
};

}  // namespace

TV_KIT_DECODER_EXPORTS(WaveDecoder)
