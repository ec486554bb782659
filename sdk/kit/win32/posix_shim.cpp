// The POSIX calls of posix/unistd.h and posix/sys/mman.h on the Windows run-time and system.
#include <fcntl.h>
#include <share.h>
#include <sys/stat.h>
#include <windows.h>

#include <cerrno>
#include <cstdarg>
#include <string>

#include "posix/sys/mman.h"

namespace {

HANDLE Native(int fd) { return reinterpret_cast<HANDLE>(_get_osfhandle(fd)); }

int Errno(DWORD error) {
    switch (error) {
        case ERROR_FILE_NOT_FOUND:
            return ENOENT;
        case ERROR_PATH_NOT_FOUND:
            return ENOENT;
        case ERROR_ACCESS_DENIED:
            return EACCES;
        case ERROR_SHARING_VIOLATION:
            return EBUSY;
        case ERROR_DISK_FULL:
        case ERROR_HANDLE_DISK_FULL:
            return ENOSPC;
        case ERROR_INVALID_HANDLE:
            return EBADF;
        case ERROR_BROKEN_PIPE:
            return EPIPE;
        default:
            return EIO;
    }
}

ssize_t Fail() {
    errno = Errno(GetLastError());
    return -1;
}

OVERLAPPED At(off_t offset) {
    OVERLAPPED at{};
    at.Offset = static_cast<DWORD>(static_cast<uint64_t>(offset));
    at.OffsetHigh = static_cast<DWORD>(static_cast<uint64_t>(offset) >> 32);
    return at;
}

}  // namespace

int tvshim_open(const char* path, int flags, ...) {
    int mode = _S_IREAD | _S_IWRITE;
    if (flags & _O_CREAT) {
        va_list arguments;
        va_start(arguments, flags);
        // The POSIX mode only says whether the owner may write.
        mode = (va_arg(arguments, int) & 0200) ? _S_IREAD | _S_IWRITE : _S_IREAD;
        va_end(arguments);
    }
    const int units = MultiByteToWideChar(CP_UTF8, 0, path, -1, nullptr, 0);
    if (units <= 0) {
        errno = ENOENT;
        return -1;
    }
    std::wstring wide(static_cast<size_t>(units), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, path, -1, wide.data(), units);
    int fd = -1;
    const errno_t error = _wsopen_s(&fd, wide.c_str(), flags, _SH_DENYNO, mode);
    if (error != 0) {
        errno = error;
        return -1;
    }
    return fd;
}

ssize_t pread(int fd, void* buffer, size_t count, off_t offset) {
    OVERLAPPED at = At(offset);
    DWORD got = 0;
    if (!ReadFile(Native(fd), buffer, static_cast<DWORD>(count), &got, &at)) {
        if (GetLastError() == ERROR_HANDLE_EOF) return 0;
        return Fail();
    }
    return static_cast<ssize_t>(got);
}

ssize_t pwrite(int fd, const void* buffer, size_t count, off_t offset) {
    OVERLAPPED at = At(offset);
    DWORD put = 0;
    if (!WriteFile(Native(fd), buffer, static_cast<DWORD>(count), &put, &at)) return Fail();
    return static_cast<ssize_t>(put);
}

int ftruncate64_shim(int fd, off_t length) {
    const errno_t error = _chsize_s(fd, length);
    if (error == 0) return 0;
    errno = error;
    return -1;
}

long sysconf(int name) {
    if (name != _SC_PAGESIZE) {
        errno = EINVAL;
        return -1;
    }
    SYSTEM_INFO info{};
    GetSystemInfo(&info);
    return static_cast<long>(info.dwPageSize);
}

ssize_t write(int handle, const void* buffer, size_t count) {
    DWORD put = 0;
    if (!WriteFile(reinterpret_cast<HANDLE>(static_cast<intptr_t>(handle)), buffer, static_cast<DWORD>(count), &put,
                   nullptr)) {
        return Fail();
    }
    return static_cast<ssize_t>(put);
}

void* mmap(void*, size_t length, int protection, int flags, int fd, off_t offset) {
    if (!(flags & MAP_PRIVATE) || offset != 0) {
        errno = EINVAL;
        return MAP_FAILED;
    }
    const bool writable = (protection & PROT_WRITE) != 0;
    HANDLE mapping = CreateFileMappingW(Native(fd), nullptr, writable ? PAGE_WRITECOPY : PAGE_READONLY, 0, 0, nullptr);
    if (!mapping) {
        Fail();
        return MAP_FAILED;
    }
    void* view = MapViewOfFile(mapping, writable ? FILE_MAP_COPY : FILE_MAP_READ, 0, 0, length);
    const DWORD error = GetLastError();
    CloseHandle(mapping);  // the view keeps the section
    if (!view) {
        errno = Errno(error);
        return MAP_FAILED;
    }
    return view;
}

int munmap(void* address, size_t) {
    if (UnmapViewOfFile(address)) return 0;
    errno = EINVAL;
    return -1;
}
