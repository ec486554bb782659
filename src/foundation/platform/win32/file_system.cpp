#include "foundation/platform/file_system.h"

#include <windows.h>

#include <vector>

#include "foundation/platform/last_error.h"
#include "foundation/platform/win32/win32_util.h"

uint32_t XSysGetFileAttributes(const XString& path) { return GetFileAttributesW(XWide(path)); }

bool XSysSetFileAttributes(const XString& path, uint32_t attributes) {
    return SetFileAttributesW(XWide(path), attributes) != 0;
}

bool XSysIsRootPath(const XString& path) {
    // DRIVE_UNKNOWN (0) and DRIVE_NO_ROOT_DIR (1) are no roots.
    return !path.IsEmpty() && GetDriveTypeW(XWide(path)) > DRIVE_NO_ROOT_DIR;
}

bool XSysDeleteFile(const XString& path) { return DeleteFileW(XWide(path)) != 0; }

bool XSysRemoveDirectory(const XString& path) { return RemoveDirectoryW(XWide(path)) != 0; }

bool XSysCreateDirectory(const XString& path) { return CreateDirectoryW(XWide(path), nullptr) != 0; }

bool XSysMoveFile(const XString& from, const XString& to, uint32_t flags) {
    return MoveFileExW(XWide(from), XWide(to), flags) != 0;
}

bool XSysCopyFile(const XString& from, const XString& to, bool failIfExists) {
    if (CopyFileW(XWide(from), XWide(to), failIfExists ? TRUE : FALSE)) return true;
    // A taken target reads 183 here too, as for every other creating call of the layer.
    if (GetLastError() == ERROR_FILE_EXISTS) XSetLastError(XErr::AlreadyExists);
    return false;
}

bool XSysModuleFileName(const void* module, XString& path) {
    path.Clear();
    std::vector<wchar_t> buffer(1024);
    for (;;) {
        const DWORD length = GetModuleFileNameW(static_cast<HMODULE>(const_cast<void*>(module)), buffer.data(),
                                                static_cast<DWORD>(buffer.size()));
        if (length == 0) return false;
        if (length < buffer.size()) {
            path = XFromWide(buffer.data(), static_cast<int>(length));
            return true;
        }
        buffer.resize(buffer.size() * 2);
    }
}

uint32_t XSysGetDriveType(const XString& path) { return GetDriveTypeW(XWide(path)); }

bool XSysFileIdentity(const XString& path, XFileIdentity& identity) {
    // No access asked: the identity of a file that another holds without sharing can be read too.
    HANDLE file = CreateFileW(XWide(path), 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                              OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT, nullptr);
    if (file == INVALID_HANDLE_VALUE) return false;
    BY_HANDLE_FILE_INFORMATION info{};
    FILE_BASIC_INFO basic{};
    const bool ok = GetFileInformationByHandle(file, &info) &&
                    GetFileInformationByHandleEx(file, FileBasicInfo, &basic, sizeof basic);
    const DWORD error = GetLastError();
    CloseHandle(file);
    if (!ok) {
        SetLastError(error);
        return false;
    }
    identity.device = info.dwVolumeSerialNumber;
    identity.file = static_cast<uint64_t>(info.nFileIndexHigh) << 32 | info.nFileIndexLow;
    // The change time moves with the data and with renames, as ctime does; 100 ns units.
    identity.changed = static_cast<uint64_t>(basic.ChangeTime.QuadPart) * 100u;
    return true;
}
