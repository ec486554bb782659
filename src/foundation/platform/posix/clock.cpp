#include "foundation/platform/clock.h"

#include <cerrno>
#include <ctime>

uint64_t XGetTickCount64() {
    timespec ts{};
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<uint64_t>(ts.tv_sec) * 1000u + static_cast<uint64_t>(ts.tv_nsec) / 1000000u;
}

uint32_t XGetTickCount() { return static_cast<uint32_t>(XGetTickCount64()); }

void XSleep(uint32_t milliseconds) {
    timespec ts{static_cast<time_t>(milliseconds / 1000u), static_cast<long>(milliseconds % 1000u) * 1000000L};
    // A signal cuts the sleep short; sleep the rest.
    while (nanosleep(&ts, &ts) != 0 && errno == EINTR) {}
}

uint64_t XGetSystemTimeAsFileTime() {
    timespec ts{};
    clock_gettime(CLOCK_REALTIME, &ts);
    return XUnixToFileTime(ts.tv_sec, ts.tv_nsec);
}
