// What a fault handler may call besides the hook: guarded reads of its own memory, the memory
// map, the tracer check, a detached successor process, raw files, and the system's facts.
// All of it is system calls on the caller's buffers.
#include <fcntl.h>
#include <signal.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "foundation/platform/faults.h"

extern char** environ;

namespace {

size_t ReadWhole(const char* path, char* buffer, size_t capacity) {
    const int fd = open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0) return 0;
    size_t have = 0;
    while (have < capacity) {
        const ssize_t n = read(fd, buffer + have, capacity - have);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) break;
        have += static_cast<size_t>(n);
    }
    close(fd);
    return have;
}

// The digits at text, as far as they go.
uint32_t Number(const char*& text, const char* end) {
    uint32_t value = 0;
    while (text < end && *text >= '0' && *text <= '9') value = value * 10 + static_cast<uint32_t>(*text++ - '0');
    return value;
}

XSystemFacts MakeFacts() {
    XSystemFacts facts{};
    const long processors = sysconf(_SC_NPROCESSORS_ONLN);
    facts.processors = processors > 0 ? static_cast<uint32_t>(processors) : 1;
    facts.processId = static_cast<uint32_t>(getpid());
    utsname name{};
    if (uname(&name) == 0) {
        const char* p = name.release;
        const char* end = p + strlen(p);
        facts.major = Number(p, end);
        if (p < end && *p == '.') ++p;
        facts.minor = Number(p, end);
        if (p < end && *p == '.') ++p;
        facts.build = Number(p, end);
        size_t at = 0;
        const char* parts[] = {name.sysname, " ", name.release, " ", name.version, " ", name.machine};
        for (const char* part : parts) {
            for (; *part && at + 1 < sizeof facts.release; ++part) facts.release[at++] = *part;
        }
        facts.release[at] = 0;
    }
    return facts;
}

}  // namespace

const XSystemFacts& XGetSystemFacts() {
    static const XSystemFacts facts = MakeFacts();
    return facts;
}

bool XDebuggerAttached() {
    char status[4096];
    const size_t size = ReadWhole("/proc/self/status", status, sizeof status);
    static const char key[] = "TracerPid:";
    const size_t keyLength = sizeof key - 1;
    for (size_t i = 0; i + keyLength <= size; ++i) {
        if ((i == 0 || status[i - 1] == '\n') && std::memcmp(status + i, key, keyLength) == 0) {
            const char* p = status + i + keyLength;
            const char* end = status + size;
            while (p < end && (*p == ' ' || *p == '\t')) ++p;
            return Number(p, end) != 0;
        }
    }
    return false;
}

bool XReadOwnMemory(uint64_t address, void* buffer, size_t size) {
    if (size == 0) return true;
    iovec local{buffer, size};
    iovec remote{reinterpret_cast<void*>(address), size};
    const ssize_t n = syscall(SYS_process_vm_readv, getpid(), &local, 1ul, &remote, 1ul, 0ul);
    if (n == static_cast<ssize_t>(size)) return true;
    if (n >= 0 || (errno != ENOSYS && errno != EPERM)) return false;
    // Without process_vm_readv: the system checks the source of a write to a pipe, and a bad
    // one fails with EFAULT instead of faulting.
    int pipe[2];
    if (syscall(SYS_pipe2, pipe, O_CLOEXEC | O_NONBLOCK) != 0) return false;
    bool ok = true;
    for (size_t done = 0; ok && done < size;) {
        const size_t chunk = size - done < 4096 ? size - done : 4096;
        ok = write(pipe[1], reinterpret_cast<const char*>(address) + done, chunk) == static_cast<ssize_t>(chunk) &&
             read(pipe[0], static_cast<char*>(buffer) + done, chunk) == static_cast<ssize_t>(chunk);
        done += chunk;
    }
    close(pipe[0]);
    close(pipe[1]);
    return ok;
}

size_t XReadMemoryMap(char* buffer, size_t capacity) { return ReadWhole("/proc/self/maps", buffer, capacity); }

bool XStartDetachedProcess(const char* const* argv) {
    // fork as the bare system call: the library's fork runs handlers that a damaged process
    // can't be trusted with.
    const long pid = syscall(SYS_clone, SIGCHLD, 0, 0, 0, 0);
    if (pid < 0) return false;
    if (pid == 0) {
        sigset_t none;
        sigemptyset(&none);
        syscall(SYS_rt_sigprocmask, SIG_SETMASK, &none, nullptr, sizeof(uint64_t));
        syscall(SYS_close_range, 3u, ~0u, 0u);
        execve(argv[0], const_cast<char* const*>(argv), environ);
        syscall(SYS_exit_group, 127);
    }
    return true;
}

void XTerminateProcess(int code) {
    for (;;) syscall(SYS_exit_group, code);
}

int XFaultCreateFile(const char* path) {
    int fd;
    do {
        fd = open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    } while (fd < 0 && errno == EINTR);
    return fd;
}

bool XFaultWriteAt(int fd, const void* data, size_t size, uint64_t offset) {
    const char* p = static_cast<const char*>(data);
    while (size > 0) {
        const ssize_t n = pwrite(fd, p, size, static_cast<off_t>(offset));
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        p += n;
        size -= static_cast<size_t>(n);
        offset += static_cast<uint64_t>(n);
    }
    return true;
}

void XFaultCloseFile(int fd) { close(fd); }

void XFaultDeleteFile(const char* path) { unlink(path); }
