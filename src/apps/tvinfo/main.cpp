// tvinfo: without arguments, the installed plug-ins; with files, each file as its decoder
// opens it. Text goes out as UTF-8; exit status 1 when a file couldn't be opened.
#include "foundation/platform/console.h"
#include "foundation/platform/handle.h"
#include "plugins/plugin_info.h"

namespace {
void Print(XFileHandle handle, const XStringList& lines) {
    for (const XString& line : lines) {
        const std::string text = line.ToStdUtf8() + "\n";
        XWriteHandle(handle, text.data(), text.size());
    }
}
}  // namespace

int main(int argc, char** argv) {
    XEnsureStandardHandles();
    XStringList lines, errors;
    int status = 0;
    if (argc < 2) {
        DescribeInstalledPlugins(lines, nullptr);
    } else {
        for (int i = 1; i < argc; ++i) {
            if (i > 1) lines.Add(u"");
            if (!DescribeFile(XString(argv[i], true), lines, errors, nullptr)) status = 1;
            Print(XStdOutputHandle, lines);
            Print(XStdErrorHandle, errors);
            lines.Clear();
            errors.Clear();
        }
    }
    Print(XStdOutputHandle, lines);
    return status;
}
