#pragma once
// TvTravex: the driver. Its constructor is the whole run of one conversion; when it returns
// the run is over, whatever the outcome, and g_exitStatus tells it. The destructor only stops
// the output thread and frees members. The object is itself the run's option list.
#include <cstdint>
#include <memory>
#include <vector>

#include "driver/console_writer.h"
#include "foundation/files/xfile.h"
#include "foundation/options/dsp_spec.h"
#include "foundation/options/xoption_list.h"
#include "foundation/sync/xevent.h"
#include "foundation/sync/xshared_memory.h"
#include "foundation/text/xstring.h"
#include "tonvale/plugin.h"

// Process-wide result: 0, or 1 once any fatal step has failed. The exit code is 1 when it is
// non-zero at the moment the constructor has returned.
extern int32_t g_exitStatus;

// One DSP of the chain, owned by TvTravex::dsps. The loaded plug-in instance (`dsp`) joins
// this record together with DSP loading.
struct DSPEntry {
    XString name;
    XString params;
    uint8_t IsLive = 0;  // false until the plug-in is asked
    uint8_t Active = 1;  // cleared once non-live rendering has already applied this DSP
};

class TvTravex : public XOptionList {
public:
    static constexpr const char* ParseFunction = "TvTravex::ParseCommandLine";

    TvTravex();
    ~TvTravex() override;
    TvTravex(const TvTravex&) = delete;
    TvTravex& operator=(const TvTravex&) = delete;

    // Start-up, in the order the constructor runs them.
    void SplitCommandLine();
    bool ReadCommandFiles();
    bool ReadTvCommandFile(const XString& path, bool isUtf8);
    bool ParseCommandLine();
    // The options the core doesn't know, re-quoted: the encoder's command line.
    void StripTravexCmds(XString& outOptions) const;

    // An error line: "message  [function]". It fails the run.
    void ReportError(const XString& message, const char* function = nullptr);
    // A line of the debug log; nothing while debugging is off.
    void DebugLog(const XString& text, const char* function = nullptr);

    // Console text.
    void ShowUsage();
    void ShowBanner();
    void PrintLine(const XString& text, bool withLineEnd);
    void PrintSummary();

    XString encoderName;
    XString inFile;
    XString outFile;
    XString tagLoadFile;
    uint8_t writeIdTags = 0;
    std::vector<std::unique_ptr<DSPEntry>> dsps;
    DSPEntry* currentDsp = nullptr;  // a cursor only
    XString quitEventName;
    // The non-live rendering members (temporary file, its reader, byte count, format and
    // buffer) join with non-live rendering.
    XString tmpFolder;
    // Error sink, information sink, debug file. The two sinks stay 0 until the internal pipes
    // exist; error lines then go straight to `console`.
    PluginLogHandles logSinks{0, 0, 0};
    TvConsoleWriter console;  // stdOut and stdErr
    uint8_t silent = 0;
    uint8_t errorFileGiven = 0;
    uint8_t commandFileMode = 0;
    // Each stays without a handle when its option is not given, and then tests as not set.
    XEvent evtQuit;
    XEvent evtAfterConvSetError;
    XEvent evtWatchdog;
    XSharedMemory sharedBytes;  // 8 bytes: the byte count for the controller
    // The two internal pipes and outputThread join with the output pump.
    uint8_t stdinIsSource = 0;
    // stdinPipe, stdinFormat and stdinTags join with the standard-input source; conv (the
    // conversion record with the run's Failed flag) with the encoder interface.
    XString tmpOutFile;
    uint64_t bytesEncoded = 0;
    uint32_t batchId = 0;
    // batch joins with batch coordination; until then a leader only records that it leads.
    uint8_t batchLeader = 0;
    XString dspCommandLine;
    XFile debugFile;
    XEvent debugWatchEvent;  // held for the viewer while the run lasts
    // The tag members join with tag assembly.

private:
    // The DSP chain named by dsppreset and the dspeffect options, in load order.
    DSPSpecList CollectDSPSpecs();
    // The first line of a UTF-16 preset file; false when there is none to read.
    bool ReadPresetLine(const XString& path, XString& line);
};

// The encoder's command line: " -name" or " -name=\"value\"" for each option that is none of
// the core's, where the core owns dspeffect1 to dspeffect<dspCount>.
XString TvEncoderOptions(const XOptionList& options, int64_t dspCount);
