// encoder/wave.so: writes the blocks it is given as they are, behind a header that is
// rewritten with the real sizes at the end. The header keeps room for a ds64 chunk, so a file
// that passes 4 GiB becomes RF64 without moving its data. Text tags go behind the data as
// LIST INFO; a RIFF file then asks the host to write the full tags (ID3 chunk, pictures).
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

#include "tvkit/plugin_base.h"
#include "tvkit/tag_block.h"
#include "tvkit/text.h"
#include "wave_header.h"

namespace {

bool SameLayout(const TvWaveFormatExtensible& a, const TvWaveFormatExtensible& b) {
    return a.Format.wFormatTag == b.Format.wFormatTag && a.Format.nChannels == b.Format.nChannels &&
           a.Format.nSamplesPerSec == b.Format.nSamplesPerSec && a.Format.wBitsPerSample == b.Format.wBitsPerSample &&
           a.Format.nBlockAlign == b.Format.nBlockAlign;
}

// Keeps only what the writer puts in a file: the plain 18 bytes, or the extensible 40.
TvWaveFormatExtensible Normalised(const TvWaveFormatExtensible& in) {
    TvWaveFormatExtensible f = in;
    if (f.Format.wFormatTag == TV_WAVE_FORMAT_EXTENSIBLE && f.Format.cbSize >= TV_WAVE_EXTENSIBLE_EXTRA) {
        f.Format.cbSize = TV_WAVE_EXTENSIBLE_EXTRA;
    } else {
        f.Format.cbSize = 0;
        f.wValidBitsPerSample = 0;
        f.dwChannelMask = 0;
        f.SubFormat = TvGuid{};
    }
    return f;
}

class WaveEncoder final : public tvkit::EncoderBase {
public:
    using EncoderBase::EncoderBase;
    ~WaveEncoder() override {
        if (fd >= 0) ::close(fd);
    }

    int32_t GetProperty(std::u16string_view name, PluginArgs& args) override {
        if (name == u"Extension") {
            args.Text = u".wav";
            return 1;
        }
        if (name == u"IsLossless") return 1;
        return EncoderBase::GetProperty(name, args);
    }

    int32_t BeginConversion(ConversionRecord& conv) override {
        static const char* const kFunction = "Wave::BeginConversion";
        if (fd >= 0 || !conv.Format) {
            Log().Error(u"Error: No conversion to begin.", kFunction);
            return 0;
        }
        path = std::u16string(tvkit::View16(conv.OutputFile));
        const std::string narrow = tvkit::Utf16ToUtf8(path);
        fd = ::open(narrow.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
        if (fd < 0) {
            Fail(u"Error: Unable to create file '", kFunction);
            return 0;
        }
        format = Normalised(conv.Format->Format);
        dataSize = 0;
        info = InfoListOf(conv);
        // Reserving the known length up front keeps the file in one piece and spares the file
        // system its per-page allocation work; a failure here changes nothing else.
        if (conv.Format->LengthBytes > 0)
            (void)::fallocate(fd, FALLOC_FL_KEEP_SIZE, 0, static_cast<off_t>(conv.Format->LengthBytes + 128));
        return WriteHeader(kFunction) ? 1 : 0;
    }

    int32_t EncodeBlock(AudioBlockRecord& block) override {
        static const char* const kFunction = "Wave::EncodeBlock";
        if (fd < 0) return 0;
        if (!block.Data || block.Size == 0) return 1;
        const TvWaveFormatExtensible given = Normalised(block.Format);
        if (!SameLayout(given, format)) {
            if (dataSize) {
                Log().Error(u"Error: The audio format changed in the middle of '" + path + u"'.", kFunction);
                return 0;
            }
            // A DSP changed the format before any audio was written: start the header anew.
            format = given;
            if (::ftruncate(fd, 0) != 0 || !WriteHeader(kFunction)) return 0;
        }
        if (!WriteAll(block.Data, block.Size, static_cast<off_t>(headerSize + dataSize))) {
            Fail(u"Error: Unable to write to file '", kFunction);
            return 0;
        }
        dataSize += block.Size;
        return 1;
    }

    int32_t EndConversion(ConversionRecord& conv, uint32_t& writeTags) override {
        static const char* const kFunction = "Wave::EndConversion";
        writeTags = 0;
        if (fd < 0) return 0;
        bool ok = true;
        if (dataSize & 1) {
            const uint8_t pad = 0;
            ok = WriteAll(&pad, 1, static_cast<off_t>(headerSize + dataSize));
        }
        // The INFO texts go in here in any case, so that the file has its tags also when the
        // host writes none; RF64 keeps only these.
        const uint64_t infoAt = headerSize + dataSize + (dataSize & 1);
        if (ok && !info.empty()) ok = WriteAll(info.data(), info.size(), static_cast<off_t>(infoAt));
        // The final header has the same length as the first one, whatever container it names.
        ok = ok && WriteHeader(kFunction);
        // Gives back what the up-front reservation held beyond the real end.
        ok = ok && ::ftruncate(fd, static_cast<off_t>(infoAt + info.size())) == 0;
        if (!ok) Fail(u"Error: Unable to finish file '", kFunction);
        if (::close(fd) != 0 && ok) {
            ok = false;
            Fail(u"Error: Unable to finish file '", kFunction);
        }
        fd = -1;
        // A RIFF file gets the whole set, pictures included, from the host's tag writer through
        // the WAV decoder, as long as the tags can't push it past the 32-bit sizes.
        writeTags = ok && !wavefile::NeedsRf64(format, dataSize, info.size() + TagRoom(conv)) ? 1 : 0;
        return ok ? 1 : 0;
    }

private:
    bool WriteHeader(const char* function) {
        const std::vector<uint8_t> h = wavefile::BuildWaveHeader(format, dataSize, info.size());
        headerSize = h.size();
        if (!WriteAll(h.data(), h.size(), 0)) {
            Fail(u"Error: Unable to write to file '", function);
            return false;
        }
        return true;
    }

    bool WriteAll(const void* data, size_t size, off_t at) {
        const auto* p = static_cast<const uint8_t*>(data);
        while (size) {
            const ssize_t n = ::pwrite(fd, p, size, at);
            if (n < 0 && errno == EINTR) continue;
            if (n <= 0) return false;
            p += n;
            at += n;
            size -= static_cast<size_t>(n);
        }
        return true;
    }

    // The text tags that LIST INFO can hold, from the assembled output tags.
    static std::vector<uint8_t> InfoListOf(const ConversionRecord& conv) {
        std::vector<wavefile::InfoEntry> entries;
        for (const tvkit::TagItem& item : tvkit::ParseTagBlock(conv.OutputTags, conv.OutputTagsSize)) {
            if (!item.data.empty() || item.value.empty()) continue;
            for (size_t i = 0; i < wavefile::kInfoNameCount; ++i)
                if (tvkit::EqualsIgnoreCase(item.name, wavefile::kInfoNames[i].tag)) {
                    bool taken = false;  // a second value of one name has no place in INFO
                    for (const auto& e : entries) taken = taken || e.id == wavefile::kInfoNames[i].id;
                    if (!taken) entries.push_back({wavefile::kInfoNames[i].id, tvkit::Utf16ToUtf8(item.value)});
                    break;
                }
        }
        return wavefile::BuildInfoList(entries);
    }

    // Upper bound of what the tag writer adds: INFO and ID3v2 each hold at most the texts of
    // the block (UTF-16 there, UTF-8 or Latin-1 here) and the pictures once.
    static uint64_t TagRoom(const ConversionRecord& conv) {
        constexpr uint64_t kChunkOverhead = 64 * 1024;
        return 2ull * conv.OutputTagsSize + kChunkOverhead;
    }

    void Fail(const char16_t* what, const char* function) {
        const int e = errno;
        Log().Error(what + path + u"': " + tvkit::Utf8ToUtf16(std::strerror(e)), function);
    }

    int fd = -1;
    std::u16string path;
    TvWaveFormatExtensible format{};
    uint64_t headerSize = 0;
    uint64_t dataSize = 0;
    std::vector<uint8_t> info;  // LIST INFO written behind the data
};

}  // namespace

TV_KIT_ENCODER_EXPORTS(WaveEncoder)
