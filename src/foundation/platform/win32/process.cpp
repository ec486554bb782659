// Child processes through CreateProcessW. Windows has no signals: a termination request is a
// console control event, and ending a child is TerminateProcess with the status a signal
// would have given on POSIX, so that callers read the same numbers.
#include "foundation/platform/process.h"

#include <windows.h>

#include "foundation/platform/last_error.h"
#include "foundation/platform/win32/child_start.h"
#include "foundation/platform/win32/win32_util.h"

namespace {

HANDLE g_requestEvent = nullptr;
volatile LONG g_requestKind = 0;

BOOL WINAPI OnControl(DWORD kind) {
    g_requestKind = kind == CTRL_C_EVENT ? 2 : kind == CTRL_CLOSE_EVENT ? 1 : 15;
    if (g_requestEvent) SetEvent(g_requestEvent);
    // Handled: the process ends when its waiter says so (a child in the same console got the
    // event too).
    return TRUE;
}

}  // namespace

bool XSpawnProcess(const char* const* argv, XProcessId* pid) {
    if (!argv || !argv[0]) {
        XSetLastError(XErr::InvalidParameter);
        return false;
    }
    const std::wstring program = XFindProgram(argv[0]);
    if (program.empty()) return false;
    const HANDLE standard[3] = {GetStdHandle(STD_INPUT_HANDLE), GetStdHandle(STD_OUTPUT_HANDLE),
                                GetStdHandle(STD_ERROR_HANDLE)};
    PROCESS_INFORMATION info{};
    if (!XCreateChild(program, argv, nullptr, standard, 0, info)) return false;
    CloseHandle(info.hThread);
    if (pid) *pid = static_cast<XProcessId>(info.dwProcessId);
    return true;
}

int XWaitProcess(XProcessId pid, uint32_t timeoutMs) {
    HANDLE child = XChildHandle(pid, false);
    bool opened = false;
    if (!child) {
        child = OpenProcess(SYNCHRONIZE | PROCESS_QUERY_LIMITED_INFORMATION, FALSE, static_cast<DWORD>(pid));
        if (!child) return -1;
        opened = true;
    }
    const DWORD waited = WaitForSingleObject(child, timeoutMs);
    if (waited == WAIT_TIMEOUT) {
        if (opened) CloseHandle(child);
        return -2;
    }
    DWORD code = 0;
    const bool ok = waited == WAIT_OBJECT_0 && GetExitCodeProcess(child, &code);
    if (opened)
        CloseHandle(child);
    else if (ok)
        CloseHandle(XChildHandle(pid, true));
    return ok ? static_cast<int>(code) : -1;
}

bool XKillProcess(XProcessId pid, bool hard) {
    HANDLE child = XChildHandle(pid, false);
    bool opened = false;
    if (!child) {
        child = OpenProcess(PROCESS_TERMINATE, FALSE, static_cast<DWORD>(pid));
        if (!child) return false;
        opened = true;
    }
    const BOOL ok = TerminateProcess(child, hard ? 128 + 9 : 128 + 15);
    if (opened) CloseHandle(child);
    return ok != 0;
}

int XRunChildPassingSignals(const char* const* argv) {
    // A console control event reaches every process of the console, the child included: this
    // process only has to outlive it.
    SetConsoleCtrlHandler(OnControl, TRUE);
    XProcessId pid = 0;
    const int result = XSpawnProcess(argv, &pid) ? XWaitProcess(pid) : 127;
    SetConsoleCtrlHandler(OnControl, FALSE);
    return result;
}

int XWaitForTerminationRequest() {
    g_requestEvent = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    SetConsoleCtrlHandler(OnControl, TRUE);
    WaitForSingleObject(g_requestEvent, INFINITE);
    SetConsoleCtrlHandler(OnControl, FALSE);
    return static_cast<int>(g_requestKind);
}

void XExitProcess(int code) {
    TerminateProcess(GetCurrentProcess(), static_cast<UINT>(code));
    ExitProcess(static_cast<UINT>(code));
}
