#pragma once
// Where the run's text goes: the console writer, and the internal error and information pipes
// that plug-ins and the driver write into, drained by the output thread (OutputPump). Text on
// the error pipe fails the run; controller lines go out only in command-file mode.
#include <atomic>
#include <functional>

#include "driver/console_writer.h"
#include "foundation/files/xpipe.h"
#include "foundation/sync/xevent.h"
#include "foundation/sync/xthread.h"
#include "foundation/text/xstring.h"
#include "tonvale/plugin.h"

class TvOutputRoutes {
public:
    // failRun is called, on the output thread, for every piece of error text.
    explicit TvOutputRoutes(std::function<void()> failRun) : failRun(std::move(failRun)) {}
    TvOutputRoutes(const TvOutputRoutes&) = delete;
    TvOutputRoutes& operator=(const TvOutputRoutes&) = delete;

    TvConsoleWriter& Console() { return console; }
    // Command-file mode sends information text raw to standard output; silent drops it.
    void SetMode(bool commandFile, bool quiet) {
        commandFileMode = commandFile;
        silent = quiet;
    }

    // Makes both pipes and puts their write ends into the error and information sinks of
    // logs. A pipe that can't be made leaves its sink at 0, which writers take as none.
    bool CreatePipes(PluginLogHandles& logs);
    void StartThread();
    // Has the output thread drain both pipes now and waits for it, so that every report made
    // so far has counted before the run's result is read.
    void Flush();
    // Stops the output thread, which drains both pipes to their end first.
    void Stop() { outputThread.Stop(true); }

    void PrintLine(const XString& text, bool withLineEnd) { console.PrintLine(text, withLineEnd); }
    void ControllerLine(const XString& text) {
        if (commandFileMode) console.PrintLine(text, true);
    }
    // One pass over both pipes; true when any text came.
    bool Drain();

private:
    std::function<void()> failRun;
    TvConsoleWriter console;
    std::atomic<bool> commandFileMode{false};
    std::atomic<bool> silent{false};
    XPipe errorPipe;
    XPipe infoPipe;
    XThread outputThread;  // OutputPump
    XEvent drainNow;       // asks OutputPump for a pass at once
    XEvent drainDone;      // its answer
};
