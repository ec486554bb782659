#pragma once
// Which memory a dump keeps beside the stacks: 1024 bytes around what each register and each
// stack word near the stack pointer points at, so that a debugger can read what they refer to.
#include <cstdint>

#include "foundation/platform/faults.h"

// The callback type that asks for memory ranges; others leave the state alone.
constexpr int XMemoryCallbackType = 5;
constexpr int XCrashRegisterCount = 16;

struct XMemoryCallbackState {
    int32_t index = 0;  // what to visit next
    const XCpuContext* context = nullptr;
};

struct XMemoryRange {
    uint64_t base = 0;
    uint32_t size = 0;
};

// Register i in the order Rax, Rbx, Rcx, Rdx, Rsi, Rdi, Rsp, Rbp, R8 to R15.
uint64_t XCrashRegister(const XCpuContext& context, int i);

// 1 with the next range in output (or for another callback type, with nothing); 0 when the
// ranges are at their end. Every read is guarded, so a bad address ends or skips, never
// faults. Async-signal-safe.
int XMemoryRangeCallback(XMemoryCallbackState& state, int callbackType, XMemoryRange& output);
