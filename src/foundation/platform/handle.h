#pragma once
// Operating-system handles as the code above the platform layer sees them: one integer type,
// -1 for "none". On POSIX a handle is a file descriptor; on Windows a HANDLE, where the values
// 0, 1 and 2 stand for the standard handles (no kernel handle has those values).
#include <cstdint>

using XFileHandle = intptr_t;
constexpr XFileHandle XInvalidHandle = -1;

// The standard handles, as the console and the driver attach them to XFile.
constexpr XFileHandle XStdInputHandle = 0;
constexpr XFileHandle XStdOutputHandle = 1;
constexpr XFileHandle XStdErrorHandle = 2;
