// The descriptor calls of XRawFile on Windows handles: the "descriptor" is the handle's value
// (kernel handles fit in 32 bits on 64-bit Windows), the results are errno values.
#include "foundation/platform/raw_file.h"

#include <windows.h>

#include <cerrno>

#include "foundation/platform/win32/win32_util.h"

namespace XRawFile {

namespace {

HANDLE Native(int fd) { return reinterpret_cast<HANDLE>(static_cast<intptr_t>(fd)); }

int Errno() {
    switch (GetLastError()) {
        case ERROR_FILE_NOT_FOUND:
            return ENOENT;
        case ERROR_PATH_NOT_FOUND:
            return ENOTDIR;
        case ERROR_ACCESS_DENIED:
            return EACCES;
        case ERROR_SHARING_VIOLATION:
            return EBUSY;
        case ERROR_FILE_EXISTS:
        case ERROR_ALREADY_EXISTS:
            return EEXIST;
        case ERROR_INVALID_HANDLE:
            return EBADF;
        case ERROR_DISK_FULL:
        case ERROR_HANDLE_DISK_FULL:
            return ENOSPC;
        case ERROR_NOT_ENOUGH_MEMORY:
        case ERROR_OUTOFMEMORY:
            return ENOMEM;
        case ERROR_FILENAME_EXCED_RANGE:
            return ENAMETOOLONG;
        case ERROR_BROKEN_PIPE:
            return EPIPE;
        default:
            return EIO;
    }
}

}  // namespace

int Open(const char* path, Access access, Disposition disposition, int& fd) {
    const DWORD rights = access == Access::Read ? GENERIC_READ : GENERIC_READ | GENERIC_WRITE;
    DWORD how = OPEN_EXISTING;
    switch (disposition) {
        case Disposition::OpenExisting:
            how = OPEN_EXISTING;
            break;
        case Disposition::CreateAlways:
            how = CREATE_ALWAYS;
            break;
        case Disposition::CreateNew:
            how = CREATE_NEW;
            break;
        case Disposition::OpenAlways:
            how = OPEN_ALWAYS;
            break;
    }
    const std::wstring wide = XWideFromUtf8(path);
    if (wide.empty()) return ENOENT;
    HANDLE handle = CreateFileW(wide.c_str(), rights, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                how, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (handle == INVALID_HANDLE_VALUE) {
        const DWORD attributes = GetFileAttributesW(wide.c_str());
        if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY)) return EISDIR;
        return Errno();
    }
    fd = static_cast<int>(reinterpret_cast<intptr_t>(handle));
    return 0;
}

int Close(int fd) { return CloseHandle(Native(fd)) ? 0 : Errno(); }

int ReadAt(int fd, void* buffer, size_t length, uint64_t offset, size_t& done) {
    done = 0;
    OVERLAPPED at{};
    at.Offset = static_cast<DWORD>(offset);
    at.OffsetHigh = static_cast<DWORD>(offset >> 32);
    const DWORD want = length > 0x40000000u ? 0x40000000u : static_cast<DWORD>(length);
    DWORD got = 0;
    if (!ReadFile(Native(fd), buffer, want, &got, &at)) {
        if (GetLastError() == ERROR_HANDLE_EOF) return 0;
        return Errno();
    }
    done = got;
    return 0;
}

int WriteAt(int fd, const void* buffer, size_t length, uint64_t offset, size_t& done) {
    done = 0;
    OVERLAPPED at{};
    at.Offset = static_cast<DWORD>(offset);
    at.OffsetHigh = static_cast<DWORD>(offset >> 32);
    const DWORD want = length > 0x40000000u ? 0x40000000u : static_cast<DWORD>(length);
    DWORD put = 0;
    if (!WriteFile(Native(fd), buffer, want, &put, &at)) return Errno();
    done = put;
    return 0;
}

int Truncate(int fd, uint64_t length) {
    FILE_END_OF_FILE_INFO end{};
    end.EndOfFile.QuadPart = static_cast<LONGLONG>(length);
    return SetFileInformationByHandle(Native(fd), FileEndOfFileInfo, &end, sizeof end) ? 0 : Errno();
}

int Size(int fd, uint64_t& size) {
    LARGE_INTEGER value{};
    if (!GetFileSizeEx(Native(fd), &value)) return Errno();
    size = static_cast<uint64_t>(value.QuadPart);
    return 0;
}

}  // namespace XRawFile
