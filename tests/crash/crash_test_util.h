#pragma once
// A travex installation of its own for each crash test: the program, the faulting decoder and
// a PCM encoder in a fresh folder, with settings, data and temporary folders inside it.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "support/bytes.h"
#include "support/run_tool.h"
#include "support/temp_folder.h"

namespace crashtest {

namespace fs = std::filesystem;

using tvtest::ReadBytes;
using tvtest::ShellQuote;
using tvtest::Utf16Lines;
using tvtest::WriteBytes;

inline std::u16string Wide(const std::string& ascii) { return std::u16string(ascii.begin(), ascii.end()); }

// The sanitizers keep out of the way of the program's own fault handling.
constexpr const char* SanitizerOptions =
    "ASAN_OPTIONS=handle_segv=0:handle_sigbus=0:handle_sigfpe=0:handle_sigill=0:handle_abort=0:"
    "use_sigaltstack=0:detect_leaks=0 UBSAN_OPTIONS=handle_segv=0:handle_sigbus=0:handle_sigfpe=0:"
    "handle_sigill=0:handle_abort=0";

using Outcome = tvtest::RunResult;

class Installation : public ::testing::Test {
protected:
    void SetUp() override {
        for (const char* sub : {"bin/decoder", "bin/encoder", "data", "config", "tmp", "work"}) {
            fs::create_directories(dir / sub);
        }
        const fs::path plugins = fs::path(TV_TEST_PLUGIN_DIR) / "crash";
        fs::copy_file(fs::path(TV_BIN_DIR) / "travex", dir / "bin/travex");
        fs::copy_file(plugins / "decoder/tvf.so", dir / "bin/decoder/tvf.so");
        fs::copy_file(plugins / "encoder/crashpcm.so", dir / "bin/encoder/crashpcm.so");
        const fs::path window = fs::path(TV_BIN_DIR) / "tvcrashwindow.so";
        if (fs::exists(window)) fs::copy_file(window, dir / "bin/tvcrashwindow.so");
    }
    fs::path Crashes() const { return dir / "data/vMX/crashes"; }

    std::vector<fs::path> Dumps() const {
        std::vector<fs::path> found;
        std::error_code ec;
        for (const auto& e : fs::directory_iterator(Crashes(), ec)) found.push_back(e.path());
        return found;
    }

    // The environment of a run: everything the program keeps lives in the test's folder.
    std::string Environment(const std::string& extra = "") const {
        const std::string d = dir.string();
        return "env -u DISPLAY " + std::string(SanitizerOptions) + " HOME=" + ShellQuote(d) +
               " XDG_DATA_HOME=" + ShellQuote(d + "/data") + " TONVALE_CONFIG_HOME=" + ShellQuote(d + "/config") +
               " TMPDIR=" + ShellQuote(d + "/tmp") + " " + extra + " ";
    }

    // Runs travex in the work folder; standard error is read through a pipe, so the result
    // is complete only when the successor, which shares it, has ended too.
    Outcome Travex(const std::vector<std::string>& args, const std::string& extra = "") {
        std::string cmd = "cd " + ShellQuote((dir / "work").string()) + " && { " + Environment(extra) +
                          "timeout -s KILL 120 " + ShellQuote((dir / "bin/travex").string()) + " " +
                          tvtest::ShellLine(args);
        cmd += " 2>&1 >../out.bin </dev/null; echo $? >../rc.txt; } | timeout 120 cat >../err.bin";
        EXPECT_EQ(std::system(cmd.c_str()), 0);
        Outcome r;
        r.status = std::stoi(ReadBytes(dir / "rc.txt"));
        r.out = ReadBytes(dir / "out.bin");
        r.err = ReadBytes(dir / "err.bin");
        return r;
    }

    // The rows of the report for a dump.
    static std::string Report(const fs::path& dump) {
        return Utf16Lines({u"Tonvale Travex Core has stopped working",
                           u"Something unexpected happend which led to a crash.",
                           u"1) Report on support forum: https://forum.brightmoor.com/tonvale/",
                           u"2) Send crash dump, helping fix the issue: " + Wide(dump.string())});
    }

    tvtest::TempFolder folder{"crash-test"};
    fs::path dir = folder.path;
};

}  // namespace crashtest
