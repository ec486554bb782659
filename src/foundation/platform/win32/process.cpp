// Child processes through CreateProcessW. Windows has no signals: a termination request is a
// console control event, and ending a child is TerminateProcess with the status a signal
// would have given on POSIX, so that callers read the same numbers.
#include "foundation/platform/process.h"

#include <windows.h>

#include <map>
#include <mutex>
#include <string>

#include "foundation/platform/last_error.h"
#include "foundation/platform/win32/child_table.h"
#include "foundation/platform/win32/win32_util.h"

namespace {

std::mutex g_childrenLock;
std::map<XProcessId, HANDLE> g_children;  // started here and not yet waited for

// One argument quoted the way the C run-time splits it back.
void AppendArgument(std::wstring& line, const std::wstring& argument) {
    if (!line.empty()) line += L' ';
    if (!argument.empty() && argument.find_first_of(L" \t\n\v\"") == std::wstring::npos) {
        line += argument;
        return;
    }
    line += L'"';
    size_t backslashes = 0;
    for (wchar_t c : argument) {
        if (c == L'\\') {
            ++backslashes;
            continue;
        }
        // Backslashes before a quote are doubled, and the quote escaped.
        line.append(c == L'"' ? backslashes * 2 + 1 : backslashes, L'\\');
        backslashes = 0;
        line += c;
    }
    line.append(backslashes * 2, L'\\');
    line += L'"';
}

HANDLE TakeChild(XProcessId pid, bool remove) {
    std::lock_guard<std::mutex> lock(g_childrenLock);
    auto found = g_children.find(pid);
    if (found == g_children.end()) return nullptr;
    HANDLE handle = found->second;
    if (remove) g_children.erase(found);
    return handle;
}

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
    std::wstring line;
    for (int i = 0; argv[i]; ++i) AppendArgument(line, XWideFromUtf8(argv[i]));
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = GetStdHandle(STD_INPUT_HANDLE);
    startup.hStdOutput = GetStdHandle(STD_OUTPUT_HANDLE);
    startup.hStdError = GetStdHandle(STD_ERROR_HANDLE);
    // Only the standard handles are inheritable among the process's own; the rest are not.
    for (HANDLE h : {startup.hStdInput, startup.hStdOutput, startup.hStdError})
        if (XUsableHandle(h)) SetHandleInformation(h, HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT);
    PROCESS_INFORMATION info{};
    if (!CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup, &info)) {
        return false;
    }
    CloseHandle(info.hThread);
    {
        std::lock_guard<std::mutex> lock(g_childrenLock);
        g_children[static_cast<XProcessId>(info.dwProcessId)] = info.hProcess;
    }
    if (pid) *pid = static_cast<XProcessId>(info.dwProcessId);
    return true;
}

int XWaitProcess(XProcessId pid, uint32_t timeoutMs) {
    HANDLE child = TakeChild(pid, false);
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
        CloseHandle(TakeChild(pid, true));
    return ok ? static_cast<int>(code) : -1;
}

bool XKillProcess(XProcessId pid, bool hard) {
    HANDLE child = TakeChild(pid, false);
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

void XAdoptChildHandle(XProcessId pid, HANDLE process) {
    std::lock_guard<std::mutex> lock(g_childrenLock);
    g_children[pid] = process;
}
