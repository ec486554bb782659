#pragma once
// TvChildProcess: one child process with the parent's ends of its pipes and its priority; in
// particular a travex child that converts one file from a command file. The child is in a
// process group of its own and is killed when its starting thread's process dies, so a child
// never outlives its coordinator.
#include <cstdint>

#include "foundation/paths/xpath.h"
#include "foundation/platform/child_process.h"
#include "foundation/platform/handle.h"
#include "foundation/text/xstring.h"
#include "foundation/text/xstring_list.h"

class TvChildProcess {
public:
    // Bits of Launch's pipe mask.
    static constexpr uint32_t PipeInput = 1;
    static constexpr uint32_t PipeOutput = 2;
    static constexpr uint32_t PipeError = 4;
    // Time a launch gives an earlier child, and the destructor the current one.
    static constexpr uint32_t EndWaitMs = 2000;

    TvChildProcess() = default;
    ~TvChildProcess() { WaitAndClose(EndWaitMs, nullptr); }
    TvChildProcess(const TvChildProcess&) = delete;
    TvChildProcess& operator=(const TvChildProcess&) = delete;

    // arguments[0] is the program. Pipes for the standard handles named in the mask; the
    // others get nothing (/dev/null).
    bool Launch(const XStringList& arguments, uint32_t pipeMask);
    // Handles of the caller's; XInvalidHandle means none. The caller keeps and closes them.
    bool LaunchWithHandles(const XStringList& arguments, XFileHandle stdinHandle, XFileHandle stdoutHandle,
                           XFileHandle stderrHandle);
    // travex with "-tvcmd=<file>".
    bool LaunchConverter(const XString& commandFilePath, XFileHandle stdinHandle, XFileHandle stdoutHandle,
                         XFileHandle stderrHandle);
    // travex with the options of an option text.
    bool LaunchConverterText(const XString& optionText, XFileHandle stdinHandle, XFileHandle stdoutHandle,
                             XFileHandle stderrHandle);

    // True without a child, or when it has ended.
    bool HasEnded();
    // Closes the pipe ends, waits up to timeoutMs, then kills. The exit code, or -1 when the
    // child had to be killed or its code could not be read. True when it ended by itself.
    bool WaitAndClose(uint32_t timeoutMs, int* outExitCode);
    void Close() { WaitAndClose(EndWaitMs, nullptr); }

    // "low", "idle", "high" ("realtime" is "high", on purpose), anything else normal.
    void SetPriorityByName(const XString& name);
    // 1 high, 2 low, 3 idle, anything else normal.
    void SetPriorityLevel(int level);
    // At most once a second: when this thread's own priority changed since the last look,
    // the child gets it too.
    void SyncPriority();

    // Runs a program (found on PATH when its name has no separator) and waits for it when
    // `wait` is true.
    static bool RunProgram(const XStringList& arguments, bool wait);
    // Waits without limit: the exit code, -1 when none.
    static int RunProgramExitCode(const XStringList& arguments);

    // travex beside this program, unless converterPath names another.
    XPath ConverterPath() const;

    XFileHandle stdinWrite = XInvalidHandle;
    XFileHandle stdoutRead = XInvalidHandle;
    XFileHandle stderrRead = XInvalidHandle;
    XProcessId process = 0;  // 0: none
    XPath converterPath;
    int schedulingLevel = -1;  // -1: as this thread's

private:
    bool Start(const XStringList& arguments, XFileHandle in, XFileHandle out, XFileHandle err,
               bool endWithParent = true);
    void ClosePipes();
    void ApplyScheduling(int level);

    bool ended = false;
    int exitStatus = -1;
    uint32_t lastSyncTick = 0;
    int lastSchedulingKey = 0;
};
