#pragma once
// Children that a coordinator starts and watches: standard handles given by the caller, a
// process group of their own (a terminal's Ctrl-C reaches the coordinator only, which then
// decides how its children end), and an end that comes with the coordinator's death.
#include <cstdint>

#include "foundation/platform/handle.h"
#include "foundation/platform/process.h"

struct XChildOptions {
    // Handles the child gets as 0, 1 and 2; XInvalidHandle gives it /dev/null there. No other
    // descriptor reaches the child, inherited ones included.
    XFileHandle standardInput = XInvalidHandle;
    XFileHandle standardOutput = XInvalidHandle;
    XFileHandle standardError = XInvalidHandle;
    bool ownProcessGroup = true;
    // The child is killed when the thread that started it, or the whole process, dies. A child
    // must therefore be started by a thread that outlives it (the one that waits for it).
    bool endWithParent = true;
    // Scheduling the child starts with, so that every thread it makes inherits it: -1 keeps
    // this thread's own, else a level of XSchedulingLevel.
    int schedulingLevel = -1;
};

// Scheduling levels of a child, as the priority names give them.
namespace XSchedulingLevel {
constexpr int Normal = 0;
constexpr int High = 1;  // nice -5 where permitted
constexpr int Low = 2;   // nice 10
constexpr int Idle = 3;  // SCHED_IDLE
}  // namespace XSchedulingLevel

// Starts the program at path (a '/' in it; otherwise it is looked up on PATH) with argv.
// False with the last error when it could not be started, including a failed exec.
bool XStartChild(const char* path, const char* const* argv, const XChildOptions& options, XProcessId* pid);

// Without waiting: true when the child has ended (it is reaped then and its status stored as
// XWaitProcess gives it).
bool XChildEnded(XProcessId pid, int* status);

// Applies a scheduling level to a running child (its main thread on Linux). Raising it may be
// refused without privileges; false then.
bool XSetChildScheduling(XProcessId pid, int level);
// The calling thread's scheduling as one comparable number (policy and nice), and the level
// that comes nearest to it.
int XCurrentSchedulingKey();
int XSchedulingLevelOfKey(int key);

// Processors this process may run on.
int XProcessorCount();

// Termination requests (SIGINT, SIGTERM, SIGHUP) go to `handler` on a thread of their own,
// with the count of requests so far, instead of ending the process. Call before any other
// thread starts, so that they all inherit the blocked mask.
using XTerminationHandler = void (*)(int count, void* context);
bool XWatchTerminationRequests(XTerminationHandler handler, void* context);
