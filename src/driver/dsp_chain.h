#pragma once
// The DSP chain of a run, in chain order: loading (a probe instance answers the questions, a
// second instance is kept), the quit event, the live begin, per-block and end calls, the
// after-conversion calls and unloading.
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "driver/audio_source.h"
#include "driver/output_routes.h"
#include "driver/progress.h"
#include "foundation/paths/xtemp_file.h"
#include "foundation/sync/xevent.h"
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

// What the chain's non-live rendering uses of its run.
struct TvRenderRun {
    std::function<bool(AudioBlockRecord&)> decode;  // the run's source, a block at a time
    OpenFileRecord& record;                         // its format and lengths follow the audio through every DSP
    ConversionRecord& conv;
    const XString& tmpFolder;  // empty: the system's
    const XString& quitEventName;
    XEvent& quit;
    XEvent& watchdog;
    TvProgress& progress;
    TvOutputRoutes& routes;
    const PluginLogHandles& logs;
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

    // Non-live DSPs need the whole audio at once. When the chain has one, the source is
    // decoded into a temporary PCM file, every DSP of the chain runs over that file in turn,
    // and Rendered() then serves the file in place of the source. False on failure.
    bool HandleNonLiveDSPs(TvRenderRun& run);
    // The rendered file as a source; null when nothing was rendered.
    TvAudioSource* Rendered() { return rendered.get(); }
    // Closes the rendered file and deletes it.
    void DiscardRendered();
    void CloseRendered() { rendered.reset(); }

private:
    void MakeTempName(XTempFile& file, const char* prefix, const XString& tmpFolder);
    // Decodes the whole source into nonLiveTemp.
    bool RenderSource(TvRenderRun& run);
    // Runs one live DSP over the rendered file, into a second file that then replaces it.
    bool RenderLiveDSP(DSPEntry& entry, TvRenderRun& run);

    std::vector<std::unique_ptr<DSPEntry>> entries;
    DSPEntry* current = nullptr;
    XTempFile nonLiveTemp;  // the rendered PCM file
    std::unique_ptr<TvRenderedSource> rendered;
};
