#include "lossy_encoder.h"

#include "tvkit/os_file.h"
#include "tvkit/text.h"

namespace lossy {

int32_t LossyEncoder::GetProperty(std::u16string_view name, PluginArgs& args) {
    if (name == u"Extension") {
        args.Text = Naming().extension;
        return 1;
    }
    if (name == u"IsLossless") return 0;
    if (name == u"NeedHQAudio") return 1;  // float from a lossy decoder: no 16-bit step between two lossy stages
    return EncoderBase::GetProperty(name, args);
}

int32_t LossyEncoder::BeginConversion(ConversionRecord& conv) {
    const Names& names = Naming();
    if (Started() || !conv.Format) {
        Log().Error(u"Error: No conversion to begin.", names.begin);
        return 0;
    }
    ResetSettings();
    std::u16string invalid, ignored;
    for (const Option& o : SplitOptions(tvkit::View16(conv.CommandLine), ValueOptions())) {
        if (o.name.empty()) continue;
        const std::u16string word = o.value.empty() ? o.name : o.name + u" " + o.value;
        switch (TakeOption(o)) {
            case Verdict::Taken:
                break;
            case Verdict::Invalid:
                invalid += u" " + word;
                break;
            case Verdict::Unknown:
                ignored += u" " + word;
                break;
        }
    }
    if (!invalid.empty()) {
        Log().Error(
            u"Error: Invalid " + std::u16string(names.codec) + u" options:" + invalid + u" (" + OptionRanges() + u").",
            names.begin);
        return 0;
    }
    if (!ignored.empty())
        Log().Info(u"Options not known to the " + std::u16string(names.codec) + u" encoder were ignored:" + ignored,
                   names.begin);
    path = std::u16string(tvkit::View16(conv.OutputFile));
    tagBlock = conv.OutputTags;
    tagBlockSize = conv.OutputTagsSize;
    if (!part.Create(path)) {
        Log().Error(u"Error: Unable to create file '" + path + u"': " + tvkit::os::LastErrorText(), names.begin);
        return 0;
    }
    if (Open(conv.Format->Format, names.begin)) return 1;
    part.Discard();
    return 0;
}

int32_t LossyEncoder::EncodeBlock(AudioBlockRecord& block) {
    const char* const function = Naming().encode;
    if (!Started()) return 0;
    if (!block.Data || block.Size == 0) return 1;
    if (!SameShape(block.Format, format)) {
        if (written) {
            Log().Error(u"Error: The audio format changed in the middle of '" + path + u"'.", function);
            return 0;
        }
        // A DSP changed the format before any audio came: start the file anew.
        Release();
        if (!Open(block.Format, function)) return 0;
    }
    const auto* p = static_cast<const uint8_t*>(block.Data);
    size_t frames = block.Size / layout.frameBytes;
    while (frames) {
        const size_t n = frames < kChunkFrames ? frames : kChunkFrames;
        ToFloat(p, n * layout.channels, layout, samples.data());
        if (!EncodeChunk(samples.data(), n, function)) return 0;
        p += n * layout.frameBytes;
        frames -= n;
        written += n;
    }
    return 1;
}

int32_t LossyEncoder::EndConversion(ConversionRecord& conv, uint32_t& writeTags) {
    const char* const function = Naming().end;
    writeTags = 0;
    if (!Started()) {
        part.Discard();
        return 0;
    }
    if (conv.Failed) {
        // A failed or stopped run keeps nothing: the libraries are not asked to finish a
        // stream that may never have started.
        Release();
        part.Discard();
        return 1;
    }
    bool ok = Finish(function);
    Release();
    if (ok && !part.Commit()) {
        Log().Error(u"Error: Unable to give the finished file its name '" + path + u"': " + tvkit::os::LastErrorText(),
                    function);
        ok = false;
    }
    if (!ok) part.Discard();
    writeTags = ok ? 1 : 0;
    return ok ? 1 : 0;
}

bool LossyEncoder::Open(const TvWaveFormatExtensible& f, const char* function) {
    if (!Start(f, function)) return false;
    format = f;
    samples.resize(kChunkFrames * layout.channels);
    written = 0;
    return true;
}

}  // namespace lossy
