#include "foundation/platform/console.h"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

#include "foundation/platform/last_error.h"

namespace {

std::vector<std::string> g_arguments;
bool g_argumentsSet = false;

std::vector<std::string> ReadProcCmdline() {
    std::vector<std::string> args;
    int fd = open("/proc/self/cmdline", O_RDONLY | O_CLOEXEC);
    if (fd < 0) return args;
    std::string all;
    char buffer[4096];
    for (;;) {
        ssize_t n = read(fd, buffer, sizeof buffer);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) break;
        all.append(buffer, static_cast<size_t>(n));
    }
    close(fd);
    size_t start = 0;
    while (start < all.size()) {
        size_t end = all.find('\0', start);
        if (end == std::string::npos) end = all.size();
        args.emplace_back(all, start, end - start);
        start = end + 1;
    }
    return args;
}

}  // namespace

void XEnsureStandardHandles() {
    // A write to a closed pipe fails with its error (109) instead of ending the process, and
    // one past the file-size limit fails (disk full) instead of killing it.
    signal(SIGPIPE, SIG_IGN);
    signal(SIGXFSZ, SIG_IGN);
    for (int fd = 0; fd <= 2; ++fd) {
        if (fcntl(fd, F_GETFD) != -1 || errno != EBADF) continue;
        int opened = open("/dev/null", fd == 0 ? O_RDONLY : O_WRONLY);
        if (opened >= 0 && opened != fd) {
            dup2(opened, fd);
            close(opened);
        }
    }
}

void XCloseStdInput() {
    const int empty = open("/dev/null", O_RDONLY | O_CLOEXEC);
    if (empty < 0) {
        close(0);  // the number may be taken again, but the writer still learns of the end
        return;
    }
    dup2(empty, 0);
    close(empty);
}

void XSetProcessArguments(int argc, const char* const* argv) {
    g_arguments.clear();
    for (int i = 0; i < argc; ++i) g_arguments.emplace_back(argv[i] != nullptr ? argv[i] : "");
    g_argumentsSet = true;
}

XString XGetCommandLine() {
    std::vector<std::string> stored = g_argumentsSet ? g_arguments : ReadProcCmdline();
    std::vector<const char*> args;
    for (const std::string& a : stored) args.push_back(a.c_str());
    return XJoinCommandLine(static_cast<int>(args.size()), args.data());
}

bool XIsHandleOpen(XFileHandle handle) {
    if (handle < 0 || handle > INT32_MAX) return false;
    return fcntl(static_cast<int>(handle), F_GETFD) != -1;
}

bool XIsConsoleHandle(XFileHandle handle) {
    if (handle < 0 || handle > INT32_MAX) return false;
    return isatty(static_cast<int>(handle)) == 1;
}

bool XWriteHandle(XFileHandle handle, const void* data, size_t size) {
    if (handle < 0 || handle > INT32_MAX) {
        XSetLastError(XErr::InvalidHandle);
        return false;
    }
    const char* p = static_cast<const char*>(data);
    while (size > 0) {
        ssize_t n = write(static_cast<int>(handle), p, size);
        if (n < 0) {
            if (errno == EINTR) continue;
            XSetLastErrorFromErrno(errno);
            return false;
        }
        p += n;
        size -= static_cast<size_t>(n);
    }
    return true;
}

bool XWriteConsole(XFileHandle handle, const XString& text) {
    std::string utf8 = text.ToStdUtf8();
    return XWriteHandle(handle, utf8.data(), utf8.size());
}
