#pragma once
// Child processes and the life of this one, for the tools, the debug viewer and the tests.
#include <cstdint>

using XProcessId = int32_t;

// Starts argv[0] (searched on PATH when it has no '/') with argv; the child gets the default
// signal handling and only the descriptors 0 to 2. False with the last error on failure.
bool XSpawnProcess(const char* const* argv, XProcessId* pid);
// Waits for the child's end: its exit status, or 128 plus the signal that ended it; -1 on
// failure. With timeoutMs not XInfinite, -2 when it is still running at the end of the time.
int XWaitProcess(XProcessId pid, uint32_t timeoutMs = 0xFFFFFFFFu);
// Ends a child: hard (SIGKILL) or a request (SIGTERM).
bool XKillProcess(XProcessId pid, bool hard);

// Runs argv as a child and waits for it; a termination request (SIGTERM, SIGINT, SIGHUP) to
// this process is passed on to the child. The child's status as XWaitProcess gives it, 127
// when it could not be started.
int XRunChildPassingSignals(const char* const* argv);
// From here on a termination request to this process waits for XWaitForTerminationRequest or
// XRunChildPassingSignals instead of ending it; called before the process shows that it is
// ready (say, by holding a named object), so that no request falls between the two.
void XListenForTerminationRequests();
// Blocks until this process is asked to end (SIGTERM, SIGINT, SIGHUP); returns the signal.
int XWaitForTerminationRequest();

// Ends the process at once with the code, without running exit handlers (other threads may
// still be running on the process's data).
[[noreturn]] void XExitProcess(int code);
