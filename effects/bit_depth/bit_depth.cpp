// "Bit Depth": changes the sample format of each block. Going to fewer integer bits (or from
// float to integer) adds TPDF dither unless -dither=none; going up is exact.
#include "dither.h"
#include "effect.h"

namespace {

class BitDepth final : public tvfx::Effect {
public:
    explicit BitDepth(const PluginLogHandles* logs) : Effect(logs, u"Bit Depth") {}

    int32_t PassAudioBlock(AudioBlockRecord& block) override {
        static const char* const kFunction = "BitDepth::PassAudioBlock";
        if (!Unpack(block, kFunction)) return 0;
        if (inLayout.rate == 0) return 1;  // an empty last block before any audio: nothing to shape
        tvfx::Layout to = inLayout;
        to.isFloat = toFloat;
        to.bits = bits;
        to.frameBytes = bits / 8 * to.channels;
        if (to.isFloat == inLayout.isFloat && to.bits == inLayout.bits) return 1;  // already so
        const bool down = !to.isFloat && (inLayout.isFloat || inLayout.bits > to.bits);
        Pack(block, samples.data(), frames, to, tvfx::SpeakerMask(block.Format), down && dither ? &noise : nullptr);
        return 1;
    }

protected:
    std::vector<std::u16string_view> SettingNames() const override { return {u"bits", u"dither"}; }
    void Read(tvfx::Settings& s) override {
        const size_t choice = s.Choice(u"bits", 1, {u"8", u"16", u"24", u"32", u"float"});
        static const unsigned depths[] = {8, 16, 24, 32, 32};
        bits = depths[choice];
        toFloat = choice == 4;
        dither = s.Choice(u"dither", 0, {u"tpdf", u"none"}) == 0;
        if (!s.Has(u"bits")) s.Fail(u"bits", u"the target depth is missing (-bits=16).");
    }

private:
    unsigned bits = 16;
    bool toFloat = false;
    bool dither = true;
    tvfx::Dither noise;
};

}  // namespace

TV_KIT_DSP_EXPORTS(BitDepth)
