#pragma once
// TvTravex: the driver. Its constructor is the whole run of one conversion; when it returns
// the run is over, whatever the outcome, and ExitStatus tells it. The destructor only stops
// the output thread and frees members. The object is itself the run's option list. Everything
// a run holds is its own, so runs can follow one another in one process.
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "batch/tv_batch.h"
#include "driver/audio_source.h"
#include "driver/console_writer.h"
#include "driver/dsp_chain.h"
#include "driver/output_routes.h"
#include "driver/progress.h"
#include "driver/run_plan.h"
#include "foundation/files/xbuffer.h"
#include "foundation/files/xfile.h"
#include "foundation/files/xpipe.h"
#include "foundation/options/xoption_list.h"
#include "foundation/paths/xtemp_file.h"
#include "foundation/platform/handle.h"
#include "foundation/sync/xevent.h"
#include "foundation/sync/xshared_memory.h"
#include "foundation/sync/xthread.h"
#include "foundation/text/xstring.h"
#include "foundation/text/xstring_list.h"
#include "foundation/wave/xwave_format.h"
#include "plugins/dsp_options.h"
#include "plugins/tv_decoder.h"
#include "plugins/tv_dsp.h"
#include "plugins/tv_encoder.h"
#include "tags/id_tags.h"
#include "tonvale/plugin.h"

// The standard handles of a run: the process's unless a caller (a test) gives others. The run
// closes none of them; the process's own standard input it lets go of once its audio is read.
struct TvConsoleHandles {
    XFileHandle input = XStdInputHandle;  // raw PCM when the input file is "-"
    XFileHandle output = XStdOutputHandle;
    XFileHandle error = XStdErrorHandle;
};

class TvTravex : public XOptionList {
public:
    // Runs one conversion of commandLine, a whole command line with the program's name first,
    // as the debug log shows it.
    explicit TvTravex(const XString& commandLine, const TvConsoleHandles& consoleHandles = {});
    ~TvTravex() override;
    TvTravex(const TvTravex&) = delete;
    TvTravex& operator=(const TvTravex&) = delete;

    // 0, or 1 once any fatal step has failed; read it before the destructor, so that whatever
    // the stopping output thread reports can't change it.
    int32_t ExitStatus() const { return exitStatus; }

private:
    // The names error lines give for the run and for parsing.
    static constexpr const char* RunFunction = "TvTravex::TvTravex";
    static constexpr const char* ParseFunction = "TvTravex::ParseCommandLine";

    // Start-up, in the order the constructor runs them.
    void SplitCommandLine(const XString& line);
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

    // The run from loading the plug-ins to the closing text (run.cpp).
    void Run(clTvDecoder& decoder);
    void ReportInfo(const XString& message, const char* function = nullptr);
    void SetDecodeQuality(clTvDecoder& decoder, clTvEncoder& encoder);
    void LogConversionSetup();

    // Output routes (output.cpp).
    bool CreateOutputPipes();
    // Has the output thread drain both pipes now and waits for it, so that every report
    // made so far has counted before the run's result is read.
    void FlushOutputPipes();
    void StartOutputThread();
    void StartWatchdog();
    void StopWatchdog();
    void SetConversionPriority(clTvEncoder& encoder);
    void BindToProcessor(const XString& value);
    // A controller line; only in command-file mode.
    void ControllerLine(const XString& text);

    // The source (pump.cpp; the kinds of source in audio_source.h). The decoder serves only
    // when standard input is not the source.
    bool OpenDecoder(clTvDecoder& decoder, OpenFileRecord& record);
    bool CloseDecoder();
    // From the rendered file once non-live rendering has run, else from the source.
    bool DecodeAudioBlock(AudioBlockRecord& block);
    bool PassLiveDSPs(AudioBlockRecord& block);
    void Pump(clTvEncoder& encoder);
    bool TryRawUncompressed(const XString& options, clTvDecoder& decoder, clTvEncoder& encoder);
    void CommunicateStage(const char16_t* stage, clTvDecoder& decoder, clTvEncoder& encoder);
    // The output's tags (tag assembly) from the opened source's blocks.
    void AssembleTags(const OpenFileRecord& record, clTvEncoder& encoder, const XString& options);

    // The DSP chain (dsp_chain.h), for the run.
    bool LoadDSPEffects();
    bool BeginLiveDSPs();
    bool EndLiveDSPs();
    void AfterConversionDSPs();
    void UnloadDSPs();

    // Non-live rendering, by the chain (dsp_chain.h).
    bool HandleNonLiveDSPs();

    // After the pump (end_steps.cpp).
    void EndSteps(clTvDecoder& decoder, clTvEncoder& encoder);
    void ReportOutputFiles();
    void ClosingText();

    int32_t exitStatus = 0;
    TvConsoleHandles consoleHandles;
    TvRunPlan plan;
    TvDspChain dsps;
    std::unique_ptr<TvAudioSource> source;
    // Error sink, information sink, debug file.
    PluginLogHandles logSinks{0, 0, 0};
    // The console writer (stdOut and stdErr) and the pipes to it; their thread may fail the
    // run, through MarkFailed.
    TvOutputRoutes routes{[this] { MarkFailed(); }};
    TvConsoleWriter& console = routes.Console();
    // Each stays without a handle when its option is not given, and then tests as not set.
    XEvent evtQuit;
    XEvent evtAfterConvSetError;
    XEvent evtWatchdog;
    TvProgress progress{console};
    XThread watchdogThread;  // WatchdogPulse
    // conv.Failed is the run's one failure flag. The record is packed: this placement is what
    // aligns Failed for the atomic accesses below.
    alignas(std::atomic_ref<uint32_t>::required_alignment) ConversionRecord conv{};
    static_assert(offsetof(ConversionRecord, Failed) % std::atomic_ref<uint32_t>::required_alignment == 0);
    // The output thread fails the run too, so every access of conv.Failed goes through these.
    void MarkFailed() { std::atomic_ref<uint32_t>(conv.Failed).store(1, std::memory_order_release); }
    bool IsFailed() const {
        return std::atomic_ref<uint32_t>(const_cast<uint32_t&>(conv.Failed)).load(std::memory_order_acquire) != 0;
    }
    XString tmpOutFile;
    XFileIdentity oldOutput;  // the file under outFile when tmpOutFile was chosen
    uint64_t bytesEncoded = 0;
    clTvBatch batch;
    XString dspCommandLine;
    XFile debugFile;
    XEvent debugWatchEvent;  // held for the viewer while the run lasts
    // Tags: the assembled list, its block (OutputTags) and the information block (InfoTags).
    XIDTags outputTags;
    std::vector<uint8_t> outputTagBlock;
    std::vector<uint8_t> infoTagBlock;

    // The run's working state.
    clTvEncoder encoder;
    OpenFileRecord* openRecord = nullptr;  // the source's record, on the run's frame
    XString encoderOptions;
    uint8_t replayGainWanted = 0;  // a DSP or the encoder asked for ReplayGain tags
    uint32_t writeTagsFlag = 0;
    uint32_t elapsedMs = 0;
    double realtimeFactor = 0.0;
    XStringList outputNames;  // final output files, from ReportOutputFiles

    // The DSP chain named by dsppreset and the dspeffect options, in load order.
    DSPSpecList CollectDSPSpecs();
    // The first line of a UTF-16 preset file; false when there is none to read.
    bool ReadPresetLine(const XString& path, XString& line);
};

// The encoder's command line: " -name" or " -name=\"value\"" for each option that is none of
// the core's, where the core owns dspeffect1 to dspeffect<dspCount>.
XString TvEncoderOptions(const XOptionList& options, int64_t dspCount);

// The error line of an output that could not take the place of the old one: the last error's
// text only when there is one.
XString TvOverwriteErrorText(const XString& outFile);
