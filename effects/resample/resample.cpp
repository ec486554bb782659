// "Resample": converts the rate with libsoxr as the blocks pass, and hands on each block in the
// new format; the encoder learns the rate from the first block it gets. The resampler's delay
// is drained on the last block, so the output holds exactly the source's length at the new rate.
#include <soxr.h>

#include <vector>

#include "effect.h"

namespace {

class Resample final : public tvfx::Effect {
public:
    explicit Resample(const PluginLogHandles* logs) : Effect(logs, u"Resample") {}
    ~Resample() override {
        if (soxr) soxr_delete(soxr);
    }

    int32_t PassAudioBlock(AudioBlockRecord& block) override {
        static const char* const kFunction = "Resample::PassAudioBlock";
        if (!Unpack(block, kFunction)) return 0;
        if (inLayout.rate == 0) return 1;     // an empty last block before any audio: nothing to shape
        if (inLayout.rate == rate) return 1;  // nothing to do: the block goes on untouched
        if (!soxr) {
            soxr_error_t error = nullptr;
            const soxr_io_spec_t io = soxr_io_spec(SOXR_FLOAT64_I, SOXR_FLOAT64_I);
            soxr_quality_spec_t q = soxr_quality_spec(recipe, 0);
            if (recipe >= SOXR_HQ) q.passband_end = 0.95;
            const soxr_runtime_spec_t rt = soxr_runtime_spec(1);
            soxr = soxr_create(inLayout.rate, rate, inLayout.channels, &error, &io, &q, &rt);
            if (!soxr) {
                Log().Error(u"Error: Resample can't convert " + tvfx::Describe(block.Format) + u" audio.", kFunction);
                return 0;
            }
            shape = inLayout;
        } else if (inLayout.channels != shape.channels || inLayout.rate != shape.rate) {
            Log().Error(u"Error: Resample: the audio format changed in the middle of the stream.", kFunction);
            return 0;
        }
        outFrames = 0;
        const double* in = samples.data();
        size_t left = frames;
        while (left) {
            Reserve(left);
            size_t used = 0, made = 0;
            soxr_process(soxr, in, left, &used, &out[outFrames * shape.channels], Room(), &made);
            in += used * shape.channels;
            left -= used;
            outFrames += made;
            if (used == 0 && made == 0) break;
        }
        if (block.EndOfStream) {
            for (;;) {
                Reserve(4096);
                size_t made = 0;
                soxr_process(soxr, nullptr, 0, nullptr, &out[outFrames * shape.channels], Room(), &made);
                if (made == 0) break;
                outFrames += made;
            }
        }
        tvfx::Layout to = shape;
        to.rate = rate;
        Pack(block, out.data(), outFrames, to, tvfx::SpeakerMask(block.Format));
        return 1;
    }

protected:
    std::vector<std::u16string_view> SettingNames() const override { return {u"rate", u"quality"}; }
    void Read(tvfx::Settings& s) override {
        rate = static_cast<unsigned>(s.Whole(u"rate", 44100, 1000, 768000, u"a sample rate in Hz from 1000 to 768000"));
        static const unsigned long recipes[] = {SOXR_QQ, SOXR_LQ, SOXR_MQ, SOXR_HQ, SOXR_VHQ};
        recipe = recipes[s.Choice(u"quality", 4, {u"quick", u"low", u"medium", u"high", u"vhq"})];
        if (!s.Has(u"rate")) s.Fail(u"rate", u"the target rate is missing (-rate=48000).");
    }

private:
    // Room for the output of n more input frames, beyond what is already made.
    void Reserve(size_t n) {
        const size_t want = (outFrames + static_cast<size_t>(double(n) * rate / shape.rate) + 256) * shape.channels;
        if (out.size() < want) out.resize(want);
    }
    size_t Room() const { return out.size() / shape.channels - outFrames; }

    unsigned rate = 44100;
    unsigned long recipe = SOXR_VHQ;
    soxr_t soxr = nullptr;
    tvfx::Layout shape;
    std::vector<double> out;
    size_t outFrames = 0;
};

}  // namespace

TV_KIT_DSP_EXPORTS(Resample)
