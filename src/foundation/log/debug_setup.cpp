// Opening the debug file of a run: by the environment, or once by the registry value "Debug"
// with the viewer watching.
#include <vector>

#include "foundation/log/xdebug.h"
#include "foundation/paths/xpath.h"
#include "foundation/paths/xtemp_file.h"
#include "foundation/platform/clock.h"
#include "foundation/platform/process.h"
#include "foundation/settings/xregistry.h"

namespace {

constexpr const char16_t* ViewerName = u"Peekdesk";

// The viewer is optional: without it the file is still written.
void StartViewer(const XString& eventName, const XString& path) {
    XPath viewer = InModuleFolder(ViewerName);
    if (!viewer.Exists()) return;
    XString watch = XString(u"-DebugWatch=") + eventName;
    XString file = XString(u"-DebugFile=") + path;
    std::string args[3] = {viewer.ToStdUtf8(), watch.ToStdUtf8(), file.ToStdUtf8()};
    const char* argv[4] = {args[0].c_str(), args[1].c_str(), args[2].c_str(), nullptr};
    XProcessId pid = 0;
    XSpawnProcess(argv, &pid);  // a viewer that will not start leaves the file to be read later
}

}  // namespace

bool XDebugOpenFile(XFile& file, XEvent& watch) {
    if (XDebugEnabled()) return file.OpenCreate(XDebugFileName());
    if (RegGetInt(u"Debug", HKEY_CURRENT_USER, XProductRegistryKey) == 0) return false;
    // One run only, even when this one fails at once.
    RegSetInt(0, u"Debug", HKEY_CURRENT_USER, XProductRegistryKey);
    XTempFile temp("DBG", ".TXT");
    XString path = temp;
    temp.Release();
    if (path.IsEmpty() || !file.OpenCreate(path)) return false;
    XString name;
    do {
        name = XString::Formatted(u"TvDGB%u", XGetTickCount());
        watch.Create(name.Text());
        if (watch.existed) XSleep(1);
    } while (watch.existed);
    StartViewer(name, path);
    return true;
}
