// tvctl: signals, tests and holds the converter's named events and its byte counter.
#include "apps/tvctl/ctl_tool.h"
#include "foundation/platform/console.h"

namespace {

void Write(XFileHandle handle, const XString& text) {
    if (text.IsEmpty()) return;
    XString copy = text;
    const char* utf8 = copy.Utf8();
    size_t size = 0;
    while (utf8[size]) ++size;
    XWriteHandle(handle, utf8, size);
}

}  // namespace

int main(int argc, char** argv) {
    XEnsureStandardHandles();
    XString out, err;
    int status = XCtlTool(argc - 1, argv + 1, out, err);
    Write(XStdOutputHandle, out);
    Write(XStdErrorHandle, err);
    return status;
}
