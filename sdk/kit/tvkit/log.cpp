#include "tvkit/log.h"

#include <string>

#include "tvkit/os_file.h"
#include "tvkit/text.h"

namespace tvkit {

void WriteLine(TvOsHandle handle, std::u16string_view prefix, std::u16string_view message, const char* function) {
    if (handle == 0 || handle == -1) return;
    std::u16string line(prefix);
    line += message;
    if (function) {
        line += u"  [";
        line += Utf8ToUtf16(function);
        line += u"]";
    }
    line += u"\r\n";
    std::string bytes;
    bytes.reserve(line.size() * 2);
    for (char16_t c : line) {
        bytes += static_cast<char>(c & 0xFF);
        bytes += static_cast<char>(c >> 8);
    }
    // A log that can't be written must not stop the plug-in.
    (void)os::WriteHandle(handle, bytes.data(), bytes.size());
}

void PluginLog::Error(std::u16string_view message, const char* function) const {
    WriteLine(sinks.DebugLog, u"*** Error: ", message, function);
    WriteLine(sinks.ErrorLog, u"", message, function);
}

void PluginLog::Info(std::u16string_view message, const char* function) const {
    WriteLine(sinks.DebugLog, u"*** Information: ", message, function);
    WriteLine(sinks.InfoLog, u"", message, function);
}

void PluginLog::Debug(std::u16string_view message) const { WriteLine(sinks.DebugLog, u"", message, nullptr); }

}  // namespace tvkit
