#pragma once
// TvConvertWorker: converts one file of a batch in a travex child. The child reads its options
// from a command file, writes its controller lines and errors to two temporary files, and
// shares the coordinator's quit event, so a quit ends it the way it ends a run by itself: the
// old output stays whole.
#include <cstdint>
#include <functional>

#include "batch/tv_batch.h"
#include "foundation/paths/xpath.h"
#include "foundation/sync/xevent.h"
#include "foundation/text/xstring.h"

class TvConvertWorker {
public:
    // Time between looks at the child.
    static constexpr uint32_t PollMs = 25;

    // The part every file of a batch shares: batch id, encoder, its options, the DSP chain
    // (whose quotes are "{qt}" already).
    static XString CommonText(uint32_t batchId, const XString& encoderName, const XString& encoderOptions,
                              const XString& dspOptions);
    // The whole command-file line of one file.
    static XString CommandText(const XString& inputPath, const XString& outputPath, const XString& commonText);

    // Runs the child to its end. Its non-empty standard-error lines become file.errorLines,
    // and any line sets hadErrors. False when the child could not be started or its files
    // could not be made (hadErrors is set then, with a line that says so).
    bool Run(clTvBatchFile& file, const XString& commonText);

    // Signalled to stop: the wait for the child then goes on, the child sees it too.
    const XEvent* quitEvent = nullptr;
    // The event's name, given to the child as -evtquit.
    XString quitEventName;
    XPath converterPath;       // empty: travex beside this program
    int schedulingLevel = -1;  // as TvChildProcess
    // Each complete line that the child writes to its standard output, while it runs.
    std::function<void(const XString& line)> onOutputLine;

    // The child's exit code after Run, -1 when it had to be killed or did not start.
    int exitCode = -1;
};
