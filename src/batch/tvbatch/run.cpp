#include "batch/tvbatch/run.h"

#include <algorithm>
#include <atomic>
#include <map>
#include <mutex>
#include <thread>
#include <vector>

#include "batch/tv_batch.h"
#include "batch/tv_convert_worker.h"
#include "batch/tvbatch/options.h"
#include "batch/tvbatch/plan.h"
#include "batch/tvbatch/report.h"
#include "foundation/files/xfile.h"
#include "foundation/platform/child_process.h"
#include "foundation/platform/clock.h"
#include "foundation/platform/file_io.h"
#include "foundation/sync/xevent.h"
#include "plugins/codec_handler.h"
#include "plugins/dsp_options.h"

namespace {

constexpr uint32_t StatusIntervalMs = 250;
constexpr int CancelledExit = 130;

// What a Ctrl-C reaches: the first one asks the children to stop, the second ends at once
// (the children die with this process; their temporary names keep every old output whole).
// The watcher outlives the run, so what it reaches is static and disarmed at the run's end.
struct Cancel {
    std::mutex lock;
    XEvent* quit = nullptr;
    TvBatchConsole* console = nullptr;
};
Cancel g_cancel;

void OnTerminationRequest(int count, void*) {
    std::lock_guard<std::mutex> hold(g_cancel.lock);
    if (count >= 2 || g_cancel.quit == nullptr) XExitProcess(CancelledExit);
    g_cancel.console->Error(
        u"Cancelling: the running conversions stop, old outputs stay (Ctrl-C again to end at once)");
    g_cancel.quit->Set();
}

class Armed {
public:
    Armed(XEvent& quit, TvBatchConsole& console) {
        std::lock_guard<std::mutex> hold(g_cancel.lock);
        g_cancel.quit = &quit;
        g_cancel.console = &console;
    }
    ~Armed() {
        std::lock_guard<std::mutex> hold(g_cancel.lock);
        g_cancel.quit = nullptr;
        g_cancel.console = nullptr;
    }
};

struct Outcome {
    clTvBatchFile file;
    bool finished = false;
    bool failed = false;
};

int LevelOfPriority(const XString& name) {
    const XString lower = name.ToLower();
    if (lower == u"low") return XSchedulingLevel::Low;
    if (lower == u"idle") return XSchedulingLevel::Idle;
    if (lower == u"high" || lower == u"realtime") return XSchedulingLevel::High;
    if (lower == u"normal") return XSchedulingLevel::Normal;
    return -1;
}

bool HasReplayGain(const XString& dspOptions) {
    for (const DSPSpec& dsp : ParseDSPString(dspOptions)) {
        if (dsp.name == u"ReplayGain") return true;
    }
    return false;
}

class Coordinator {
public:
    Coordinator(const TvBatchOptions& options, TvBatchConsole& console) : options(options), console(console) {}

    int Run();

private:
    void Work();
    void ConvertOne(size_t index, TvConvertWorker& worker);
    void EndBatch();
    void Summary(uint64_t elapsedMs);

    const TvBatchOptions& options;
    TvBatchConsole& console;
    TvBatchPlan plan;
    std::vector<Outcome> outcomes;
    clTvBatch batch;
    XString commonText;
    XEvent quit;
    XString quitName;
    std::atomic<size_t> next{0};
    std::atomic<int> activeWorkers{0};
    std::mutex progressLock;
    TvBatchProgress progress;
    uint64_t startTick = 0;
};

int Coordinator::Run() {
    // Before any plug-in is loaded: a library may start threads, and each thread must inherit
    // the mask that leaves termination requests to the watcher.
    quitName = quit.CreateUnique(u"tvbatchquit");
    Armed armed(quit, console);
    XWatchTerminationRequests(OnTerminationRequest, nullptr);

    const XString extension = clTvCodecHandler::GetEncoderExtension(options.encoderName, nullptr);
    if (extension.IsEmpty()) {
        console.Error(XString(u"Error: Unable to load encoder '") + options.encoderName + u"'.");
        return 1;
    }
    BuildTvBatchPlan(options, extension, TvDecoderExtensions(nullptr), nullptr, plan);
    for (int64_t i = 0; i < plan.missingSources.Count(); ++i) {
        console.Error(XString(u"No such file or folder: ") + plan.missingSources[i]);
    }
    if (options.dryRun) {
        for (const TvBatchJob& job : plan.jobs) console.Line(job.source + u" -> " + job.output);
        console.Line(XString::Formatted(u"%d to convert, %d up to date, %d not decodable",
                                        static_cast<int>(plan.jobs.size()), plan.upToDate, plan.undecodable));
        return plan.missingSources.Count() > 0 ? 1 : 0;
    }

    // One batch for the whole run: every child joins it, and its DSPs hear its end here.
    XString dsps = options.dspOptions;
    batch.Begin(dsps, options.encoderName, options.encoderOptions);
    batch.children.quitEventName = quitName;
    batch.children.schedulingLevel = LevelOfPriority(options.priority);
    commonText = TvConvertWorker::CommonText(batch.batchId, options.encoderName, options.encoderOptions, dsps);

    outcomes.resize(plan.jobs.size());
    progress.total = static_cast<int>(plan.jobs.size());
    progress.skipped = plan.upToDate + plan.undecodable;
    progress.failed = static_cast<int>(plan.missingSources.Count());
    progress.totalBytes = plan.totalBytes;
    startTick = XGetTickCount64();

    const int processors = XProcessorCount();
    const int workers = std::clamp(options.workers > 0 ? options.workers : processors, 1, std::max(1, progress.total));
    // Every thread waits for its own children, so no child loses its parent thread early.
    std::vector<std::thread> threads;
    activeWorkers = plan.jobs.empty() ? 0 : workers;
    for (int i = 0; i < activeWorkers; ++i)
        threads.emplace_back([this] {
            Work();
            --activeWorkers;
        });
    while (activeWorkers > 0) {
        {
            std::lock_guard<std::mutex> hold(progressLock);
            console.Status(progress.StatusLine(XGetTickCount64() - startTick));
        }
        XSleep(StatusIntervalMs);
    }
    for (std::thread& thread : threads) thread.join();
    {
        std::lock_guard<std::mutex> hold(progressLock);
        console.Status(progress.StatusLine(XGetTickCount64() - startTick));
    }
    console.EndStatus();

    if (quit.IsSet()) {
        batch.Clear();
    } else {
        EndBatch();
    }
    Summary(XGetTickCount64() - startTick);
    if (quit.IsSet()) return 1;
    return progress.failed > 0 ? 1 : 0;
}

void Coordinator::Work() {
    TvConvertWorker worker;
    worker.quitEvent = &quit;
    worker.quitEventName = quitName;
    worker.schedulingLevel = batch.children.schedulingLevel;
    for (;;) {
        if (quit.IsSet()) return;
        const size_t index = next++;
        if (index >= outcomes.size()) return;
        ConvertOne(index, worker);
    }
}

void Coordinator::ConvertOne(size_t index, TvConvertWorker& worker) {
    const TvBatchJob& job = plan.jobs[index];
    Outcome& outcome = outcomes[index];
    outcome.file.inputPath = job.source;
    outcome.file.outputPath = job.output;

    // A new output starts as an empty placeholder, so that travex writes under a temporary
    // name and moves it into place only when it is whole: a run that is killed leaves an
    // empty file, which the next run converts again, never a cut one.
    job.output.Folder().CreateFolders();
    bool placeholder = false;
    {
        XFile reserve;
        placeholder = reserve.Open(job.output, XAccess::Write, XDisposition::CreateNew);
    }

    uint64_t lengthMs = 0, percent = 0;
    auto share = [&](uint64_t& audio, uint64_t& bytes) {
        audio = lengthMs * percent / 100;
        bytes = job.sourceSize * percent / 100;
    };
    worker.onOutputLine = [&](const XString& line) {
        constexpr const char16_t* Length = u"MSGTO: vMX: msLen: ";
        constexpr const char16_t* Done = u"MSGTO: vMX: PCDone: ";
        uint64_t oldAudio, oldBytes;
        share(oldAudio, oldBytes);
        if (line.Find(Length) == 1) {
            lengthMs = line.From(20).ToUInt();
        } else if (line.Find(Done) == 1) {
            percent = std::min<uint64_t>(100, line.From(21).ToUInt());
        } else {
            return;
        }
        uint64_t newAudio, newBytes;
        share(newAudio, newBytes);
        std::lock_guard<std::mutex> hold(progressLock);
        progress.runningAudioMs += newAudio - oldAudio;
        progress.runningBytes += newBytes - oldBytes;
    };
    worker.Run(outcome.file, commonText);
    worker.onOutputLine = nullptr;

    const bool cancelled = quit.IsSet();
    outcome.failed = outcome.file.hadErrors || worker.exitCode != 0;
    if (outcome.failed && outcome.file.errorLines.Count() == 0 && !cancelled) {
        outcome.file.errorLines.Add(XString::Formatted(u"travex ended with status %d and no message", worker.exitCode));
        outcome.file.hadErrors = 1;
    }
    if (outcome.failed && placeholder) {
        // Nothing of a failed or cancelled new output stays: the next run starts it afresh.
        job.output.Delete();
    }
    outcome.finished = !cancelled || !outcome.failed;

    uint64_t audio, bytes;
    share(audio, bytes);
    std::lock_guard<std::mutex> hold(progressLock);
    progress.runningAudioMs -= audio;
    progress.runningBytes -= bytes;
    if (cancelled && outcome.failed) return;
    if (outcome.failed) {
        ++progress.failed;
        if (!console.Terminal()) console.Line(XString(u"failed: ") + job.source);
    } else {
        ++progress.done;
        progress.audioDoneMs += lengthMs;
        progress.bytesDone += job.sourceSize;
        if (!console.Terminal()) console.Line(XString(u"converted: ") + job.source + u" -> " + job.output);
    }
}

void Coordinator::EndBatch() {
    // A batch effect such as ReplayGain works album by album: each album is one message of
    // the batch's end, with the same batch id.
    std::vector<XString> order;
    std::map<std::u16string, std::vector<clTvBatchFile>> groups;
    const bool byAlbum = HasReplayGain(batch.dspOptions);
    for (size_t i = 0; i < outcomes.size(); ++i) {
        if (!outcomes[i].finished) continue;
        const XString key = byAlbum ? plan.jobs[i].albumKey : XString(u"all");
        auto& group = groups[std::u16string(key.View())];
        if (group.empty()) order.push_back(key);
        clTvBatchFile file;
        file.inputPath = outcomes[i].file.inputPath;
        file.outputPath = outcomes[i].file.outputPath;
        file.hadErrors = outcomes[i].failed ? 1 : 0;
        group.push_back(std::move(file));
    }
    if (byAlbum && !order.empty()) {
        console.Line(XString::Formatted(u"Ending the batch: %d album(s)", static_cast<int>(order.size())));
    }
    for (const XString& key : order) batch.SendBatchEnd(groups[std::u16string(key.View())]);
    batch.Clear();
}

void Coordinator::Summary(uint64_t elapsedMs) {
    std::lock_guard<std::mutex> hold(progressLock);
    for (size_t i = 0; i < outcomes.size(); ++i) {
        if (!outcomes[i].failed || !outcomes[i].finished) continue;
        console.Error(XString(u"Failed: ") + plan.jobs[i].source);
        const XStringList& lines = outcomes[i].file.errorLines;
        for (int64_t n = 0; n < lines.Count(); ++n) console.Error(XString(u"    ") + lines[n]);
    }
    XString line = XString::Formatted(u"%d converted, %d failed, %d up to date, %d not decodable", progress.done,
                                      progress.failed, plan.upToDate, plan.undecodable);
    line += XString(u"; ") + TvClockText(progress.audioDoneMs) + u" of audio in " + TvClockText(elapsedMs);
    if (elapsedMs > 0 && progress.audioDoneMs > 0) {
        line +=
            XString(u" (") +
            XString::FormatDouble(static_cast<double>(progress.audioDoneMs) / static_cast<double>(elapsedMs), 1, true) +
            u"x realtime)";
    }
    if (quit.IsSet()) line += u"; cancelled";
    console.Line(line);
}

}  // namespace

int RunTvBatch(const XStringList& arguments) {
    TvBatchConsole console;
    TvBatchOptions options;
    XString error;
    if (!ParseTvBatchArguments(arguments, options, error)) {
        console.Error(XString(u"tvbatch: ") + error);
        console.Error(u"Try tvbatch -help.");
        return 1;
    }
    if (options.help) {
        XString usage = TvBatchUsage();
        usage.TrimRightChar(u'\n');
        console.Line(usage);
        return 0;
    }
    Coordinator coordinator(options, console);
    return coordinator.Run();
}
