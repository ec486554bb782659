#pragma once
// Shared by the POSIX backend only: turns errno into the last error, telling a missing
// folder (3) from a missing file (2) as Windows does.
#include "foundation/text/xstring.h"

// Sets the last error from errno for an operation on path; returns false for chaining.
bool XPosixFail(int errnoValue, const char* utf8Path);
