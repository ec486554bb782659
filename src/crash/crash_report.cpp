#include "crash/crash_report.h"

#include <string>
#include <vector>

#include "crash/crash_window.h"
#include "foundation/paths/xpath.h"
#include "foundation/platform/console.h"
#include "foundation/platform/desktop.h"
#include "foundation/platform/dynamic_library.h"
#include "foundation/settings/xregistry.h"

namespace {

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

// A link that can't start does nothing: the report has said where the dump is.
void OpenLink(int link, void*) {
    if (link == 0)
        XOpenAddress(g_forum);
    else
        XShowFileInFolder(g_dumpPath);
}

void ShowWindow(const XCrashReportRows& report, const XString& displayName) {
    if (!XHasDesktop()) return;
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
