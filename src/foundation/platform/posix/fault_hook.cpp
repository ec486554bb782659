// The fatal-signal hook. The handlers run on an alternate stack and make only system calls on
// storage prepared at install time; a second fault inside them ends the process with the
// system's default action, since every signal is blocked while they run.
#include <fcntl.h>
#include <linux/futex.h>
#include <sched.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <ucontext.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstring>
#include <ctime>

#include "foundation/platform/faults.h"
#include "foundation/platform/last_error.h"

namespace {

constexpr int FatalSignals[] = {SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGABRT, SIGSYS};
constexpr size_t AltStackSize = 256 * 1024;
constexpr size_t ThreadAltStackSize = 128 * 1024;
constexpr size_t HelperStackSize = 512 * 1024;
// A fault this close below or above the stack pointer is taken for a stack overflow.
constexpr uint64_t OverflowReach = 64 * 1024;
constexpr int MaxStopped = 256;
constexpr int TouchedSlots = 16;

XFaultHandler g_handler = nullptr;
std::atomic<int> g_faulting{0};
void* g_helperStack = nullptr;

// The threads that answered a stop request, filled by each thread's own handler.
struct StopSlot {
    std::atomic<uint32_t> ready{0};
    XStoppedThread thread{};
};
// constinit: zero pages from the start, not a loop at process start that touches every one.
constinit StopSlot g_slots[MaxStopped];
std::atomic<int> g_slotsUsed{0};
std::atomic<int> g_answered{0};
std::atomic<uint32_t> g_stopping{0};

int StopSignal() { return SIGRTMAX - 4; }

void FutexWait(volatile void* word, uint32_t value) {
    timespec slice{0, 50 * 1000 * 1000};
    syscall(SYS_futex, word, FUTEX_WAIT, value, &slice, nullptr, 0);
}

void FutexWake(volatile void* word) { syscall(SYS_futex, word, FUTEX_WAKE, INT_MAX, nullptr, nullptr, 0); }

uint64_t NowMs() {
    timespec t{};
    clock_gettime(CLOCK_MONOTONIC, &t);
    return static_cast<uint64_t>(t.tv_sec) * 1000u + static_cast<uint64_t>(t.tv_nsec) / 1000000u;
}

void ContextOf(const void* raw, XCpuContext& c) {
    const auto* uc = static_cast<const ucontext_t*>(raw);
    const greg_t* g = uc->uc_mcontext.gregs;
    auto reg = [g](int i) { return static_cast<uint64_t>(g[i]); };
    c.rax = reg(REG_RAX);
    c.rbx = reg(REG_RBX);
    c.rcx = reg(REG_RCX);
    c.rdx = reg(REG_RDX);
    c.rsi = reg(REG_RSI);
    c.rdi = reg(REG_RDI);
    c.rsp = reg(REG_RSP);
    c.rbp = reg(REG_RBP);
    c.r8 = reg(REG_R8);
    c.r9 = reg(REG_R9);
    c.r10 = reg(REG_R10);
    c.r11 = reg(REG_R11);
    c.r12 = reg(REG_R12);
    c.r13 = reg(REG_R13);
    c.r14 = reg(REG_R14);
    c.r15 = reg(REG_R15);
    c.rip = reg(REG_RIP);
    c.eflags = reg(REG_EFL);
    const uint64_t segments = reg(REG_CSGSFS);  // cs, gs, fs, padding: 16 bits each
    c.cs = static_cast<uint16_t>(segments);
    c.gs = static_cast<uint16_t>(segments >> 16);
    c.fs = static_cast<uint16_t>(segments >> 32);
    c.ds = c.es = 0;
    c.ss = 0x2b;  // the user data selector of x86-64 Linux; the context does not carry it
    c.hasFloat = uc->uc_mcontext.fpregs != nullptr;
    if (c.hasFloat) {
        std::memcpy(c.floatSave, uc->uc_mcontext.fpregs, sizeof c.floatSave);
        c.mxcsr = uc->uc_mcontext.fpregs->mxcsr;
    } else {
        std::memset(c.floatSave, 0, sizeof c.floatSave);
        c.mxcsr = 0;
    }
}

void Default(int sig) {
    struct sigaction sa {};
    sa.sa_handler = SIG_DFL;
    sigemptyset(&sa.sa_mask);
    sigaction(sig, &sa, nullptr);
}

void OnFault(int sig, siginfo_t* info, void* raw) {
    if (g_faulting.exchange(1) != 0) {
        // Another thread is writing the report already, and will end the process.
        for (;;) pause();
    }
    if (!XDebuggerAttached() && g_handler) {
        static XFault fault;  // one fault per process gets this far
        fault.signal = sig;
        fault.code = info->si_code;
        fault.address = reinterpret_cast<uint64_t>(info->si_addr);
        fault.threadId = XCurrentThreadId();
        ContextOf(raw, fault.context);
        const uint64_t sp = fault.context.rsp;
        fault.stackOverflow =
            sig == SIGSEGV && fault.address + OverflowReach >= sp && fault.address <= sp + OverflowReach;
        g_handler(fault);
    }
    // Passed on: the default action ends the process. A faulting instruction faults again on
    // return; a signal that was sent is sent once more, and arrives when this handler returns.
    Default(sig);
    g_faulting.store(0);
    if (info->si_code <= 0) raise(sig);
}

void OnStopRequest(int, siginfo_t* info, void* raw) {
    if (g_stopping.load() == 0 || info->si_code != SI_TKILL || info->si_pid != getpid()) return;
    const int i = g_slotsUsed.fetch_add(1);
    if (i < MaxStopped) {
        g_slots[i].thread.id = XCurrentThreadId();
        ContextOf(raw, g_slots[i].thread.context);
        g_slots[i].ready.store(1);
    }
    g_answered.fetch_add(1);
    // Stopped for good: the process ends while this thread waits here.
    for (;;) pause();
}

bool Install(int sig, void (*action)(int, siginfo_t*, void*)) {
    struct sigaction sa {};
    sa.sa_sigaction = action;
    sigfillset(&sa.sa_mask);
    sa.sa_flags = SA_SIGINFO | SA_ONSTACK;
    return sigaction(sig, &sa, nullptr) == 0;
}

struct HelperRun {
    void (*entry)(void*);
    void* argument;
    std::atomic<uint32_t> started;
};

int HelperMain(void* raw) {
    auto* run = static_cast<HelperRun*>(raw);
    run->started.store(1);
    FutexWake(&run->started);
    run->entry(run->argument);
    return 0;
}

}  // namespace

bool XInstallFaultHook(XFaultHandler handler) {
    XGetSystemFacts();
    void* alt = mmap(nullptr, AltStackSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    void* helper = mmap(nullptr, HelperStackSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (alt == MAP_FAILED || helper == MAP_FAILED) {
        XSetLastErrorFromErrno(errno);
        return false;
    }
    stack_t ss{};
    ss.ss_sp = alt;
    ss.ss_size = AltStackSize;
    if (sigaltstack(&ss, nullptr) != 0) {
        XSetLastErrorFromErrno(errno);
        return false;
    }
    g_helperStack = helper;
    g_handler = handler;
    // Touch the slots that a usual process uses now, so that a handler seldom takes a page
    // fault on fresh memory; all of them would cost every run 32 pages.
    std::memset(static_cast<void*>(g_slots), 0, TouchedSlots * sizeof g_slots[0]);
    bool ok = Install(StopSignal(), OnStopRequest);
    for (int sig : FatalSignals) ok = Install(sig, OnFault) && ok;
    if (!ok) XSetLastErrorFromErrno(errno);
    return ok;
}

void* XPrepareThreadFaultStack() {
    if (!g_handler) return nullptr;
    void* alt = mmap(nullptr, ThreadAltStackSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (alt == MAP_FAILED) return nullptr;
    stack_t ss{};
    ss.ss_sp = alt;
    ss.ss_size = ThreadAltStackSize;
    if (sigaltstack(&ss, nullptr) != 0) {
        munmap(alt, ThreadAltStackSize);
        return nullptr;
    }
    return alt;
}

void XReleaseThreadFaultStack(void* stack) {
    if (!stack) return;
    stack_t ss{};
    ss.ss_flags = SS_DISABLE;
    sigaltstack(&ss, nullptr);
    munmap(stack, ThreadAltStackSize);
}

uint32_t XCurrentThreadId() { return static_cast<uint32_t>(syscall(SYS_gettid)); }

int XStopOtherThreads(XStoppedThread* threads, int capacity, uint32_t also, uint32_t milliseconds) {
    g_stopping.store(1);
    const uint32_t self = XCurrentThreadId();
    const pid_t pid = getpid();
    int sent = 0;
    const int dir = open("/proc/self/task", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (dir >= 0) {
        alignas(8) char buffer[4096];
        for (;;) {
            const long n = syscall(SYS_getdents64, dir, buffer, sizeof buffer);
            if (n <= 0) break;
            for (long at = 0; at < n;) {
                // struct linux_dirent64: inode 8, offset 8, record length 2, type 1, name.
                unsigned short length = 0;
                std::memcpy(&length, buffer + at + 16, sizeof length);
                const char* name = buffer + at + 19;
                uint32_t tid = 0;
                bool number = *name != 0;
                for (const char* p = name; *p; ++p) {
                    if (*p < '0' || *p > '9') number = false;
                    tid = tid * 10 + static_cast<uint32_t>(*p - '0');
                }
                if (number && tid != self && tid != also && syscall(SYS_tgkill, pid, tid, StopSignal()) == 0) {
                    ++sent;
                }
                at += length;
            }
        }
        close(dir);
    }
    const uint64_t end = NowMs() + milliseconds;
    while (g_answered.load() < sent && NowMs() < end) {
        timespec slice{0, 1000 * 1000};
        nanosleep(&slice, nullptr);
    }
    int count = 0;
    const int used = g_slotsUsed.load() < MaxStopped ? g_slotsUsed.load() : MaxStopped;
    for (int i = 0; i < used && count < capacity; ++i) {
        if (g_slots[i].ready.load() != 0) threads[count++] = g_slots[i].thread;
    }
    return count;
}

bool XRunOnHelperThread(void (*entry)(void*), void* argument) {
    if (!g_helperStack) return false;
    static HelperRun run;
    static volatile pid_t tidWord;
    run.entry = entry;
    run.argument = argument;
    run.started.store(0);
    tidWord = 0;
    void* top = static_cast<char*>(g_helperStack) + HelperStackSize;
    const int flags = CLONE_VM | CLONE_FS | CLONE_FILES | CLONE_SIGHAND | CLONE_THREAD | CLONE_SYSVSEM |
                      CLONE_PARENT_SETTID | CLONE_CHILD_CLEARTID;
    const int tid = clone(HelperMain, top, flags, &run, &tidWord, nullptr, &tidWord);
    if (tid <= 0) return false;
    while (run.started.load() == 0) FutexWait(&run.started, 0);
    // The system clears the word and wakes its waiters when the thread has ended.
    for (pid_t seen = tidWord; seen != 0; seen = tidWord) FutexWait(&tidWord, static_cast<uint32_t>(seen));
    return true;
}
