#include "foundation/platform/clock.h"

#include <windows.h>

uint64_t XGetTickCount64() { return GetTickCount64(); }

uint32_t XGetTickCount() { return static_cast<uint32_t>(GetTickCount64()); }

void XSleep(uint32_t milliseconds) { Sleep(milliseconds); }

uint64_t XGetSystemTimeAsFileTime() {
    FILETIME ft{};
    GetSystemTimeAsFileTime(&ft);
    return (static_cast<uint64_t>(ft.dwHighDateTime) << 32) | ft.dwLowDateTime;
}
