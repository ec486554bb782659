#pragma once
// The cancellation test of every read, write and wait loop. A thread may have an aborter in
// its slot; once that aborter fires, checkAbort throws user_abort on that thread, and every
// blocking wait of the library wakes on it.
#include "foundation/platform/handle.h"

namespace PP {

class aborter;

// The calling thread's aborter, or null.
aborter* currentAborter();

// Installs an aborter for a block of code and restores the former one at its end. An aborter
// that has already fired throws user_abort at once and installs nothing. A null aborter
// installs "none": the block runs without abort tests.
class abortScope {
public:
    explicit abortScope(aborter* a);
    explicit abortScope(aborter& a) : abortScope(&a) {}
    abortScope(const abortScope&) = delete;
    abortScope& operator=(const abortScope&) = delete;
    ~abortScope();

private:
    aborter* m_former;
};

// Throws user_abort when the thread's aborter has fired.
void checkAbort();
bool isAborted();
// The event of the thread's aborter, or `fallback` when the thread has none.
XFileHandle currentAbortEvent(XFileHandle fallback = XInvalidHandle);

}  // namespace PP
