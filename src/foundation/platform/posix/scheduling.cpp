// Priorities map to nice values: the calling thread's own (Linux keeps one per thread) and the
// whole process's for a class. Without privileges a value below the start one is refused.
#include "foundation/platform/scheduling.h"

#include <pthread.h>
#include <sched.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>

#include "foundation/platform/last_error.h"

namespace {

int NiceOfThreadPriority(int priority) {
    if (priority <= -15) return 19;
    if (priority >= 2) return -10;
    switch (priority) {
        case -2:
            return 15;
        case -1:
            return 10;
        case 1:
            return -5;
        default:
            return 0;
    }
}

int NiceOfClass(uint32_t priorityClass) {
    switch (priorityClass) {
        case 64:
            return 19;
        case 16384:
            return 5;
        case 32768:
            return -5;
        case 128:
            return -10;
        case 256:
            return -20;
        default:
            return 0;
    }
}

}  // namespace

bool XSetCurrentThreadPriority(int priority) {
    const auto tid = static_cast<id_t>(syscall(SYS_gettid));
    if (setpriority(PRIO_PROCESS, tid, NiceOfThreadPriority(priority)) != 0) {
        XSetLastErrorFromErrno(errno);
        return false;
    }
    return true;
}

bool XSetProcessPriorityClass(uint32_t priorityClass) {
    // PRIO_PGRP of our own process group would touch others; the process id names the main
    // thread only on Linux, so the class is applied to the process's main thread id.
    if (setpriority(PRIO_PROCESS, static_cast<id_t>(getpid()), NiceOfClass(priorityClass)) != 0) {
        XSetLastErrorFromErrno(errno);
        return false;
    }
    return true;
}

bool XSetCurrentThreadAffinity(uint64_t mask) {
    cpu_set_t set;
    CPU_ZERO(&set);
    for (int cpu = 0; cpu < 64; ++cpu) {
        if (mask & (1ull << cpu)) CPU_SET(cpu, &set);
    }
    const int error = pthread_setaffinity_np(pthread_self(), sizeof set, &set);
    if (error != 0) {
        XSetLastErrorFromErrno(error);
        return false;
    }
    return true;
}
