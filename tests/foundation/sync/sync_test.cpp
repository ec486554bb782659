#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>

#include "foundation/platform/clock.h"
#include "foundation/sync/helper/spawn.h"
#include "foundation/sync/xevent.h"
#include "foundation/sync/xmutex.h"
#include "foundation/sync/xshared_memory.h"
#include "foundation/sync/xthread.h"

TEST(SyncEvent, BasicsWithAndWithoutHandle) {
    // A wait without a handle fails at once, even an endless one: the check runs on a thread
    // of its own, so that a wait that did not return fails the test instead of hanging it.
    XEvent none;
    XEvent returned(nullptr);
    std::atomic<bool> waited{true};
    XThread waiter;
    ASSERT_TRUE(waiter.Start(
        [&](XEvent&) {
            waited = none.Wait(XInfinite);
            returned.Set();
        },
        false, 0));
    ASSERT_TRUE(returned.Wait(10000));
    EXPECT_FALSE(waited);
    EXPECT_FALSE(none.Set());

    XEvent e(nullptr);
    ASSERT_NE(e.handle, nullptr);
    EXPECT_FALSE(e.IsSet());
    EXPECT_TRUE(e.Toggle());  // was clear
    EXPECT_TRUE(e.IsSet());
    EXPECT_FALSE(e.Toggle());
    EXPECT_FALSE(e.IsSet());
    EXPECT_FALSE(e.Wait(60));  // times out
    // Set from another thread, it ends an endless wait.
    XThread setter;
    ASSERT_TRUE(setter.Start([&](XEvent&) { e.Set(); }, false, 0));
    EXPECT_TRUE(e.Wait(XInfinite));
    EXPECT_TRUE(setter.IsFinished(10000));
    e.Reset();

    XEvent copy;
    EXPECT_TRUE(copy.AttachCopy(e.handle));
    EXPECT_TRUE(copy.existed);
    copy.Set();
    EXPECT_TRUE(e.IsSet());
    XObjectHandle h = copy.Detach();
    EXPECT_EQ(copy.handle, nullptr);
    XCloseObject(h);
    EXPECT_TRUE(e.IsSet());
}

TEST(SyncEvent, NamedAndWaitEither) {
    testproc::Sandbox box("events");
    XEvent a(u"a"), b(u"b");
    EXPECT_FALSE(a.existed);
    XEvent a2(u"a");
    EXPECT_TRUE(a2.existed);  // a second handle in the same process counts too
    EXPECT_EQ(XEvent::WaitEither(a, b, 30), 0);
    XThread t;
    t.Start([&](XEvent&) {
        XSleep(30);
        b.Set();
    });
    EXPECT_EQ(XEvent::WaitEither(a, b, 5000), 2);
    a2.Set();
    EXPECT_EQ(XEvent::WaitEither(a, b, 0), 1);
    XEvent none;
    EXPECT_EQ(XEvent::WaitEither(a, none, 0), -1);
    XString name = a.CreateUnique(u"uniq-");
    EXPECT_EQ(name.Length(), 5 + 32);
    EXPECT_FALSE(a.existed);
}

TEST(SyncThread, StopWaitParksAThreadThatWillNotStop) {
    std::atomic<int> ticks{0};
    XEvent started(nullptr);
    XEvent sawStop(nullptr);
    {
        XThread stubborn;
        // The stop wait is long enough that even a loaded machine runs the thread within it.
        ASSERT_TRUE(stubborn.Start(
            [&](XEvent& stop) {
                started.Set();
                for (;;) {
                    ++ticks;
                    if (stop.IsSet()) sawStop.Set();
                    XSleep(5);
                }
            },
            false, 1000));
        ASSERT_TRUE(started.Wait(10000));
    }
    // The stop was asked for and waited on while the thread ran on, then the thread parked.
    EXPECT_TRUE(sawStop.IsSet());
    int frozen = ticks.load();
    XSleep(60);
    EXPECT_LE(ticks.load(), frozen + 1);  // parked, not running on
}

TEST(SyncThread, StopEventFinishedAndExceptions) {
    XThread quick;
    ASSERT_TRUE(quick.Start([](XEvent&) {}, false, 0));
    EXPECT_TRUE(quick.IsFinished(5000));

    XThread thrower;
    ASSERT_TRUE(thrower.Start([](XEvent&) { throw std::runtime_error("x"); }));
    EXPECT_TRUE(thrower.IsFinished(5000));

    std::atomic<bool> sawStop{false};
    XThread worker;
    ASSERT_TRUE(worker.Start(
        [&](XEvent& stop) {
            while (!stop.Wait(50)) {}
            sawStop = true;
        },
        true, 0));
    EXPECT_TRUE(worker.suspended);
    EXPECT_FALSE(worker.IsFinished(20));
    worker.Stop(true);  // resumes the held thread first
    EXPECT_TRUE(sawStop);
    EXPECT_TRUE(worker.IsFinished(0));
    // A restart ends the earlier thread and gives a new stop event.
    ASSERT_TRUE(worker.Start([](XEvent& stop) { stop.Wait(XInfinite); }, false, 0));
    EXPECT_FALSE(worker.IsSet());
    XThread none;
    EXPECT_TRUE(none.IsFinished(0));
}

TEST(SyncThread, DetachedRunAfterWaitAllEndsProcess) {
    EXPECT_EXIT(
        {
            std::atomic<int> done{0};
            XDetachedThreads::Run([&] {
                XSleep(20);
                ++done;
            });
            XDetachedThreads::WaitAll(5000);
            if (done != 1) XExitProcess(3);
            XDetachedThreads::Run([] {});
            XExitProcess(4);
        },
        ::testing::ExitedWithCode(0), "");
}

TEST(SyncMutex, RecursiveTryLockAndClose) {
    testproc::Sandbox box("mutexes");
    XMutex m(u"m");
    EXPECT_FALSE(m.existed);
    EXPECT_TRUE(m.Lock());
    EXPECT_TRUE(m.TryLock(0));  // the owner may lock again
    m.Unlock();
    std::atomic<bool> other{true};
    XThread t;
    t.Start([&](XEvent&) {
        XMutex mine(u"m");
        other = mine.TryLock(30);
    });
    EXPECT_TRUE(t.IsFinished(5000));
    EXPECT_FALSE(other);
    m.Close();  // the last holder's close removes the name
    XMutex again(u"m");
    EXPECT_FALSE(again.existed);
    EXPECT_TRUE(again.TryLock(0));
}

TEST(SyncSharedMemory, SameNameSharesContentAndLocking) {
    testproc::Sandbox box("shm");
    XSharedMemory a, b;
    bool existed = true;
    ASSERT_TRUE(a.Open(u"n", 8, &existed));
    EXPECT_FALSE(existed);
    uint64_t v = 42;
    a.Write(&v);
    ASSERT_TRUE(b.Open(u"n", 16, &existed));
    EXPECT_TRUE(existed);
    EXPECT_EQ(b.size, 8u);  // the first one chose the size
    uint64_t r = 0;
    b.Read(&r);
    EXPECT_EQ(r, 42u);
    b.Lock();
    EXPECT_TRUE(b.Read(&r));
    EXPECT_TRUE(b.locked);
    std::atomic<bool> blocked{true};
    XThread t;
    t.Start([&](XEvent&) {
        XMutex m(u"SMutex_n");
        blocked = !m.TryLock(30);
    });
    EXPECT_TRUE(t.IsFinished(5000));
    EXPECT_TRUE(blocked);  // Read left the lock held
    b.Unlock();
    XSharedMemory closed;
    EXPECT_FALSE(closed.Read(&r));
    EXPECT_FALSE(closed.Write(&r));
}
