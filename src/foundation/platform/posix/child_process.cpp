// fork and exec rather than posix_spawn: only a forked child can ask for a parent-death
// signal before it runs the program. Between fork and exec the child calls only
// async-signal-safe functions, since other threads of the parent may hold locks.
#include "foundation/platform/child_process.h"

#include <fcntl.h>
#include <linux/close_range.h>
#include <pthread.h>
#include <sched.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#include "foundation/platform/last_error.h"

extern char** environ;

namespace {

std::string FindOnPath(const char* name) {
    if (std::strchr(name, '/')) return name;
    const char* path = std::getenv("PATH");
    std::string list = path ? path : "/usr/local/bin:/usr/bin:/bin";
    size_t start = 0;
    while (start <= list.size()) {
        size_t end = list.find(':', start);
        if (end == std::string::npos) end = list.size();
        std::string candidate(end > start ? std::string_view(list).substr(start, end - start) : std::string_view("."));
        candidate.append(1, '/').append(name);
        if (access(candidate.c_str(), X_OK) == 0) return candidate;
        start = end + 1;
    }
    return name;
}

int StatusOf(int status) {
    if (WIFEXITED(status)) return WEXITSTATUS(status);
    if (WIFSIGNALED(status)) return 128 + WTERMSIG(status);
    return -1;
}

// The child's side: nothing here may allocate or take a lock.
[[noreturn]] void RunChild(const char* path, const char* const* argv, const XChildOptions& options,
                           const int (&sources)[3], int errorPipe, pid_t parent, int nice, bool idle, int maxFd) {
    if (options.ownProcessGroup) setpgid(0, 0);
    if (options.endWithParent) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        // The parent may have died before the request was in place.
        if (getppid() != parent) _exit(127);
    }
    if (idle) {
        sched_param param{};
        sched_setscheduler(0, SCHED_IDLE, &param);
    } else if (options.schedulingLevel >= 0) {
        setpriority(PRIO_PROCESS, 0, nice);  // refused raises keep the inherited value
    }
    for (int target = 0; target < 3; ++target) {
        if (sources[target] == target) {
            fcntl(target, F_SETFD, 0);
        } else if (dup2(sources[target], target) < 0) {
            const int error = errno;
            (void)!write(errorPipe, &error, sizeof error);
            _exit(127);
        }
    }
    // Descriptors this process inherited itself need not be close-on-exec; none may reach the
    // child. The error pipe still closes only at the exec.
    if (syscall(SYS_close_range, 3u, ~0u, CLOSE_RANGE_CLOEXEC) != 0) {
        for (int fd = 3; fd < maxFd; ++fd) fcntl(fd, F_SETFD, FD_CLOEXEC);
    }
    struct sigaction deflt {};
    deflt.sa_handler = SIG_DFL;
    for (int sig = 1; sig < NSIG; ++sig) sigaction(sig, &deflt, nullptr);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    execve(path, const_cast<char* const*>(argv), environ);
    const int error = errno;
    (void)!write(errorPipe, &error, sizeof error);
    _exit(127);
}

int NiceOfLevel(int level) {
    switch (level) {
        case XSchedulingLevel::High:
            return -5;
        case XSchedulingLevel::Low:
            return 10;
        default:
            return 0;
    }
}

}  // namespace

bool XStartChild(const char* path, const char* const* argv, const XChildOptions& options, XProcessId* pid) {
    if (!path || !argv || !argv[0]) {
        XSetLastError(XErr::InvalidParameter);
        return false;
    }
    const std::string program = FindOnPath(path);
    int nullFd = -1;
    int sources[3] = {static_cast<int>(options.standardInput), static_cast<int>(options.standardOutput),
                      static_cast<int>(options.standardError)};
    for (int& source : sources) {
        if (source >= 0) continue;
        if (nullFd < 0) nullFd = open("/dev/null", O_RDWR | O_CLOEXEC);
        if (nullFd < 0) {
            XSetLastErrorFromErrno(errno);
            return false;
        }
        source = nullFd;
    }
    int errorPipe[2];
    if (pipe2(errorPipe, O_CLOEXEC) != 0) {
        XSetLastErrorFromErrno(errno);
        if (nullFd >= 0) close(nullFd);
        return false;
    }
    const bool idle = options.schedulingLevel == XSchedulingLevel::Idle;
    const int nice = NiceOfLevel(options.schedulingLevel);
    const pid_t parent = getpid();
    const long openMax = sysconf(_SC_OPEN_MAX);
    const int maxFd = openMax > 0 && openMax < 65536 ? static_cast<int>(openMax) : 65536;
    const pid_t child = fork();
    if (child == 0) RunChild(program.c_str(), argv, options, sources, errorPipe[1], parent, nice, idle, maxFd);
    const int forkError = errno;
    close(errorPipe[1]);
    if (nullFd >= 0) close(nullFd);
    if (child < 0) {
        close(errorPipe[0]);
        XSetLastErrorFromErrno(forkError);
        return false;
    }
    // The pipe closes at exec: no bytes mean the program runs.
    int childError = 0;
    ssize_t got;
    do {
        got = read(errorPipe[0], &childError, sizeof childError);
    } while (got < 0 && errno == EINTR);
    close(errorPipe[0]);
    if (got > 0) {
        int status = 0;
        while (waitpid(child, &status, 0) < 0 && errno == EINTR) {}
        XSetLastErrorFromErrno(childError);
        return false;
    }
    if (pid) *pid = child;
    return true;
}

bool XChildEnded(XProcessId pid, int* status) {
    int raw = 0;
    pid_t r;
    do {
        r = waitpid(pid, &raw, WNOHANG);
    } while (r < 0 && errno == EINTR);
    if (r == 0) return false;
    if (r < 0) {
        // Not our child (or already reaped): nothing is running under that number for us.
        XSetLastErrorFromErrno(errno);
        if (status) *status = -1;
        return true;
    }
    if (status) *status = StatusOf(raw);
    return true;
}

bool XSetChildScheduling(XProcessId pid, int level) {
    sched_param param{};
    if (level == XSchedulingLevel::Idle) {
        if (sched_setscheduler(pid, SCHED_IDLE, &param) != 0) {
            XSetLastErrorFromErrno(errno);
            return false;
        }
        return true;
    }
    if (sched_getscheduler(pid) == SCHED_IDLE) sched_setscheduler(pid, SCHED_OTHER, &param);
    if (setpriority(PRIO_PROCESS, static_cast<id_t>(pid), NiceOfLevel(level)) != 0) {
        XSetLastErrorFromErrno(errno);
        return false;
    }
    return true;
}

int XCurrentSchedulingKey() {
    const auto tid = static_cast<pid_t>(syscall(SYS_gettid));
    if (sched_getscheduler(tid) == SCHED_IDLE) return 1000;
    errno = 0;
    const int nice = getpriority(PRIO_PROCESS, static_cast<id_t>(tid));
    return errno != 0 ? 0 : nice;
}

int XSchedulingLevelOfKey(int key) {
    if (key == 1000) return XSchedulingLevel::Idle;
    if (key >= 5) return XSchedulingLevel::Low;
    if (key < 0) return XSchedulingLevel::High;
    return XSchedulingLevel::Normal;
}

int XProcessorCount() {
    cpu_set_t set;
    CPU_ZERO(&set);
    if (sched_getaffinity(0, sizeof set, &set) == 0) {
        const int count = CPU_COUNT(&set);
        if (count > 0) return count;
    }
    const long online = sysconf(_SC_NPROCESSORS_ONLN);
    return online > 0 ? static_cast<int>(online) : 1;
}

namespace {

struct Watch {
    XTerminationHandler handler;
    void* context;
    sigset_t set;
};

void* WatchLoop(void* argument) {
    auto* watch = static_cast<Watch*>(argument);
    for (int count = 1;; ++count) {
        int sig;
        do {
            sig = sigwaitinfo(&watch->set, nullptr);
        } while (sig < 0 && errno == EINTR);
        if (sig < 0) return nullptr;
        watch->handler(count, watch->context);
    }
}

}  // namespace

bool XWatchTerminationRequests(XTerminationHandler handler, void* context) {
    // Lives for the process: the watcher thread never ends.
    auto* watch = new Watch{handler, context, {}};
    sigemptyset(&watch->set);
    sigaddset(&watch->set, SIGINT);
    sigaddset(&watch->set, SIGTERM);
    sigaddset(&watch->set, SIGHUP);
    pthread_sigmask(SIG_BLOCK, &watch->set, nullptr);
    pthread_t thread;
    const int error = pthread_create(&thread, nullptr, WatchLoop, watch);
    if (error != 0) {
        pthread_sigmask(SIG_UNBLOCK, &watch->set, nullptr);
        delete watch;
        XSetLastErrorFromErrno(error);
        return false;
    }
    pthread_detach(thread);
    return true;
}
