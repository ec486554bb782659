#include "foundation/platform/last_error.h"

#include <cerrno>

namespace {
thread_local uint32_t t_lastError = 0;
}

uint32_t XGetLastError() { return t_lastError; }

void XSetLastError(uint32_t code) { t_lastError = code; }

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
        case ETXTBSY:
            return XErr::SharingViolation;
        case EEXIST:
            return XErr::AlreadyExists;
        case EINVAL:
            return XErr::InvalidParameter;
        case EPIPE:
            return XErr::BrokenPipe;
        case ENOSPC:
        case EDQUOT:
        case EFBIG:
            return XErr::DiskFull;
        case ENAMETOOLONG:
            return XErr::FilenameTooLong;
        case ENOTEMPTY:
            return XErr::DirNotEmpty;
        case EISDIR:
            return XErr::AccessDenied;
        case ETIMEDOUT:
            return XErr::Timeout;
        case ECANCELED:
            return XErr::Cancelled;
        case ENOTSUP:
            return XErr::NotSupported;
        case EXDEV:
            return XErr::NotSameDevice;
        case ELOOP:
            return XErr::InvalidName;
        case EMFILE:
        case ENFILE:
            return 4;  // ERROR_TOO_MANY_OPEN_FILES
        default:
            return XErr::FunctionFailed;  // no closer Windows number
    }
}

uint32_t XSetLastErrorFromErrno(int e) {
    t_lastError = XErrnoToWin32(e);
    return t_lastError;
}
