#pragma once
// Why the kit's last operating-system call failed. Every call of the kit's OS layer that can
// fail returns false and leaves its reason here, for the calling thread, until the next failure.
#include <string>

namespace tvkit::os {

// The system's error number of the last failure on this thread, and its text.
int LastError();
std::u16string LastErrorText();
// Whether the last failure was a name that is taken already.
bool LastErrorIsExists();

}  // namespace tvkit::os
