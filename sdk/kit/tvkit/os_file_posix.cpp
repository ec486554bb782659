// POSIX backend of the kit's file and folder layer.
#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <ctime>

#include "tvkit/os_error_posix.h"
#include "tvkit/os_file.h"
#include "tvkit/text.h"

namespace tvkit::os {

namespace {

using posix::Failed;
using posix::FailedWith;

std::string Narrow(const std::u16string& path) { return Utf16ToUtf8(path); }

int Fd(int64_t handle) { return static_cast<int>(handle); }

}  // namespace

bool File::OpenRead(const std::u16string& path) {
    Close();
    const int fd = ::open(Narrow(path).c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return Failed();
    handle = fd;
    return true;
}

bool File::OpenReadWrite(const std::u16string& path) {
    Close();
    const int fd = ::open(Narrow(path).c_str(), O_RDWR | O_CLOEXEC);
    if (fd < 0) return Failed();
    handle = fd;
    return true;
}

bool File::Create(const std::u16string& path) {
    Close();
    // Cut only when there is something to cut: ext4 takes a truncation to empty for a file
    // being replaced and writes the whole new one out on close, a needless trip to the disk
    // for an output the host made empty a moment ago and renames when it is complete.
    const int fd = ::open(Narrow(path).c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666);
    if (fd < 0) return Failed();
    struct stat st {};
    if (::fstat(fd, &st) != 0 || (S_ISREG(st.st_mode) && st.st_size > 0 && ::ftruncate(fd, 0) != 0)) {
        const int error = errno;
        ::close(fd);
        return FailedWith(error);
    }
    handle = fd;
    return true;
}

bool File::CreateNew(const std::u16string& path) {
    Close();
    const int fd = ::open(Narrow(path).c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (fd < 0) return Failed();
    handle = fd;
    return true;
}

bool File::ReadAt(void* data, size_t size, uint64_t at, size_t& got) const {
    got = 0;
    auto* p = static_cast<uint8_t*>(data);
    while (got < size) {
        const ssize_t n = ::pread(Fd(handle), p + got, size - got, static_cast<off_t>(at + got));
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) return Failed();
        if (n == 0) break;
        got += static_cast<size_t>(n);
    }
    return true;
}

bool File::WriteAt(const void* data, size_t size, uint64_t at) {
    const auto* p = static_cast<const uint8_t*>(data);
    while (size) {
        const ssize_t n = ::pwrite(Fd(handle), p, size, static_cast<off_t>(at));
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) return Failed();
        if (n == 0) {
            errno = ENOSPC;
            return Failed();
        }
        p += n;
        at += static_cast<uint64_t>(n);
        size -= static_cast<size_t>(n);
    }
    return true;
}

bool File::Size(uint64_t& out) const {
    struct stat st {};
    if (::fstat(Fd(handle), &st) != 0) return Failed();
    out = static_cast<uint64_t>(st.st_size);
    return true;
}

bool File::Truncate(uint64_t size) { return ::ftruncate(Fd(handle), static_cast<off_t>(size)) == 0 || Failed(); }

void File::Reserve(uint64_t size) {
    // Spares the file system its per-page allocation work; a failure changes nothing else.
    (void)::fallocate(Fd(handle), FALLOC_FL_KEEP_SIZE, 0, static_cast<off_t>(size));
}

bool File::Close() {
    if (handle < 0) return true;
    const int r = ::close(Fd(handle));
    handle = -1;
    return r == 0 || Failed();
}

bool FileView::Map(const File& file, uint64_t offset, uint64_t length) {
    Unmap();
    if (length == 0) return FailedWith(EINVAL);
    const long page = ::sysconf(_SC_PAGESIZE);
    const uint64_t start = offset - offset % static_cast<uint64_t>(page > 0 ? page : 4096);
    const size_t bytes = static_cast<size_t>(length + (offset - start));
    void* view = ::mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED, Fd(file.handle), static_cast<off_t>(start));
    if (view == MAP_FAILED) return Failed();
    base = view;
    mapped = bytes;
    lead = offset - start;
    return true;
}

bool FileView::Populate(uint64_t from, uint64_t length, bool forWriting) {
    if (!base || length == 0 || lead + from + length > mapped) return FailedWith(EINVAL);
#ifdef MADV_POPULATE_WRITE
    const long page = ::sysconf(_SC_PAGESIZE);
    const uint64_t pageBytes = static_cast<uint64_t>(page > 0 ? page : 4096);
    const uint64_t first = (lead + from) / pageBytes * pageBytes;
    // A kernel without it (EINVAL) faults the pages in one by one; any other failure means the
    // file can't back a page, which a touch would learn by a signal.
    if (::madvise(static_cast<uint8_t*>(base) + first, static_cast<size_t>(lead + from + length - first),
                  forWriting ? MADV_POPULATE_WRITE : MADV_POPULATE_READ) != 0 &&
        errno != EINVAL)
        return FailedWith(errno == EFAULT || errno == EHWPOISON ? EIO : errno);
#else
    (void)forWriting;
#endif
    return true;
}

void FileView::Unmap() {
    if (base) ::munmap(base, static_cast<size_t>(mapped));
    base = nullptr;
    mapped = lead = 0;
}

bool Mapping::Open(const std::u16string& path) {
    Close();
    const int fd = ::open(Narrow(path).c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return Failed();
    struct stat st {};
    if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
        const int e = S_ISDIR(st.st_mode) ? EISDIR : errno ? errno : EINVAL;
        ::close(fd);
        return FailedWith(e);
    }
    size = static_cast<uint64_t>(st.st_size);
    if (size) {
        void* p = ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE, fd, 0);
        if (p == MAP_FAILED) {
            Failed();
            ::close(fd);
            size = 0;
            return false;
        }
        ::madvise(p, size, MADV_SEQUENTIAL);
        data = static_cast<uint8_t*>(p);
    }
    ::close(fd);  // the mapping keeps the file
    open = true;
    released = 0;
    return true;
}

void Mapping::Release(uint64_t end) {
    if (!data) return;
    const uint64_t page = static_cast<uint64_t>(::sysconf(_SC_PAGESIZE));
    end = end / page * page;
    if (end <= released) return;
    ::madvise(data + released, end - released, MADV_DONTNEED);  // only advice; nothing to do on failure
    released = end;
}

void Mapping::Close() {
    if (data) ::munmap(data, size);
    data = nullptr;
    size = 0;
    released = 0;
    open = false;
}

bool WriteHandle(TvOsHandle handle, const void* data, size_t size) {
    const auto* p = static_cast<const uint8_t*>(data);
    while (size) {
        const ssize_t n = ::write(static_cast<int>(handle), p, size);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return Failed();
        p += n;
        size -= static_cast<size_t>(n);
    }
    return true;
}

bool WriteLock::Take(const std::u16string& path) {
    Release();
    const std::string name = Narrow(path);
    // Each round loses only to another writer that replaced the name meanwhile: bounded.
    constexpr int kRounds = 16;
    for (int round = 0; round < kRounds; ++round) {
        const int fd = ::open(name.c_str(), O_RDWR | O_CLOEXEC);
        if (fd < 0) return Failed();
        int r;
        while ((r = ::flock(fd, LOCK_EX)) != 0 && errno == EINTR) {}
        struct stat held {
        }, named{};
        if (r != 0 || ::fstat(fd, &held) != 0) {
            Failed();
            ::close(fd);
            return false;
        }
        if (::stat(name.c_str(), &named) == 0 && named.st_dev == held.st_dev && named.st_ino == held.st_ino) {
            handle = fd;
            return true;
        }
        ::close(fd);
    }
    return posix::FailedWith(EBUSY);
}

int WriteLock::NewDescriptor() const {
    if (handle < 0) return -1;
    const int fd = ::fcntl(Fd(handle), F_DUPFD_CLOEXEC, 0);
    if (fd < 0) Failed();
    return fd;
}

void WriteLock::Release() {
    // Closing the last descriptor of the open file ends the hold.
    if (handle >= 0) ::close(Fd(handle));
    handle = -1;
}

bool Rename(const std::u16string& from, const std::u16string& to) {
    return ::rename(Narrow(from).c_str(), Narrow(to).c_str()) == 0 || Failed();
}

bool Remove(const std::u16string& path) { return ::unlink(Narrow(path).c_str()) == 0 || Failed(); }

bool ListFolder(const std::u16string& folder, std::vector<FolderEntry>& out) {
    out.clear();
    DIR* dir = ::opendir(Narrow(folder.empty() ? u"." : folder).c_str());
    if (!dir) return Failed();
    const int dirFd = ::dirfd(dir);
    const time_t now = std::time(nullptr);
    while (const dirent* e = ::readdir(dir)) {
        struct stat st {};
        if (::fstatat(dirFd, e->d_name, &st, AT_SYMLINK_NOFOLLOW) != 0 || !S_ISREG(st.st_mode)) continue;
        out.push_back({Utf8ToUtf16(e->d_name), static_cast<int64_t>(now - st.st_mtime)});
    }
    ::closedir(dir);
    return true;
}

uint64_t RandomNumber() {
    uint64_t v = 0;
    if (::getrandom(&v, sizeof v, GRND_NONBLOCK) == static_cast<ssize_t>(sizeof v)) return v;
    timespec ts{};
    ::clock_gettime(CLOCK_MONOTONIC, &ts);
    v = static_cast<uint64_t>(ts.tv_nsec) * 0x9E3779B97F4A7C15ull ^ static_cast<uint64_t>(ts.tv_sec) ^
        reinterpret_cast<uintptr_t>(&v) ^ static_cast<uint64_t>(::getpid()) << 32;
    return v;
}

bool IsFolder(const std::u16string& path) {
    struct stat st {};
    if (::stat(Narrow(path).c_str(), &st) != 0) return Failed();
    return S_ISDIR(st.st_mode) || FailedWith(ENOTDIR);
}

bool IsWritableFolder(const std::u16string& path) {
    return IsFolder(path) && (::access(Narrow(path).c_str(), W_OK | X_OK) == 0 || Failed());
}

std::u16string TempFolder() {
    const char* env = std::getenv("TMPDIR");
    std::string path = env && *env ? env : "/tmp";
    if (path.back() != '/') path += '/';
    return Utf8ToUtf16(path);
}

std::u16string_view Separators() { return u"/"; }

}  // namespace tvkit::os
