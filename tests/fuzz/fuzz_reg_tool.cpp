// The tvreg command line: arguments split at NUL bytes, run against a private store.
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "apps/tvreg/reg_tool.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    auto dir = std::filesystem::temp_directory_path() / "tv-fuzz-reg-tool";
    std::filesystem::create_directories(dir);
    setenv("TONVALE_CONFIG_HOME", dir.c_str(), 1);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    constexpr size_t MaxInput = 4096;
    if (size > MaxInput) return 0;
    XStringList args;
    std::string word;
    for (size_t i = 0; i <= size; ++i) {
        if (i == size || data[i] == 0) {
            args.AddMove(XString(word.c_str(), true));
            word.clear();
        } else {
            word += static_cast<char>(data[i]);
        }
    }
    XRegToolIo io;
    io.confirm = [](const XString&) { return true; };
    XRegTool(args, io);
    return 0;
}
