#include "crash/memory_ranges.h"

namespace {

constexpr int32_t WalkStart = 4096;  // the index at which the stack walk begins
constexpr int32_t WalkEnd = 5120;    // WalkStart plus the 1024 bytes of stack looked at
constexpr uint64_t LowestPointer = 4096;
constexpr uint64_t RangeBefore = 512;
constexpr uint32_t RangeSize = 1024;

}  // namespace

uint64_t XCrashRegister(const XCpuContext& c, int i) {
    const uint64_t registers[XCrashRegisterCount] = {c.rax, c.rbx, c.rcx, c.rdx, c.rsi, c.rdi, c.rsp, c.rbp,
                                                     c.r8,  c.r9,  c.r10, c.r11, c.r12, c.r13, c.r14, c.r15};
    return i >= 0 && i < XCrashRegisterCount ? registers[i] : 0;
}

int XMemoryRangeCallback(XMemoryCallbackState& state, int callbackType, XMemoryRange& output) {
    if (callbackType != XMemoryCallbackType) return 1;
    if (!state.context) return 0;
    uint64_t address = 0;
    if (state.index < XCrashRegisterCount) {
        address = XCrashRegister(*state.context, state.index);
        ++state.index;
    } else {
        if (state.index < WalkStart) state.index = WalkStart;
        const uint64_t top = state.context->rsp & ~uint64_t{7};
        bool found = false;
        while (!found && state.index <= WalkEnd) {
            uint64_t value = 0;
            if (!XReadOwnMemory(top + static_cast<uint64_t>(state.index - WalkStart), &value, sizeof value)) return 0;
            state.index += 4;
            uint64_t target = 0;
            found = value >= LowestPointer && XReadOwnMemory(value, &target, sizeof target);
            if (found) address = value;
        }
        if (!found) return 0;
    }
    output.base = address >= RangeBefore ? address - RangeBefore : address;
    output.size = RangeSize;
    return 1;
}
