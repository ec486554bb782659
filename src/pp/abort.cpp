#include "pp/abort.h"

#include "pp/exceptions.h"

namespace PP {

// No aborter can be installed yet, so no thread is ever aborted. The aborter, when it comes,
// answers here and every loop that calls checkAbort follows without change.
bool isAborted() { return false; }

void checkAbort() {
  if (isAborted()) throwFixed<user_abort>();
}

}  // namespace PP
