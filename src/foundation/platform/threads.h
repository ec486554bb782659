#pragma once
// Threads as the layer gives them: start (optionally held), wait with a time-out, hold a thread
// that will not stop, and name it.
#include <cstdint>

struct XThreadControl;
using XThreadHandle = XThreadControl*;

using XThreadEntry = void (*)(void* argument);

// Starts entry(argument) on a new thread with the default stack. With `held` the thread waits
// before calling entry until XResumeThread. Null on failure.
XThreadHandle XCreateThread(XThreadEntry entry, void* argument, bool held);
// Lets a held thread go, or wakes one parked by XSuspendThread.
bool XResumeThread(XThreadHandle thread);
// Parks a running thread: it stops where it is until XResumeThread. Meant for a thread that
// does not react to its stop request and must not run on.
bool XSuspendThread(XThreadHandle thread);
// True when the thread has returned from its entry within the time (XInfinite: no limit).
bool XWaitThread(XThreadHandle thread, uint32_t milliseconds);
// Gives up the handle; the thread itself goes on running when it has not ended.
void XCloseThread(XThreadHandle thread);

// Names a thread for debuggers and tools (cut to what the system keeps); null: the caller.
bool XPlatformSetThreadName(XThreadHandle thread, const char* utf8Name);
