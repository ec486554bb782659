#include "foundation/platform/child_spawn.h"

#include <signal.h>
#include <spawn.h>
#include <unistd.h>

#include <cerrno>
#include <mutex>

#include "foundation/platform/last_error.h"

extern char** environ;

bool XSpawnWithHandles(const char* const* argv, const char* directory, const XFileHandle stdHandles[3],
                       XProcessId* pid) {
    if (!argv || !argv[0]) {
        XSetLastError(XErr::InvalidParameter);
        return false;
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    for (int n = 0; n < 3; ++n) {
        XFileHandle h = stdHandles[n];
        if (h == XInheritStdHandle) continue;
        if (h == XInvalidHandle) {
            posix_spawn_file_actions_addclose(&actions, n);
        } else {
            // dup2 clears close-on-exec on the new number, which is how the end gets across.
            posix_spawn_file_actions_adddup2(&actions, static_cast<int>(h), n);
        }
    }
    if (directory && *directory) posix_spawn_file_actions_addchdir_np(&actions, directory);
    posix_spawnattr_t attr;
    posix_spawnattr_init(&attr);
    sigset_t none, all;
    sigemptyset(&none);
    sigfillset(&all);
    posix_spawnattr_setsigmask(&attr, &none);
    posix_spawnattr_setsigdefault(&attr, &all);
    posix_spawnattr_setflags(&attr, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    pid_t child = 0;
    int r = posix_spawnp(&child, argv[0], &actions, &attr, const_cast<char* const*>(argv), environ);
    posix_spawnattr_destroy(&attr);
    posix_spawn_file_actions_destroy(&actions);
    if (r != 0) {
        XSetLastErrorFromErrno(r);
        return false;
    }
    if (pid) *pid = child;
    return true;
}

std::vector<std::string> XShellCommandWords(const std::string& line) { return {"/bin/sh", "-c", line}; }

void XIgnoreBrokenPipeSignal() {
    static std::once_flag once;
    std::call_once(once, [] { signal(SIGPIPE, SIG_IGN); });
}
