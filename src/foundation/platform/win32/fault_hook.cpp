// Fatal faults on Windows: the unhandled-exception filter of the process, and an abort turned
// into an exception so that it reaches the same filter. The exception's pointers are kept for
// the system's dump writer.
#include <windows.h>

#include <csignal>

#include "foundation/platform/faults.h"
#include "foundation/platform/win32/fault_state.h"

namespace {

XFaultHandler g_handler = nullptr;
XFault g_fault;  // built in the filter; no allocation in a damaged process

constexpr DWORD AbortException = 0xE0000001u;  // a private code for abort()

int SignalOf(DWORD code) {
    switch (code) {
        case EXCEPTION_ILLEGAL_INSTRUCTION:
        case EXCEPTION_PRIV_INSTRUCTION:
            return SIGILL;
        case EXCEPTION_INT_DIVIDE_BY_ZERO:
        case EXCEPTION_INT_OVERFLOW:
        case EXCEPTION_FLT_DIVIDE_BY_ZERO:
        case EXCEPTION_FLT_INVALID_OPERATION:
        case EXCEPTION_FLT_OVERFLOW:
            return SIGFPE;
        case AbortException:
            return SIGABRT;
        default:
            return SIGSEGV;
    }
}

void CopyContext(const CONTEXT& c, XCpuContext& out) {
    out.rax = c.Rax, out.rbx = c.Rbx, out.rcx = c.Rcx, out.rdx = c.Rdx;
    out.rsi = c.Rsi, out.rdi = c.Rdi, out.rsp = c.Rsp, out.rbp = c.Rbp;
    out.r8 = c.R8, out.r9 = c.R9, out.r10 = c.R10, out.r11 = c.R11;
    out.r12 = c.R12, out.r13 = c.R13, out.r14 = c.R14, out.r15 = c.R15;
    out.rip = c.Rip, out.eflags = c.EFlags;
    out.cs = c.SegCs, out.ds = c.SegDs, out.es = c.SegEs, out.fs = c.SegFs, out.gs = c.SegGs, out.ss = c.SegSs;
    out.mxcsr = c.MxCsr;
    out.hasFloat = (c.ContextFlags & CONTEXT_FLOATING_POINT) == CONTEXT_FLOATING_POINT;
    static_assert(sizeof out.floatSave == sizeof c.FltSave, "the FXSAVE image");
    if (out.hasFloat) memcpy(out.floatSave, &c.FltSave, sizeof out.floatSave);
}

LONG WINAPI Filter(EXCEPTION_POINTERS* pointers) {
    // A developer at a debugger sees the exception as usual.
    if (IsDebuggerPresent() || !g_handler) return EXCEPTION_CONTINUE_SEARCH;
    const EXCEPTION_RECORD& record = *pointers->ExceptionRecord;
    g_fault = XFault();
    g_fault.code = static_cast<int>(record.ExceptionCode);
    g_fault.signal = SignalOf(record.ExceptionCode);
    g_fault.stackOverflow = record.ExceptionCode == EXCEPTION_STACK_OVERFLOW;
    g_fault.address = record.ExceptionCode == EXCEPTION_ACCESS_VIOLATION && record.NumberParameters >= 2
                          ? record.ExceptionInformation[1]
                          : reinterpret_cast<uint64_t>(record.ExceptionAddress);
    g_fault.threadId = GetCurrentThreadId();
    CopyContext(*pointers->ContextRecord, g_fault.context);
    XSetFaultPointers(pointers, g_fault.threadId);
    g_handler(g_fault);
    return EXCEPTION_CONTINUE_SEARCH;
}

void OnAbort(int) {
    // The run-time's abort ends the process without an exception: make it one.
    RaiseException(AbortException, EXCEPTION_NONCONTINUABLE, 0, nullptr);
}

}  // namespace

bool XInstallFaultHook(XFaultHandler handler) {
    g_handler = handler;
    // Room for the filter to run on a thread whose stack has overflowed.
    ULONG guarantee = 64 * 1024;
    SetThreadStackGuarantee(&guarantee);
    SetUnhandledExceptionFilter(Filter);
    signal(SIGABRT, OnAbort);
    // No error-reporting dialog.
    SetErrorMode(GetErrorMode() | SEM_NOGPFAULTERRORBOX | SEM_FAILCRITICALERRORS);
    XPrepareFaultServices();
    return true;
}

void* XPrepareThreadFaultStack() {
    if (!g_handler) return nullptr;
    ULONG guarantee = 64 * 1024;
    SetThreadStackGuarantee(&guarantee);
    return nullptr;
}

void XReleaseThreadFaultStack(void*) {}

bool XDebuggerAttached() { return IsDebuggerPresent() != 0; }

uint32_t XCurrentThreadId() { return GetCurrentThreadId(); }
