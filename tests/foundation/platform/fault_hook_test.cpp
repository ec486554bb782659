// The fault hook in a child process: a stack overflow on a second thread reaches the handler
// on that thread's alternate stack, the helper thread runs, and the other threads stop.
#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <string>

#include "foundation/platform/faults.h"
#include "foundation/platform/threads.h"

namespace {

int g_report = -1;
uint32_t g_mainThread = 0;

void Say(const char* text) {
    const ssize_t n = write(g_report, text, __builtin_strlen(text));
    (void)n;  // the parent sees what arrived
}

void Helper(void* raw) {
    const auto* fault = static_cast<const XFault*>(raw);
    Say(XCurrentThreadId() != fault->threadId ? "helper " : "same thread ");
    XStoppedThread stopped[8];
    // The main thread waits for the other one and answers the stop request.
    const int count = XStopOtherThreads(stopped, 8, fault->threadId, 5000);
    Say(count == 1 && stopped[0].id == g_mainThread ? "stopped " : "not stopped ");
}

void OnFault(const XFault& fault) {
    Say(fault.stackOverflow ? "overflow " : "other fault ");
    Say(fault.threadId != g_mainThread ? "second " : "main ");
    if (!XRunOnHelperThread(Helper, const_cast<XFault*>(&fault))) Say("no helper ");
    XTerminateProcess(7);
}

__attribute__((noinline)) int Recurse(int depth) {
    volatile char frame[256];
    frame[0] = static_cast<char>(depth);
    if (depth < 0) return 0;  // never: depth only grows
    return Recurse(depth + 1) + frame[0];
}

void Overflow(void*) { Recurse(0); }

TEST(FaultHook, StackOverflowOnASecondThreadReachesTheHandler) {
    int pipe[2];
    ASSERT_EQ(::pipe(pipe), 0);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        close(pipe[0]);
        g_report = pipe[1];
        g_mainThread = XCurrentThreadId();
        if (!XInstallFaultHook(OnFault)) _exit(3);
        XThreadHandle thread = XCreateThread(Overflow, nullptr, false);
        XWaitThread(thread, 60000);
        _exit(4);
    }
    close(pipe[1]);
    std::string said;
    char buffer[256];
    for (ssize_t n; (n = read(pipe[0], buffer, sizeof buffer)) > 0;) said.append(buffer, static_cast<size_t>(n));
    close(pipe[0]);
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status)) << status;
    EXPECT_EQ(WEXITSTATUS(status), 7);
    EXPECT_EQ(said, "overflow second helper stopped ");
}

}  // namespace
