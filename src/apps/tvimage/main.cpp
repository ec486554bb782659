// tvimage FILE...: one line per picture on standard output; exit 0 when all were identified.
#include <string>

#include "foundation/platform/console.h"
#include "image/image_report.h"

int main(int argc, char** argv) {
    XEnsureStandardHandles();
    if (argc < 2) {
        const std::string usage = "usage: tvimage FILE...\n";
        XWriteHandle(XStdErrorHandle, usage.data(), usage.size());
        return 1;
    }
    int status = 0;
    for (int i = 1; i < argc; ++i) {
        bool identified = false;
        const std::string line = imageReportFor(argv[i], identified);
        if (!identified) status = 1;
        if (!XWriteHandle(XStdOutputHandle, line.data(), line.size())) return 1;
    }
    return status;
}
