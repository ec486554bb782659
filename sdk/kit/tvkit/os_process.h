#pragma once
// The kit's process services: shared libraries beside the plug-in, time and sleep, one backend
// per system like the file layer. Failures return false with the reason in LastError /
// LastErrorText.
#include <cstddef>
#include <string>

#include "tvkit/os_error.h"

namespace tvkit::os {

// The folder of the plug-in that holds this code (links resolved), ending in a separator;
// empty when the system can't tell.
std::u16string ModuleFolder();

// A shared library loaded for as long as this lives.
class Library {
public:
    Library() = default;
    ~Library() { Close(); }
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;

    // The reason of a failure is the loader's own text (a missing file, an unresolved name).
    bool Open(const std::u16string& path);
    void Close();
    bool IsOpen() const { return handle != nullptr; }
    // The address of an export, or null.
    void* Symbol(const char* name) const;

private:
    void* handle = nullptr;
};

void SleepMs(unsigned ms);
// Seconds on a clock that never goes back, from an arbitrary start.
double MonotonicSeconds();
// CPU time of the whole process, all threads.
double ProcessCpuSeconds();
// Memory for a large buffer filled bit by bit, its pages arriving as they are first touched or
// by PopulateMemory; null when the system refuses. Give it back with FreeMemory and the size.
void* ReserveMemory(size_t bytes);
// Puts the pages of part of reserved memory in place by one call, rather than by a fault each
// as they are first written; where the system can't, they still arrive on first touch.
void PopulateMemory(void* memory, size_t bytes);
void FreeMemory(void* memory, size_t bytes);
// Puts the calling thread at the lowest priority (Linux: the idle class), for work that should
// use only time the rest of the process leaves; false when the system refuses.
bool LowerThreadToIdle();

}  // namespace tvkit::os
