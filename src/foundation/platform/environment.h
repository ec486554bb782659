#pragma once
// Environment variables and the process's identity.
#include <cstdint>

#include "foundation/text/xstring.h"

// The value of an environment variable; false (last error 203) when it is not set.
bool XGetEnvironmentVariable(const char16_t* name, XString& value);
uint32_t XGetCurrentProcessId();
