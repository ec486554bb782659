#include "foundation/platform/file_io.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "foundation/platform/clock.h"
#include "foundation/platform/last_error.h"
#include "foundation/platform/posix/path_errors.h"

namespace {

int ToFd(XFileHandle handle) { return static_cast<int>(handle); }

bool Fail() {
    XSetLastErrorFromErrno(errno);
    return false;
}

}  // namespace

XFileHandle XSysOpenFile(const XString& path, uint32_t access, uint32_t /*shareMode*/, uint32_t disposition,
                         uint32_t attributes) {
    // POSIX has no share modes; other openers are never locked out, so the mode is ignored.
    int flags = O_CLOEXEC;
    bool read = (access & XAccess::Read) != 0;
    bool write = (access & XAccess::Write) != 0;
    flags |= write ? (read ? O_RDWR : O_WRONLY) : O_RDONLY;
    switch (disposition) {
        case XDisposition::CreateNew:
            flags |= O_CREAT | O_EXCL;
            break;
        case XDisposition::CreateAlways:
            // Truncated below only when there is something to cut: ext4 takes a truncation to
            // empty as a file being replaced and writes it all out on close, which costs a
            // freshly made temporary file a needless trip to the disk.
            flags |= O_CREAT | (write ? 0 : O_TRUNC);
            break;
        case XDisposition::OpenExisting:
            break;
        case XDisposition::OpenAlways:
            flags |= O_CREAT;
            break;
        default:
            XSetLastError(XErr::InvalidParameter);
            return XInvalidHandle;
    }
    if (path.IsEmpty()) {
        XSetLastError(XErr::PathNotFound);
        return XInvalidHandle;
    }
    std::string name = path.ToStdUtf8();
    mode_t mode = (attributes & 0x1) ? 0444 : 0666;  // read-only attribute
    int fd;
    do {
        fd = open(name.c_str(), flags, mode);
    } while (fd < 0 && errno == EINTR);
    if (fd < 0) {
        if (errno == EISDIR) {
            XSetLastError(XErr::AccessDenied);
        } else {
            XPosixFail(errno, name.c_str());
        }
        return XInvalidHandle;
    }
    // Windows refuses to open a folder as a file.
    struct stat st {};
    if (fstat(fd, &st) == 0 && S_ISDIR(st.st_mode)) {
        close(fd);
        XSetLastError(XErr::AccessDenied);
        return XInvalidHandle;
    }
    if (disposition == XDisposition::CreateAlways && write && S_ISREG(st.st_mode) && st.st_size > 0 &&
        ftruncate(fd, 0) != 0) {
        const int error = errno;
        close(fd);
        XPosixFail(error, name.c_str());
        return XInvalidHandle;
    }
    return fd;
}

bool XSysCloseHandle(XFileHandle handle) {
    if (handle < 0) {
        XSetLastError(XErr::InvalidHandle);
        return false;
    }
    // The descriptor is gone even when close reports an error; never retry.
    return close(ToFd(handle)) == 0 || errno == EINTR || Fail();
}

bool XSysReadFile(XFileHandle handle, void* buffer, uint32_t count, uint32_t* done) {
    if (done) *done = 0;
    if (handle < 0) {
        XSetLastError(XErr::InvalidHandle);
        return false;
    }
    auto* out = static_cast<uint8_t*>(buffer);
    uint32_t total = 0;
    for (;;) {
        ssize_t n = read(ToFd(handle), out + total, count - total);
        if (n < 0) {
            if (errno == EINTR) continue;
            if (done) *done = total;
            return Fail();
        }
        total += static_cast<uint32_t>(n);
        // Linux caps one read below 2 GiB; a regular file gives the rest on the next call.
        if (n == 0 || total == count || n < 0x7FFFF000) break;
    }
    if (done) *done = total;
    if (total == 0 && count > 0) {
        struct stat st {};
        if (fstat(ToFd(handle), &st) == 0 && (S_ISFIFO(st.st_mode) || S_ISSOCK(st.st_mode))) {
            XSetLastError(XErr::BrokenPipe);
            return false;
        }
    }
    return true;
}

bool XSysWriteFile(XFileHandle handle, const void* buffer, uint32_t count, uint32_t* done) {
    if (done) *done = 0;
    if (handle < 0) {
        XSetLastError(XErr::InvalidHandle);
        return false;
    }
    const auto* in = static_cast<const uint8_t*>(buffer);
    uint32_t total = 0;
    do {
        ssize_t n = write(ToFd(handle), in + total, count - total);
        if (n < 0) {
            if (errno == EINTR) continue;
            if (done) *done = total;
            return Fail();
        }
        total += static_cast<uint32_t>(n);
    } while (total < count);
    if (done) *done = total;
    return true;
}

bool XSysSetFilePointer(XFileHandle handle, int64_t offset, int origin, int64_t* position) {
    int whence = origin == XSeekFrom::Begin ? SEEK_SET : origin == XSeekFrom::End ? SEEK_END : SEEK_CUR;
    off_t at = lseek(ToFd(handle), static_cast<off_t>(offset), whence);
    if (at < 0) return Fail();
    if (position) *position = at;
    return true;
}

bool XSysGetFileSize(XFileHandle handle, uint64_t* size) {
    struct stat st {};
    if (fstat(ToFd(handle), &st) != 0) return Fail();
    *size = static_cast<uint64_t>(st.st_size);
    return true;
}

bool XSysSetEndOfFile(XFileHandle handle) {
    off_t at = lseek(ToFd(handle), 0, SEEK_CUR);
    if (at < 0) return Fail();
    int r;
    do {
        r = ftruncate(ToFd(handle), at);
    } while (r != 0 && errno == EINTR);
    return r == 0 || Fail();
}

bool XSysGetFileTimes(XFileHandle handle, uint64_t* created, uint64_t* accessed, uint64_t* modified) {
    struct statx sx {};
    if (statx(ToFd(handle), "", AT_EMPTY_PATH, STATX_BASIC_STATS | STATX_BTIME, &sx) != 0) {
        return Fail();
    }
    auto conv = [](const statx_timestamp& t) { return XUnixToFileTime(t.tv_sec, t.tv_nsec); };
    // Without a birth time the last change of the content is the nearest answer.
    if (created) *created = conv((sx.stx_mask & STATX_BTIME) ? sx.stx_btime : sx.stx_mtime);
    if (accessed) *accessed = conv(sx.stx_atime);
    if (modified) *modified = conv(sx.stx_mtime);
    return true;
}

bool XSysSetFileTimes(XFileHandle handle, const uint64_t* /*created*/, const uint64_t* accessed,
                      const uint64_t* modified) {
    // POSIX has no settable creation time; it is left as the system keeps it.
    auto conv = [](const uint64_t* ft) {
        timespec ts{0, UTIME_OMIT};
        if (ft) {
            int64_t units = static_cast<int64_t>(*ft - XFileTimeUnixEpoch);
            ts.tv_sec = static_cast<time_t>(units / 10000000);
            ts.tv_nsec = static_cast<long>((units % 10000000) * 100);
            if (ts.tv_nsec < 0) {
                ts.tv_nsec += 1000000000L;
                ts.tv_sec -= 1;
            }
        }
        return ts;
    };
    timespec times[2] = {conv(accessed), conv(modified)};
    return futimens(ToFd(handle), times) == 0 || Fail();
}

XFileHandle XSysDuplicateHandle(XFileHandle handle, bool inheritable) {
    // Duplicates stay above the standard descriptors.
    int fd = fcntl(ToFd(handle), inheritable ? F_DUPFD : F_DUPFD_CLOEXEC, 3);
    if (fd < 0) {
        Fail();
        return XInvalidHandle;
    }
    return fd;
}

const void* XSysMapView(XFileHandle handle, uint64_t length) {
    void* view = mmap(nullptr, static_cast<size_t>(length), PROT_READ, MAP_PRIVATE, ToFd(handle), 0);
    if (view == MAP_FAILED) {
        Fail();
        return nullptr;
    }
    return view;
}

void XSysUnmapView(const void* view, uint64_t length) {
    if (view) munmap(const_cast<void*>(view), static_cast<size_t>(length));
}

void* XSysMapWritableView(XFileHandle handle, uint64_t offset, uint64_t length) {
    void* view = mmap(nullptr, static_cast<size_t>(length), PROT_READ | PROT_WRITE, MAP_SHARED, ToFd(handle),
                      static_cast<off_t>(offset));
    if (view == MAP_FAILED) {
        Fail();
        return nullptr;
    }
    return view;
}

bool XSysPopulateView(void* at, uint64_t length) {
#ifdef MADV_POPULATE_READ
    const uintptr_t page = static_cast<uintptr_t>(XSysMapGranularity());
    const uintptr_t first = reinterpret_cast<uintptr_t>(at) / page * page;
    const size_t bytes = static_cast<size_t>(reinterpret_cast<uintptr_t>(at) + length - first);
    // A kernel that doesn't know it (EINVAL) leaves the pages to come on first touch. Any other
    // failure means the file can't back a page, which a touch would learn by a signal. For
    // reading only: making every page writable costs far more, for the many passes that
    // write nothing here.
    if (madvise(reinterpret_cast<void*>(first), bytes, MADV_POPULATE_READ) != 0 && errno != EINVAL) {
        errno = errno == EFAULT || errno == EHWPOISON ? EIO : errno;
        return Fail();
    }
#else
    (void)at;
    (void)length;
#endif
    return true;
}

void XSysUnmapWritableView(void* view, uint64_t length) {
    if (view) munmap(view, static_cast<size_t>(length));
}

bool XSysReleaseFileRange(XFileHandle handle, uint64_t offset, uint64_t length) {
    return fallocate(ToFd(handle), FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE, static_cast<off_t>(offset),
                     static_cast<off_t>(length)) == 0 ||
           Fail();
}

uint64_t XSysMapGranularity() {
    const long page = sysconf(_SC_PAGESIZE);
    return page > 0 ? static_cast<uint64_t>(page) : 4096;
}

bool XSysCreatePipe(XFileHandle* readHandle, XFileHandle* writeHandle, bool inheritable) {
    int fds[2];
    if (pipe2(fds, inheritable ? 0 : O_CLOEXEC) != 0) return Fail();
    *readHandle = fds[0];
    *writeHandle = fds[1];
    return true;
}

bool XSysPeekPipe(XFileHandle handle, uint32_t* available) {
    int n = 0;
    if (ioctl(ToFd(handle), FIONREAD, &n) != 0) {
        *available = 0;
        return Fail();
    }
    *available = static_cast<uint32_t>(n);
    return true;
}

bool XSysReadReady(XFileHandle handle, void* buffer, uint32_t count, uint32_t* done, bool* ended) {
    *done = 0;
    *ended = false;
    pollfd entry{ToFd(handle), POLLIN, 0};
    int ready;
    do {
        ready = poll(&entry, 1, 0);
    } while (ready < 0 && errno == EINTR);
    if (ready < 0 || (entry.revents & POLLNVAL) != 0) {
        *ended = true;
        return Fail();
    }
    // Nothing readable and no hang-up: the writer is still there with nothing to say.
    if (ready == 0 || (entry.revents & (POLLIN | POLLHUP | POLLERR)) == 0) return true;
    ssize_t got;
    do {
        got = read(ToFd(handle), buffer, count);
    } while (got < 0 && errno == EINTR);
    if (got < 0) {
        *ended = true;
        return Fail();
    }
    // A readable descriptor that gives no byte is at its end: a closed pipe or a file's end.
    if (got == 0) *ended = true;
    *done = static_cast<uint32_t>(got);
    return true;
}

bool XSysWriterGone(XFileHandle handle) {
    struct stat st {};
    if (fstat(ToFd(handle), &st) != 0) return true;
    if (!S_ISFIFO(st.st_mode) && !S_ISSOCK(st.st_mode)) return true;
    pollfd entry{ToFd(handle), POLLIN, 0};
    int ready;
    do {
        ready = poll(&entry, 1, 0);
    } while (ready < 0 && errno == EINTR);
    return ready < 0 || (entry.revents & (POLLHUP | POLLERR | POLLNVAL)) != 0;
}

bool XSysFlushFile(XFileHandle handle) {
    int r;
    do {
        r = fdatasync(ToFd(handle));
    } while (r != 0 && errno == EINTR);
    // Pipes and terminals have nothing to flush.
    return r == 0 || errno == EINVAL || errno == EROFS || Fail();
}
