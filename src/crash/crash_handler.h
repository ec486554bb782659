#pragma once
// Crash handling of a tool: a fatal fault writes a dump to the crashes folder and starts the
// program again as its successor with "-crashed=NAME", which shows the report and exits.
#include "foundation/paths/xpath.h"
#include "foundation/platform/faults.h"
#include "foundation/text/xstring.h"

// The display name and the dump folder of travex.
constexpr const char16_t* XTravexCrashName = u"Tonvale Travex Core";
// XSpecialFolder(26) with "vMX" appended.
XPath XDefaultCrashFolder();

// Installs the handler; in a successor (option "crashed") shows the report and ends the
// process with 0 instead of returning.
void XInstallCrashHandler(const XString& displayName, const XPath& folder);

// The first free name "crash-<pid>[-<n>].dmp" in folder/crashes, which it makes first.
XPath XCrashDumpPath(const XPath& folder);
// folder/crashes/ and the file name of name alone, so that a value with folders in it can't
// point anywhere else.
XPath XCrashReportPath(const XPath& folder, const XString& name);

// The fault hook's handler: writes the dump (from a helper thread after a stack overflow),
// starts the successor and ends the process with 0.
void XCrashFilter(const XFault& fault);
// Opens the prepared dump path, writes the dump and starts the successor. Nothing at all when
// the file can't be made.
void XWriteCrashDump(const XFault& fault, uint32_t writerThread);
