// The DSP chain of a run: loading (a probe instance answers the questions, a second instance
// is kept), the live begin and end calls, the after-conversion calls and unloading.
#include <cstddef>
#include <cstring>

#include "driver/travex.h"
#include "plugins/codec_handler.h"

namespace {
constexpr const char* LoadFunction = "TvTravex::LoadDSPEffects";
}

bool TvTravex::LoadDSPEffects() {
    // Last to first, so that an entry removed on the way leaves the walk undisturbed.
    for (size_t i = dsps.size(); i-- > 0;) {
        DSPEntry& entry = *dsps[i];
        currentDsp = &entry;
        clTvDSP probe;
        if (!clTvCodecHandler::LoadDSP(entry.name, probe, &logSinks, nullptr)) {
            ReportError(XString(u"Error: Unable to load DSP Effect '") + entry.name + u"'.", LoadFunction);
            return false;
        }
        PluginArgs args{};
        args.Text = entry.params.Text();
        entry.IsLive = probe.Get(TV_PROP_IS_LIVE, &args) != 0 ? 1 : 0;
        PluginArgs replayGain{};
        replayGain.Text = entry.params.Text();
        if (probe.Get(TV_PROP_SEND_OVER_REPLAYGAIN_TAGS, &replayGain) != 0) replayGainWanted = 1;
        if (clTvCodecHandler::LoadDSP(entry.name, entry.dsp, &logSinks, nullptr)) {
            if (batchId != 0) {
                PluginArgs batchArgs{};
                batchArgs.Value = batchId;
                entry.dsp.Set(TV_PROP_BATCH_ID, &batchArgs);
            }
        } else {
            // A second load that fails drops the entry without a word: the probe worked, so
            // the effect exists but can't serve this run twice.
            entry.dsp.Unload();
            dsps.erase(dsps.begin() + static_cast<std::ptrdiff_t>(i));
            currentDsp = nullptr;
        }
        probe.Unload();
    }
    return true;
}

bool TvTravex::BeginLiveDSPs() {
    bool ok = true;
    for (auto& entry : dsps) {
        if (!entry->IsLive || !entry->Active) continue;
        if (entry->dsp.BeginConversion(&conv, entry->params.Text()) == 0) ok = false;
    }
    return ok;
}

bool TvTravex::EndLiveDSPs() {
    bool ok = true;
    // Rendered live DSPs are ended too: their begin came during rendering.
    for (auto& entry : dsps) {
        if (!entry->IsLive) continue;
        if (entry->dsp.EndConversion(&conv) == 0) ok = false;
    }
    return ok;
}

void TvTravex::AfterConversionDSPs() {
    for (auto& entry : dsps) {
        for (int64_t n = 0; n < outputNames.Count(); ++n) {
            // Failed last and on its own: the output thread may be setting it meanwhile.
            ConversionRecord copy{};
            std::memcpy(&copy, &conv, offsetof(ConversionRecord, Failed));
            copy.Failed = IsFailed() ? 1 : 0;
            copy.OutputFile = outputNames[n].Text();
            if (entry->dsp.AfterConversion(&copy) == 0) MarkFailed();
        }
    }
}

void TvTravex::UnloadDSPs() {
    for (auto& entry : dsps) entry->dsp.Unload();
}
