#include "crash/crash_handler.h"

#include <cstring>

#include "crash/crash_report.h"
#include "crash/minidump_writer.h"
#include "foundation/options/xoption_list.h"
#include "foundation/platform/clock.h"
#include "foundation/platform/environment.h"
#include "foundation/platform/known_folders.h"
#include "foundation/platform/process.h"

namespace {

constexpr size_t PathCapacity = 4096;

// Everything the handler needs, filled once at install time: it builds nothing itself.
struct CrashState {
    char dumpPath[PathCapacity];
    char programPath[PathCapacity];
    char relaunchArguments[PathCapacity];
    const char* argv[3];
};
CrashState g_state;

bool CopyUtf8(const XString& text, char* out) {
    const std::string utf8 = text.ToStdUtf8();
    if (utf8.size() + 1 > PathCapacity) {
        out[0] = 0;
        return false;
    }
    std::memcpy(out, utf8.c_str(), utf8.size() + 1);
    return true;
}

struct HelperJob {
    const XFault* fault;
};

void WriteFromHelper(void* raw) {
    const auto* job = static_cast<HelperJob*>(raw);
    XWriteCrashDump(*job->fault, XCurrentThreadId());
}

}  // namespace

XPath XDefaultCrashFolder() {
    XPath folder = XSpecialFolder(XFolderId::AppData);
    folder.Append(u"vMX");
    return folder;
}

XPath XCrashDumpPath(const XPath& folder) {
    XPath crashes = folder;
    crashes.Append(u"crashes");
    crashes.CreateFolders();
    const XString stem = XString(u"crash-") + XString::FormatUInt(XGetCurrentProcessId());
    XPath path = crashes;
    path.Append(stem + u".dmp");
    for (int counter = 1; path.Exists(); ++counter) {
        path = crashes;
        path.Append(stem + u"-" + XString::FormatInt(counter) + u".dmp");
    }
    return path;
}

XPath XCrashReportPath(const XPath& folder, const XString& name) {
    XPath path = folder;
    path.Append(u"crashes");
    path.Append(XPath(name).FileName());
    return path;
}

void XWriteCrashDump(const XFault& fault, uint32_t writerThread) {
    if (g_state.dumpPath[0] == 0) return;
    const int fd = XFaultCreateFile(g_state.dumpPath);
    if (fd < 0) return;
    const uint64_t unixSeconds = (XGetSystemTimeAsFileTime() - XFileTimeUnixEpoch) / 10000000u;
    // A dump that could not be written whole still names the file in the report.
    XWriteMinidump(fd, fault, writerThread, static_cast<uint32_t>(unixSeconds));
    XFaultCloseFile(fd);
    if (g_state.relaunchArguments[0] != 0) XStartDetachedProcess(g_state.argv);
}

void XCrashFilter(const XFault& fault) {
    if (fault.stackOverflow) {
        // No stack is left to work on for anything but the hand-over.
        HelperJob job{&fault};
        if (!XRunOnHelperThread(WriteFromHelper, &job)) XWriteCrashDump(fault, 0);
    } else {
        XWriteCrashDump(fault, 0);
    }
    XRemoveFilesOfFault();
    XTerminateProcess(0);
}

void XInstallCrashHandler(const XString& displayName, const XPath& folder) {
    XOptionList options;
    options.FromCommandLine();
    if (options.Has(u"crashed")) {
        XString name;
        options.Get(u"crashed", name);
        const XPath report = XCrashReportPath(folder, name);
        bool isFolder = false;
        if (!name.IsEmpty() && report.Exists(&isFolder) && !isFolder) XShowCrashDialog(displayName, report);
        XExitProcess(0);
    }
    const XPath dump = XCrashDumpPath(folder);
    CopyUtf8(dump, g_state.dumpPath);
    CopyUtf8(ModulePath(), g_state.programPath);
    CopyUtf8(XString(u"-crashed=") + dump.FileName(), g_state.relaunchArguments);
    g_state.argv[0] = g_state.programPath;
    g_state.argv[1] = g_state.relaunchArguments;
    g_state.argv[2] = nullptr;
    XPrepareMinidump();
    // Without the hook a fault ends the process as it would have anyway: nothing to report.
    XInstallFaultHook(XCrashFilter);
}
