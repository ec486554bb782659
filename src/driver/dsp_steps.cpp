// The run's calls on its DSP chain: each step's failure marks the run as the run's order needs.
#include "driver/travex.h"

bool TvTravex::LoadDSPEffects() { return dsps.Load(logSinks, plan.batchId, replayGainWanted); }

bool TvTravex::BeginLiveDSPs() { return dsps.BeginLive(conv); }

bool TvTravex::PassLiveDSPs(AudioBlockRecord& block) { return dsps.PassLive(block); }

bool TvTravex::EndLiveDSPs() { return dsps.EndLive(conv); }

void TvTravex::AfterConversionDSPs() {
    if (!dsps.AfterConversion(
            conv, [this] { return IsFailed(); }, outputNames))
        MarkFailed();
}

void TvTravex::UnloadDSPs() { dsps.Unload(); }

bool TvTravex::HandleNonLiveDSPs() {
    TvRenderRun run{[this](AudioBlockRecord& block) { return DecodeAudioBlock(block); },
                    *openRecord,
                    conv,
                    plan.tmpFolder,
                    plan.quitEventName,
                    evtQuit,
                    evtWatchdog,
                    progress,
                    routes,
                    logSinks};
    return dsps.HandleNonLiveDSPs(run);
}
