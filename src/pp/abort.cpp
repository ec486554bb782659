#include "pp/abort.h"

#include <atomic>

#include "pp/exceptions.h"

namespace PP {

namespace {
std::atomic<abortProbeFn> g_probe{nullptr};
}

void setAbortProbe(abortProbeFn probe) { g_probe.store(probe, std::memory_order_release); }

bool isAborted() {
  abortProbeFn probe = g_probe.load(std::memory_order_acquire);
  return probe != nullptr && probe();
}

void checkAbort() {
  if (isAborted()) throwFixed<user_abort>();
}

}  // namespace PP
