#pragma once
// The report of a crash in the successor process: four rows on standard error, and the same
// rows in a small window with two links and an "Exit" button where a display is available.
#include "foundation/text/xstring.h"

// The settings value of the support forum's address, and its default.
constexpr const char16_t* XCrashForumValue = u"vMXCrashForumURL";
constexpr const char16_t* XCrashForumDefault = u"https://forum.brightmoor.com/tonvale/";

// The rows: heading, explanation, forum, dump. The links are the forum address and the dump.
struct XCrashReportRows {
    XString rows[4];
    XString forum;
};
XCrashReportRows XCrashReportText(const XString& displayName);

// Blocks until the window is closed (at once without a display).
void XShowCrashDialog(const XString& displayName, const XString& dumpPath);
