// The Minidump file of a fault on Windows: the system's own writer, with the memory around the
// registers and stack words added through its memory callback.
#include "crash/minidump_writer.h"

#include "crash/memory_ranges.h"
#include "foundation/platform/system_dump.h"

namespace {

int NextRange(void* raw, int callbackType, uint64_t* base, uint32_t* size) {
    auto* state = static_cast<XMemoryCallbackState*>(raw);
    XMemoryRange range;
    const int more = XMemoryRangeCallback(*state, callbackType, range);
    *base = range.base;
    *size = range.size;
    return more;
}

XMemoryCallbackState g_ranges;

}  // namespace

void XPrepareMinidump() {}

// The writer thread and the time stamp are the system writer's own business.
bool XWriteMinidump(int fd, const XFault& fault, uint32_t, uint32_t) {
    g_ranges = XMemoryCallbackState();
    g_ranges.context = &fault.context;
    return XSysWriteMiniDump(fd, NextRange, &g_ranges);
}
