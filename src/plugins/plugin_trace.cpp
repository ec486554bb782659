#include "plugins/plugin_trace.h"

#include "foundation/files/xfile.h"

void PluginTrace(const XString& text, const PluginLogHandles* sinks, const char* function) {
    if (!sinks || sinks->DebugLog == 0 || sinks->DebugLog == -1) return;
    XString line(text);
    if (function) {
        line += u"  [";
        line += XString(function, true);
        line += u"]";
    }
    line += u"\r\n";
    XFile log(static_cast<XFileHandle>(sinks->DebugLog));
    // A log line that can't be written must not change the caller's outcome.
    log.Write(line.Text(), static_cast<uint32_t>(line.Length() * 2));
}
