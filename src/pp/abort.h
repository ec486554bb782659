#pragma once
// The cancellation test of every read, write and wait loop. A thread may have an aborter;
// once it fires, checkAbort throws user_abort on that thread.
namespace PP {

void checkAbort();
bool isAborted();

// How the aborter service answers "is this thread's aborter set?". It installs its probe once
// at start-up; until then no thread counts as aborted and checkAbort returns.
using abortProbeFn = bool (*)();
void setAbortProbe(abortProbeFn probe);

}  // namespace PP
