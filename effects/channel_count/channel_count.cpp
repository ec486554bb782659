// "Channel Count": mixes each block to the wanted number of channels by the matrix of
// channel_matrix.h; samples beyond full scale are clipped by the integer formats.
#include "channel_matrix.h"
#include "effect.h"

namespace {

class ChannelCount final : public tvfx::Effect {
public:
    explicit ChannelCount(const PluginLogHandles* logs) : Effect(logs, u"Channel Count") {}

    int32_t PassAudioBlock(AudioBlockRecord& block) override {
        static const char* const kFunction = "ChannelCount::PassAudioBlock";
        if (!Unpack(block, kFunction)) return 0;
        if (inLayout.rate == 0) return 1;  // an empty last block before any audio: nothing to shape
        const unsigned in = inLayout.channels;
        if (in == channels) return 1;
        if (matrixIn != in) {
            matrix = tvfx::ChannelMatrix(in, channels);
            matrixIn = in;
        }
        if (mixed.size() < frames * channels) mixed.resize(frames * channels);
        for (size_t f = 0; f < frames; ++f) {
            const double* src = &samples[f * in];
            for (unsigned o = 0; o < channels; ++o) {
                const double* row = &matrix[size_t(o) * in];
                double v = 0;
                for (unsigned i = 0; i < in; ++i) v += row[i] * src[i];
                mixed[f * channels + o] = v;
            }
        }
        tvfx::Layout to = inLayout;
        to.channels = channels;
        to.frameBytes = to.bits / 8 * channels;
        Pack(block, mixed.data(), frames, to, tvfx::DefaultSpeakerMask(channels));
        return 1;
    }

protected:
    std::vector<std::u16string_view> SettingNames() const override { return {u"channels"}; }
    void Read(tvfx::Settings& s) override {
        channels = static_cast<unsigned>(s.Whole(u"channels", 2, 1, 8, u"a channel count from 1 to 8"));
        if (!s.Has(u"channels")) s.Fail(u"channels", u"the channel count is missing (-channels=2).");
    }

private:
    unsigned channels = 2;
    unsigned matrixIn = 0;
    std::vector<double> matrix, mixed;
};

}  // namespace

TV_KIT_DSP_EXPORTS(ChannelCount)
