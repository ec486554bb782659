// Named events, mutexes and sections as the kernel objects themselves: lifetime, "existed"
// and abandoned mutexes are the system's own.
#include "foundation/platform/named_objects.h"

#include <windows.h>

#include "foundation/platform/last_error.h"

struct XKernelObject {
    HANDLE handle = nullptr;
    void* view = nullptr;  // sections only
    uint32_t size = 0;
};

namespace {

XObjectHandle Wrap(HANDLE handle, bool* existed) {
    const bool was = GetLastError() == ERROR_ALREADY_EXISTS;
    if (!handle) return nullptr;
    if (existed) *existed = was;
    auto* object = new XKernelObject;
    object->handle = handle;
    return object;
}

struct SizeNote {
    uint64_t magic;
    uint64_t size;
};
constexpr uint64_t SizeNoteMagic = 0x657A695356547654ull;  // "TvTVSize"

const wchar_t* Wide(const char16_t* name) { return reinterpret_cast<const wchar_t*>(name); }

// The size the section's creator chose, which the system keeps (a view shows whole pages).
uint32_t SectionSize(HANDLE section, uint32_t asked) {
    struct BasicInformation {
        void* base;
        ULONG attributes;
        LARGE_INTEGER size;
    } info{};
    using QuerySection = LONG(WINAPI*)(HANDLE, int, void*, SIZE_T, SIZE_T*);
    static const QuerySection query = reinterpret_cast<QuerySection>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "NtQuerySection")));
    if (query && query(section, 0, &info, sizeof info, nullptr) >= 0 && info.size.QuadPart > 0 &&
        info.size.QuadPart <= 0xFFFFFFFF) {
        return static_cast<uint32_t>(info.size.QuadPart);
    }
    return asked;
}

}  // namespace

XObjectHandle XCreateEventObject(const char16_t* name, bool* existed) {
    if (existed) *existed = false;
    return Wrap(CreateEventW(nullptr, TRUE, FALSE, Wide(name)), existed);
}

XObjectHandle XCreateMutexObject(const char16_t* name, bool* existed) {
    if (existed) *existed = false;
    return Wrap(CreateMutexW(nullptr, FALSE, Wide(name)), existed);
}

XObjectHandle XCreateSectionObject(const char16_t* name, uint32_t size, bool* existed) {
    bool was = false;
    if (existed) *existed = false;
    XObjectHandle object =
        Wrap(CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, size, Wide(name)), &was);
    if (!object) return nullptr;
    if (existed) *existed = was;
    object->view = MapViewOfFile(object->handle, FILE_MAP_ALL_ACCESS, 0, 0, 0);
    if (!object->view) {
        const DWORD error = GetLastError();
        XCloseObject(object);
        SetLastError(error);
        return nullptr;
    }
    // The creator's size is also noted at the end of the last page, beyond the block, where
    // a system that gives only whole pages (Wine) can't tell it otherwise. A section that
    // someone else made without the note is taken as at most what was asked for.
    MEMORY_BASIC_INFORMATION region{};
    const bool noted =
        VirtualQuery(object->view, &region, sizeof region) && region.RegionSize >= size + sizeof(SizeNote);
    auto* note =
        noted ? reinterpret_cast<SizeNote*>(static_cast<uint8_t*>(object->view) + region.RegionSize - sizeof(SizeNote))
              : nullptr;
    if (!was) {
        object->size = size;
        if (note) *note = SizeNote{SizeNoteMagic, size};
    } else if (note && note->magic == SizeNoteMagic) {
        object->size = note->size;
    } else {
        const uint32_t known = SectionSize(object->handle, size);
        object->size = known < size ? known : size;
    }
    return object;
}

XObjectHandle XDuplicateObject(XObjectHandle handle) {
    if (!handle) return nullptr;
    HANDLE copy = nullptr;
    if (!DuplicateHandle(GetCurrentProcess(), handle->handle, GetCurrentProcess(), &copy, 0, FALSE,
                         DUPLICATE_SAME_ACCESS)) {
        return nullptr;
    }
    auto* object = new XKernelObject;
    object->handle = copy;
    object->size = handle->size;
    if (handle->view) {
        object->view = MapViewOfFile(copy, FILE_MAP_ALL_ACCESS, 0, 0, 0);
        if (!object->view) {
            XCloseObject(object);
            return nullptr;
        }
    }
    return object;
}

void XCloseObject(XObjectHandle handle) {
    if (!handle) return;
    if (handle->view) UnmapViewOfFile(handle->view);
    CloseHandle(handle->handle);
    delete handle;
}

bool XSetEventObject(XObjectHandle event) { return event && SetEvent(event->handle); }

bool XResetEventObject(XObjectHandle event) { return event && ResetEvent(event->handle); }

uint32_t XWaitEventObject(XObjectHandle event, uint32_t milliseconds) {
    if (!event) {
        XSetLastError(XErr::InvalidHandle);
        return XWaitFailed;
    }
    return WaitForSingleObject(event->handle, milliseconds);
}

int XWaitEitherEventObject(XObjectHandle first, XObjectHandle second, uint32_t milliseconds) {
    if (!first || !second) {
        XSetLastError(XErr::InvalidHandle);
        return -2;
    }
    HANDLE both[2] = {first->handle, second->handle};
    const DWORD result = WaitForMultipleObjects(2, both, FALSE, milliseconds);
    if (result == WAIT_OBJECT_0 || result == WAIT_OBJECT_0 + 1) return static_cast<int>(result - WAIT_OBJECT_0);
    return result == WAIT_TIMEOUT ? -1 : -2;
}

uint32_t XLockMutexObject(XObjectHandle mutex, uint32_t milliseconds) {
    if (!mutex) {
        XSetLastError(XErr::InvalidHandle);
        return XWaitFailed;
    }
    return WaitForSingleObject(mutex->handle, milliseconds);
}

bool XUnlockMutexObject(XObjectHandle mutex) { return mutex && ReleaseMutex(mutex->handle); }

void* XSectionView(XObjectHandle section) { return section ? section->view : nullptr; }

uint32_t XSectionSize(XObjectHandle section) { return section ? section->size : 0; }

bool XNamedObjectFolder(char* buffer, uint32_t size) {
    // Names live in the session's own namespace of the object manager, not in a folder.
    if (size > 0) buffer[0] = 0;
    XSetLastError(XErr::NotSupported);
    return false;
}
