#include "foundation/platform/child_spawn.h"

#include <signal.h>
#include <spawn.h>
#include <unistd.h>

#include <mutex>

#include "foundation/platform/last_error.h"
#include "foundation/platform/posix/spawn_child.h"

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
    const bool started = XPosixSpawn(argv, &actions, pid);
    posix_spawn_file_actions_destroy(&actions);
    return started;
}

std::vector<std::string> XShellCommandWords(const std::string& line) { return {"/bin/sh", "-c", line}; }

void XIgnoreBrokenPipeSignal() {
    static std::once_flag once;
    std::call_once(once, [] { signal(SIGPIPE, SIG_IGN); });
}
