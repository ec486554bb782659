// Named objects seen from two or more real processes.
#include <gtest/gtest.h>

#include "foundation/platform/clock.h"
#include "foundation/sync/helper/spawn.h"
#include "foundation/sync/xevent.h"
#include "foundation/sync/xmutex.h"
#include "foundation/sync/xshared_memory.h"
#include "foundation/sync/xthread.h"

using testproc::Helper;
using testproc::Tool;

namespace {

// Waits until another process holds the event name.
bool HeldElsewhere(const char16_t* name, uint32_t ms) {
    uint64_t end = XGetTickCount64() + ms;
    do {
        XEvent probe(name);
        if (probe.existed) return true;
        probe.Close();
        XSleep(5);
    } while (XGetTickCount64() < end);
    return false;
}

}  // namespace

TEST(SyncCrossProcess, ExistedOnlyWhileAnotherProcessHolds) {
    testproc::Sandbox box("existed");
    {
        XEvent alone(u"tv/held name");  // awkward characters are fine
        EXPECT_FALSE(alone.existed);
    }
    XProcessId holder = testproc::Start({Tool("tvctl"), "hold", "tv/held name", "shm:blk"});
    ASSERT_GT(holder, 0);
    ASSERT_TRUE(HeldElsewhere(u"tv/held name", 5000));
    XSharedMemory block;
    bool existed = false;
    ASSERT_TRUE(block.Open(u"blk", 8, &existed));
    EXPECT_TRUE(existed);
    block.Close();
    XKillProcess(holder, false);
    EXPECT_EQ(XWaitProcess(holder, 5000), 0);
    XEvent after(u"tv/held name");
    EXPECT_FALSE(after.existed);
    // A holder killed outright leaves a file but no holder: the name starts afresh.
    after.Close();
    holder = testproc::Start({Tool("tvctl"), "hold", "tv/held name"});
    ASSERT_TRUE(HeldElsewhere(u"tv/held name", 5000));
    XKillProcess(holder, true);
    XWaitProcess(holder);
    XEvent fresh(u"tv/held name");
    EXPECT_FALSE(fresh.existed);
}

TEST(SyncCrossProcess, EventSignalledByToolWakesWaiter) {
    testproc::Sandbox box("event");
    XEvent quit(u"evtquit-test");
    ASSERT_FALSE(quit.existed);
    EXPECT_EQ(testproc::Run({Tool("tvctl"), "event", "test", "evtquit-test"}), 1);
    // This process waits; tvctl sets.
    XThread setter;
    setter.Start([](XEvent&) {
        XSleep(50);
        testproc::Run({Tool("tvctl"), "event", "set", "evtquit-test"});
    });
    uint64_t start = XGetTickCount64();
    EXPECT_TRUE(quit.Wait(5000));
    EXPECT_LT(XGetTickCount64() - start, 4000u);
    EXPECT_EQ(testproc::Run({Tool("tvctl"), "event", "test", "evtquit-test"}), 0);
    EXPECT_EQ(testproc::Run({Tool("tvctl"), "event", "reset", "evtquit-test"}), 0);
    EXPECT_FALSE(quit.IsSet());
    // tvctl waits; this process sets.
    XProcessId waiter = testproc::Start({Tool("tvctl"), "event", "wait", "evtquit-test", "10000"});
    XSleep(100);
    quit.Set();
    EXPECT_EQ(XWaitProcess(waiter, 5000), 0);
    quit.Reset();
    EXPECT_EQ(testproc::Run({Tool("tvctl"), "event", "wait", "evtquit-test", "50"}), 1);
}

TEST(SyncCrossProcess, MutexOfKilledHolderGoesToNextWaiter) {
    testproc::Sandbox box("mutex");
    XEvent ready(u"ready");
    XProcessId holder = testproc::Start({Helper(), "lock-and-sleep", "mutTest", "ready"});
    ASSERT_GT(holder, 0);
    ASSERT_TRUE(ready.Wait(5000));
    XMutex mutex(u"mutTest");
    EXPECT_TRUE(mutex.existed);
    EXPECT_FALSE(mutex.TryLock(50));
    bool got = false;
    XThread waiter;
    waiter.Start([&](XEvent&) {
        XMutex mine(u"mutTest");
        got = mine.TryLock(10000);
    });
    XSleep(100);
    XKillProcess(holder, true);
    XWaitProcess(holder);
    EXPECT_TRUE(waiter.IsFinished(10000));
    EXPECT_TRUE(got);
    EXPECT_TRUE(mutex.TryLock(1000));  // the waiter's lock went with its thread
}

TEST(SyncCrossProcess, CounterWrittenByOneIsReadByTool) {
    testproc::Sandbox box("shm");
    XSharedMemory block;
    ASSERT_TRUE(block.Open(u"bytes", 8));
    uint64_t value = 0x0102030405060708ull;
    ASSERT_TRUE(block.Write(&value));
    EXPECT_EQ(testproc::Output(Tool("tvctl") + " shm read bytes"), "72623859790382856\n");
    // Other processes add under the block's lock; none of their updates is lost.
    std::vector<XProcessId> adders;
    for (int i = 0; i < 8; ++i) adders.push_back(testproc::Start({Helper(), "shm-add", "bytes", "1000"}));
    for (XProcessId p : adders) EXPECT_EQ(XWaitProcess(p), 0);
    ASSERT_TRUE(block.Read(&value));
    EXPECT_EQ(value, 0x0102030405060708ull + 8000);
    EXPECT_EQ(testproc::Output(Tool("tvctl") + " shm read bytes"), std::to_string(value) + "\n");
}

TEST(SyncCrossProcess, TerminationRequestsReachTheHolderAndItsCommand) {
    testproc::Sandbox box("request");
    // A process that doesn't listen for requests ends as a SIGTERM ends it.
    XEvent ready(u"ready-plain");
    XProcessId plain = testproc::Start({Helper(), "lock-and-sleep", "mutPlain", "ready-plain"});
    ASSERT_GT(plain, 0);
    ASSERT_TRUE(ready.Wait(5000));
    EXPECT_TRUE(XKillProcess(plain, false));
    EXPECT_EQ(XWaitProcess(plain, 5000), 128 + 15);

    // tvctl passes the request on to its command and ends with the command's status.
    XEvent inner(u"ready-inner");
    XProcessId holder = testproc::Start(
        {Tool("tvctl"), "hold", "held-around", "--", Helper(), "lock-and-sleep", "mutInner", "ready-inner"});
    ASSERT_GT(holder, 0);
    ASSERT_TRUE(inner.Wait(5000));
    ASSERT_TRUE(HeldElsewhere(u"held-around", 5000));
    EXPECT_TRUE(XKillProcess(holder, false));
    EXPECT_EQ(XWaitProcess(holder, 5000), 128 + 15);
    XEvent after(u"held-around");
    EXPECT_FALSE(after.existed);
    XMutex left(u"mutInner");
    EXPECT_TRUE(left.TryLock(5000));  // the command is gone too, not orphaned
}
