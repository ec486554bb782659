// A decoder plug-in as the run's source.
#include "driver/audio_source.h"

namespace {

class DecoderSource : public TvAudioSource {
public:
    DecoderSource(clTvDecoder& decoder, const XOptionList& options, const XString& quitEventName)
        : decoder(decoder), options(options), quitEventName(quitEventName) {}

    bool Open(OpenFileRecord& record) override {
        // DecoderSet options go to the decoder in their order; the name matches case-sensitively.
        const XStringList& names = options.Names();
        const XStringList& values = options.Values();
        for (int64_t i = 0; i < names.Count(); ++i) {
            if (!XString::Equal(names[i].Text(), u"DecoderSet", 0, false) || values[i].IsEmpty()) continue;
            PluginArgs args{};
            decoder.Set(values[i].Text(), &args);
        }
        if (!quitEventName.IsEmpty()) {
            PluginArgs args{};
            args.Text = quitEventName.Text();
            decoder.Set(TV_PROP_EVENT_QUIT, &args);
        }
        return decoder.Open(&record) != 0;
    }

    bool Read(AudioBlockRecord& block, uint64_t) override { return decoder.DecodeBlock(&block) != 0; }

    bool Close(ConversionRecord& conv) override { return decoder.Close(&conv) != 0; }

private:
    clTvDecoder& decoder;
    const XOptionList& options;
    const XString& quitEventName;
};

}  // namespace

std::unique_ptr<TvAudioSource> TvMakeDecoderSource(clTvDecoder& decoder, const XOptionList& options,
                                                   const XString& quitEventName) {
    return std::make_unique<DecoderSource>(decoder, options, quitEventName);
}
