#include "foundation/platform/clock.h"

#include <windows.h>

// The performance counter, in milliseconds: the system tick moves in steps of 15.6 ms, too
// coarse for the waits that are measured against it.
uint64_t XGetTickCount64() {
    static const uint64_t frequency = [] {
        LARGE_INTEGER f{};
        QueryPerformanceFrequency(&f);
        return static_cast<uint64_t>(f.QuadPart);
    }();
    LARGE_INTEGER now{};
    QueryPerformanceCounter(&now);
    const uint64_t counts = static_cast<uint64_t>(now.QuadPart);
    return counts / frequency * 1000u + counts % frequency * 1000u / frequency;
}

uint32_t XGetTickCount() { return static_cast<uint32_t>(XGetTickCount64()); }

void XSleep(uint32_t milliseconds) { Sleep(milliseconds); }

uint64_t XGetSystemTimeAsFileTime() {
    FILETIME ft{};
    GetSystemTimeAsFileTime(&ft);
    return (static_cast<uint64_t>(ft.dwHighDateTime) << 32) | ft.dwLowDateTime;
}
