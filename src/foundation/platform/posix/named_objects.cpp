// Named objects as files in a per-user folder, each mapped into every holder.
//
// Holding: every handle keeps the file open with a shared flock. A creator that can take the
// lock exclusively is alone, so the name did not exist (a file left by dead processes is
// simply reused and cleared). The last closer, who can again take it exclusively, unlinks
// the file. Create and Close run under one folder-wide lock so these steps never interleave.
// Events are a word in the mapping waited on with a shared futex; mutexes are robust
// process-shared pthread mutexes, so a dead owner shows as abandoned.
#include "foundation/platform/named_objects.h"

#include <fcntl.h>
#include <linux/futex.h>
#include <pthread.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <mutex>
#include <string>

#include "foundation/platform/last_error.h"
#include "foundation/platform/posix/deadline.h"
#include "foundation/text/xstring.h"

enum class XObjectKind { Event, Mutex, Section };

struct XKernelObject {
    std::atomic<int> refs{1};
    XObjectKind kind = XObjectKind::Event;
    int fd = -1;  // -1 for an unnamed object
    std::string path;
    std::string folder;
    void* map = nullptr;
    size_t mapSize = 0;
    uint32_t size = 0;  // the section's size as its creator chose it
};

namespace {

// Layout of an event's mapping; one word is all a waiter needs.
struct EventPage {
    std::atomic<uint32_t> state;
};

struct MutexPage {
    pthread_mutex_t mutex;
};

constexpr uint32_t ErrorNotOwner = 288;  // ERROR_NOT_OWNER
constexpr size_t MaxEscapedName = 200;   // keeps file names under NAME_MAX with a hash added

long Futex(void* address, int op, uint32_t value, const timespec* timeout) {
    return syscall(SYS_futex, address, op, value, timeout, nullptr, 0);
}

// A file name that any object name maps to safely: letters, digits, '_', '-' and '.' stay,
// everything else (the separator, '%', control characters, non-ASCII) becomes %XX. Over-long
// names are cut and given a hash of the whole name so that they stay distinct.
// The name goes through the text foundation's UTF-8 conversion, so a lone surrogate reads
// as U+FFFD there.
std::string EscapeName(const char16_t* name) {
    std::string utf8 = XString(name).ToStdUtf8();
    // "Local\" and "Global\" name the same session-wide space here.
    if (utf8.rfind("Local\\", 0) == 0)
        utf8.erase(0, 6);
    else if (utf8.rfind("Global\\", 0) == 0)
        utf8.erase(0, 7);
    static const char hex[] = "0123456789ABCDEF";
    std::string out;
    for (unsigned char c : utf8) {
        bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
                     c == '-' || c == '.';
        if (plain) {
            out += static_cast<char>(c);
        } else {
            out += '%';
            out += hex[c >> 4];
            out += hex[c & 15];
        }
    }
    if (out.size() > MaxEscapedName) {
        uint64_t h = 1469598103934665603ull;
        for (unsigned char c : utf8) h = (h ^ c) * 1099511628211ull;
        out.resize(MaxEscapedName - 17);
        out += '~';
        for (int i = 15; i >= 0; --i) out += hex[(h >> (i * 4)) & 15];
    }
    return out;
}

bool FolderPath(std::string& folder) {
    const char* runtime = getenv("XDG_RUNTIME_DIR");
    if (runtime && *runtime) {
        folder = std::string(runtime) + "/tonvale";
    } else {
        folder = "/dev/shm/tonvale-" + std::to_string(getuid());
    }
    return true;
}

// Makes the folder, mode 0700, and refuses one that is not ours or is a link.
bool EnsureFolder(const std::string& folder) {
    if (mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST) {
        XSetLastErrorFromErrno(errno);
        return false;
    }
    struct stat st {};
    if (lstat(folder.c_str(), &st) != 0) {
        XSetLastErrorFromErrno(errno);
        return false;
    }
    if (!S_ISDIR(st.st_mode) || st.st_uid != getuid()) {
        XSetLastError(XErr::AccessDenied);
        return false;
    }
    // Best effort: a folder we own but cannot tighten is still ours to use.
    if ((st.st_mode & 0777) != 0700) chmod(folder.c_str(), 0700);
    return true;
}

// The folder-wide lock: a thread mutex for this process plus a flock for the others. The
// descriptor is reopened after a fork, since a shared description would not exclude.
class FolderLock {
public:
    explicit FolderLock(const std::string& folder) : guard(Mutex()) {
        State& s = Shared();
        if (s.fd < 0 || s.pid != getpid() || s.folder != folder) {
            if (s.fd >= 0 && s.pid == getpid()) close(s.fd);
            s.fd = open((folder + "/.lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
            s.pid = getpid();
            s.folder = folder;
        }
        fd = s.fd;
        if (fd >= 0) {
            while (flock(fd, LOCK_EX) != 0 && errno == EINTR) {}
        }
    }
    ~FolderLock() {
        if (fd >= 0) flock(fd, LOCK_UN);
    }
    FolderLock(const FolderLock&) = delete;
    FolderLock& operator=(const FolderLock&) = delete;
    bool Ok() const { return fd >= 0; }

private:
    struct State {
        int fd = -1;
        pid_t pid = 0;
        std::string folder;
    };
    static std::mutex& Mutex() {
        static std::mutex m;
        return m;
    }
    static State& Shared() {
        static State s;
        return s;
    }
    std::lock_guard<std::mutex> guard;
    int fd = -1;
};

bool InitMutex(pthread_mutex_t* m) {
    pthread_mutexattr_t attr;
    pthread_mutexattr_init(&attr);
    pthread_mutexattr_setpshared(&attr, PTHREAD_PROCESS_SHARED);
    pthread_mutexattr_setrobust(&attr, PTHREAD_MUTEX_ROBUST);
    pthread_mutexattr_settype(&attr, PTHREAD_MUTEX_RECURSIVE);
    int r = pthread_mutex_init(m, &attr);
    pthread_mutexattr_destroy(&attr);
    return r == 0;
}

size_t PageSizeFor(XObjectKind kind, uint32_t size) {
    switch (kind) {
        case XObjectKind::Event:
            return sizeof(EventPage);
        case XObjectKind::Mutex:
            return sizeof(MutexPage);
        case XObjectKind::Section:
            return size;
    }
    return size;
}

// Fresh content of a new object; the mapping is zero-filled already.
bool InitContent(XKernelObject* object) {
    if (object->kind == XObjectKind::Mutex) {
        return InitMutex(&static_cast<MutexPage*>(object->map)->mutex);
    }
    return true;
}

XObjectHandle CreateUnnamed(XObjectKind kind, uint32_t size) {
    auto* object = new XKernelObject;
    object->kind = kind;
    object->size = static_cast<uint32_t>(PageSizeFor(kind, size));
    object->mapSize = object->size ? object->size : 1;
    object->map = mmap(nullptr, object->mapSize, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (object->map == MAP_FAILED) {
        XSetLastErrorFromErrno(errno);
        delete object;
        return nullptr;
    }
    if (!InitContent(object)) {
        munmap(object->map, object->mapSize);
        delete object;
        XSetLastError(XErr::InvalidParameter);
        return nullptr;
    }
    XSetLastError(XErr::Success);
    return object;
}

XObjectHandle CreateNamed(XObjectKind kind, const char16_t* name, uint32_t size, bool* existed) {
    static const char* const prefixes[] = {"event.", "mutex.", "shm."};
    std::string folder;
    FolderPath(folder);
    if (!EnsureFolder(folder)) return nullptr;
    std::string path = folder + "/" + prefixes[static_cast<int>(kind)] + EscapeName(name);

    FolderLock lock(folder);
    if (!lock.Ok()) {
        XSetLastError(XErr::AccessDenied);
        return nullptr;
    }
    int fd = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (fd < 0) {
        XSetLastErrorFromErrno(errno);
        return nullptr;
    }
    bool alone = flock(fd, LOCK_EX | LOCK_NB) == 0;
    size_t wanted = PageSizeFor(kind, size);
    size_t actual = wanted;
    bool ok = true;
    if (alone) {
        // Whatever a dead holder left is stale: start from zeros.
        ok = ftruncate(fd, 0) == 0 && ftruncate(fd, static_cast<off_t>(wanted)) == 0;
    } else {
        struct stat st {};
        ok = fstat(fd, &st) == 0;
        if (ok && kind == XObjectKind::Section) actual = static_cast<size_t>(st.st_size);
        if (ok && kind != XObjectKind::Section && static_cast<size_t>(st.st_size) < wanted) ok = false;
    }
    int saved = errno;
    // Downgrade (or join) as a holder; nobody else can run Create or Close meanwhile.
    if (ok) ok = flock(fd, LOCK_SH) == 0;
    if (!ok || actual == 0) {
        XSetLastErrorFromErrno(ok ? EINVAL : saved);
        close(fd);
        if (alone) unlink(path.c_str());
        return nullptr;
    }
    void* map = mmap(nullptr, actual, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    if (map == MAP_FAILED) {
        XSetLastErrorFromErrno(errno);
        close(fd);
        if (alone) unlink(path.c_str());
        return nullptr;
    }
    auto* object = new XKernelObject;
    object->kind = kind;
    object->fd = fd;
    object->path = path;
    object->folder = folder;
    object->map = map;
    object->mapSize = actual;
    object->size = static_cast<uint32_t>(actual);
    if (alone && !InitContent(object)) {
        munmap(map, actual);
        close(fd);
        unlink(path.c_str());
        delete object;
        XSetLastError(XErr::InvalidParameter);
        return nullptr;
    }
    if (existed) *existed = !alone;
    XSetLastError(alone ? XErr::Success : XErr::AlreadyExists);
    return object;
}

XObjectHandle Create(XObjectKind kind, const char16_t* name, uint32_t size, bool* existed) {
    if (existed) *existed = false;
    if (!name || !*name) return CreateUnnamed(kind, size);
    return CreateNamed(kind, name, size, existed);
}

bool IsKind(XObjectHandle h, XObjectKind kind) {
    if (!h || h->kind != kind) {
        XSetLastError(XErr::InvalidHandle);
        return false;
    }
    return true;
}

std::atomic<uint32_t>& StateOf(XObjectHandle h) { return static_cast<EventPage*>(h->map)->state; }

struct FutexWaitv {
    uint64_t val;
    uint64_t uaddr;
    uint32_t flags;
    uint32_t reserved;
};

constexpr uint32_t FutexSize32 = 2;  // FUTEX2_SIZE_U32
constexpr long SysFutexWaitv = 449;

}  // namespace

XObjectHandle XCreateEventObject(const char16_t* name, bool* existed) {
    return Create(XObjectKind::Event, name, 0, existed);
}

XObjectHandle XCreateMutexObject(const char16_t* name, bool* existed) {
    return Create(XObjectKind::Mutex, name, 0, existed);
}

XObjectHandle XCreateSectionObject(const char16_t* name, uint32_t size, bool* existed) {
    if (size == 0) {
        if (existed) *existed = false;
        XSetLastError(XErr::InvalidParameter);
        return nullptr;
    }
    return Create(XObjectKind::Section, name, size, existed);
}

XObjectHandle XDuplicateObject(XObjectHandle handle) {
    if (!handle) {
        XSetLastError(XErr::InvalidHandle);
        return nullptr;
    }
    handle->refs.fetch_add(1);
    return handle;
}

void XCloseObject(XObjectHandle handle) {
    if (!handle || handle->refs.fetch_sub(1) != 1) return;
    if (handle->fd >= 0) {
        FolderLock lock(handle->folder);
        // Exclusive means no other holder is left: the name goes with us. A file that cannot
        // be removed is harmless: the next creator finds no holder and starts it afresh.
        if (lock.Ok() && flock(handle->fd, LOCK_EX | LOCK_NB) == 0) unlink(handle->path.c_str());
        munmap(handle->map, handle->mapSize);
        close(handle->fd);
    } else {
        if (handle->kind == XObjectKind::Mutex) {
            pthread_mutex_destroy(&static_cast<MutexPage*>(handle->map)->mutex);
        }
        munmap(handle->map, handle->mapSize);
    }
    delete handle;
}

bool XSetEventObject(XObjectHandle event) {
    if (!IsKind(event, XObjectKind::Event)) return false;
    std::atomic<uint32_t>& state = StateOf(event);
    if (state.exchange(1) == 0) Futex(&state, FUTEX_WAKE, INT_MAX, nullptr);
    return true;
}

bool XResetEventObject(XObjectHandle event) {
    if (!IsKind(event, XObjectKind::Event)) return false;
    StateOf(event).store(0);
    return true;
}

uint32_t XWaitEventObject(XObjectHandle event, uint32_t milliseconds) {
    if (!IsKind(event, XObjectKind::Event)) return XWaitFailed;
    std::atomic<uint32_t>& state = StateOf(event);
    if (state.load() != 0) return XWaitObject0;
    if (milliseconds == 0) return XWaitTimeout;
    timespec deadline{};
    if (milliseconds != XInfinite) deadline = XDeadlineAfter(milliseconds);
    while (state.load() == 0) {
        timespec left{};
        const timespec* timeout = nullptr;
        if (milliseconds != XInfinite) {
            if (!XTimeLeft(deadline, left)) return XWaitTimeout;
            timeout = &left;
        }
        Futex(&state, FUTEX_WAIT, 0, timeout);
    }
    return XWaitObject0;
}

int XWaitEitherEventObject(XObjectHandle first, XObjectHandle second, uint32_t milliseconds) {
    if (!IsKind(first, XObjectKind::Event) || !IsKind(second, XObjectKind::Event)) return -2;
    std::atomic<uint32_t>& a = StateOf(first);
    std::atomic<uint32_t>& b = StateOf(second);
    timespec deadline{};
    if (milliseconds != XInfinite) deadline = XDeadlineAfter(milliseconds);
    for (;;) {
        if (a.load() != 0) return 0;
        if (b.load() != 0) return 1;
        timespec left{};
        if (milliseconds != XInfinite && !XTimeLeft(deadline, left)) return -1;
        FutexWaitv waiters[2] = {
            {0, reinterpret_cast<uint64_t>(&a), FutexSize32, 0},
            {0, reinterpret_cast<uint64_t>(&b), FutexSize32, 0},
        };
        long r =
            syscall(SysFutexWaitv, waiters, 2u, 0u, milliseconds == XInfinite ? nullptr : &deadline, CLOCK_MONOTONIC);
        if (r < 0 && errno == ENOSYS) {
            // Older kernels: wait on the first with a short slice and look at both again.
            timespec slice{0, 2000000L};
            Futex(&a, FUTEX_WAIT, 0, &slice);
        }
    }
}

uint32_t XLockMutexObject(XObjectHandle mutex, uint32_t milliseconds) {
    if (!IsKind(mutex, XObjectKind::Mutex)) return XWaitFailed;
    pthread_mutex_t* m = &static_cast<MutexPage*>(mutex->map)->mutex;
    int r;
    if (milliseconds == XInfinite) {
        r = pthread_mutex_lock(m);
    } else if (milliseconds == 0) {
        r = pthread_mutex_trylock(m);
    } else {
        const timespec deadline = XDeadlineAfter(milliseconds);
        r = pthread_mutex_clocklock(m, CLOCK_MONOTONIC, &deadline);
    }
    switch (r) {
        case 0:
            return XWaitObject0;
        case EOWNERDEAD:
            // The owner died holding it: the state it guarded is ours to judge, as on Windows.
            pthread_mutex_consistent(m);
            return XWaitAbandoned;
        case EBUSY:
        case ETIMEDOUT:
            return XWaitTimeout;
        default:
            XSetLastErrorFromErrno(r);
            return XWaitFailed;
    }
}

bool XUnlockMutexObject(XObjectHandle mutex) {
    if (!IsKind(mutex, XObjectKind::Mutex)) return false;
    int r = pthread_mutex_unlock(&static_cast<MutexPage*>(mutex->map)->mutex);
    if (r != 0) {
        XSetLastError(ErrorNotOwner);
        return false;
    }
    return true;
}

void* XSectionView(XObjectHandle section) { return IsKind(section, XObjectKind::Section) ? section->map : nullptr; }

uint32_t XSectionSize(XObjectHandle section) { return IsKind(section, XObjectKind::Section) ? section->size : 0; }

bool XNamedObjectFolder(char* buffer, uint32_t size) {
    std::string folder;
    FolderPath(folder);
    if (!buffer || folder.size() + 1 > size) return false;
    memcpy(buffer, folder.c_str(), folder.size() + 1);
    return true;
}
