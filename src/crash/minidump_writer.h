#pragma once
// The Minidump file of a fault. Both calls work on static storage; XWriteMinidump is
// async-signal-safe and stops the process's other threads for good.
#include <cstdint>

#include "foundation/platform/faults.h"

// Touches the writer's storage once, at install time.
void XPrepareMinidump();
// Writes the dump to an open, empty file. writerThread is a thread that writes for the
// faulting one and is left out (0: none). False when a write failed; the file then holds
// what got out.
bool XWriteMinidump(int fd, const XFault& fault, uint32_t writerThread, uint32_t timeStamp);
