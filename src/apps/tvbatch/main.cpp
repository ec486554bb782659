// tvbatch: converts a whole library with travex children, see batch/tvbatch/options.h.
#include "batch/tvbatch/run.h"
#include "foundation/platform/console.h"

int main(int argc, char** argv) {
    XEnsureStandardHandles();
    XStringList arguments;
    for (int i = 1; i < argc; ++i) arguments.Add(XString(argv[i], true));
    return RunTvBatch(arguments);
}
