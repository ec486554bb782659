// Worker processes with real children from the system's tools.
#include "pp/worker_process.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <string>

#include "pp/exceptions.h"

namespace {

std::string readAll(PP::streamIn& s) {
    std::string out;
    char buf[4096];
    for (int i = 0; i < 1000; ++i) {
        size_t n = s.read(buf, sizeof buf);
        out.append(buf, n);
        if (n < sizeof buf) break;
    }
    return out;
}

TEST(PPWorkerProcess, PipesBothWaysAndEndsShortWithoutError) {
    PP::workerProcess w;
    w.program = "tr";
    w.arguments = {"a-z", "A-Z"};
    w.stdinMode = PP::workerProcess::modePipe;
    w.stdoutMode = PP::workerProcess::modePipe;
    w.start();
    ASSERT_TRUE(w.isRunning());
    w.stdoutPipe->timeoutSeconds = 20;
    w.stdinPipe->write("hello worker", 12);
    w.stdinPipe.reset();  // the child sees its input end and closes its output
    char buf[64];
    EXPECT_EQ(w.stdoutPipe->read(buf, sizeof buf), 12u);
    EXPECT_EQ(std::string(buf, 12), "HELLO WORKER");
    EXPECT_EQ(w.stdoutPipe->read(buf, sizeof buf), 0u);
    EXPECT_EQ(w.waitForExit(20), 0);
    EXPECT_TRUE(w.exitEvent.isSet());
}

TEST(PPWorkerProcess, ModesDirectoryAndCommandLine) {
    PP::workerProcess w;
    w.commandLine =
        "pwd; if [ -e /proc/$$/fd/0 ]; then echo in-open; else echo in-closed; fi; "
        "echo err >&2";
    w.directory = "/";
    w.stdinMode = PP::workerProcess::modeNone;
    w.stdoutMode = PP::workerProcess::modePipe;
    w.stderrMode = PP::workerProcess::modePipe;
    w.start();
    w.stdoutPipe->timeoutSeconds = 20;
    w.stderrPipe->timeoutSeconds = 20;
    EXPECT_EQ(readAll(*w.stdoutPipe), "/\nin-closed\n");
    EXPECT_EQ(readAll(*w.stderrPipe), "err\n");
    EXPECT_EQ(w.waitForExit(20), 0);

    PP::workerProcess missing;
    missing.program = "tonvale-no-such-program";
    EXPECT_THROW(missing.start(), PP::file_not_found);
    EXPECT_FALSE(missing.isRunning());
    missing.program = "/";  // there, but not a program
    EXPECT_THROW(missing.start(), std::runtime_error);
}

TEST(PPWorkerProcess, ChildIgnoringItsInputIsTerminatedAfterTheGrace) {
    PP::workerProcess w;
    w.program = "sleep";
    w.arguments = {"60"};
    w.stdinMode = PP::workerProcess::modePipe;
    w.start();
    auto t0 = std::chrono::steady_clock::now();
    w.stop();
    auto spent = std::chrono::steady_clock::now() - t0;
    EXPECT_GE(spent, std::chrono::milliseconds(1900));
    EXPECT_LT(spent, std::chrono::seconds(30));
    EXPECT_EQ(w.exitStatus(), 128 + 9);
    EXPECT_FALSE(w.isRunning());
}

}  // namespace
