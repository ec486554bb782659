#include "driver/dsp_chain.h"

#include <cstddef>
#include <cstring>

#include "foundation/log/xdebug.h"
#include "plugins/codec_handler.h"

namespace {
constexpr const char* LoadFunction = "TvTravex::LoadDSPEffects";
}

void TvDspChain::Add(XString name, XString params) {
    auto entry = std::make_unique<DSPEntry>();
    entry->name = std::move(name);
    entry->params = std::move(params);
    entries.push_back(std::move(entry));
}

bool TvDspChain::AnyNonLive() const {
    for (const auto& entry : entries) {
        if (!entry->IsLive) return true;
    }
    return false;
}

bool TvDspChain::Load(const PluginLogHandles& logs, uint32_t batchId, uint8_t& replayGainWanted) {
    // Last to first, so that an entry removed on the way leaves the walk undisturbed.
    for (size_t i = entries.size(); i-- > 0;) {
        DSPEntry& entry = *entries[i];
        current = &entry;
        clTvDSP probe;
        if (!clTvCodecHandler::LoadDSP(entry.name, probe, &logs, nullptr)) {
            XDebugError(XString(u"Error: Unable to load DSP Effect '") + entry.name + u"'.", logs, LoadFunction);
            return false;
        }
        PluginArgs args{};
        args.Text = entry.params.Text();
        entry.IsLive = probe.Get(TV_PROP_IS_LIVE, &args) != 0 ? 1 : 0;
        PluginArgs replayGain{};
        replayGain.Text = entry.params.Text();
        if (probe.Get(TV_PROP_SEND_OVER_REPLAYGAIN_TAGS, &replayGain) != 0) replayGainWanted = 1;
        if (clTvCodecHandler::LoadDSP(entry.name, entry.dsp, &logs, nullptr)) {
            if (batchId != 0) {
                PluginArgs batchArgs{};
                batchArgs.Value = batchId;
                entry.dsp.Set(TV_PROP_BATCH_ID, &batchArgs);
            }
        } else {
            // A second load that fails drops the entry without a word: the probe worked, so
            // the effect exists but can't serve this run twice.
            entry.dsp.Unload();
            entries.erase(entries.begin() + static_cast<std::ptrdiff_t>(i));
            current = nullptr;
        }
        probe.Unload();
    }
    return true;
}

void TvDspChain::SetQuitEvent(const XString& name) {
    if (name.IsEmpty()) return;
    for (auto& entry : entries) {
        if (!entry->Active) continue;
        PluginArgs args{};
        args.Text = name.Text();
        entry->dsp.Set(TV_PROP_EVENT_QUIT, &args);
    }
}

bool TvDspChain::BeginLive(ConversionRecord& conv) {
    bool ok = true;
    for (auto& entry : entries) {
        if (!entry->IsLive || !entry->Active) continue;
        if (entry->dsp.BeginConversion(&conv, entry->params.Text()) == 0) ok = false;
    }
    return ok;
}

bool TvDspChain::PassLive(AudioBlockRecord& block) {
    bool ok = true;
    for (auto& entry : entries) {
        if (!entry->IsLive || !entry->Active) continue;
        if (entry->dsp.PassAudioBlock(&block) == 0) ok = false;
    }
    return ok;
}

bool TvDspChain::EndLive(ConversionRecord& conv) {
    bool ok = true;
    // Rendered live DSPs are ended too: their begin came during rendering.
    for (auto& entry : entries) {
        if (!entry->IsLive) continue;
        if (entry->dsp.EndConversion(&conv) == 0) ok = false;
    }
    return ok;
}

bool TvDspChain::AfterConversion(const ConversionRecord& conv, const std::function<bool()>& isFailed,
                                 const XStringList& outputNames) {
    bool ok = true;
    for (auto& entry : entries) {
        for (int64_t n = 0; n < outputNames.Count(); ++n) {
            ConversionRecord copy{};
            std::memcpy(&copy, &conv, offsetof(ConversionRecord, Failed));
            // Failed last and on its own: the output thread may be setting it meanwhile.
            copy.Failed = !ok || isFailed() ? 1 : 0;
            copy.OutputFile = outputNames[n].Text();
            if (entry->dsp.AfterConversion(&copy) == 0) ok = false;
        }
    }
    return ok;
}

void TvDspChain::Unload() {
    for (auto& entry : entries) entry->dsp.Unload();
}
