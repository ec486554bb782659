// travex: one conversion per process. The driver's constructor is the run; the exit code is
// read before its destructor, so whatever the stopping output thread reports can't change it.
#include <optional>

#include "crash/crash_handler.h"
#include "driver/travex.h"
#include "foundation/platform/console.h"

int main(int argc, char** argv) {
    XEnsureStandardHandles();
    XSetProcessArguments(argc, argv);
    XInstallCrashHandler(XTravexCrashName, XDefaultCrashFolder());

    std::optional<TvTravex> run;
    run.emplace(XJoinCommandLine(argc, argv));
    const int code = run->ExitStatus() != 0 ? 1 : 0;
    run.reset();
    return code;
}
