#pragma once
// The DSP chain of a run, in chain order: loading (a probe instance answers the questions, a
// second instance is kept), the quit event, the live begin, per-block and end calls, the
// after-conversion calls and unloading.
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "foundation/text/xstring.h"
#include "foundation/text/xstring_list.h"
#include "plugins/tv_dsp.h"
#include "tonvale/plugin.h"

// One DSP of the chain.
struct DSPEntry {
    XString name;
    XString params;
    clTvDSP dsp;         // the instance kept for the run
    uint8_t IsLive = 0;  // false until the plug-in is asked
    uint8_t Active = 1;  // cleared once non-live rendering has already applied this DSP
};

class TvDspChain {
public:
    void Add(XString name, XString params);
    const std::vector<std::unique_ptr<DSPEntry>>& Entries() const { return entries; }
    size_t Count() const { return entries.size(); }
    bool IsEmpty() const { return entries.empty(); }
    bool AnyNonLive() const;
    // The entry being worked on, for a report after a crash; a cursor only.
    void SetCurrent(DSPEntry* entry) { current = entry; }

    // Loads every entry, last to first. An entry whose second load fails leaves the chain
    // without a word; a probe that fails reports and gives false. A DSP that asks for
    // ReplayGain tags sets replayGainWanted.
    bool Load(const PluginLogHandles& logs, uint32_t batchId, uint8_t& replayGainWanted);
    void SetQuitEvent(const XString& name);
    // Every call is made; false when any failed.
    bool BeginLive(ConversionRecord& conv);
    bool PassLive(AudioBlockRecord& block);
    bool EndLive(ConversionRecord& conv);
    // Each DSP hears of each output name, with a copy of conv naming it whose flag is the run's
    // at that moment (isFailed), or set by an earlier call that failed.
    bool AfterConversion(const ConversionRecord& conv, const std::function<bool()>& isFailed,
                         const XStringList& outputNames);
    void Unload();

private:
    std::vector<std::unique_ptr<DSPEntry>> entries;
    DSPEntry* current = nullptr;
};
