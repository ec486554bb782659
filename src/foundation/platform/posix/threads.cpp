// POSIX threads with a start gate and a park: both are futex words in the thread's control
// block. A park is a signal whose handler sleeps on the park word, so a thread can be
// frozen wherever it is, which is what a suspended thread on Windows gives.
#include "foundation/platform/threads.h"

#include <linux/futex.h>
#include <pthread.h>
#include <signal.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstring>
#include <ctime>

#include "foundation/platform/faults.h"
#include "foundation/platform/last_error.h"
#include "foundation/platform/named_objects.h"
#include "foundation/platform/posix/deadline.h"

struct XThreadControl {
    std::atomic<int> refs{2};           // the owner's handle and the thread itself
    std::atomic<uint32_t> gate{0};      // 1 lets a held thread start
    std::atomic<uint32_t> park{0};      // 1 keeps a parked thread asleep
    std::atomic<uint32_t> finished{0};  // 1 once entry has returned
    std::atomic<bool> joined{false};
    pthread_t thread{};
    XThreadEntry entry = nullptr;
    void* argument = nullptr;
};

namespace {

__attribute__((tls_model("initial-exec"))) thread_local XThreadControl* t_self = nullptr;

void FutexWait(std::atomic<uint32_t>* word, uint32_t value) {
    syscall(SYS_futex, word, FUTEX_WAIT_PRIVATE, value, nullptr, nullptr, 0);
}

void FutexWake(std::atomic<uint32_t>* word) {
    syscall(SYS_futex, word, FUTEX_WAKE_PRIVATE, INT_MAX, nullptr, nullptr, 0);
}

int ParkSignal() { return SIGRTMAX - 3; }

void OnParkSignal(int) {
    int saved = errno;
    XThreadControl* self = t_self;
    if (self) {
        while (self->park.load() != 0) FutexWait(&self->park, 1);
    }
    errno = saved;
}

void InstallParkHandler() {
    static std::atomic<bool> done{false};
    if (done.exchange(true)) return;
    struct sigaction sa {};
    sa.sa_handler = OnParkSignal;
    sigemptyset(&sa.sa_mask);
    sa.sa_flags = SA_RESTART;
    sigaction(ParkSignal(), &sa, nullptr);
}

void Release(XThreadControl* control) {
    if (control->refs.fetch_sub(1) == 1) delete control;
}

void* ThreadMain(void* raw) {
    auto* control = static_cast<XThreadControl*>(raw);
    t_self = control;
    void* faultStack = XPrepareThreadFaultStack();
    while (control->gate.load() == 0) FutexWait(&control->gate, 0);
    control->entry(control->argument);
    XReleaseThreadFaultStack(faultStack);
    control->finished.store(1);
    FutexWake(&control->finished);
    t_self = nullptr;
    Release(control);
    return nullptr;
}

}  // namespace

XThreadHandle XCreateThread(XThreadEntry entry, void* argument, bool held) {
    InstallParkHandler();
    auto* control = new XThreadControl;
    control->entry = entry;
    control->argument = argument;
    control->gate.store(held ? 0 : 1);
    int r = pthread_create(&control->thread, nullptr, ThreadMain, control);
    if (r != 0) {
        XSetLastErrorFromErrno(r);
        delete control;
        return nullptr;
    }
    return control;
}

bool XResumeThread(XThreadHandle thread) {
    if (!thread) {
        XSetLastError(XErr::InvalidHandle);
        return false;
    }
    if (thread->gate.exchange(1) == 0) FutexWake(&thread->gate);
    if (thread->park.exchange(0) != 0) FutexWake(&thread->park);
    return true;
}

bool XSuspendThread(XThreadHandle thread) {
    if (!thread) {
        XSetLastError(XErr::InvalidHandle);
        return false;
    }
    if (thread->finished.load() != 0) return true;
    thread->park.store(1);
    // The thread is not joined yet, so its id is still valid even if it has just ended.
    int r = pthread_kill(thread->thread, ParkSignal());
    if (r != 0) {
        thread->park.store(0);
        XSetLastErrorFromErrno(r);
        return false;
    }
    return true;
}

bool XWaitThread(XThreadHandle thread, uint32_t milliseconds) {
    if (!thread) return true;
    if (thread->finished.load() != 0) return true;
    if (milliseconds == 0) return false;
    const timespec deadline = XDeadlineAfter(milliseconds);
    while (thread->finished.load() == 0) {
        if (milliseconds == XInfinite) {
            FutexWait(&thread->finished, 0);
            continue;
        }
        timespec left{};
        if (!XTimeLeft(deadline, left)) return thread->finished.load() != 0;
        syscall(SYS_futex, &thread->finished, FUTEX_WAIT_PRIVATE, 0, &left, nullptr, 0);
    }
    return true;
}

void XCloseThread(XThreadHandle thread) {
    if (!thread) return;
    // A finished thread is joined so that nothing of it stays behind; one still running (or
    // parked) is let go.
    if (thread->finished.load() != 0) {
        pthread_join(thread->thread, nullptr);
    } else {
        pthread_detach(thread->thread);
    }
    Release(thread);
}

bool XPlatformSetThreadName(XThreadHandle thread, const char* utf8Name) {
    if (!utf8Name) return false;
    char name[16];
    // The kernel keeps 15 bytes; cut at a character boundary.
    size_t n = strlen(utf8Name);
    if (n > 15) {
        n = 15;
        while (n > 0 && (static_cast<unsigned char>(utf8Name[n]) & 0xC0) == 0x80) --n;
    }
    memcpy(name, utf8Name, n);
    name[n] = 0;
    pthread_t target = thread ? thread->thread : pthread_self();
    return pthread_setname_np(target, name) == 0;
}
