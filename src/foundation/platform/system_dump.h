#pragma once
// The system's own Minidump writer, where the system has one (Windows): it writes the dump of
// the fault that the hook is handling, and asks `ranges` for memory to add beside the stacks
// and modules. Not available on POSIX, where the dump is laid down by the crash writer itself.
#include <cstdint>

// Called for each callback of the writer: 1 to go on (with the range in base and size when
// the callback type asks for memory), 0 when there are no more ranges.
using XDumpRangeSource = int (*)(void* state, int callbackType, uint64_t* base, uint32_t* size);

// Writes into the open, empty file (as from XFaultCreateFile) with the calling thread as the
// writer and the exception of the current fault. False when the system's writer failed.
bool XSysWriteMiniDump(int file, XDumpRangeSource ranges, void* state);
