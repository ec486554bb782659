#include "foundation/platform/scheduling.h"

#include <windows.h>

bool XSetCurrentThreadPriority(int priority) { return SetThreadPriority(GetCurrentThread(), priority) != 0; }

bool XSetProcessPriorityClass(uint32_t priorityClass) {
    return SetPriorityClass(GetCurrentProcess(), priorityClass) != 0;
}

bool XSetCurrentThreadAffinity(uint64_t mask) {
    return SetThreadAffinityMask(GetCurrentThread(), static_cast<DWORD_PTR>(mask)) != 0;
}
