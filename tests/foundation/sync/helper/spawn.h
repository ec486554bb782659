#pragma once
// Starting the helper and the tools from tests, each in a private runtime and config folder.
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "foundation/platform/environment.h"
#include "foundation/platform/process.h"
#include "support/run_tool.h"
#include "support/temp_folder.h"

namespace testproc {

inline std::string Helper() { return std::string(TV_BIN_DIR) + "/../testhelpers/tv_test_helper"; }
inline std::string Tool(const char* name) { return tvtest::ToolPath(name); }

inline XProcessId Start(std::vector<std::string> args) {
    std::vector<const char*> argv;
    for (auto& a : args) argv.push_back(a.c_str());
    argv.push_back(nullptr);
    XProcessId pid = -1;
    if (!XSpawnProcess(argv.data(), &pid)) return -1;
    return pid;
}

inline int Run(std::vector<std::string> args) {
    XProcessId pid = Start(std::move(args));
    return pid < 0 ? -1 : XWaitProcess(pid);
}

// Standard output of a command line.
inline std::string Output(const std::string& command) { return tvtest::Capture(command).out; }

// Points the store and the named objects at fresh folders for one test.
class Sandbox {
public:
    explicit Sandbox(const std::string& tag) : folder("tv-" + tag) {
        std::filesystem::create_directories(root / "run");
        setenv("TONVALE_CONFIG_HOME", (root / "config").c_str(), 1);
        setenv("XDG_RUNTIME_DIR", (root / "run").c_str(), 1);
    }

private:
    tvtest::TempFolder folder;

public:
    const std::filesystem::path& root = folder.path;
};

}  // namespace testproc
