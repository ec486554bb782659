// tvget: reads a URL (or a local file) and writes its body to standard output or to a file.
// Exit status 1 with one line "tvget: TEXT" on standard error when anything fails.
#include <exception>
#include <string>
#include <vector>

#include "fetch.h"
#include "foundation/platform/console.h"
#include "foundation/platform/handle.h"
#include "options.h"

namespace {
void reportError(const std::string& text) {
    const std::string line = "tvget: " + text + "\n";
    XWriteHandle(XStdErrorHandle, line.data(), line.size());
}
}  // namespace

int main(int argc, char** argv) {
    XEnsureStandardHandles();
    tvget::options o;
    std::string error;
    if (!tvget::parseOptions(std::vector<std::string>(argv + 1, argv + argc), o, error)) {
        reportError(error);
        return 1;
    }
    try {
        tvget::fetch(o);
    } catch (const std::exception& e) {
        reportError(e.what());
        return 1;
    }
    return 0;
}
