// Streams over pipe handles: end of input, time-outs, and an abort of a blocked read.
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>

#include "foundation/platform/child_spawn.h"
#include "foundation/platform/file_io.h"
#include "pp/abort.h"
#include "pp/abort_later.h"
#include "pp/exceptions.h"
#include "pp/handle_stream.h"
#include "pp/overlapped_stream.h"
#include "pp/waitable.h"

namespace {

struct pipePair {
    XFileHandle r = XInvalidHandle, w = XInvalidHandle;
    pipePair() { EXPECT_TRUE(XSysCreatePipe(&r, &w, false)); }
};

TEST(PPOverlappedStream, ReadsUntilTheWriterGoesAway) {
    pipePair p;
    PP::streamInOverlapped in(p.r);
    {
        PP::streamOutOverlapped out(p.w);
        out.write("hello", 5);
    }  // closes the write end: a broken pipe for the reader, not an error
    char buf[16];
    EXPECT_EQ(in.read(buf, sizeof buf), 5u);
    EXPECT_EQ(std::string(buf, 5), "hello");
    EXPECT_EQ(in.read(buf, sizeof buf), 0u);
}

TEST(PPOverlappedStream, TimeOutZeroWaitsAndAPositiveOneEnds) {
    pipePair p;
    PP::streamInOverlapped in(p.r);
    PP::streamOutOverlapped out(p.w);
    char buf[4];
    in.timeoutSeconds = 0.05;
    EXPECT_THROW(in.readSome(buf, 4), PP::network_error_timeout);
    in.timeoutSeconds = 0;  // no limit: a late writer is waited for
    std::thread late([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        out.write("ab", 2);
    });
    EXPECT_EQ(in.readSome(buf, 4), 2u);
    late.join();
}

TEST(PPOverlappedStream, WriterToAGoneReaderFailsAndAbortEndsABlockedRead) {
    XIgnoreBrokenPipeSignal();
    pipePair p;
    PP::streamOutOverlapped out(p.w);
    XSysCloseHandle(p.r);
    EXPECT_THROW(out.write("x", 1), PP::file_access_error);

    pipePair q;
    PP::streamInOverlapped in(q.r);
    PP::aborter a;
    PP::abortScope scope(a);
    pptest::abortLater firer(a, 0.05);
    char buf[4];
    EXPECT_THROW(in.read(buf, 4), PP::user_abort);
    XSysCloseHandle(q.w);
}

TEST(PPHandleStream, BlockingLoopsReadWriteAndTestTheAborter) {
    XIgnoreBrokenPipeSignal();
    pipePair p;
    PP::streamInHandle in(p.r, true);
    {
        PP::streamOutHandle out(p.w, true);
        out.write("plain", 5);
    }
    char buf[8];
    EXPECT_EQ(in.read(buf, 3), 3u);
    // The writer is gone: the rest, and then the broken pipe is a file error.
    EXPECT_EQ(in.read(buf, 8), 2u);
    EXPECT_THROW(in.read(buf, 8), PP::file_access_error);

    pipePair q;
    PP::streamOutHandle out(q.w, true);
    XSysCloseHandle(q.r);
    EXPECT_THROW(out.write("x", 1), PP::file_access_error);
    PP::aborter a;
    PP::abortScope scope(a);
    a.abort();
    EXPECT_THROW(out.write("x", 1), PP::user_abort);
}

}  // namespace
