#pragma once
// The skeleton the MP3, Vorbis and Opus encoders share: their properties, the command line with
// its invalid and ignored words, a format change before the first audio, and the audio handed
// on as float in chunks. Each encoder fills in the hooks for its library.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "lossy_pcm.h"
#include "part_file.h"
#include "tvkit/plugin_base.h"

namespace lossy {

class LossyEncoder : public tvkit::EncoderBase {
public:
    // Fixed texts of one encoder.
    struct Names {
        const char16_t* extension;  // ".mp3"
        const char16_t* codec;      // "MP3", as messages name it
        const char* begin;          // function names for the log
        const char* encode;
        const char* end;
    };
    enum class Verdict { Taken, Invalid, Unknown };

    using EncoderBase::EncoderBase;

    int32_t GetProperty(std::u16string_view name, PluginArgs& args) override;
    int32_t BeginConversion(ConversionRecord& conv) override;
    int32_t EncodeBlock(AudioBlockRecord& block) override;
    int32_t EndConversion(ConversionRecord& conv, uint32_t& writeTags) override;

protected:
    static constexpr size_t kChunkFrames = 4096;  // frames converted to float per step

    virtual const Names& Naming() const = 0;
    virtual bool Started() const = 0;

    // The command line: settings back to their defaults, then one named word at a time.
    virtual std::vector<std::u16string_view> ValueOptions() const = 0;
    virtual void ResetSettings() = 0;
    virtual Verdict TakeOption(const Option& option) = 0;
    virtual std::u16string OptionRanges() const = 0;  // shown after invalid options

    // Opens OutputPath() for f and fills layout; on failure logs, releases and returns false.
    virtual bool Start(const TvWaveFormatExtensible& f, const char* function) = 0;
    // frames interleaved float frames in WAV order; logs its own failure.
    virtual bool EncodeChunk(const float* samples, size_t frames, const char* function) = 0;
    // Flushes and closes the output; logs its own failure. Release follows. Not called when
    // the run failed: Release alone then drops what was begun.
    virtual bool Finish(const char* function) = 0;
    virtual void Release() = 0;

    // The file the library writes: the hidden temporary of path.
    const std::u16string& OutputPath() const { return part.Path(); }

    std::u16string path;  // the name the host gave, for messages
    Layout layout;
    // The tags the host writes after the encoder (ConversionRecord.OutputTags), for the room
    // the output leaves them.
    const void* tagBlock = nullptr;
    uint32_t tagBlockSize = 0;

private:
    bool Open(const TvWaveFormatExtensible& f, const char* function);

    codecrec::PartFile part;
    TvWaveFormatExtensible format{};
    std::vector<float> samples;
    uint64_t written = 0;
};

}  // namespace lossy
