#include "batch/tv_child_process.h"

#include <string>
#include <vector>

#include "foundation/options/xoption_list.h"
#include "foundation/platform/clock.h"
#include "foundation/platform/file_io.h"
#include "foundation/platform/last_error.h"

namespace {

constexpr uint32_t SyncIntervalMs = 1000;
constexpr uint32_t PollMs = 5;

void CloseHandle(XFileHandle& handle) {
    if (handle != XInvalidHandle) XSysCloseHandle(handle);
    handle = XInvalidHandle;
}

int LevelOfName(const XString& name) {
    const XString lower = name.ToLower();
    if (lower == u"low") return XSchedulingLevel::Low;
    if (lower == u"idle") return XSchedulingLevel::Idle;
    // The realtime class is never asked for: it could starve the machine.
    if (lower == u"high" || lower == u"realtime") return XSchedulingLevel::High;
    return XSchedulingLevel::Normal;
}

}  // namespace

XPath TvChildProcess::ConverterPath() const {
    if (!converterPath.IsEmpty()) return converterPath;
    // travex sits beside this executable; ModuleFolder is the plug-in tree, which an
    // installation keeps elsewhere.
    XPath path = ModulePath().Folder();
    path.Append(u"travex");
    return path;
}

bool TvChildProcess::Start(const XStringList& arguments, XFileHandle in, XFileHandle out, XFileHandle err,
                           bool endWithParent) {
    if (arguments.Count() == 0) {
        XSetLastError(XErr::InvalidParameter);
        return false;
    }
    std::vector<std::string> narrow;
    for (int64_t i = 0; i < arguments.Count(); ++i) narrow.push_back(arguments[i].ToStdUtf8());
    std::vector<const char*> argv;
    for (const std::string& item : narrow) argv.push_back(item.c_str());
    argv.push_back(nullptr);
    XChildOptions options;
    options.standardInput = in;
    options.standardOutput = out;
    options.standardError = err;
    options.schedulingLevel = schedulingLevel;
    options.endWithParent = endWithParent;
    XProcessId pid = 0;
    if (!XStartChild(argv[0], argv.data(), options, &pid)) return false;
    process = pid;
    ended = false;
    exitStatus = -1;
    lastSchedulingKey = XCurrentSchedulingKey();
    lastSyncTick = XGetTickCount();
    return true;
}

bool TvChildProcess::Launch(const XStringList& arguments, uint32_t pipeMask) {
    WaitAndClose(EndWaitMs, nullptr);
    // Each pipe is close-on-exec on both ends; the child gets its end as a standard handle.
    XFileHandle childEnds[3] = {XInvalidHandle, XInvalidHandle, XInvalidHandle};
    XFileHandle* parentEnds[3] = {&stdinWrite, &stdoutRead, &stderrRead};
    bool made = true;
    for (int i = 0; i < 3 && made; ++i) {
        if (!(pipeMask & (1u << i))) continue;
        XFileHandle read = XInvalidHandle, write = XInvalidHandle;
        made = XSysCreatePipe(&read, &write, false);
        if (!made) break;
        childEnds[i] = i == 0 ? read : write;
        *parentEnds[i] = i == 0 ? write : read;
    }
    const bool started = made && Start(arguments, childEnds[0], childEnds[1], childEnds[2]);
    const uint32_t error = XGetLastError();
    for (XFileHandle& end : childEnds) CloseHandle(end);
    if (!started) {
        ClosePipes();
        XSetLastError(error);
    }
    return started;
}

bool TvChildProcess::LaunchWithHandles(const XStringList& arguments, XFileHandle stdinHandle, XFileHandle stdoutHandle,
                                       XFileHandle stderrHandle) {
    WaitAndClose(EndWaitMs, nullptr);
    return Start(arguments, stdinHandle, stdoutHandle, stderrHandle);
}

bool TvChildProcess::LaunchConverter(const XString& commandFilePath, XFileHandle stdinHandle, XFileHandle stdoutHandle,
                                     XFileHandle stderrHandle) {
    WaitAndClose(EndWaitMs, nullptr);
    XStringList arguments;
    arguments.Add(ConverterPath());
    arguments.Add(XString(u"-tvcmd=") + commandFilePath);
    return Start(arguments, stdinHandle, stdoutHandle, stderrHandle);
}

bool TvChildProcess::LaunchConverterText(const XString& optionText, XFileHandle stdinHandle, XFileHandle stdoutHandle,
                                         XFileHandle stderrHandle) {
    // POSIX passes arguments, not one line: each option becomes one "-name=value" item, which
    // the child joins back into the same options.
    WaitAndClose(EndWaitMs, nullptr);
    XOptionList options(optionText);
    XStringList arguments;
    arguments.Add(ConverterPath());
    XString name, value;
    for (int64_t i = 0; options.GetAt(i, name, value); ++i) {
        XString item = XString(u"-") + name;
        if (!value.IsEmpty()) item += XString(u"=") + value;
        arguments.Add(item);
    }
    return Start(arguments, stdinHandle, stdoutHandle, stderrHandle);
}

bool TvChildProcess::HasEnded() {
    if (process == 0 || ended) return true;
    ended = XChildEnded(process, &exitStatus);
    return ended;
}

void TvChildProcess::ClosePipes() {
    CloseHandle(stdinWrite);
    CloseHandle(stdoutRead);
    CloseHandle(stderrRead);
}

bool TvChildProcess::WaitAndClose(uint32_t timeoutMs, int* outExitCode) {
    ClosePipes();
    if (outExitCode) *outExitCode = -1;
    if (process == 0) return true;
    const uint64_t start = XGetTickCount64();
    while (!HasEnded() && XGetTickCount64() - start < timeoutMs) XSleep(PollMs);
    bool byItself = true;
    if (!HasEnded()) {
        XKillProcess(process, true);
        XWaitProcess(process);
        exitStatus = -1;
        byItself = false;
    }
    if (outExitCode) *outExitCode = exitStatus;
    process = 0;
    ended = false;
    return byItself;
}

void TvChildProcess::SetPriorityLevel(int level) {
    switch (level) {
        case 1:
            ApplyScheduling(XSchedulingLevel::High);
            break;
        case 2:
            ApplyScheduling(XSchedulingLevel::Low);
            break;
        case 3:
            ApplyScheduling(XSchedulingLevel::Idle);
            break;
        default:
            ApplyScheduling(XSchedulingLevel::Normal);
            break;
    }
}

void TvChildProcess::SetPriorityByName(const XString& name) { ApplyScheduling(LevelOfName(name)); }

void TvChildProcess::ApplyScheduling(int level) {
    schedulingLevel = level;
    // A refused raise leaves the child where it was; that is no failure of the run.
    if (process != 0 && !HasEnded()) XSetChildScheduling(process, schedulingLevel);
}

void TvChildProcess::SyncPriority() {
    if (process == 0 || HasEnded()) return;
    const uint32_t now = XGetTickCount();
    if (now - lastSyncTick < SyncIntervalMs) return;
    lastSyncTick = now;
    const int key = XCurrentSchedulingKey();
    if (key == lastSchedulingKey) return;
    lastSchedulingKey = key;
    ApplyScheduling(XSchedulingLevelOfKey(key));
}

bool TvChildProcess::RunProgram(const XStringList& arguments, bool wait) {
    TvChildProcess child;
    // A program that nobody waits for is meant to outlive this process.
    if (!child.Start(arguments, XInvalidHandle, XInvalidHandle, XInvalidHandle, wait)) return false;
    if (wait) {
        child.WaitAndClose(XInfinite, nullptr);
    } else {
        // Left to run on; the zombie is reaped when this process ends.
        child.process = 0;
    }
    return true;
}

int TvChildProcess::RunProgramExitCode(const XStringList& arguments) {
    TvChildProcess child;
    if (!child.Start(arguments, XInvalidHandle, XInvalidHandle, XInvalidHandle)) return -1;
    int code = -1;
    child.WaitAndClose(XInfinite, &code);
    return code;
}
