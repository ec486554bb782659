// The last error is the system's own per-thread value: the Windows calls set it themselves.
#include "foundation/platform/last_error.h"

#include <windows.h>

#include <cerrno>

uint32_t XGetLastError() { return GetLastError(); }

void XSetLastError(uint32_t code) { SetLastError(code); }

uint32_t XErrnoToWin32(int e) {
    switch (e) {
        case 0:
            return XErr::Success;
        case ENOENT:
            return XErr::FileNotFound;
        case ENOTDIR:
            return XErr::PathNotFound;
        case EACCES:
        case EPERM:
        case EROFS:
            return XErr::AccessDenied;
        case EBADF:
            return XErr::InvalidHandle;
        case ENOMEM:
            return XErr::NotEnoughMemory;
        case EBUSY:
            return XErr::SharingViolation;
        case EEXIST:
            return XErr::AlreadyExists;
        case EINVAL:
            return XErr::InvalidParameter;
        case EPIPE:
            return XErr::BrokenPipe;
        case ENOSPC:
        case EFBIG:
            return XErr::DiskFull;
        case ENAMETOOLONG:
            return XErr::FilenameTooLong;
        case ENOTEMPTY:
            return XErr::DirNotEmpty;
        case EXDEV:
            return XErr::NotSameDevice;
        case EISDIR:
            return XErr::AccessDenied;
        default:
            return XErr::FunctionFailed;
    }
}

uint32_t XSetLastErrorFromErrno(int errnoValue) {
    const uint32_t code = XErrnoToWin32(errnoValue);
    SetLastError(code);
    return code;
}
