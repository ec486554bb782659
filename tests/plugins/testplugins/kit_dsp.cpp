// A DSP on the plug-in kit: proves the kit's export glue gives every DSP export. It inverts
// 16-bit samples into a buffer of its own, as a DSP that replaces Data does.
#include <vector>

#include "tvkit/plugin_base.h"

namespace {
class Invert final : public tvkit::DspBase {
public:
    using DspBase::DspBase;
    int32_t GetProperty(std::u16string_view name, PluginArgs& args) override {
        if (name == u"IsLive") return 1;
        return DspBase::GetProperty(name, args);
    }
    int32_t PassAudioBlock(AudioBlockRecord& block) override {
        const auto* in = static_cast<const int16_t*>(block.Data);
        out.assign(in, in + block.Size / 2);
        for (int16_t& s : out) s = static_cast<int16_t>(~s);
        block.Data = out.data();
        block.ActionText = Keep(u"Inverting");
        return 1;
    }

private:
    std::vector<int16_t> out;
};
}  // namespace

TV_KIT_DSP_EXPORTS(Invert)
