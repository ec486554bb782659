#include "foundation/platform/process.h"

#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>

#include "foundation/platform/last_error.h"
#include "foundation/platform/posix/spawn_child.h"

extern char** environ;

namespace {

int StatusOf(int status) {
    if (WIFEXITED(status)) return WEXITSTATUS(status);
    if (WIFSIGNALED(status)) return 128 + WTERMSIG(status);
    return -1;
}

void TerminationSet(sigset_t& set, bool withChild) {
    sigemptyset(&set);
    sigaddset(&set, SIGTERM);
    sigaddset(&set, SIGINT);
    sigaddset(&set, SIGHUP);
    if (withChild) sigaddset(&set, SIGCHLD);
}

}  // namespace

bool XPosixSpawn(const char* const* argv, const posix_spawn_file_actions_t* actions, XProcessId* pid) {
    posix_spawnattr_t attr;
    posix_spawnattr_init(&attr);
    sigset_t none, all;
    sigemptyset(&none);
    sigfillset(&all);
    posix_spawnattr_setsigmask(&attr, &none);
    posix_spawnattr_setsigdefault(&attr, &all);
    posix_spawnattr_setflags(&attr, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    pid_t child = 0;
    int r = posix_spawnp(&child, argv[0], actions, &attr, const_cast<char* const*>(argv), environ);
    posix_spawnattr_destroy(&attr);
    if (r != 0) {
        XSetLastErrorFromErrno(r);
        return false;
    }
    if (pid) *pid = child;
    return true;
}

bool XSpawnProcess(const char* const* argv, XProcessId* pid) {
    if (!argv || !argv[0]) {
        XSetLastError(XErr::InvalidParameter);
        return false;
    }
    return XPosixSpawn(argv, nullptr, pid);
}

int XWaitProcess(XProcessId pid, uint32_t timeoutMs) {
    int status = 0;
    if (timeoutMs == 0xFFFFFFFFu) {
        for (;;) {
            pid_t r = waitpid(pid, &status, 0);
            if (r == pid) return StatusOf(status);
            if (r < 0 && errno != EINTR) {
                XSetLastErrorFromErrno(errno);
                return -1;
            }
        }
    }
    timespec start{};
    clock_gettime(CLOCK_MONOTONIC, &start);
    for (;;) {
        pid_t r = waitpid(pid, &status, WNOHANG);
        if (r == pid) return StatusOf(status);
        if (r < 0 && errno != EINTR) {
            XSetLastErrorFromErrno(errno);
            return -1;
        }
        timespec now{};
        clock_gettime(CLOCK_MONOTONIC, &now);
        int64_t elapsed = (now.tv_sec - start.tv_sec) * 1000 + (now.tv_nsec - start.tv_nsec) / 1000000;
        if (elapsed >= timeoutMs) return -2;
        // waitpid has no time-out; a short sleep between looks is good enough for a caller
        // that waits for a child to end.
        timespec slice{0, 2000000L};
        nanosleep(&slice, nullptr);
    }
}

bool XKillProcess(XProcessId pid, bool hard) {
    if (kill(pid, hard ? SIGKILL : SIGTERM) != 0) {
        XSetLastErrorFromErrno(errno);
        return false;
    }
    return true;
}

int XRunChildPassingSignals(const char* const* argv) {
    sigset_t set, old;
    TerminationSet(set, true);
    pthread_sigmask(SIG_BLOCK, &set, &old);
    XProcessId pid = 0;
    if (!XSpawnProcess(argv, &pid)) {
        pthread_sigmask(SIG_SETMASK, &old, nullptr);
        return 127;
    }
    int result = -1;
    for (;;) {
        int status = 0;
        pid_t r = waitpid(pid, &status, WNOHANG);
        if (r == pid) {
            result = StatusOf(status);
            break;
        }
        if (r < 0 && errno != EINTR) break;
        int sig = sigwaitinfo(&set, nullptr);
        if (sig == SIGTERM || sig == SIGINT || sig == SIGHUP) kill(pid, sig);
    }
    pthread_sigmask(SIG_SETMASK, &old, nullptr);
    return result;
}

void XListenForTerminationRequests() {
    // Blocked, a request stays pending until one of the waits takes it.
    sigset_t set;
    TerminationSet(set, false);
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
}

int XWaitForTerminationRequest() {
    sigset_t set, old;
    TerminationSet(set, false);
    pthread_sigmask(SIG_BLOCK, &set, &old);
    int sig = -1;
    do {
        sig = sigwaitinfo(&set, nullptr);
    } while (sig < 0 && errno == EINTR);
    pthread_sigmask(SIG_SETMASK, &old, nullptr);
    return sig;
}

void XExitProcess(int code) { _exit(code); }
