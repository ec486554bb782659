#pragma once
// Scheduling of this process and its calling thread: priority and processor binding, in the
// Windows numbering that option values and plug-ins speak.
#include <cstdint>

// Thread priorities: -15 idle, -2 lowest, -1 below normal, 0 normal, 1 above normal, 2 highest.
// Raising above the start value may be refused without privileges; false then.
bool XSetCurrentThreadPriority(int priority);

// Priority classes: 64 idle, 16384 below normal, 32 normal, 32768 above normal, 128 high.
bool XSetProcessPriorityClass(uint32_t priorityClass);

// Binds the calling thread to the processors of the mask (bit n: processor n).
bool XSetCurrentThreadAffinity(uint64_t mask);
