#include "foundation/platform/desktop.h"

#include <initializer_list>
#include <string>
#include <vector>

#include "foundation/platform/environment.h"
#include "foundation/platform/process.h"

namespace {

constexpr uint32_t FileManagerWaitMs = 3000;

bool Run(std::initializer_list<std::string> args, bool wait) {
    std::vector<const char*> argv;
    for (const auto& a : args) argv.push_back(a.c_str());
    argv.push_back(nullptr);
    XProcessId pid = 0;
    if (!XSpawnProcess(argv.data(), &pid)) return false;
    return !wait || XWaitProcess(pid, FileManagerWaitMs) == 0;
}

}  // namespace

bool XHasDesktop() {
    XString display;
    return XGetEnvironmentVariable(u"DISPLAY", display) && !display.IsEmpty();
}

bool XOpenAddress(const XString& address) { return Run({"xdg-open", address.ToStdUtf8()}, false); }

bool XShowFileInFolder(const XString& path) {
    // The file manager's own call selects the file; the folder alone where none answers it.
    const std::string uri = "file://" + path.ToStdUtf8();
    if (Run({"dbus-send", "--session", "--print-reply", "--dest=org.freedesktop.FileManager1",
             "/org/freedesktop/FileManager1", "org.freedesktop.FileManager1.ShowItems", "array:string:" + uri,
             "string:"},
            true)) {
        return true;
    }
    const std::string file = path.ToStdUtf8();
    const size_t slash = file.rfind('/');
    return Run({"xdg-open", slash == std::string::npos ? std::string(".") : file.substr(0, slash + 1)}, false);
}
