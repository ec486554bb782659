// Events are eventfd counters: set adds one, reset drains the count. poll() waits on them
// together with sockets and pipes.
#include "foundation/platform/wait_handles.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>
#include <vector>

#include "foundation/platform/last_error.h"

XFileHandle XCreateWaitEvent() {
    int fd = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (fd < 0) {
        XSetLastErrorFromErrno(errno);
        return XInvalidHandle;
    }
    return fd;
}

bool XSetWaitEvent(XFileHandle event) {
    uint64_t one = 1;
    for (;;) {
        if (write(static_cast<int>(event), &one, sizeof one) == sizeof one) return true;
        // A full counter is still set.
        if (errno == EAGAIN) return true;
        if (errno != EINTR) break;
    }
    XSetLastErrorFromErrno(errno);
    return false;
}

bool XResetWaitEvent(XFileHandle event) {
    uint64_t count = 0;
    for (;;) {
        if (read(static_cast<int>(event), &count, sizeof count) == sizeof count) return true;
        if (errno == EAGAIN) return true;  // not set
        if (errno != EINTR) break;
    }
    XSetLastErrorFromErrno(errno);
    return false;
}

bool XIsWaitEventSet(XFileHandle event) {
    pollfd p{static_cast<int>(event), POLLIN, 0};
    for (;;) {
        int r = poll(&p, 1, 0);
        if (r >= 0) return r > 0 && (p.revents & POLLIN) != 0;
        if (errno != EINTR) return false;
    }
}

namespace {

int64_t NowMs() {
    timespec t{};
    clock_gettime(CLOCK_MONOTONIC, &t);
    return static_cast<int64_t>(t.tv_sec) * 1000 + t.tv_nsec / 1000000;
}

// One read or write, retried when a signal cuts it short; "would block" is not a failure.
template <typename Transfer>
int64_t TransferSome(Transfer transfer, bool* wouldBlock) {
    *wouldBlock = false;
    for (;;) {
        ssize_t r = transfer();
        if (r >= 0) return r;
        if (errno == EINTR) continue;
        if (errno == EAGAIN || errno == EWOULDBLOCK) {
            *wouldBlock = true;
            return 0;
        }
        XSetLastErrorFromErrno(errno);
        return -1;
    }
}

}  // namespace

int XWaitHandles(XWaitEntry* entries, size_t count, uint32_t milliseconds) {
    pollfd small[17];
    std::vector<pollfd> large;
    pollfd* fds = small;
    if (count > sizeof small / sizeof small[0]) {
        large.resize(count);
        fds = large.data();
    }
    for (size_t i = 0; i < count; ++i) {
        short events = 0;
        if (entries[i].want & XWaitRead) events |= POLLIN;
        if (entries[i].want & XWaitWrite) events |= POLLOUT;
        fds[i] = pollfd{static_cast<int>(entries[i].handle), events, 0};
        entries[i].found = 0;
    }
    const bool infinite = milliseconds == 0xFFFFFFFFu;
    const int64_t end = infinite ? 0 : NowMs() + milliseconds;
    for (;;) {
        int timeout = -1;
        if (!infinite) {
            int64_t left = end - NowMs();
            timeout = left <= 0 ? 0 : static_cast<int>(left);
        }
        int r = poll(fds, count, timeout);
        if (r < 0 && errno == EINTR) continue;
        if (r < 0) {
            XSetLastErrorFromErrno(errno);
            return -1;
        }
        int ready = 0;
        for (size_t i = 0; i < count; ++i) {
            short got = fds[i].revents;
            uint8_t found = 0;
            // A hang-up reads as the end of the stream, which a reader must see.
            if ((got & (POLLIN | POLLHUP)) && (entries[i].want & XWaitRead)) found |= XWaitRead;
            if ((got & POLLOUT) && (entries[i].want & XWaitWrite)) found |= XWaitWrite;
            if (got & (POLLERR | POLLNVAL)) found |= XWaitError;
            entries[i].found = found;
            if (found) ++ready;
        }
        return ready;
    }
}

bool XSetHandleNonBlocking(XFileHandle handle, bool nonBlocking) {
    int fd = static_cast<int>(handle);
    int flags = fcntl(fd, F_GETFL);
    if (flags < 0) {
        XSetLastErrorFromErrno(errno);
        return false;
    }
    flags = nonBlocking ? (flags | O_NONBLOCK) : (flags & ~O_NONBLOCK);
    if (fcntl(fd, F_SETFL, flags) < 0) {
        XSetLastErrorFromErrno(errno);
        return false;
    }
    return true;
}

int64_t XReadHandleSome(XFileHandle handle, void* buffer, size_t length, bool* wouldBlock) {
    return TransferSome([&] { return read(static_cast<int>(handle), buffer, length); }, wouldBlock);
}

int64_t XWriteHandleSome(XFileHandle handle, const void* buffer, size_t length, bool* wouldBlock) {
    return TransferSome([&] { return write(static_cast<int>(handle), buffer, length); }, wouldBlock);
}
