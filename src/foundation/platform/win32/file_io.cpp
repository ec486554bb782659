// File, mapping and pipe calls on the Windows handles themselves: share modes, dispositions
// and errors are the system's own.
#include "foundation/platform/file_io.h"

#include <windows.h>

#include "foundation/platform/last_error.h"
#include "foundation/platform/win32/win32_util.h"

namespace {

bool Bad(HANDLE handle) {
    if (XUsableHandle(handle)) return false;
    XSetLastError(XErr::InvalidHandle);
    return true;
}

uint64_t FromFileTime(const FILETIME& ft) {
    return (static_cast<uint64_t>(ft.dwHighDateTime) << 32) | ft.dwLowDateTime;
}

FILETIME ToFileTime(uint64_t value) {
    FILETIME ft;
    ft.dwLowDateTime = static_cast<DWORD>(value);
    ft.dwHighDateTime = static_cast<DWORD>(value >> 32);
    return ft;
}

bool IsPipe(HANDLE handle) { return GetFileType(handle) == FILE_TYPE_PIPE; }

}  // namespace

XFileHandle XSysOpenFile(const XString& path, uint32_t access, uint32_t shareMode, uint32_t disposition,
                         uint32_t attributes) {
    if (path.IsEmpty()) {
        XSetLastError(XErr::PathNotFound);
        return XInvalidHandle;
    }
    HANDLE handle = CreateFileW(XWide(path), access, shareMode, nullptr, disposition, attributes, nullptr);
    if (handle == INVALID_HANDLE_VALUE) {
        // "Exists" reads the same on every system: 183, as for the other creating calls.
        if (GetLastError() == ERROR_FILE_EXISTS) XSetLastError(XErr::AlreadyExists);
        return XInvalidHandle;
    }
    return reinterpret_cast<XFileHandle>(handle);
}

bool XSysCloseHandle(XFileHandle handle) {
    // The standard handles stand for the process's own and are never closed through here.
    if (handle >= XStdInputHandle && handle <= XStdErrorHandle) return true;
    HANDLE native = XNativeHandle(handle);
    if (Bad(native)) return false;
    return CloseHandle(native) != 0;
}

bool XSysReadFile(XFileHandle handle, void* buffer, uint32_t count, uint32_t* done) {
    if (done) *done = 0;
    HANDLE native = XNativeHandle(handle);
    if (Bad(native)) return false;
    DWORD got = 0;
    const BOOL ok = ReadFile(native, buffer, count, &got, nullptr);
    if (done) *done = got;
    return ok != 0;
}

bool XSysWriteFile(XFileHandle handle, const void* buffer, uint32_t count, uint32_t* done) {
    if (done) *done = 0;
    HANDLE native = XNativeHandle(handle);
    if (Bad(native)) return false;
    const auto* in = static_cast<const uint8_t*>(buffer);
    uint32_t total = 0;
    do {
        DWORD written = 0;
        if (!WriteFile(native, in + total, count - total, &written, nullptr)) {
            if (done) *done = total;
            return false;
        }
        total += written;
        if (written == 0 && total < count) {
            if (done) *done = total;
            XSetLastError(XErr::DiskFull);
            return false;
        }
    } while (total < count);
    if (done) *done = total;
    return true;
}

bool XSysSetFilePointer(XFileHandle handle, int64_t offset, int origin, int64_t* position) {
    const DWORD method = origin == XSeekFrom::Begin ? FILE_BEGIN : origin == XSeekFrom::End ? FILE_END : FILE_CURRENT;
    LARGE_INTEGER distance;
    distance.QuadPart = offset;
    LARGE_INTEGER at{};
    if (!SetFilePointerEx(XNativeHandle(handle), distance, &at, method)) return false;
    if (position) *position = at.QuadPart;
    return true;
}

bool XSysGetFileSize(XFileHandle handle, uint64_t* size) {
    LARGE_INTEGER value{};
    if (!GetFileSizeEx(XNativeHandle(handle), &value)) return false;
    *size = static_cast<uint64_t>(value.QuadPart);
    return true;
}

bool XSysSetEndOfFile(XFileHandle handle) { return SetEndOfFile(XNativeHandle(handle)) != 0; }

bool XSysGetFileTimes(XFileHandle handle, uint64_t* created, uint64_t* accessed, uint64_t* modified) {
    FILETIME c{}, a{}, m{};
    if (!GetFileTime(XNativeHandle(handle), &c, &a, &m)) return false;
    if (created) *created = FromFileTime(c);
    if (accessed) *accessed = FromFileTime(a);
    if (modified) *modified = FromFileTime(m);
    return true;
}

bool XSysSetFileTimes(XFileHandle handle, const uint64_t* created, const uint64_t* accessed, const uint64_t* modified) {
    FILETIME c{}, a{}, m{};
    if (created) c = ToFileTime(*created);
    if (accessed) a = ToFileTime(*accessed);
    if (modified) m = ToFileTime(*modified);
    return SetFileTime(XNativeHandle(handle), created ? &c : nullptr, accessed ? &a : nullptr,
                       modified ? &m : nullptr) != 0;
}

XFileHandle XSysDuplicateHandle(XFileHandle handle, bool inheritable) {
    HANDLE copy = nullptr;
    if (!DuplicateHandle(GetCurrentProcess(), XNativeHandle(handle), GetCurrentProcess(), &copy, 0,
                         inheritable ? TRUE : FALSE, DUPLICATE_SAME_ACCESS)) {
        return XInvalidHandle;
    }
    return reinterpret_cast<XFileHandle>(copy);
}

const void* XSysMapView(XFileHandle handle, uint64_t length) {
    HANDLE mapping = CreateFileMappingW(XNativeHandle(handle), nullptr, PAGE_READONLY, 0, 0, nullptr);
    if (!mapping) return nullptr;
    const void* view = MapViewOfFile(mapping, FILE_MAP_READ, 0, 0, static_cast<SIZE_T>(length));
    // The view keeps the section alive; the mapping handle is not needed any more.
    const DWORD error = GetLastError();
    CloseHandle(mapping);
    if (!view) XSetLastError(error);
    return view;
}

void XSysUnmapView(const void* view, uint64_t) {
    if (view) UnmapViewOfFile(view);
}

void* XSysMapWritableView(XFileHandle handle, uint64_t offset, uint64_t length) {
    HANDLE mapping = CreateFileMappingW(XNativeHandle(handle), nullptr, PAGE_READWRITE, 0, 0, nullptr);
    if (!mapping) return nullptr;
    void* view = MapViewOfFile(mapping, FILE_MAP_WRITE, static_cast<DWORD>(offset >> 32), static_cast<DWORD>(offset),
                               static_cast<SIZE_T>(length));
    // The view keeps the section alive; the mapping handle is not needed any more.
    const DWORD error = GetLastError();
    CloseHandle(mapping);
    if (!view) XSetLastError(error);
    return view;
}

bool XSysPopulateView(void*, uint64_t) {
    // No call maps a view's pages ahead here; they come on first touch.
    return true;
}

void XSysUnmapWritableView(void* view, uint64_t) {
    if (view) UnmapViewOfFile(view);
}

bool XSysReleaseFileRange(XFileHandle, uint64_t, uint64_t) {
    // Zeroing a range of a file that isn't sparse writes the zeros: worse than keeping it.
    XSetLastError(ERROR_NOT_SUPPORTED);
    return false;
}

uint64_t XSysMapGranularity() {
    SYSTEM_INFO info{};
    GetSystemInfo(&info);
    return info.dwAllocationGranularity != 0 ? info.dwAllocationGranularity : 65536;
}

bool XSysCreatePipe(XFileHandle* readHandle, XFileHandle* writeHandle, bool inheritable) {
    SECURITY_ATTRIBUTES sa{sizeof sa, nullptr, inheritable ? TRUE : FALSE};
    HANDLE r = nullptr, w = nullptr;
    if (!CreatePipe(&r, &w, &sa, 0)) return false;
    *readHandle = reinterpret_cast<XFileHandle>(r);
    *writeHandle = reinterpret_cast<XFileHandle>(w);
    return true;
}

bool XSysPeekPipe(XFileHandle handle, uint32_t* available) {
    DWORD waiting = 0;
    *available = 0;
    if (!PeekNamedPipe(XNativeHandle(handle), nullptr, 0, nullptr, &waiting, nullptr)) return false;
    *available = waiting;
    return true;
}

bool XSysReadReady(XFileHandle handle, void* buffer, uint32_t count, uint32_t* done, bool* ended) {
    *done = 0;
    *ended = false;
    HANDLE native = XNativeHandle(handle);
    if (Bad(native)) {
        *ended = true;
        return false;
    }
    if (IsPipe(native)) {
        DWORD waiting = 0;
        if (!PeekNamedPipe(native, nullptr, 0, nullptr, &waiting, nullptr)) {
            // The writer is gone and everything it wrote was read.
            *ended = true;
            return GetLastError() == ERROR_BROKEN_PIPE;
        }
        if (waiting == 0) return true;
        if (count > waiting) count = waiting;
    } else if (GetFileType(native) == FILE_TYPE_CHAR && WaitForSingleObject(native, 0) != WAIT_OBJECT_0) {
        // A console with no input waiting (NUL is always ready and reads as ended).
        return true;
    }
    DWORD got = 0;
    if (!ReadFile(native, buffer, count, &got, nullptr)) {
        *ended = true;
        return GetLastError() == ERROR_BROKEN_PIPE;
    }
    if (got == 0) *ended = true;
    *done = got;
    return true;
}

bool XSysWriterGone(XFileHandle handle) {
    HANDLE native = XNativeHandle(handle);
    if (!XUsableHandle(native) || !IsPipe(native)) return true;
    DWORD waiting = 0;
    return !PeekNamedPipe(native, nullptr, 0, nullptr, &waiting, nullptr);
}

bool XSysFlushFile(XFileHandle handle) {
    HANDLE native = XNativeHandle(handle);
    if (FlushFileBuffers(native)) return true;
    // Pipes and consoles have nothing to flush.
    const DWORD type = GetFileType(native);
    return type == FILE_TYPE_PIPE || type == FILE_TYPE_CHAR;
}
