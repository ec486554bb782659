// Whole runs of the driver inside the test's own process, one after the other, against the
// same runs of the built travex: the same output and console bytes show that a run keeps
// nothing in the process that the next one would find.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <optional>
#include <regex>
#include <string>
#include <vector>

#include "driver/travex.h"
#include "foundation/platform/console.h"
#include "support/run_tool.h"
#include "support/temp_folder.h"

namespace fs = std::filesystem;

namespace {

using tvtest::ReadBytes;
using tvtest::SameBytes;
using tvtest::ShellQuote;

struct Outcome {
    int status = -1;
    std::string out;
    std::string err;
    std::string file;  // the output's bytes after the run
};

// The closing line tells the run's time, which no two runs share, and is empty for a run
// that took no measurable time.
std::string WithoutTimes(const std::string& utf16) {
    std::string ascii = tvtest::AsciiOfUtf16(utf16);
    return std::regex_replace(ascii, std::regex("Conversion completed in [^\r\n]*"), "");
}

class TravexInProcess : public ::testing::Test {
protected:
    void SetUp() override {
        // The plug-ins come from the user's folder, since the test's own program folder has none.
        // tvtags.so is the bundled plug-ins' tag part, found beside their folders.
        for (const char* plugin : {"decoder/wave.so", "encoder/wave.so", "tvtags.so"}) {
            fs::create_directories((dir / "data/tonvale" / plugin).parent_path());
            fs::copy_file(fs::path(TV_BIN_DIR) / plugin, dir / "data/tonvale" / plugin);
        }
        // The run's settings, documents and plug-ins live in the test's folder; debugging is off.
        const std::string data = (dir / "data").string();
        for (const auto& [name, value] : {std::pair<const char*, std::string>{"TONVALE_CONFIG_HOME", dir.string()},
                                          {"HOME", dir.string()},
                                          {"XDG_RUNTIME_DIR", dir.string()},
                                          {"XDG_DOCUMENTS_DIR", dir.string()},
                                          {"XDG_DATA_HOME", data},
                                          {"TONVALE_DEBUG", ""}}) {
            const char* old = std::getenv(name);
            saved.emplace_back(name, old != nullptr ? std::optional<std::string>(old) : std::nullopt);
            setenv(name, value.c_str(), 1);
        }
        ASSERT_EQ(tvtest::RunIn(dir,
                                "sox -n -r 44100 -c 2 -b 16 a.wav synth 1.3 sine 440 && "
                                "sox -n -r 22050 -c 1 -b 24 b.wav synth 0.7 square 300")
                      .status,
                  0);
    }
    void TearDown() override {
        for (const auto& [name, value] : saved) {
            if (value) {
                setenv(name.c_str(), value->c_str(), 1);
            } else {
                unsetenv(name.c_str());
            }
        }
    }

    // input: a file in the folder for standard input, or none.
    Outcome Process(const std::vector<std::string>& args, const std::string& input = "") {
        std::string line =
            "export TONVALE_CONFIG_HOME=\"$PWD\" HOME=\"$PWD\" XDG_RUNTIME_DIR=\"$PWD\" "
            "XDG_DOCUMENTS_DIR=\"$PWD\" XDG_DATA_HOME=\"$PWD/data\" TONVALE_DEBUG= && " +
            ShellQuote(tvtest::ToolPath("travex"));
        for (const auto& a : args) line += " " + ShellQuote(a);
        const tvtest::RunResult r = tvtest::RunIn(dir, line, input.empty() ? "</dev/null" : "<" + input);
        return {r.status, r.out, r.err, ReadBytes(dir / "out.wav")};
    }

    Outcome InProcess(const std::vector<std::string>& args, const std::string& input = "") {
        std::vector<const char*> argv{"travex"};
        for (const auto& a : args) argv.push_back(a.c_str());
        const int out = open((dir / "in-out.bin").c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
        const int err = open((dir / "in-err.bin").c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
        const int in = open(input.empty() ? "/dev/null" : (dir / input).c_str(), O_RDONLY | O_CLOEXEC);
        Outcome o;
        {
            TvTravex run(XJoinCommandLine(static_cast<int>(argv.size()), argv.data()), {in, out, err});
            o.status = run.ExitStatus();
        }
        close(in);
        close(out);
        close(err);
        o.out = ReadBytes(dir / "in-out.bin");
        o.err = ReadBytes(dir / "in-err.bin");
        o.file = ReadBytes(dir / "out.wav");
        return o;
    }

    tvtest::TempFolder folder{"travex-inproc"};
    const fs::path& dir = folder.path;
    std::vector<std::pair<std::string, std::optional<std::string>>> saved;
};

}  // namespace

TEST_F(TravexInProcess, TwoRunsMatchTheExecutable) {
    const std::string out = (dir / "out.wav").string();
    // The second run converts onto the first one's output, so it goes through a temporary name.
    const std::vector<std::vector<std::string>> runs = {
        {"-infile=" + (dir / "a.wav").string(), "-outfile=" + out, "-convert_to=wave"},
        {"-infile=" + (dir / "b.wav").string(), "-outfile=" + out, "-convert_to=wave", "-noidtag"},
    };
    std::vector<Outcome> expected;
    for (const auto& args : runs) expected.push_back(Process(args));
    fs::remove(out);
    for (size_t i = 0; i < runs.size(); ++i) {
        const Outcome got = InProcess(runs[i]);
        EXPECT_EQ(got.status, expected[i].status) << i;
        EXPECT_EQ(expected[i].status, 0) << tvtest::AsciiOfUtf16(expected[i].err);
        EXPECT_EQ(WithoutTimes(got.out), WithoutTimes(expected[i].out)) << i;
        EXPECT_EQ(got.err, expected[i].err) << i;
        EXPECT_TRUE(SameBytes(got.file, expected[i].file)) << i;
        EXPECT_GT(got.file.size(), 44u);
    }
    EXPECT_FALSE(fs::exists(out.substr(0, out.size() - 4) + ".tmp.wav"));

    // A run that fails tells it by its own status; the next one starts clean.
    const std::vector<std::string> missing = {"-infile=" + (dir / "none.wav").string(), "-outfile=" + out,
                                              "-convert_to=wave"};
    const Outcome failedExe = Process(missing);
    const Outcome failed = InProcess(missing);
    EXPECT_EQ(failed.status, 1);
    EXPECT_EQ(failedExe.status, 1);
    EXPECT_EQ(WithoutTimes(failed.out), WithoutTimes(failedExe.out));
    EXPECT_EQ(failed.err, failedExe.err);
    EXPECT_EQ(InProcess(runs[0]).status, 0);

    // Raw PCM from the handle the run was given, which it leaves open.
    ASSERT_EQ(tvtest::RunIn(dir, "sox a.wav -t raw a.raw").status, 0);
    const std::vector<std::string> raw = {"-infile=-",         "-outfile=" + out,   "-convert_to=wave",
                                          "-sourcefreq=44100", "-sourcechannels=2", "-sourcebits=16"};
    const Outcome rawExe = Process(raw, "a.raw");
    const Outcome rawRun = InProcess(raw, "a.raw");
    EXPECT_EQ(rawExe.status, 0) << tvtest::AsciiOfUtf16(rawExe.err);
    EXPECT_EQ(rawRun.status, 0);
    EXPECT_EQ(WithoutTimes(rawRun.out), WithoutTimes(rawExe.out));
    EXPECT_TRUE(SameBytes(rawRun.file, rawExe.file));
    EXPECT_NE(rawRun.file.find(ReadBytes(dir / "a.raw")), std::string::npos);
}
