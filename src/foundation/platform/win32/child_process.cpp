// Children of the batch coordinator on Windows: a process group of their own keeps a console's
// Ctrl-C from them, and a job object that is never closed ends them with this process.
#include "foundation/platform/child_process.h"

#include <windows.h>

#include <atomic>
#include <mutex>

#include "foundation/platform/last_error.h"
#include "foundation/platform/win32/child_start.h"
#include "foundation/platform/win32/win32_util.h"

namespace {

// Its one handle closes only when this process ends, and every child in it ends with that.
HANDLE EndWithParentJob() {
    static std::once_flag once;
    static HANDLE job = nullptr;
    std::call_once(once, [] {
        job = CreateJobObjectW(nullptr, nullptr);
        if (!job) return;
        JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits{};
        limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
        if (!SetInformationJobObject(job, JobObjectExtendedLimitInformation, &limits, sizeof limits)) {
            CloseHandle(job);
            job = nullptr;
        }
    });
    return job;
}

DWORD ClassOfLevel(int level) {
    switch (level) {
        case XSchedulingLevel::High:
            return ABOVE_NORMAL_PRIORITY_CLASS;
        case XSchedulingLevel::Low:
            return BELOW_NORMAL_PRIORITY_CLASS;
        case XSchedulingLevel::Idle:
            return IDLE_PRIORITY_CLASS;
        default:
            return NORMAL_PRIORITY_CLASS;
    }
}

}  // namespace

bool XStartChild(const char* path, const char* const* argv, const XChildOptions& options, XProcessId* pid) {
    if (!path || !argv || !argv[0]) {
        XSetLastError(XErr::InvalidParameter);
        return false;
    }
    const std::wstring program = XFindProgram(path);
    if (program.empty()) return false;
    HANDLE nul = nullptr;
    HANDLE standard[3] = {};
    const XFileHandle given[3] = {options.standardInput, options.standardOutput, options.standardError};
    for (int n = 0; n < 3; ++n) {
        if (given[n] != XInvalidHandle) {
            standard[n] = XNativeHandle(given[n]);
            continue;
        }
        if (!nul) {
            nul = CreateFileW(L"NUL", GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                              OPEN_EXISTING, 0, nullptr);
            if (nul == INVALID_HANDLE_VALUE) return false;
        }
        standard[n] = nul;
    }
    DWORD flags = CREATE_SUSPENDED;
    if (options.ownProcessGroup) flags |= CREATE_NEW_PROCESS_GROUP;
    if (options.schedulingLevel >= 0) flags |= ClassOfLevel(options.schedulingLevel);
    PROCESS_INFORMATION info{};
    const bool started = XCreateChild(program, argv, nullptr, standard, flags, info);
    const DWORD error = GetLastError();
    if (nul) CloseHandle(nul);
    if (!started) {
        SetLastError(error);
        return false;
    }
    if (options.endWithParent) {
        // Without a job (none to be had, or a system that refuses nesting) the child still runs.
        if (HANDLE job = EndWithParentJob()) AssignProcessToJobObject(job, info.hProcess);
    }
    ResumeThread(info.hThread);
    CloseHandle(info.hThread);
    if (pid) *pid = static_cast<XProcessId>(info.dwProcessId);
    return true;
}

bool XChildEnded(XProcessId pid, int* status) {
    HANDLE child = XChildHandle(pid, false);
    if (!child) {
        // Not our child (or already reaped): nothing is running under that number for us.
        XSetLastError(XErr::InvalidHandle);
        if (status) *status = -1;
        return true;
    }
    if (WaitForSingleObject(child, 0) == WAIT_TIMEOUT) return false;
    DWORD code = 0;
    const bool ok = GetExitCodeProcess(child, &code) != 0;
    CloseHandle(XChildHandle(pid, true));
    if (status) *status = ok ? static_cast<int>(code) : -1;
    return true;
}

bool XSetChildScheduling(XProcessId pid, int level) {
    HANDLE child = XChildHandle(pid, false);
    bool opened = false;
    if (!child) {
        child = OpenProcess(PROCESS_SET_INFORMATION, FALSE, static_cast<DWORD>(pid));
        if (!child) return false;
        opened = true;
    }
    const bool ok = SetPriorityClass(child, ClassOfLevel(level)) != 0;
    if (opened) CloseHandle(child);
    return ok;
}

// The key is the level itself: the process's class, or idle for a thread set to idle.
int XCurrentSchedulingKey() {
    if (GetThreadPriority(GetCurrentThread()) == THREAD_PRIORITY_IDLE) return XSchedulingLevel::Idle;
    switch (GetPriorityClass(GetCurrentProcess())) {
        case IDLE_PRIORITY_CLASS:
            return XSchedulingLevel::Idle;
        case BELOW_NORMAL_PRIORITY_CLASS:
            return XSchedulingLevel::Low;
        case ABOVE_NORMAL_PRIORITY_CLASS:
        case HIGH_PRIORITY_CLASS:
        case REALTIME_PRIORITY_CLASS:
            return XSchedulingLevel::High;
        default:
            return XSchedulingLevel::Normal;
    }
}

int XSchedulingLevelOfKey(int key) { return key; }

int XProcessorCount() {
    DWORD_PTR process = 0, system = 0;
    if (GetProcessAffinityMask(GetCurrentProcess(), &process, &system) && process) {
        int count = 0;
        for (; process; process &= process - 1) ++count;
        return count;
    }
    SYSTEM_INFO info{};
    GetSystemInfo(&info);
    return info.dwNumberOfProcessors > 0 ? static_cast<int>(info.dwNumberOfProcessors) : 1;
}

namespace {

XTerminationHandler g_handler = nullptr;
void* g_context = nullptr;
std::atomic<int> g_requests{0};

// The system calls this on a thread of its own for each console control event.
BOOL WINAPI OnTerminationRequest(DWORD) {
    g_handler(++g_requests, g_context);
    return TRUE;
}

}  // namespace

bool XWatchTerminationRequests(XTerminationHandler handler, void* context) {
    g_handler = handler;
    g_context = context;
    return SetConsoleCtrlHandler(OnTerminationRequest, TRUE) != 0;
}
