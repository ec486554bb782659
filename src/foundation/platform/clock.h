#pragma once
// Time as the product measures it: a monotonic millisecond tick, sleeping, and the current
// time in the Windows file-time unit (100 ns since 1601-01-01 UTC).
#include <cstdint>

uint64_t XGetTickCount64();
// The low 32 bits, which wrap after 49.7 days like the Windows tick.
uint32_t XGetTickCount();
void XSleep(uint32_t milliseconds);
uint64_t XGetSystemTimeAsFileTime();

// Conversion between Unix seconds/nanoseconds and the file-time unit.
constexpr uint64_t XFileTimeUnixEpoch = 116444736000000000ull;  // 1970-01-01 in file-time units
constexpr uint64_t XUnixToFileTime(int64_t seconds, int64_t nanoseconds) {
    return XFileTimeUnixEpoch + static_cast<uint64_t>(seconds) * 10000000ull +
           static_cast<uint64_t>(nanoseconds) / 100u;
}
