#pragma once
// Absolute deadlines on the monotonic clock, for waits that may wake early and wait again.
#include <time.h>

#include <cstdint>

// The monotonic time milliseconds from now.
inline timespec XDeadlineAfter(uint32_t milliseconds) {
    timespec deadline{};
    clock_gettime(CLOCK_MONOTONIC, &deadline);
    deadline.tv_sec += milliseconds / 1000u;
    deadline.tv_nsec += static_cast<long>(milliseconds % 1000u) * 1000000L;
    if (deadline.tv_nsec >= 1000000000L) {
        deadline.tv_sec += 1;
        deadline.tv_nsec -= 1000000000L;
    }
    return deadline;
}

// Time left to a deadline; false when it has passed.
inline bool XTimeLeft(const timespec& deadline, timespec& left) {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    left.tv_sec = deadline.tv_sec - now.tv_sec;
    left.tv_nsec = deadline.tv_nsec - now.tv_nsec;
    if (left.tv_nsec < 0) {
        left.tv_sec -= 1;
        left.tv_nsec += 1000000000L;
    }
    return left.tv_sec >= 0 && (left.tv_sec > 0 || left.tv_nsec > 0);
}
