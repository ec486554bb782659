// raw_encoder: a complete encoder plug-in on the C++ plug-in kit.
//
// travex -infile=song.flac -outfile=song.raw -convert_to=raw writes the audio as headerless
// 16-bit little-endian PCM, the format that the raw_decoder example reads back. 16-bit PCM
// passes as it is; other sample formats are refused with a message.
//
// Install as encoder/raw.so beside travex, or in ~/.local/share/tonvale/encoder/.
#include <cstdio>
#include <memory>
#include <string>

#include <tvkit/plugin_base.h>
#include <tvkit/text.h>

namespace {

class RawEncoder final : public tvkit::EncoderBase {
public:
    using EncoderBase::EncoderBase;

    int32_t GetProperty(std::u16string_view name, PluginArgs& args) override {
        if (name == u"Extension") {
            args.Text = u".raw";  // a literal lives for ever, which is long enough
            return 1;
        }
        if (name == u"IsLossless") return 1;
        return EncoderBase::GetProperty(name, args);  // "BatchID", "EventQuit", or 0
    }

    int32_t BeginConversion(ConversionRecord& conv) override {
        // conv.Format points at the host's format record; it stays valid for the run.
        const TvWaveFormatEx& format = conv.Format->Format.Format;
        if (!IsPcm16(conv.Format->Format)) {
            Log().Error(u"Error: the raw encoder takes 16-bit PCM only, not " +
                            tvkit::Number16(static_cast<unsigned long long>(format.wBitsPerSample)) + u"-bit.",
                        "RawEncoder::BeginConversion");
            return 0;
        }
        // OutputFile may be a temporary name that the host moves over the real one afterwards.
        file.reset(std::fopen(tvkit::Utf16ToUtf8(tvkit::View16(conv.OutputFile)).c_str(), "wb"));
        if (!file) {
            Log().Error(u"Error: cannot create " + std::u16string(tvkit::View16(conv.OutputFile)),
                        "RawEncoder::BeginConversion");
            return 0;
        }
        return 1;
    }

    int32_t EncodeBlock(AudioBlockRecord& block) override {
        // A DSP may have changed the format on the way.
        if (!IsPcm16(block.Format)) {
            Log().Error(u"Error: a DSP changed the audio away from 16-bit PCM.", "RawEncoder::EncodeBlock");
            return 0;
        }
        if (block.Size && std::fwrite(block.Data, 1, block.Size, file.get()) != block.Size) {
            Log().Error(u"Error: writing the raw file failed.", "RawEncoder::EncodeBlock");
            return 0;
        }
        return 1;
    }

    int32_t EndConversion(ConversionRecord& conv, uint32_t& writeTags) override {
        writeTags = 0;  // raw files carry no tags
        const bool closed = file && std::fclose(file.release()) == 0;
        // After a failed run the host throws the output away; report only our own failure.
        return closed || conv.Failed ? 1 : 0;
    }

private:
    static bool IsPcm16(const TvWaveFormatExtensible& f) {
        const bool pcm = f.Format.wFormatTag == TV_WAVE_FORMAT_PCM ||
                         (f.Format.wFormatTag == TV_WAVE_FORMAT_EXTENSIBLE && f.SubFormat.Data1 == TV_WAVE_FORMAT_PCM);
        return pcm && f.Format.wBitsPerSample == 16;
    }

    struct Closer {
        void operator()(std::FILE* f) const { std::fclose(f); }
    };
    std::unique_ptr<std::FILE, Closer> file;
};

}  // namespace

TV_KIT_ENCODER_EXPORTS(RawEncoder)
