// TvChildProcess with real programs: pipes both ways, handles of the caller's, the time-out
// that kills, a program that can't start, and the process group of its own.
#include <fcntl.h>
#include <unistd.h>

#include "batch/tv_child_process.h"
#include "batch_test_env.h"
#include "foundation/platform/clock.h"
#include "foundation/platform/file_io.h"
#include "foundation/platform/last_error.h"

using namespace batchtest;

namespace {

XStringList Shell(const char* script) {
    XStringList args;
    args.Add(u"/bin/sh");
    args.Add(u"-c");
    args.Add(XString(script, true));
    return args;
}

std::string ReadAll(XFileHandle handle) {
    std::string bytes;
    char buffer[256];
    uint32_t got = 0;
    while (XSysReadFile(handle, buffer, sizeof buffer, &got) && got > 0) bytes.append(buffer, got);
    return bytes;
}

}  // namespace

TEST(ChildProcess, PipesCarryBothWaysAndTheExitCodeComesBack) {
    TvChildProcess child;
    ASSERT_TRUE(child.Launch(Shell("read x; echo \"got $x\"; echo oops >&2; exit 3"),
                             TvChildProcess::PipeInput | TvChildProcess::PipeOutput | TvChildProcess::PipeError));
    uint32_t done = 0;
    ASSERT_TRUE(XSysWriteFile(child.stdinWrite, "abc\n", 4, &done));
    XSysCloseHandle(child.stdinWrite);
    child.stdinWrite = XInvalidHandle;
    EXPECT_EQ(ReadAll(child.stdoutRead), "got abc\n");
    EXPECT_EQ(ReadAll(child.stderrRead), "oops\n");
    int code = 0;
    EXPECT_TRUE(child.WaitAndClose(10000, &code));
    EXPECT_EQ(code, 3);
    EXPECT_EQ(child.process, 0);
    EXPECT_EQ(child.stdoutRead, XInvalidHandle);
    // No child: ended, and a wait succeeds at once.
    EXPECT_TRUE(child.HasEnded());
    EXPECT_TRUE(child.WaitAndClose(0, &code));
}

TEST(ChildProcess, WithoutHandlesTheChildReadsNothingAndSeesOnlyItsStandardHandles) {
    // The child finds 0, 1, 2 and nothing else, not even a descriptor that isn't
    // close-on-exec (as those inherited from whoever started this process).
    int keep[2];
    ASSERT_EQ(pipe(keep), 0);
    TvChildProcess child;
    ASSERT_TRUE(child.LaunchWithHandles(Shell("test -z \"$(cat)\" || exit 5; n=$(ls /proc/self/fd | wc -l); exit $n"),
                                        XInvalidHandle, XInvalidHandle, XInvalidHandle));
    int code = 0;
    EXPECT_TRUE(child.WaitAndClose(10000, &code));
    // 0, 1, 2 of ls (the pipe to wc), and the folder that ls reads.
    EXPECT_EQ(code, 4);
    close(keep[0]);
    close(keep[1]);
}

TEST(ChildProcess, AChildThatOutstaysTheWaitIsKilledAndReportsMinusOne) {
    TvChildProcess child;
    ASSERT_TRUE(child.Launch(Shell("exec sleep 60"), 0));
    const int pid = child.process;
    EXPECT_FALSE(child.HasEnded());
    // Its own process group, so a terminal's Ctrl-C doesn't reach it.
    EXPECT_EQ(getpgid(pid), pid);
    int code = 0;
    EXPECT_FALSE(child.WaitAndClose(100, &code));
    EXPECT_EQ(code, -1);
    EXPECT_FALSE(Running(pid));
}

TEST(ChildProcess, AProgramThatCannotStartFailsWithTheReason) {
    TvChildProcess child;
    XStringList args;
    args.Add(u"/nonexistent/travex");
    EXPECT_FALSE(child.Launch(args, TvChildProcess::PipeOutput));
    EXPECT_EQ(XGetLastError(), XErr::FileNotFound);
    EXPECT_EQ(child.process, 0);
    EXPECT_EQ(child.stdoutRead, XInvalidHandle);
    EXPECT_EQ(TvChildProcess::RunProgramExitCode(args), -1);
    EXPECT_EQ(TvChildProcess::RunProgramExitCode(Shell("exit 7")), 7);
}

// The nice value and the scheduling policy of a process (fields 19 and 41 of its stat line).
std::pair<int, int> SchedulingOf(int pid) {
    std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
    std::string line;
    std::getline(stat, line);
    std::istringstream rest(line.substr(line.rfind(')') + 2));
    std::vector<std::string> fields(1, "");
    std::string field;
    while (rest >> field) fields.push_back(field);
    // fields[1] is the third field of the line (the state).
    return {std::stoi(fields.at(17)), std::stoi(fields.at(39))};
}

TEST(ChildProcess, PriorityNamesReachTheChild) {
    constexpr int Other = 0, Idle = 5;
    TvChildProcess child;
    child.SetPriorityByName(u"LOW");  // before the start: the child starts with it
    ASSERT_TRUE(child.Launch(Shell("exec sleep 30"), 0));
    EXPECT_EQ(SchedulingOf(child.process), std::make_pair(10, Other));
    child.SetPriorityLevel(3);
    EXPECT_EQ(SchedulingOf(child.process).second, Idle);
    // "realtime" is only "high": a plain policy, nice -5 where permitted, else unchanged.
    child.SetPriorityByName(u"realtime");
    const auto high = SchedulingOf(child.process);
    EXPECT_EQ(high.second, Other);
    EXPECT_TRUE(high.first == -5 || high.first == 10) << high.first;
    child.WaitAndClose(0, nullptr);
}
