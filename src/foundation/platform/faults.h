#pragma once
// Fatal faults: the hook that catches them, and the few services a fault handler may use in a
// damaged process. Everything a handler may call is async-signal-safe: no allocation, no lock,
// only system calls on storage that was prepared at install time or is on the stack.
#include <cstddef>
#include <cstdint>

#include "foundation/text/xstring.h"

// The x86-64 registers of a thread, in the platform's neutral form.
struct XCpuContext {
    uint64_t rax, rbx, rcx, rdx, rsi, rdi, rsp, rbp;
    uint64_t r8, r9, r10, r11, r12, r13, r14, r15;
    uint64_t rip, eflags;
    uint16_t cs, ds, es, fs, gs, ss;
    uint32_t mxcsr;
    bool hasFloat;
    alignas(16) uint8_t floatSave[512];  // the FXSAVE image
};

struct XFault {
    int signal = 0;
    int code = 0;          // the reason within the signal (si_code)
    uint64_t address = 0;  // the faulting address (si_addr)
    uint32_t threadId = 0;
    bool stackOverflow = false;  // a fault just below the stack pointer
    XCpuContext context{};
};

// Called on the faulting thread, on a stack of its own. Returning passes the fault on to the
// system's default action (the process ends with the signal).
using XFaultHandler = void (*)(const XFault& fault);

// Catches SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGABRT and SIGSYS on an alternate stack of the
// calling thread, so that a stack overflow is caught too. Prepares what the services below
// need. False with the last error when the system refuses.
bool XInstallFaultHook(XFaultHandler handler);

// An alternate stack for the calling thread once the hook is installed, so that a stack
// overflow on it is caught too; null before. Released by the thread before it ends.
void* XPrepareThreadFaultStack();
void XReleaseThreadFaultStack(void* stack);

// Whether a debugger (any ptrace tracer) is attached now.
bool XDebuggerAttached();
uint32_t XCurrentThreadId();

// Copies size bytes of this process's memory; false, not a second fault, when any of them
// can't be read.
bool XReadOwnMemory(uint64_t address, void* buffer, size_t size);
// The text of /proc/self/maps, cut at capacity; its length.
size_t XReadMemoryMap(char* buffer, size_t capacity);

struct XStoppedThread {
    uint32_t id;
    XCpuContext context;
};
// Stops every thread but the calling one and `also`, each where it is, for the rest of the
// process's life; fills the registers of those that answered within the time. Their count.
int XStopOtherThreads(XStoppedThread* threads, int capacity, uint32_t also, uint32_t milliseconds);

// Runs entry(argument) on a new thread with a stack prepared at install time, waits for it to
// start, then for its end. For a thread whose own stack is used up. The new thread's id is
// known to entry through XCurrentThreadId.
bool XRunOnHelperThread(void (*entry)(void*), void* argument);

// Starts argv[0] with argv as a process of its own, with the standard handles only and no
// signal blocked; does not wait.
bool XStartDetachedProcess(const char* const* argv);

// Ends the process at once, without exit handlers of any kind.
[[noreturn]] void XTerminateProcess(int code);

// Async-signal-safe file calls for a handler: -1 on failure.
int XFaultCreateFile(const char* path);
bool XFaultWriteAt(int fd, const void* data, size_t size, uint64_t offset);
void XFaultCloseFile(int fd);
void XFaultDeleteFile(const char* path);

// Facts about the system for a dump, read at install time.
struct XSystemFacts {
    uint32_t processors;
    uint32_t major, minor, build;  // of the kernel release
    char release[128];             // the kernel's release and version text
    uint32_t processId;
};
const XSystemFacts& XGetSystemFacts();

// Temporary files that a fault removes before the process ends, so that a crash leaves no
// half-written file behind: at most XFaultCleanupSlots names at once. Any thread may add and
// forget; XRemoveFilesOfFault is for the handler.
constexpr int XFaultCleanupSlots = 32;
bool XRemoveOnFault(const XString& path);
void XForgetOnFault(const XString& path);
void XRemoveFilesOfFault();
