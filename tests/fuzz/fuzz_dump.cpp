// Damaged Minidump files for the dump reader: it must refuse or read within the buffer, and
// every memory lookup it then answers must stay inside too.
#include <cstddef>
#include <cstdint>
#include <string>

#include "crash/minidump_reader.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    XDumpSummary summary;
    std::string error;
    if (!XReadDumpDirectory(data, size, summary, error)) return 0;
    uint8_t word[16];
    for (const XDumpThread& t : summary.threads) {
        XReadDumpMemory(data, size, summary, t.rsp, word, sizeof word);
        XReadDumpMemory(data, size, summary, t.stackStart + t.stackSize - 8, word, 8);
    }
    for (const XDumpMemory& m : summary.memory) XReadDumpMemory(data, size, summary, m.start, word, 1);
    return 0;
}
