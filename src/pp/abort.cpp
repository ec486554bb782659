#include "pp/abort.h"

#include "pp/exceptions.h"
#include "pp/waitable.h"

namespace PP {

namespace {
thread_local aborter* t_aborter = nullptr;
}

aborter* currentAborter() { return t_aborter; }

abortScope::abortScope(aborter* a) : m_former(t_aborter) {
    if (a && a->isAborted()) throwFixed<user_abort>();
    t_aborter = a;
}

abortScope::~abortScope() { t_aborter = m_former; }

bool isAborted() { return t_aborter != nullptr && t_aborter->isAborted(); }

void checkAbort() {
    if (isAborted()) throwFixed<user_abort>();
}

XFileHandle currentAbortEvent(XFileHandle fallback) { return t_aborter ? t_aborter->handle() : fallback; }

}  // namespace PP
