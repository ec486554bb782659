// travex crashing for real: each fault kind of the test decoder leaves one dump that the
// project's reader and lldb both open, a successor that printed the report, the old output
// untouched and no temporary file.
#include <signal.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <regex>

#include "crash/minidump_format.h"
#include "crash/minidump_reader.h"
#include "crash_test_util.h"

namespace {

using namespace crashtest;

struct FaultKind {
    const char* name;
    int signal;
    const char* function;  // the test decoder's function that faults
};

const FaultKind Kinds[] = {
    {"null", SIGSEGV, "FaultNullWrite"},      {"abort", SIGABRT, "FaultAbort"},      {"divide", SIGFPE, "FaultDivide"},
    {"stack", SIGSEGV, "FaultStackOverflow"}, {"thread", SIGSEGV, "FaultNullWrite"},
};

std::string Command(const std::string& command) { return tvtest::Capture(command).out; }

class CrashProcess : public Installation {
protected:
    void PrepareRun() {
        WriteBytes(dir / "work/in.tvf", std::string(64 * 1024, '\x11'));
        WriteBytes(dir / "work/out.pcm", "old output");
    }
    std::vector<std::string> Args() const { return {"-infile=in.tvf", "-outfile=out.pcm", "-convert_to=crashpcm"}; }
    // Nothing of the run is left but its input, the untouched output and the dump.
    void ExpectNothingLeft() {
        EXPECT_EQ(ReadBytes(dir / "work/out.pcm"), "old output");
        std::vector<std::string> work;
        for (const auto& e : fs::directory_iterator(dir / "work")) work.push_back(e.path().filename());
        std::sort(work.begin(), work.end());
        EXPECT_EQ(work, (std::vector<std::string>{"in.tvf", "out.pcm"}));
        EXPECT_TRUE(fs::is_empty(dir / "tmp"));
    }
};

TEST_F(CrashProcess, EveryFaultKindLeavesOneDumpThatDebuggersOpen) {
    PrepareRun();
    const bool haveLldb = !Command("command -v lldb").empty();
    for (const FaultKind& kind : Kinds) {
        SCOPED_TRACE(kind.name);
        for (const auto& d : Dumps()) fs::remove(d);
        Outcome r = Travex(Args(), std::string("TVF_FAULT=") + kind.name);
        EXPECT_EQ(r.status, 0);
        const std::vector<fs::path> dumps = Dumps();
        ASSERT_EQ(dumps.size(), 1u);
        EXPECT_TRUE(std::regex_match(dumps[0].filename().string(), std::regex("crash-[0-9]+\\.dmp")));
        EXPECT_EQ(r.err, Report(dumps[0]));
        ExpectNothingLeft();

        const std::string bytes = ReadBytes(dumps[0]);
        const auto* data = reinterpret_cast<const uint8_t*>(bytes.data());
        XDumpSummary dump;
        std::string error;
        ASSERT_TRUE(XReadDumpDirectory(data, bytes.size(), dump, error)) << error;
        EXPECT_EQ(dump.architecture, md::ArchitectureAmd64);
        EXPECT_EQ(dump.platform, md::PlatformLinux);
        ASSERT_TRUE(dump.hasException);
        EXPECT_EQ(dump.exceptionCode, static_cast<uint32_t>(kind.signal));
        ASSERT_FALSE(dump.threads.empty());
        EXPECT_EQ(dump.threads[0].id, dump.exceptionThread);
        EXPECT_GT(dump.threads.size(), 1u) << "the run's other threads";
        if (std::string(kind.name) == "null") {
            EXPECT_EQ(dump.exceptionAddress, 0u);
        }
        // The memory list holds the stack and the range around the stack pointer, which an
        // overflow has left below the stack's mapping.
        uint64_t word = 0;
        EXPECT_GT(dump.threads[0].stackSize, 1024u);
        const uint64_t sp = std::string(kind.name) == "stack" ? dump.threads[0].stackStart : dump.threads[0].rsp;
        EXPECT_TRUE(XReadDumpMemory(data, bytes.size(), dump, sp, &word, sizeof word));
        bool travex = false, decoder = false;
        for (const XDumpModule& m : dump.modules) {
            travex = travex || (m.name == (dir / "bin/travex").string() && m.buildId.size() >= 16);
            decoder = decoder || (m.name == (dir / "bin/decoder/tvf.so").string() && m.buildId.size() >= 16);
        }
        EXPECT_TRUE(travex);
        EXPECT_TRUE(decoder);

        if (!haveLldb) continue;
        const std::string lldb =
            Command("timeout 120 lldb --batch -o " + ShellQuote("target create --core " + dumps[0].string()) +
                    " -o 'thread list' -o 'bt 8' -o 'image list' 2>&1");
        EXPECT_NE(lldb.find("stop reason = signal SIG" + std::string(sigabbrev_np(kind.signal))), std::string::npos)
            << lldb;
        const size_t bt = lldb.find("(lldb) bt");
        ASSERT_NE(bt, std::string::npos) << lldb;
        EXPECT_NE(lldb.find(kind.function, lldb.find("tvf.so`", bt)), std::string::npos) << lldb;
        EXPECT_NE(lldb.find((dir / "bin/travex").string()), std::string::npos) << lldb;
        EXPECT_NE(lldb.find((dir / "bin/decoder/tvf.so").string()), std::string::npos) << lldb;
    }
    if (!haveLldb) GTEST_SKIP() << "lldb is not installed: the dumps were checked by the project's reader only";
}

// A dump cut short or with bytes flipped in its directory is refused or read within bounds.
TEST_F(CrashProcess, DamagedDumpsAreRefusedNotOverread) {
    PrepareRun();
    Outcome r = Travex(Args(), "TVF_FAULT=null");
    ASSERT_EQ(Dumps().size(), 1u);
    const std::string bytes = ReadBytes(Dumps()[0]);
    XDumpSummary dump;
    std::string error;
    for (size_t cut : {size_t{0}, size_t{31}, size_t{100}, bytes.size() / 2, bytes.size() - 1}) {
        const std::string part = bytes.substr(0, cut);
        EXPECT_FALSE(XReadDumpDirectory(reinterpret_cast<const uint8_t*>(part.data()), part.size(), dump, error))
            << cut;
    }
    std::string flipped = bytes;
    flipped[8] = '\x7F';  // the stream count
    EXPECT_FALSE(XReadDumpDirectory(reinterpret_cast<const uint8_t*>(flipped.data()), flipped.size(), dump, error));
}

// With a tracer attached the fault is the debugger's: no dump, the process dies of the signal.
TEST_F(CrashProcess, UnderADebuggerNoDumpIsWritten) {
    PrepareRun();
    const std::string d = dir.string();
    std::vector<std::string> env = {"HOME=" + d,
                                    "XDG_DATA_HOME=" + d + "/data",
                                    "TONVALE_CONFIG_HOME=" + d + "/config",
                                    "TMPDIR=" + d + "/tmp",
                                    "TVF_FAULT=null",
                                    "PATH=/usr/bin:/bin"};
    std::string sanitizers = SanitizerOptions;
    for (size_t blank; (blank = sanitizers.find(' ')) != std::string::npos; sanitizers.erase(0, blank + 1)) {
        env.push_back(sanitizers.substr(0, blank));
    }
    env.push_back(sanitizers);
    const std::string program = (dir / "bin/travex").string();
    std::vector<std::string> args = {program};
    for (const auto& a : Args()) args.push_back(a);
    std::vector<char*> argv, envp;
    for (auto& a : args) argv.push_back(a.data());
    argv.push_back(nullptr);
    for (auto& e : env) envp.push_back(e.data());
    envp.push_back(nullptr);
    const std::string work = (dir / "work").string();

    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        if (chdir(work.c_str()) != 0) _exit(126);
        if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0) _exit(125);
        execve(program.c_str(), argv.data(), envp.data());
        _exit(127);
    }
    int status = 0;
    bool started = false;
    for (int stops = 0; stops < 10000; ++stops) {
        ASSERT_EQ(waitpid(child, &status, 0), child);
        if (!WIFSTOPPED(status)) break;
        // The stop at exec is the tracer's own; every other signal goes on to the program.
        const int sig = WSTOPSIG(status);
        const int pass = (!started && sig == SIGTRAP) ? 0 : sig;
        started = true;
        ptrace(PTRACE_CONT, child, nullptr, reinterpret_cast<void*>(static_cast<intptr_t>(pass)));
    }
    if (WIFEXITED(status) && WEXITSTATUS(status) == 125) GTEST_SKIP() << "this system refuses ptrace";
    ASSERT_TRUE(WIFSIGNALED(status)) << status;
    EXPECT_EQ(WTERMSIG(status), SIGSEGV);
    EXPECT_TRUE(Dumps().empty());
}

// A crashes "folder" that is a file: the dump can't be made, so nothing is written, no
// successor starts, and the process ends silently all the same.
TEST_F(CrashProcess, UnwritableDumpFolderEndsSilently) {
    PrepareRun();
    fs::create_directories(dir / "data/vMX");
    WriteBytes(Crashes(), "not a folder");
    Outcome r = Travex(Args(), "TVF_FAULT=null");
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.err, "");
    EXPECT_EQ(ReadBytes(Crashes()), "not a folder");
    ExpectNothingLeft();
}

// The successor looks only in the crashes folder, and shows nothing without the file.
TEST_F(CrashProcess, SuccessorReadsOnlyTheCrashesFolder) {
    fs::create_directories(Crashes());
    WriteBytes(Crashes() / "x.dmp", "MDMP");
    WriteBytes(dir / "x.dmp", "MDMP");
    for (const std::string& value :
         std::vector<std::string>{"x.dmp", "../../../x.dmp", "evil/../x.dmp", (dir / "x.dmp").string()}) {
        SCOPED_TRACE(value);
        Outcome r = Travex({"-crashed=" + value});
        EXPECT_EQ(r.status, 0);
        EXPECT_EQ(r.out, "");
        EXPECT_EQ(r.err, Report(Crashes() / "x.dmp"));
    }
    fs::remove(Crashes() / "x.dmp");
    for (const std::string value : {"x.dmp", "../../x.dmp", ""}) {
        Outcome r = Travex({"-crashed=" + value});
        EXPECT_EQ(r.status, 0);
        EXPECT_EQ(r.out + r.err, "");
    }
    EXPECT_TRUE(Dumps().empty());
}

// The window library is the successor's alone.
TEST(CrashBuild, TravexLinksNoWindowLibrary) {
    const std::string libraries = Command("ldd " + ShellQuote(std::string(TV_BIN_DIR) + "/travex"));
    ASSERT_NE(libraries.find("libc.so"), std::string::npos) << libraries;
    EXPECT_EQ(libraries.find("libX11"), std::string::npos) << libraries;
}

}  // namespace
