#pragma once
// The debug log: a plain trace file of one process, off in normal use, and the error and
// information lines that the driver shows later. One call writes a line to the debug file and,
// for errors and information, to the matching pipe, so trace and messages never drift apart.
// The file is UTF-16LE without a byte-order mark, CR LF line ends, one write per piece.
#include "foundation/files/xfile.h"
#include "foundation/sync/xevent.h"
#include "foundation/text/xstring.h"
#include "tonvale/plugin.h"

// Function marks: a pair of calls by hand, "->->" on entry and "<-<-" on every way out, each
// with the function's name; the lines between are indented by two spaces per open mark.
constexpr const char16_t* XDebugEnter = u"->->";
constexpr const char16_t* XDebugLeave = u"<-<-";

// True when TONVALE_DEBUG has a value (any value; empty counts as unset).
bool XDebugEnabled();
// The next debug file path in the documents folder: "TVDebug-<pid>.txt" the first time in a
// process, then "TVDebug-<pid>+<n>.txt".
XString XDebugFileName();

// Writes to sinks.DebugLog only: prefix (or the indent at the start of a line), the text, and
// with endLine "  [function]" when a function is given, then CR LF.
void XDebugWrite(const char16_t* text, const PluginLogHandles& sinks, const char* function = nullptr,
                 bool endLine = true, const char16_t* prefix = nullptr);
void XDebugWrite(const XString& text, const PluginLogHandles& sinks, const char* function = nullptr,
                 bool endLine = true, const char16_t* prefix = nullptr);
// "*** Error: " + text into the debug file, and the text with its function into ErrorLog.
void XDebugError(const char16_t* text, const PluginLogHandles& sinks, const char* function = nullptr);
void XDebugError(const XString& text, const PluginLogHandles& sinks, const char* function = nullptr);
// "*** Information: " + text into the debug file, and the line into InfoLog.
void XDebugInfo(const char16_t* text, const PluginLogHandles& sinks, const char* function = nullptr);
void XDebugInfo(const XString& text, const PluginLogHandles& sinks, const char* function = nullptr);

// Debugger output. POSIX has no such channel, so this goes nowhere there.
void XOutputDebug(const char16_t* format, ...);

// The first steps of the driver's sink set-up. With TONVALE_DEBUG: opens XDebugFileName() anew
// on `file`. Otherwise, when the one-shot value "Debug" of the product key is not 0: sets it
// back to 0 at once, opens a new "DBG...TXT" temporary file, creates the event "TvDGB<tick>"
// (a name nobody holds) on `watch`, and starts the viewer "Peekdesk" from the program's
// folder, when it is there, with -DebugWatch=NAME -DebugFile=PATH. The caller holds `watch`
// until it ends, which tells the viewer that the process is gone. True when a debug file is
// open; its handle then belongs in DebugLog.
bool XDebugOpenFile(XFile& file, XEvent& watch);
