// Windows backend of the kit's process services.
#include <windows.h>

#include "tvkit/os_error_win32.h"
#include "tvkit/os_process.h"

namespace tvkit::os {

std::u16string ModuleFolder() {
    HMODULE module = nullptr;
    if (!GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                            reinterpret_cast<LPCWSTR>(&ModuleFolder), &module)) {
        return {};
    }
    std::u16string path(MAX_PATH, u'\0');
    for (;;) {
        const DWORD n =
            GetModuleFileNameW(module, reinterpret_cast<wchar_t*>(path.data()), static_cast<DWORD>(path.size()));
        if (n == 0) return {};
        if (n < path.size()) {
            path.resize(n);
            break;
        }
        path.resize(path.size() * 2);
    }
    const size_t separator = path.find_last_of(u"\\/");
    return separator == std::u16string::npos ? std::u16string() : path.substr(0, separator + 1);
}

bool Library::Open(const std::u16string& path) {
    Close();
    // Libraries the loaded one needs are looked for beside it first.
    HMODULE module =
        LoadLibraryExW(reinterpret_cast<const wchar_t*>(path.c_str()), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
    if (module) {
        handle = module;
        return true;
    }
    const DWORD error = GetLastError();
    win32::FailedWith(error);
    // The loader's text names no file, unlike the POSIX one: the path goes in front.
    return win32::FailedWith(error, path + u": " + LastErrorText());
}

void Library::Close() {
    if (handle) FreeLibrary(static_cast<HMODULE>(handle));  // nothing to do about a failure on the way out
    handle = nullptr;
}

void* Library::Symbol(const char* name) const {
    return handle ? reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(handle), name)) : nullptr;
}

void SleepMs(unsigned ms) { Sleep(ms); }

double MonotonicSeconds() {
    LARGE_INTEGER counter{}, frequency{};
    QueryPerformanceCounter(&counter);
    QueryPerformanceFrequency(&frequency);
    return static_cast<double>(counter.QuadPart) / static_cast<double>(frequency.QuadPart);
}

double ProcessCpuSeconds() {
    FILETIME created{}, ended{}, kernel{}, user{};
    if (!GetProcessTimes(GetCurrentProcess(), &created, &ended, &kernel, &user)) return 0;
    const auto ticks = [](const FILETIME& t) {
        return static_cast<uint64_t>(t.dwHighDateTime) << 32 | t.dwLowDateTime;
    };
    return static_cast<double>(ticks(kernel) + ticks(user)) * 1e-7;
}

void* ReserveMemory(size_t bytes) {
    // Committed here, the pages still arrive on first touch.
    void* memory = ::VirtualAlloc(nullptr, bytes, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE);
    if (!memory) win32::Failed();
    return memory;
}

void PopulateMemory(void*, size_t) {
    // Windows has no call to put fresh pages in place ahead of their first write.
}

void FreeMemory(void* memory, size_t) {
    if (memory) ::VirtualFree(memory, 0, MEM_RELEASE);  // fails only for an address not allocated here
}

bool LowerThreadToIdle() { return ::SetThreadPriority(::GetCurrentThread(), THREAD_PRIORITY_IDLE) || win32::Failed(); }

}  // namespace tvkit::os
