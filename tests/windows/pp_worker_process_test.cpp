// The stream library's worker process on Windows, with the system's own programs as children:
// pipes both ways, the shell's command line, and a blocked pipe read that ends on its aborter.
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>

#include "pp/abort.h"
#include "pp/exceptions.h"
#include "pp/worker_process.h"

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

}  // namespace

TEST(PPWorkerProcessWindows, PipesBothWaysThroughAFilter) {
    PP::workerProcess w;
    w.program = "find";
    w.arguments = {"o"};
    w.stdinMode = PP::workerProcess::modePipe;
    w.stdoutMode = PP::workerProcess::modePipe;
    w.start();
    ASSERT_TRUE(w.isRunning());
    w.stdoutPipe->timeoutSeconds = 30;
    const std::string input = "hello\r\nxyz\r\nworld\r\n";
    w.stdinPipe->write(input.data(), input.size());
    w.stdinPipe.reset();  // the child sees its input end, then ends its output
    EXPECT_EQ(readAll(*w.stdoutPipe), "hello\r\nworld\r\n");
    EXPECT_EQ(w.waitForExit(30), 0);
    EXPECT_TRUE(w.exitEvent.isSet());

    PP::workerProcess missing;
    missing.program = "tonvale-no-such-program";
    EXPECT_THROW(missing.start(), PP::file_not_found);
    EXPECT_FALSE(missing.isRunning());
}

TEST(PPWorkerProcessWindows, CommandLineDirectoryAndBothOutputs) {
    PP::workerProcess w;
    w.commandLine = "cd & echo err>&2";
    w.directory = "C:\\windows";
    w.stdoutMode = PP::workerProcess::modePipe;
    w.stderrMode = PP::workerProcess::modePipe;
    w.start();
    w.stdoutPipe->timeoutSeconds = 30;
    w.stderrPipe->timeoutSeconds = 30;
    EXPECT_EQ(readAll(*w.stdoutPipe), "C:\\windows\r\n");
    EXPECT_EQ(readAll(*w.stderrPipe), "err\r\n");
    EXPECT_EQ(w.waitForExit(30), 0);
}

TEST(PPWorkerProcessWindows, BlockedPipeReadEndsOnAbortAndStopEndsTheChild) {
    PP::workerProcess w;
    // Waits for a line on its input, which comes only when stop closes it.
    w.commandLine = "set /p x= & echo done";
    w.stdinMode = PP::workerProcess::modePipe;
    w.stdoutMode = PP::workerProcess::modePipe;
    w.start();
    PP::aborter stop;
    std::thread firer([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        stop.abort();
    });
    const auto t0 = std::chrono::steady_clock::now();
    {
        PP::abortScope scope(stop);
        char buf[16];
        EXPECT_THROW(w.stdoutPipe->read(buf, sizeof buf), PP::user_abort);
    }
    firer.join();
    EXPECT_LT(std::chrono::steady_clock::now() - t0, std::chrono::seconds(20));
    w.stop();
    EXPECT_FALSE(w.isRunning());
}
