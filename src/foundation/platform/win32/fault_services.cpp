// What a fault handler may call on Windows: guarded reads of its own memory, the successor
// process, raw files, the system's facts, and the system's Minidump writer with the
// exception of the fault.
#include <windows.h>

#include <dbghelp.h>

#include <cstring>

#include "foundation/platform/faults.h"
#include "foundation/platform/system_dump.h"
#include "foundation/platform/win32/fault_state.h"
#include "foundation/platform/win32/win32_util.h"

namespace {

EXCEPTION_POINTERS* g_pointers = nullptr;
uint32_t g_faultThread = 0;

using WriteDumpFn = BOOL(WINAPI*)(HANDLE, DWORD, HANDLE, MINIDUMP_TYPE, PMINIDUMP_EXCEPTION_INFORMATION,
                                  PMINIDUMP_USER_STREAM_INFORMATION, PMINIDUMP_CALLBACK_INFORMATION);
WriteDumpFn g_writeDump = nullptr;

HANDLE Native(int file) { return reinterpret_cast<HANDLE>(static_cast<intptr_t>(file)); }

XSystemFacts MakeFacts() {
    XSystemFacts facts{};
    SYSTEM_INFO info{};
    GetNativeSystemInfo(&info);
    facts.processors = info.dwNumberOfProcessors;
    facts.processId = GetCurrentProcessId();
    // The true version: GetVersionEx answers what the manifest allows.
    OSVERSIONINFOW version{};
    version.dwOSVersionInfoSize = sizeof version;
    using GetVersionFn = LONG(WINAPI*)(OSVERSIONINFOW*);
    auto get = reinterpret_cast<GetVersionFn>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "RtlGetVersion")));
    if (get && get(&version) == 0) {
        facts.major = version.dwMajorVersion;
        facts.minor = version.dwMinorVersion;
        facts.build = version.dwBuildNumber;
    }
    WideCharToMultiByte(CP_UTF8, 0, version.szCSDVersion, -1, facts.release, sizeof facts.release, nullptr, nullptr);
    return facts;
}

struct RangeRequest {
    XDumpRangeSource source;
    void* state;
};

BOOL CALLBACK OnDumpCallback(void* raw, const PMINIDUMP_CALLBACK_INPUT input, PMINIDUMP_CALLBACK_OUTPUT output) {
    const auto* request = static_cast<RangeRequest*>(raw);
    if (!input || !output) return TRUE;
    uint64_t base = 0;
    uint32_t size = 0;
    const int more = request->source(request->state, static_cast<int>(input->CallbackType), &base, &size);
    if (input->CallbackType == MemoryCallback) {
        output->MemoryBase = base;
        output->MemorySize = size;
    }
    return more != 0;
}

}  // namespace

void XSetFaultPointers(EXCEPTION_POINTERS* pointers, uint32_t threadId) {
    g_pointers = pointers;
    g_faultThread = threadId;
}

EXCEPTION_POINTERS* XFaultPointers() { return g_pointers; }

void XPrepareFaultServices() {
    XGetSystemFacts();
    // Loading a library in a damaged process is what must not happen: it is done now.
    HMODULE dbghelp = LoadLibraryW(L"dbghelp.dll");
    if (dbghelp) {
        g_writeDump =
            reinterpret_cast<WriteDumpFn>(reinterpret_cast<void*>(GetProcAddress(dbghelp, "MiniDumpWriteDump")));
    }
}

bool XSysWriteMiniDump(int file, XDumpRangeSource ranges, void* state) {
    if (!g_writeDump) return false;
    MINIDUMP_EXCEPTION_INFORMATION exception{};
    exception.ThreadId = GetCurrentThreadId();
    exception.ExceptionPointers = g_pointers;
    exception.ClientPointers = FALSE;
    RangeRequest request{ranges, state};
    MINIDUMP_CALLBACK_INFORMATION callback{};
    callback.CallbackRoutine = OnDumpCallback;
    callback.CallbackParam = &request;
    return g_writeDump(GetCurrentProcess(), GetCurrentProcessId(), Native(file), MiniDumpWithUnloadedModules,
                       g_pointers ? &exception : nullptr, nullptr, ranges ? &callback : nullptr) != 0;
}

bool XReadOwnMemory(uint64_t address, void* buffer, size_t size) {
    SIZE_T got = 0;
    return ReadProcessMemory(GetCurrentProcess(), reinterpret_cast<const void*>(address), buffer, size, &got) &&
           got == size;
}

// Windows has no memory map text; the system's dump writer lists the modules itself.
size_t XReadMemoryMap(char* buffer, size_t capacity) {
    if (capacity > 0) buffer[0] = 0;
    return 0;
}

// The system's dump writer suspends the other threads itself.
int XStopOtherThreads(XStoppedThread*, int, uint32_t, uint32_t) { return 0; }

namespace {

struct HelperStart {
    void (*entry)(void*);
    void* argument;
};

DWORD WINAPI RunHelper(void* raw) {
    const auto* start = static_cast<HelperStart*>(raw);
    start->entry(start->argument);
    return 0;
}

}  // namespace

bool XRunOnHelperThread(void (*entry)(void*), void* argument) {
    HelperStart start{entry, argument};
    HANDLE thread = CreateThread(nullptr, 256 * 1024, RunHelper, &start, 0, nullptr);
    if (!thread) return false;
    WaitForSingleObject(thread, INFINITE);
    CloseHandle(thread);
    return true;
}

bool XStartDetachedProcess(const char* const* argv) {
    // The command line is built on the stack: the heap of a crashed process can't be trusted.
    static wchar_t line[8192];
    size_t at = 0;
    for (int i = 0; argv[i]; ++i) {
        wchar_t part[4096];
        if (MultiByteToWideChar(CP_UTF8, 0, argv[i], -1, part, 4096) <= 0) return false;
        if (at + wcslen(part) + 4 >= sizeof line / sizeof line[0]) return false;
        // The program in quotes; an option's value in quotes only when it holds a blank, as
        // the option grammar reads them.
        if (i > 0) line[at++] = L' ';
        const bool blank = wcschr(part, L' ') != nullptr;
        const wchar_t* equals = wcschr(part, L'=');
        bool quoted = false;
        if (i == 0) line[at++] = L'"', quoted = true;
        for (const wchar_t* p = part; *p; ++p) {
            if (*p == L'"') continue;
            line[at++] = *p;
            if (i > 0 && blank && p == equals) line[at++] = L'"', quoted = true;
        }
        if (quoted) line[at++] = L'"';
    }
    line[at] = 0;
    // The successor shares the console and the standard handles, where its report goes; they
    // are the only inheritable handles of the process.
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = GetStdHandle(STD_INPUT_HANDLE);
    startup.hStdOutput = GetStdHandle(STD_OUTPUT_HANDLE);
    startup.hStdError = GetStdHandle(STD_ERROR_HANDLE);
    for (HANDLE h : {startup.hStdInput, startup.hStdOutput, startup.hStdError})
        if (h && h != INVALID_HANDLE_VALUE) SetHandleInformation(h, HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT);
    PROCESS_INFORMATION info{};
    if (!CreateProcessW(nullptr, line, nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup, &info)) return false;
    CloseHandle(info.hThread);
    CloseHandle(info.hProcess);
    return true;
}

void XTerminateProcess(int code) {
    for (;;) TerminateProcess(GetCurrentProcess(), static_cast<UINT>(code));
}

int XFaultCreateFile(const char* path) {
    wchar_t wide[4096];
    if (MultiByteToWideChar(CP_UTF8, 0, path, -1, wide, 4096) <= 0) return -1;
    HANDLE file = CreateFileW(wide, GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, CREATE_ALWAYS,
                              FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) return -1;
    return static_cast<int>(reinterpret_cast<intptr_t>(file));
}

bool XFaultWriteAt(int fd, const void* data, size_t size, uint64_t offset) {
    OVERLAPPED at{};
    at.Offset = static_cast<DWORD>(offset);
    at.OffsetHigh = static_cast<DWORD>(offset >> 32);
    DWORD written = 0;
    return WriteFile(Native(fd), data, static_cast<DWORD>(size), &written, &at) && written == size;
}

void XFaultCloseFile(int fd) { CloseHandle(Native(fd)); }

namespace {

// Whether an open handle is on the file: its final path, without the long prefix, is the same
// path ignoring case.
bool HandleIsOn(HANDLE handle, const wchar_t* full) {
    wchar_t name[4096];
    const DWORD length = GetFinalPathNameByHandleW(handle, name, 4096, FILE_NAME_NORMALIZED);
    if (length == 0 || length >= 4096) return false;
    const wchar_t* p = wcsncmp(name, L"\\\\?\\", 4) == 0 ? name + 4 : name;
    return CompareStringOrdinal(p, -1, full, -1, TRUE) == CSTR_EQUAL;
}

}  // namespace

void XFaultDeleteFile(const char* path) {
    wchar_t wide[4096], full[4096];
    if (MultiByteToWideChar(CP_UTF8, 0, path, -1, wide, 4096) <= 0) return;
    if (DeleteFileW(wide) || GetLastError() != ERROR_SHARING_VIOLATION) return;
    // A plug-in still holds the file, and Windows deletes no open file: the process is ending
    // anyway, so its own handles on the file are closed first.
    if (GetFullPathNameW(wide, 4096, full, nullptr) == 0) return;
    for (uintptr_t value = 4; value < 0x10000; value += 4) {
        HANDLE handle = reinterpret_cast<HANDLE>(value);
        DWORD flags = 0;
        if (!GetHandleInformation(handle, &flags) || GetFileType(handle) != FILE_TYPE_DISK) continue;
        if (HandleIsOn(handle, full)) CloseHandle(handle);
    }
    DeleteFileW(wide);
}

const XSystemFacts& XGetSystemFacts() {
    static const XSystemFacts facts = MakeFacts();
    return facts;
}
