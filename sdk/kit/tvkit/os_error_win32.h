#pragma once
// Shared by the kit's Windows backends only: how a failure is recorded for LastError.
#include <cstdint>
#include <string>

namespace tvkit::os::win32 {

// Records GetLastError() as the last failure; returns false so that a call can end with it.
bool Failed();
// Records error (a system error number), with a text to give instead of the system's own
// (empty: the system's).
bool FailedWith(uint32_t error, std::u16string text = {});

}  // namespace tvkit::os::win32
