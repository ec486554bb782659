// The worker's child through CreateProcessW: its three standard handles are the only ones it
// inherits, and it sits in a job that ends it when this process ends.
#include "foundation/platform/child_spawn.h"

#include <windows.h>

#include <cstring>
#include <string>
#include <vector>

#include "foundation/platform/last_error.h"
#include "foundation/platform/win32/child_start.h"
#include "foundation/platform/win32/child_table.h"
#include "foundation/platform/win32/win32_util.h"

namespace {

const char shellProgram[] = "cmd.exe";

bool IsShellCommand(const char* const* argv) {
    return std::strcmp(argv[0], shellProgram) == 0 && argv[1] && std::strcmp(argv[1], "/s") == 0 && argv[2] &&
           std::strcmp(argv[2], "/c") == 0 && argv[3] && !argv[4];
}

// The job every worker child joins; closing its last handle, at this process's end, ends them.
HANDLE WorkerJob() {
    static HANDLE job = [] {
        HANDLE j = CreateJobObjectW(nullptr, nullptr);
        if (!j) return j;
        JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits{};
        limits.BasicLimitInformation.LimitFlags =
            JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE | JOB_OBJECT_LIMIT_SILENT_BREAKAWAY_OK;
        SetInformationJobObject(j, JobObjectExtendedLimitInformation, &limits, sizeof limits);
        return j;
    }();
    return job;
}

}  // namespace

bool XSpawnWithHandles(const char* const* argv, const char* directory, const XFileHandle stdHandles[3],
                       XProcessId* pid) {
    if (!argv || !argv[0]) {
        XSetLastError(XErr::InvalidParameter);
        return false;
    }
    std::wstring line;
    const bool shell = IsShellCommand(argv);
    for (int i = 0; argv[i]; ++i) {
        // cmd.exe reads its command line as it stands, between the quotes /s strips.
        if (shell && i == 3)
            line += L" \"" + XWideFromUtf8(argv[i]) + L"\"";
        else
            XAppendArgument(line, XWideFromUtf8(argv[i]));
    }
    const DWORD stdIds[3] = {STD_INPUT_HANDLE, STD_OUTPUT_HANDLE, STD_ERROR_HANDLE};
    // Inheritable copies of the three, so that the caller's own handles stay private.
    HANDLE given[3] = {nullptr, nullptr, nullptr};
    std::vector<HANDLE> inherited;
    for (int n = 0; n < 3; ++n) {
        HANDLE source = stdHandles[n] == XInheritStdHandle ? GetStdHandle(stdIds[n])
                        : stdHandles[n] == XInvalidHandle  ? nullptr
                                                           : XNativeHandle(stdHandles[n]);
        if (!XUsableHandle(source)) continue;
        if (DuplicateHandle(GetCurrentProcess(), source, GetCurrentProcess(), &given[n], 0, TRUE,
                            DUPLICATE_SAME_ACCESS))
            inherited.push_back(given[n]);
    }
    auto closeGiven = [&] {
        for (HANDLE h : inherited) CloseHandle(h);
    };

    SIZE_T size = 0;
    InitializeProcThreadAttributeList(nullptr, 1, 0, &size);
    std::vector<uint8_t> attributeBytes(size);
    auto* attributes = reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(attributeBytes.data());
    bool haveList = !inherited.empty() && InitializeProcThreadAttributeList(attributes, 1, 0, &size);
    if (haveList)
        haveList = UpdateProcThreadAttribute(attributes, 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST, inherited.data(),
                                             inherited.size() * sizeof(HANDLE), nullptr, nullptr);

    STARTUPINFOEXW startup{};
    startup.StartupInfo.cb = sizeof startup;
    startup.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
    startup.StartupInfo.hStdInput = given[0];
    startup.StartupInfo.hStdOutput = given[1];
    startup.StartupInfo.hStdError = given[2];
    if (haveList) startup.lpAttributeList = attributes;
    const std::wstring folder = directory && *directory ? XWideFromUtf8(directory) : std::wstring();
    PROCESS_INFORMATION info{};
    const DWORD flags = CREATE_SUSPENDED | CREATE_NO_WINDOW | (haveList ? EXTENDED_STARTUPINFO_PRESENT : 0);
    const BOOL started =
        CreateProcessW(nullptr, line.data(), nullptr, nullptr, inherited.empty() ? FALSE : TRUE, flags, nullptr,
                       folder.empty() ? nullptr : folder.c_str(), &startup.StartupInfo, &info);
    const DWORD error = GetLastError();
    if (haveList) DeleteProcThreadAttributeList(attributes);
    closeGiven();
    if (!started) {
        XSetLastError(error);
        return false;
    }
    // Without the job (a system that refuses it) the child still runs; it is ended by stop.
    if (HANDLE job = WorkerJob()) AssignProcessToJobObject(job, info.hProcess);
    ResumeThread(info.hThread);
    CloseHandle(info.hThread);
    const XProcessId id = static_cast<XProcessId>(info.dwProcessId);
    XAdoptChildHandle(id, info.hProcess);
    if (pid) *pid = id;
    return true;
}

std::vector<std::string> XShellCommandWords(const std::string& line) { return {shellProgram, "/s", "/c", line}; }

// Windows has no signal for a gone reader: the write fails with broken pipe by itself.
void XIgnoreBrokenPipeSignal() {}
