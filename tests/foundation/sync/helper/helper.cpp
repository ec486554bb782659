// Helper process of the cross-process tests:
//   write PREFIX COUNT          writes COUNT DWORDs PREFIX0.. under Software\Concurrent
//   check NAME VALUE            exit 0 when the DWORD NAME of the default key is VALUE
//   lock-and-sleep MUTEX READY  locks MUTEX, sets event READY, then sleeps until killed
//   shm-add NAME DELTA          adds DELTA to the 8-byte counter NAME under its lock
//   rewrite-unfinished PATH N   starts rewriting PATH, writes N bytes and ends without finishing
#include <cstdlib>
#include <cstring>
#include <string>

#include "foundation/files/xrewrite_file.h"
#include "foundation/platform/clock.h"
#include "foundation/platform/process.h"
#include "foundation/settings/xregistry.h"
#include "foundation/sync/xevent.h"
#include "foundation/sync/xmutex.h"
#include "foundation/sync/xshared_memory.h"

int main(int argc, char** argv) {
    if (argc == 4 && strcmp(argv[1], "write") == 0) {
        XString prefix(argv[2], true);
        int count = atoi(argv[3]);
        int failed = 0;
        for (int i = 0; i < count; ++i) {
            XString name = prefix + XString(static_cast<int32_t>(i));
            if (!RegSetInt(i, name.Text(), HKEY_CURRENT_USER, u"Software\\Concurrent")) ++failed;
        }
        return failed == 0 ? 0 : 1;
    }
    if (argc == 4 && strcmp(argv[1], "check") == 0) {
        XString name(argv[2], true);
        bool error = true;
        int32_t value = RegGetInt(name.Text(), 0, nullptr, &error);
        return !error && value == atoi(argv[3]) ? 0 : 1;
    }
    if (argc == 4 && strcmp(argv[1], "lock-and-sleep") == 0) {
        XString mutexName(argv[2], true), readyName(argv[3], true);
        XMutex mutex(mutexName.Text());
        XEvent ready(readyName.Text());
        if (!mutex.Lock()) return 1;
        ready.Set();
        for (;;) XSleep(1000);
    }
    if (argc == 4 && strcmp(argv[1], "shm-add") == 0) {
        XString name(argv[2], true);
        XSharedMemory block;
        if (!block.Open(name.Text(), 8)) return 1;
        block.Lock();
        uint64_t value = 0;
        block.Read(&value);
        value += strtoull(argv[3], nullptr, 10);
        block.Write(&value);
        block.Unlock();
        return 0;
    }
    if (argc == 4 && strcmp(argv[1], "rewrite-unfinished") == 0) {
        XRewriteFile file;
        std::string bytes(static_cast<size_t>(atoi(argv[3])), 'u');
        if (!file.OpenRewrite(XString(argv[2], true)) || !file.Write(bytes.data(), uint32_t(bytes.size()))) return 1;
        XExitProcess(0);  // no Finish, no destructor: the process is simply gone
    }
    return 2;
}
