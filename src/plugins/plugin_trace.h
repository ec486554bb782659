#pragma once
// Debug-log lines of the plug-in layer. STAND-IN: writes plain lines to the DebugLog handle
// until the foundation's debug log lands; then it forwards to XDebugWrite.
#include "foundation/text/xstring.h"
#include "tonvale/plugin.h"

// One line with the function name, as a function mark ("->->", "<-<-") or a message.
void PluginTrace(const XString& text, const PluginLogHandles* sinks, const char* function);
