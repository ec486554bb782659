// Child processes through CreateProcessW. Windows has no signals: a termination request is a
// console control event or, aimed at one process, a named event that the process holds while it
// listens for requests; ending a child is TerminateProcess with the status a signal would have
// given on POSIX, so that callers read the same numbers.
#include "foundation/platform/process.h"

#include <windows.h>

#include <string>

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

std::wstring RequestEventName(DWORD pid) { return L"Local\\TvTerminationRequest-" + std::to_wstring(pid); }

// The event through which another process asks this one to end; made on first use, so that
// only a process that listens takes requests gracefully.
HANDLE OwnRequestEvent() {
    static const HANDLE event = CreateEventW(nullptr, TRUE, FALSE, RequestEventName(GetCurrentProcessId()).c_str());
    return event;
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
    if (!hard) {
        // A listener ends on its own; any other process ends as SIGTERM's default would end it.
        HANDLE request = OpenEventW(EVENT_MODIFY_STATE, FALSE, RequestEventName(static_cast<DWORD>(pid)).c_str());
        if (request) {
            const BOOL set = SetEvent(request);
            CloseHandle(request);
            if (set) return true;
        }
    }
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
    const HANDLE request = OwnRequestEvent();
    XProcessId pid = 0;
    int result = 127;
    if (XSpawnProcess(argv, &pid)) {
        // A request aimed at this process alone is passed on to the child.
        const HANDLE child = XChildHandle(pid, false);
        const HANDLE both[2] = {child, request};
        if (child && request && WaitForMultipleObjects(2, both, FALSE, INFINITE) == WAIT_OBJECT_0 + 1) {
            XKillProcess(pid, false);
        }
        result = XWaitProcess(pid);
    }
    SetConsoleCtrlHandler(OnControl, FALSE);
    return result;
}

void XListenForTerminationRequests() { OwnRequestEvent(); }

int XWaitForTerminationRequest() {
    g_requestEvent = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    SetConsoleCtrlHandler(OnControl, TRUE);
    const HANDLE request = OwnRequestEvent();
    const HANDLE either[2] = {g_requestEvent, request};
    const DWORD woken = WaitForMultipleObjects(request ? 2 : 1, either, FALSE, INFINITE);
    SetConsoleCtrlHandler(OnControl, FALSE);
    return woken == WAIT_OBJECT_0 + 1 ? 15 : static_cast<int>(g_requestKind);
}

void XExitProcess(int code) {
    TerminateProcess(GetCurrentProcess(), static_cast<UINT>(code));
    ExitProcess(static_cast<UINT>(code));
}
