#pragma once
// XThread: a thread that owns a stop event (the XEvent it derives from). The callback gets its
// own handle on that event and is expected to end soon after it is set. A thread that does
// not end within stopWait is parked rather than left to run on freed data.
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include "foundation/platform/threads.h"
#include "foundation/sync/xevent.h"

using XThreadFunction = void (*)(XEvent& stop, void* argument);

class XThread : public XEvent {
public:
    XThread() = default;
    // Stops (as Stop(true)) and closes.
    ~XThread();
    XThread(const XThread&) = delete;
    XThread& operator=(const XThread&) = delete;

    // Ends any earlier thread of this object first. With `suspended` the thread waits until
    // Resume or Stop. stopWait: milliseconds Stop waits; 0 waits without limit.
    bool Start(XThreadFunction function, void* argument, bool suspended = false, uint32_t stopWait = 0);
    // The callable is copied; an exception it throws ends the thread quietly.
    bool Start(std::function<void(XEvent&)> function, bool suspended = false, uint32_t stopWait = 0);
    void Resume();
    // Sets the stop event; with `wait`, waits as stopWait says and parks a thread that does
    // not end in time.
    void Stop(bool wait = true);
    // True with no thread, or when it ends within the time.
    bool IsFinished(uint32_t milliseconds = 0);
    // Closes thread and event without stopping; the thread goes on running.
    void Release();

    XThreadHandle thread = nullptr;
    uint32_t stopWait = 0;
    bool suspended = false;
};

// Threads of the process that nobody joins. Once WaitAll has begun, Run ends the process,
// since the process is going down.
class XDetachedThreads {
public:
    static void Run(std::function<void()> function);
    // Waits for all; a time-out ends the process with -1.
    static void WaitAll(uint32_t milliseconds);

private:
    static std::mutex& Section();
    static std::vector<std::unique_ptr<XThread>>& List();
    static bool closing;
};

// Names a thread for debuggers; the second form names the calling thread.
void XSetThreadName(const XThread& thread, const char16_t* text);
void XSetThreadName(const char16_t* text);
