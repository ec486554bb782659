#include "foundation/platform/raw_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>

namespace XRawFile {

namespace {
// Offsets beyond what off_t holds cannot be reached; say so as the system would.
bool fitsOffset(uint64_t v) { return v <= static_cast<uint64_t>(LLONG_MAX); }
}  // namespace

int Open(const char* path, Access access, Disposition disposition, int& fd) {
    int flags = O_CLOEXEC | (access == Access::Read ? O_RDONLY : O_RDWR);
    switch (disposition) {
        case Disposition::OpenExisting:
            break;
        case Disposition::CreateAlways:
            flags |= O_CREAT | O_TRUNC;
            break;
        case Disposition::CreateNew:
            flags |= O_CREAT | O_EXCL;
            break;
        case Disposition::OpenAlways:
            flags |= O_CREAT;
            break;
    }
    int r;
    do {
        r = ::open(path, flags, 0666);
    } while (r < 0 && errno == EINTR);
    if (r < 0) return errno;
    // A directory opens for reading on POSIX, but is no file to read or write.
    struct stat st;
    if (::fstat(r, &st) == 0 && S_ISDIR(st.st_mode)) {
        ::close(r);
        return EISDIR;
    }
    fd = r;
    return 0;
}

int Close(int fd) {
    // Not retried on EINTR: the descriptor is released either way on Linux.
    return ::close(fd) == 0 ? 0 : errno;
}

int ReadAt(int fd, void* buffer, size_t length, uint64_t offset, size_t& done) {
    done = 0;
    if (!fitsOffset(offset)) return EINVAL;
    ssize_t r;
    do {
        r = ::pread(fd, buffer, length, static_cast<off_t>(offset));
    } while (r < 0 && errno == EINTR);
    if (r < 0) return errno;
    done = static_cast<size_t>(r);
    return 0;
}

int WriteAt(int fd, const void* buffer, size_t length, uint64_t offset, size_t& done) {
    done = 0;
    if (!fitsOffset(offset)) return EFBIG;
    ssize_t r;
    do {
        r = ::pwrite(fd, buffer, length, static_cast<off_t>(offset));
    } while (r < 0 && errno == EINTR);
    if (r < 0) return errno;
    done = static_cast<size_t>(r);
    return 0;
}

int Truncate(int fd, uint64_t length) {
    if (!fitsOffset(length)) return EFBIG;
    int r;
    do {
        r = ::ftruncate(fd, static_cast<off_t>(length));
    } while (r < 0 && errno == EINTR);
    return r == 0 ? 0 : errno;
}

int Size(int fd, uint64_t& size) {
    struct stat st;
    if (::fstat(fd, &st) != 0) return errno;
    size = static_cast<uint64_t>(st.st_size);
    return 0;
}

}  // namespace XRawFile
