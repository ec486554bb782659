// encoder/wave.so: writes the blocks it is given as they are, behind a header that is
// rewritten with the real sizes at the end. The header keeps room for a ds64 chunk, so a file
// that passes 4 GiB becomes RF64 without moving its data. The tags are the host's tag
// writer's (through decoder/wave.so, RF64 included), so that a run without tags gets none.
#include <string>
#include <vector>

#include "part_file.h"
#include "tvkit/os_file.h"
#include "tvkit/plugin_base.h"
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
        if (file.IsOpen() || !conv.Format) {
            Log().Error(u"Error: No conversion to begin.", kFunction);
            return 0;
        }
        path = std::u16string(tvkit::View16(conv.OutputFile));
        if (!part.Create(path) || !file.Create(part.Path())) {
            Fail(u"Error: Unable to create file '", kFunction);
            part.Discard();
            return 0;
        }
        format = Normalised(conv.Format->Format);
        dataSize = 0;
        // Reserving the known length up front keeps the file in one piece.
        if (conv.Format->LengthBytes > 0) file.Reserve(static_cast<uint64_t>(conv.Format->LengthBytes) + 128);
        if (WriteHeader(kFunction)) return 1;
        file.Close();
        part.Discard();
        return 0;
    }

    int32_t EncodeBlock(AudioBlockRecord& block) override {
        static const char* const kFunction = "Wave::EncodeBlock";
        if (!file.IsOpen()) return 0;
        if (!block.Data || block.Size == 0) return 1;
        const TvWaveFormatExtensible given = Normalised(block.Format);
        if (!SameLayout(given, format)) {
            if (dataSize) {
                Log().Error(u"Error: The audio format changed in the middle of '" + path + u"'.", kFunction);
                return 0;
            }
            // A DSP changed the format before any audio was written: start the header anew.
            format = given;
            if (!file.Truncate(0) || !WriteHeader(kFunction)) return 0;
        }
        if (!file.WriteAt(block.Data, block.Size, headerSize + dataSize)) {
            Fail(u"Error: Unable to write to file '", kFunction);
            return 0;
        }
        dataSize += block.Size;
        return 1;
    }

    int32_t EndConversion(ConversionRecord& conv, uint32_t& writeTags) override {
        static const char* const kFunction = "Wave::EndConversion";
        writeTags = 0;
        if (!file.IsOpen()) {
            part.Discard();
            return 0;
        }
        if (conv.Failed) {
            // A failed or stopped run keeps nothing of its output.
            file.Close();
            part.Discard();
            return 1;
        }
        bool ok = true;
        if (dataSize & 1) {
            const uint8_t pad = 0;
            ok = file.WriteAt(&pad, 1, headerSize + dataSize);
        }
        // The final header has the same length as the first one, whatever container it names.
        // RF64 already when the host's tags could push the sizes past 32 bits.
        ok = ok && WriteHeader(kFunction, wavefile::NeedsRf64(format, dataSize, TagRoom(conv)));
        // Gives back what the up-front reservation held beyond the real end.
        ok = ok && file.Truncate(headerSize + dataSize + (dataSize & 1));
        if (!ok) Fail(u"Error: Unable to finish file '", kFunction);
        if (!file.Close() && ok) {
            ok = false;
            Fail(u"Error: Unable to finish file '", kFunction);
        }
        if (ok && !part.Commit()) {
            ok = false;
            Fail(u"Error: Unable to give the finished file its name '", kFunction);
        }
        if (!ok) part.Discard();
        writeTags = ok ? 1 : 0;
        return ok ? 1 : 0;
    }

private:
    bool WriteHeader(const char* function, bool rf64 = false) {
        const std::vector<uint8_t> h = wavefile::BuildWaveHeader(format, dataSize, 0, rf64);
        headerSize = h.size();
        if (!file.WriteAt(h.data(), h.size(), 0)) {
            Fail(u"Error: Unable to write to file '", function);
            return false;
        }
        return true;
    }

    // Upper bound of what the tag writer adds: INFO and ID3v2 each hold at most the texts of
    // the block (UTF-16 there, UTF-8 or Latin-1 in the file) and the pictures once.
    static uint64_t TagRoom(const ConversionRecord& conv) {
        constexpr uint64_t kChunkOverhead = 64 * 1024;
        return 2ull * conv.OutputTagsSize + kChunkOverhead;
    }

    void Fail(const char16_t* what, const char* function) {
        Log().Error(what + path + u"': " + tvkit::os::LastErrorText(), function);
    }

    codecrec::PartFile part;  // declared before file: the file closes before its name goes
    tvkit::os::File file;
    std::u16string path;  // the name the host gave; the file is written as part.Path()
    TvWaveFormatExtensible format{};
    uint64_t headerSize = 0;
    uint64_t dataSize = 0;
};

}  // namespace

TV_KIT_ENCODER_EXPORTS(WaveEncoder)
