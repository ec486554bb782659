// The stream library's worker processes on Windows: chosen standard handles, nothing else
// inherited.
#include "foundation/platform/child_spawn.h"

#include <windows.h>

#include "foundation/platform/last_error.h"
#include "foundation/platform/win32/child_start.h"
#include "foundation/platform/win32/win32_util.h"

bool XSpawnWithHandles(const char* const* argv, const char* directory, const XFileHandle stdHandles[3],
                       XProcessId* pid) {
    if (!argv || !argv[0]) {
        XSetLastError(XErr::InvalidParameter);
        return false;
    }
    const std::wstring program = XFindProgram(argv[0]);
    if (program.empty()) return false;
    const DWORD own[3] = {STD_INPUT_HANDLE, STD_OUTPUT_HANDLE, STD_ERROR_HANDLE};
    HANDLE standard[3] = {};
    for (int n = 0; n < 3; ++n) {
        if (stdHandles[n] == XInheritStdHandle) {
            standard[n] = GetStdHandle(own[n]);
        } else if (stdHandles[n] != XInvalidHandle) {
            standard[n] = XNativeHandle(stdHandles[n]);
        }  // else left null: the child has no handle there
    }
    const std::wstring folder = directory ? XWideFromUtf8(directory) : std::wstring();
    PROCESS_INFORMATION info{};
    if (!XCreateChild(program, argv, folder.c_str(), standard, 0, info)) return false;
    CloseHandle(info.hThread);
    if (pid) *pid = static_cast<XProcessId>(info.dwProcessId);
    return true;
}

// Windows has no broken-pipe signal: a write to a pipe without a reader fails with 109.
void XIgnoreBrokenPipeSignal() {}
