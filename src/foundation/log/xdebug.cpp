#include "foundation/log/xdebug.h"

#include <atomic>
#include <mutex>

#include "foundation/platform/environment.h"
#include "foundation/platform/file_io.h"
#include "foundation/platform/known_folders.h"

namespace {

// Process-wide state of the trace, under one mutex that lives as long as the process.
struct DebugState {
    std::mutex lock;
    XString indent;  // two spaces per open function mark
    bool atLineStart = true;
};

DebugState& State() {
    static auto* state = new DebugState;  // never freed: threads may log during exit
    return *state;
}

std::atomic<uint32_t> g_fileNames{0};

bool StartsWith(const char16_t* text, const char16_t* mark) {
    return XString::Compare(text, mark, XString::PrefixCount) == 0;
}

// One write of the characters, two bytes each; nothing for handle 0 or -1, result ignored
// since nothing in the log may stop a run.
void WriteTo(TvOsHandle handle, const XString& line) {
    if (handle == 0 || handle == -1 || line.IsEmpty()) return;
    uint32_t done = 0;
    XSysWriteFile(static_cast<XFileHandle>(handle), line.Text(), static_cast<uint32_t>(line.Length()) * 2u, &done);
}

XString Assemble(const char16_t* prefix, const char16_t* text, const char* function, bool endLine) {
    XString line(prefix ? prefix : u"");
    line.AppendFast(text ? text : u"");
    if (endLine) {
        if (function) {
            line.AppendFast(u"  [");
            line.AppendFast(XString(function, false));
            line.AppendChar(u']');
        }
        line.AppendFast(u"\r\n");
    }
    return line;
}

void ToSink(const char16_t* text, const PluginLogHandles& sinks, const char* function, const char16_t* stars,
            TvOsHandle pipe) {
    XDebugWrite(text, sinks, function, true, stars);
    // Outside the mutex: one write on a pipe is atomic enough for one line.
    WriteTo(pipe, Assemble(nullptr, text, function, true));
}

}  // namespace

bool XDebugEnabled() {
    XString value;
    return XGetEnvironmentVariable(u"TONVALE_DEBUG", value) && !value.IsEmpty();
}

XString XDebugFileName() {
    uint32_t n = g_fileNames.fetch_add(1) + 1;
    uint32_t pid = XGetCurrentProcessId();
    XString path = XSpecialFolder(XFolderId::Documents);
    if (n == 1)
        path.AppendFast(XString::Formatted(u"TVDebug-%u.txt", pid));
    else
        path.AppendFast(XString::Formatted(u"TVDebug-%u+%u.txt", pid, n));
    return path;
}

void XDebugWrite(const char16_t* text, const PluginLogHandles& sinks, const char* function, bool endLine,
                 const char16_t* prefix) {
    if (!text) text = u"";
    DebugState& s = State();
    std::lock_guard<std::mutex> guard(s.lock);
    if (StartsWith(text, XDebugLeave)) {
        s.indent.RemoveAt(XString::Last);
        s.indent.RemoveAt(XString::Last);
    }
    // An explicit prefix replaces the indent even in mid-line; a continued line gets none.
    const char16_t* lead = prefix ? prefix : (s.atLineStart ? s.indent.Text() : u"");
    WriteTo(sinks.DebugLog, Assemble(lead, text, function, endLine));
    if (StartsWith(text, XDebugEnter)) s.indent.AppendFast(u"  ");
    s.atLineStart = endLine;
}

void XDebugWrite(const XString& text, const PluginLogHandles& sinks, const char* function, bool endLine,
                 const char16_t* prefix) {
    XDebugWrite(text.Text(), sinks, function, endLine, prefix);
}

void XDebugError(const char16_t* text, const PluginLogHandles& sinks, const char* function) {
    ToSink(text, sinks, function, u"*** Error: ", sinks.ErrorLog);
}

void XDebugError(const XString& text, const PluginLogHandles& sinks, const char* function) {
    XDebugError(text.Text(), sinks, function);
}

void XDebugInfo(const char16_t* text, const PluginLogHandles& sinks, const char* function) {
    ToSink(text, sinks, function, u"*** Information: ", sinks.InfoLog);
}

void XDebugInfo(const XString& text, const PluginLogHandles& sinks, const char* function) {
    XDebugInfo(text.Text(), sinks, function);
}

void XOutputDebug(const char16_t* format, ...) {
    // Formatted all the same, so that a bad format shows under the sanitizers as it would
    // on the system that has a debugger channel.
    va_list arguments;
    va_start(arguments, format);
    XString text;
    text.FormatV(format, arguments);
    va_end(arguments);
}
