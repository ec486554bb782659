// The coordinator's half of a batch: files converted in children, and the second pass of a
// split-off effect over the finished outputs.
#include <algorithm>
#include <atomic>
#include <thread>

#include "batch/tv_batch.h"
#include "batch/tv_convert_worker.h"

void clTvBatch::RunChildren(std::vector<clTvBatchFile>& files, const XEvent* quitEvent, int workerCount) {
    if (files.empty()) return;
    const int workers = std::clamp(workerCount, 1, static_cast<int>(files.size()));
    const XString common = TvConvertWorker::CommonText(batchId, encoderName, encoderOptions, dspOptions);
    std::atomic<size_t> next{0};
    auto work = [&]() {
        TvConvertWorker worker;
        worker.quitEvent = quitEvent;
        worker.quitEventName = children.quitEventName;
        worker.converterPath = children.converterPath;
        worker.schedulingLevel = children.schedulingLevel;
        for (;;) {
            if (quitEvent != nullptr && quitEvent->IsSet()) return;
            const size_t index = next++;
            if (index >= files.size()) return;
            worker.Run(files[index], common);
        }
    };
    // Each thread waits for its own children, so none ends while a child of its runs.
    std::vector<std::thread> threads;
    for (int i = 1; i < workers; ++i) threads.emplace_back(work);
    work();
    for (std::thread& thread : threads) thread.join();
}

void clTvBatch::RunAfterPass(std::vector<clTvBatchFile>& resultFiles, const std::vector<clTvBatchFile>& sourceFiles,
                             const XEvent* quitEvent, int workerCount) {
    clTvBatch pass;
    XString passEncoder, passOptions;
    if (!replayGainParams.IsEmpty()) {
        passEncoder = u"[ReplayGain]";
        passOptions = replayGainParams;
    } else if (verifyAfter) {
        passEncoder = u"Test Conversion";
    } else {
        return;
    }
    resultFiles.clear();
    for (const clTvBatchFile& source : sourceFiles) {
        clTvBatchFile file;
        file.inputPath = source.outputPath;
        file.outputPath = u"-";
        resultFiles.push_back(std::move(file));
    }
    XString passDsps;
    pass.Begin(passDsps, passEncoder, passOptions);
    pass.children = children;
    pass.RunChildren(resultFiles, quitEvent, workerCount);
    pass.EndConversion(resultFiles);
}
