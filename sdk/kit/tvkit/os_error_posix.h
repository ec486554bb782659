#pragma once
// Shared by the kit's POSIX backends only: how a failure is recorded for LastError.
#include <string>

namespace tvkit::os::posix {

// Records errno as the last failure; returns false so that a call can end with it.
bool Failed();
// Records error, with a text the system gave beside it (empty: the text of error).
bool FailedWith(int error, std::u16string text = {});

}  // namespace tvkit::os::posix
