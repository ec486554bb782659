#pragma once
// clTvBatch: the identity of a batch of conversions (a number, a named mutex and a folder) and
// its end, when every DSP of the chain hears "BatchEndConversion" with the list of files. A
// single run with -batchid=auto is a batch of one file.
#include <cstdint>
#include <vector>

#include "foundation/paths/xpath.h"
#include "foundation/sync/xevent.h"
#include "foundation/sync/xmutex.h"
#include "foundation/text/xstring.h"
#include "foundation/text/xstring_list.h"

// How the children of a pass are started: which converter, with which quit event name and
// scheduling level (-1: as the coordinator's thread).
struct TvChildSettings {
    XPath converterPath;
    XString quitEventName;
    int schedulingLevel = -1;
};

struct clTvBatchFile {
    XString inputPath;
    XString tempOutputPath;
    XString outputPath;
    uint32_t hadErrors = 0;
    XStringList errorLines;
};

class clTvBatch {
public:
    clTvBatch() = default;
    ~clTvBatch();
    clTvBatch(const clTvBatch&) = delete;
    clTvBatch& operator=(const clTvBatch&) = delete;

    // Makes the id, folder and mutex and stores the texts; an encoder that demands a DSP adds
    // it to dspOptionsInOut. module names the program beside whose folders plug-ins are.
    void Begin(XString& dspOptionsInOut, const XString& encoderName, const XString& encoderOptions,
               const void* module = nullptr);
    // "BatchEndConversion" to every DSP of the chain, then Clear.
    void EndConversion(const std::vector<clTvBatchFile>& files, const void* module = nullptr);
    // The same message without ending the batch, for a coordinator that ends its batch in
    // groups (an album each): one call per group, then Clear.
    void SendBatchEnd(const std::vector<clTvBatchFile>& files, const void* module = nullptr);
    // Deletes the folder with its content; the id becomes 0.
    void Clear();
    // Joins an existing batch: its folder, no mutex.
    void Attach(uint32_t id);
    // The second pass over finished files (a split-off ReplayGain or verification), each file
    // in a child; resultFiles gets the pass's files with their error lines. Returns at once
    // when nothing was split off. workerCount threads at most, the caller's among them.
    void RunAfterPass(std::vector<clTvBatchFile>& resultFiles, const std::vector<clTvBatchFile>& sourceFiles,
                      const XEvent* quitEvent, int workerCount);
    // Runs every file of this batch in a child with up to workerCount workers; a set quit
    // event stops the handing out of files.
    void RunChildren(std::vector<clTvBatchFile>& files, const XEvent* quitEvent, int workerCount);

    // Takes a DSP off the chain text by its exact name: its params, or false when absent.
    static bool SplitOff(XString& dspOptionsInOut, const char16_t* name, XString* params);

    // The list block that the DSPs receive.
    static std::vector<uint8_t> BuildFileList(const std::vector<clTvBatchFile>& files);

    XString replayGainParams;
    XString encoderName;
    XString encoderOptions;
    XString dspOptions;
    uint32_t verifyAfter = 0;
    uint32_t batchId = 0;
    XPath batchFolder;
    uint8_t splitPasses = 0;  // never set in this program
    XMutex batchMutex;
    TvChildSettings children;

private:
    void MakeId();
};
