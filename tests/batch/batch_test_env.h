#pragma once
// Shared set-up of the batch tests: a fresh folder with bin/ holding travex, tvbatch, the test
// plug-ins and an anchor library that stands in for the program when the coordinator's side
// runs inside the test; the settings store, named objects and temporary files live in the
// folder too.
#include <gtest/gtest.h>

#include <signal.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "foundation/platform/dynamic_library.h"
#include "foundation/text/xstring.h"
#include "support/bytes.h"
#include "support/run_tool.h"
#include "support/temp_folder.h"

namespace batchtest {

namespace fs = std::filesystem;

using tvtest::ReadBytes;
using tvtest::ShellQuote;

// A file with the folders on its way made first.
inline void WriteBytes(const fs::path& path, const std::string& bytes) {
    fs::create_directories(path.parent_path());
    tvtest::WriteBytes(path, bytes);
}

inline std::vector<std::string> ReadLines(const fs::path& path) {
    std::vector<std::string> lines;
    std::istringstream in(ReadBytes(path));
    std::string line;
    while (std::getline(in, line)) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        lines.push_back(line);
    }
    return lines;
}

inline std::string Noise(size_t size, unsigned seed) {
    std::mt19937 gen(seed);
    std::string bytes(size, '\0');
    for (char& c : bytes) c = static_cast<char>(gen());
    return bytes;
}

// Whether a process of that number is still running (a zombie is not).
inline bool Running(int pid) {
    std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
    std::string line;
    if (!std::getline(stat, line)) return false;
    const size_t close = line.rfind(')');
    return close != std::string::npos && close + 2 < line.size() && line[close + 2] != 'Z';
}

// Live processes whose parent is pid.
inline std::vector<int> ChildrenOf(int pid) {
    std::vector<int> found;
    for (const auto& entry : fs::directory_iterator("/proc")) {
        const std::string name = entry.path().filename();
        if (name.empty() || !std::all_of(name.begin(), name.end(), ::isdigit)) continue;
        std::ifstream stat(entry.path() / "stat");
        std::string line;
        if (!std::getline(stat, line)) continue;
        const size_t close = line.rfind(')');
        if (close == std::string::npos) continue;
        std::istringstream rest(line.substr(close + 2));
        char state = 0;
        int parent = 0;
        rest >> state >> parent;
        if (parent == pid && state != 'Z') found.push_back(std::stoi(name));
    }
    return found;
}

class BatchTest : public ::testing::Test {
protected:
    void SetUp() override {
        fs::create_directories(dir / "bin");
        fs::create_directories(dir / "tmp");
        const fs::path built(TV_BIN_DIR);
        // tvtags.so: the bundled plug-ins' tag part, which some tests copy in.
        for (const char* tool : {"travex", "tvbatch", "tvtags.so"}) {
            if (fs::exists(built / tool)) fs::copy_file(built / tool, dir / "bin" / tool);
        }
        for (const char* plugin : {"decoder/tvt.so", "encoder/tvt.so", "DSPs/tvtlive.so", "DSPs/tvtnonlive.so"}) {
            fs::create_directories((dir / "bin" / plugin).parent_path());
            fs::copy_file(fs::path(TV_TEST_PLUGIN_DIR) / plugin, dir / "bin" / plugin);
        }
        fs::copy_file(fs::path(TV_TEST_PLUGIN_DIR) / "install/anchor.so", dir / "bin/anchor.so");
        // Children inherit these: one settings store, one folder of named objects, one
        // temporary folder that a test can look into.
        setenv("TONVALE_CONFIG_HOME", dir.c_str(), 1);
        setenv("XDG_RUNTIME_DIR", dir.c_str(), 1);
        setenv("TMPDIR", (dir / "tmp").c_str(), 1);
        setenv("TVT_LOG", (dir / "log.txt").c_str(), 1);
        setenv("TVT_SCRIPT", "", 1);
        unsetenv("TONVALE_DEBUG");
    }
    void TearDown() override {
        if (anchor) XSysFreeLibrary(anchor);
        unsetenv("TMPDIR");
    }

    // The anchor's handle: the codec handler treats its folder (bin/) as the program's.
    const void* Module() {
        if (!anchor) anchor = XSysLoadLibrary(XString((dir / "bin/anchor.so").c_str(), true));
        return anchor;
    }
    XString Text(const fs::path& path) const { return XString(path.c_str(), true); }
    std::vector<std::string> Log() { return ReadLines(dir / "log.txt"); }
    size_t TempCount() {
        size_t n = 0;
        for (auto it = fs::recursive_directory_iterator(dir / "tmp"); it != fs::recursive_directory_iterator(); ++it) {
            ++n;
        }
        return n;
    }

    tvtest::TempFolder folder{"tvbatch-test"};
    fs::path dir = folder.path;
    XModuleHandle anchor = nullptr;
};

}  // namespace batchtest
