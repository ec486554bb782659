#include "plugins/communicate.h"

#include "foundation/text/xstring.h"

namespace {

struct Peers {
    clTvDecoder* decoder;  // null while the source is standard input
    clTvEncoder* encoder;
};

// Carries out one request; 0 for anything malformed or aimed at the host itself.
int32_t CarryOut(const PluginArgs& request, const Peers& peers) {
    if (!request.Text || !request.Text2 || !request.Text3 || !request.Data) return 0;
    auto* args = static_cast<PluginArgs*>(request.Data);
    const bool get = XString::Equal(request.Text2, u"get", 0, true);
    const bool set = XString::Equal(request.Text2, u"set", 0, true);
    if (!get && !set) return 0;
    if (XString::Equal(request.Text, TV_TARGET_DECODER, 0, true)) {
        if (!peers.decoder) return 0;
        return get ? peers.decoder->Get(request.Text3, args) : peers.decoder->Set(request.Text3, args);
    }
    if (XString::Equal(request.Text, TV_TARGET_ENCODER, 0, true)) {
        if (!peers.encoder) return 0;
        return get ? peers.encoder->Get(request.Text3, args) : peers.encoder->Set(request.Text3, args);
    }
    return 0;  // "Travex" and any other target: nothing is done
}

template <class Plugin>
void Loop(Plugin& plugin, const char16_t* phase, const Peers& peers, bool runFailed) {
    for (uint32_t index = 0;; ++index) {
        PluginArgs args{};
        args.Index = index;
        args.Value = runFailed ? 0 : 1;
        args.Text = phase;
        if (!plugin.Get(TV_PROP_COMMUNICATE, &args)) return;
        args.Value = static_cast<uint32_t>(CarryOut(args, peers));
        plugin.Set(TV_PROP_COMMUNICATE_RESULT, &args);  // its answer means nothing
    }
}

}  // namespace

void RunCommunicatePhase(const char16_t* phase, clTvDecoder* decoder, clTvEncoder* encoder, bool runFailed,
                         bool sourceIsStdin) {
    const Peers peers{sourceIsStdin ? nullptr : decoder, encoder};
    if (peers.decoder) Loop(*peers.decoder, phase, peers, runFailed);
    if (encoder) Loop(*encoder, phase, peers, runFailed);
}
