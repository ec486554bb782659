#pragma once
// The cancellation test of every read, write and wait loop. A thread may have an aborter;
// once it fires, checkAbort throws user_abort on that thread.
namespace PP {

void checkAbort();
bool isAborted();

}  // namespace PP
