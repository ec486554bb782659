#pragma once
// Writes lines to the host's log handles: UTF-16LE, no byte-order mark, CR LF, one write per
// line. A handle of 0 or -1 writes nothing.
#include <string_view>

#include "tonvale/plugin.h"

namespace tvkit {

class PluginLog {
public:
    PluginLog() = default;
    explicit PluginLog(const PluginLogHandles* handles) {
        if (handles) sinks = *handles;
    }
    // "message  [function]" to ErrorLog (fails the run) and "*** Error: ..." to DebugLog.
    void Error(std::u16string_view message, const char* function = nullptr) const;
    // The same on InfoLog with "*** Information: ".
    void Info(std::u16string_view message, const char* function = nullptr) const;
    // A plain trace line in the debug file.
    void Debug(std::u16string_view message) const;
    const PluginLogHandles& Handles() const { return sinks; }

private:
    PluginLogHandles sinks{0, 0, 0};
};

// One line to one handle; exposed for tests.
void WriteLine(TvOsHandle handle, std::u16string_view prefix, std::u16string_view message, const char* function);

}  // namespace tvkit
