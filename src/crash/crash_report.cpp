#include "crash/crash_report.h"

#include <initializer_list>
#include <string>
#include <vector>

#include "crash/crash_window.h"
#include "foundation/paths/xpath.h"
#include "foundation/platform/console.h"
#include "foundation/platform/dynamic_library.h"
#include "foundation/platform/environment.h"
#include "foundation/platform/process.h"
#include "foundation/settings/xregistry.h"

namespace {

constexpr uint32_t FileManagerWaitMs = 3000;

XString g_dumpPath;  // for the links' actions
XString g_forum;

void WriteRow(const XString& row) {
    if (XIsConsoleHandle(XStdErrorHandle)) {
        XWriteConsole(XStdErrorHandle, row + u"\n");
        return;
    }
    // Redirected standard error carries UTF-16LE with CR LF, as the front ends read it.
    const XString line = row + u"\r\n";
    std::string bytes;
    for (int i = 0; i < line.Length(); ++i) {
        bytes += static_cast<char>(line.Text()[i] & 0xFF);
        bytes += static_cast<char>(line.Text()[i] >> 8);
    }
    // Nothing more can be done about a standard error that refuses the text.
    XWriteHandle(XStdErrorHandle, bytes.data(), bytes.size());
}

bool Run(std::initializer_list<std::string> args, bool wait) {
    std::vector<const char*> argv;
    for (const auto& a : args) argv.push_back(a.c_str());
    argv.push_back(nullptr);
    XProcessId pid = 0;
    if (!XSpawnProcess(argv.data(), &pid)) return false;
    return !wait || XWaitProcess(pid, FileManagerWaitMs) == 0;
}

// A link that can't start does nothing: the report has said where the dump is.
void OpenLink(int link, void*) {
    if (link == 0) {
        Run({"xdg-open", g_forum.ToStdUtf8()}, false);
        return;
    }
    // The file manager's own call selects the dump; the folder alone where none answers it.
    const std::string uri = "file://" + g_dumpPath.ToStdUtf8();
    if (Run({"dbus-send", "--session", "--print-reply", "--dest=org.freedesktop.FileManager1",
             "/org/freedesktop/FileManager1", "org.freedesktop.FileManager1.ShowItems", "array:string:" + uri,
             "string:"},
            true)) {
        return;
    }
    Run({"xdg-open", XPath(g_dumpPath).Folder().ToStdUtf8()}, false);
}

void ShowWindow(const XCrashReportRows& report, const XString& displayName) {
    XString display;
    if (!XGetEnvironmentVariable(u"DISPLAY", display) || display.IsEmpty()) return;
    XModuleHandle module = XSysLoadLibrary(InModuleFolder(TV_CRASH_WINDOW_MODULE));
    if (!module) return;
    auto show = reinterpret_cast<TvShowCrashWindowFn>(XSysGetProcAddress(module, TV_CRASH_WINDOW_EXPORT));
    if (show) {
        std::string texts[8] = {displayName.ToStdUtf8(),    report.rows[0].ToStdUtf8(),
                                report.rows[1].ToStdUtf8(), report.rows[2].ToStdUtf8(),
                                report.rows[3].ToStdUtf8(), report.forum.ToStdUtf8(),
                                "Crash Dump Location",      "Exit"};
        TvCrashWindowText text{};
        text.title = texts[0].c_str();
        for (int i = 0; i < 4; ++i) text.rows[i] = texts[1 + i].c_str();
        text.links[0] = texts[5].c_str();
        text.links[1] = texts[6].c_str();
        text.button = texts[7].c_str();
        text.openLink = OpenLink;
        show(&text);
    }
    XSysFreeLibrary(module);
}

}  // namespace

XCrashReportRows XCrashReportText(const XString& displayName) {
    XCrashReportRows report;
    bool missing = false;
    report.forum = RegGetString(XCrashForumValue, 0, nullptr, &missing);
    if (missing || report.forum.IsEmpty()) report.forum = XCrashForumDefault;
    report.rows[0] = displayName + u" has stopped working";
    report.rows[1] = u"Something unexpected happend which led to a crash.";
    report.rows[2] = u"1) Report on support forum";
    report.rows[3] = u"2) Send crash dump, helping fix the issue";
    return report;
}

void XShowCrashDialog(const XString& displayName, const XString& dumpPath) {
    g_dumpPath = dumpPath;
    XCrashReportRows report = XCrashReportText(displayName);
    g_forum = report.forum;
    WriteRow(report.rows[0]);
    WriteRow(report.rows[1]);
    WriteRow(report.rows[2] + u": " + report.forum);
    WriteRow(report.rows[3] + u": " + dumpPath);
    ShowWindow(report, displayName);
}
