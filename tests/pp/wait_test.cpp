// Aborter slot, waits and the lock/semaphore waitables, with real second threads.
#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "foundation/platform/clock.h"
#include "pp/abort.h"
#include "pp/abort_later.h"
#include "pp/exceptions.h"
#include "pp/wait.h"
#include "pp/waitable.h"

namespace {

TEST(PPAbort, ScopesNestAndRestore) {
    PP::aborter outer, inner;
    EXPECT_EQ(PP::currentAborter(), nullptr);
    {
        PP::abortScope s1(outer);
        {
            PP::abortScope s2(inner);
            inner.abort();
            EXPECT_THROW(PP::checkAbort(), PP::user_abort);
            {
                PP::abortScope none(nullptr);  // a block without abort tests
                EXPECT_NO_THROW(PP::checkAbort());
                EXPECT_EQ(PP::currentAbortEvent(-7), -7);
            }
        }
        EXPECT_NO_THROW(PP::checkAbort());
        EXPECT_EQ(PP::currentAbortEvent(), outer.handle());
        // A fired aborter refuses to be installed, and the former one stays.
        EXPECT_THROW(PP::abortScope again(inner), PP::user_abort);
        EXPECT_EQ(PP::currentAborter(), &outer);
    }
    EXPECT_FALSE(PP::isAborted());
    EXPECT_EQ(PP::currentAborter(), nullptr);
}

TEST(PPWait, WaitOneAndManyObjectsTimeOutAndAbort) {
    PP::waitable w;
    EXPECT_FALSE(PP::waitOne(&w, 0));
    EXPECT_TRUE(PP::waitOne(nullptr, 0));
    w.set();
    EXPECT_TRUE(PP::waitOne(&w, 0));
    EXPECT_TRUE(PP::waitOne(&w, 0));  // manual reset: stays set
    PP::waitable other;
    PP::waitable* list[2] = {&other, &w};
    EXPECT_EQ(PP::waitMany(list, 2, 0.0), 1u);
    w.reset();
    EXPECT_EQ(PP::waitMany(list, 2, 0.01), PP::waitTimedOut);

    PP::aborter a;
    PP::abortScope scope(a);
    pptest::abortLater firer(a, 0.05);
    EXPECT_THROW(PP::waitMany(list, 2, 30.0), PP::user_abort);
    EXPECT_THROW(PP::sleepSeconds(30.0), PP::user_abort);
}

TEST(PPWait, ResourceLockTakenByOtherKeepsTheTimeLeft) {
    PP::resourceLock lock;
    ASSERT_TRUE(PP::waitOne(&lock, 0));  // free: taken
    EXPECT_TRUE(lock.isHeld());
    EXPECT_FALSE(PP::waitOne(&lock, 0));
    // Another waiter takes the lock in the moment between the wake and this waiter's take;
    // the wait goes on for the time it has left and ends in a time-out.
    struct contested : PP::resourceLock {
        bool stolen = false;
        bool acquire() override {
            if (!stolen) stolen = PP::resourceLock::acquire();
            return PP::resourceLock::acquire();
        }
    } c;
    ASSERT_TRUE(c.PP::resourceLock::acquire());
    std::thread releaser([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        c.release();
    });
    uint64_t t0 = XGetTickCount64();
    PP::waitable* list[1] = {&c};
    EXPECT_EQ(PP::waitMany(list, 1, 0.4), PP::waitTimedOut);
    EXPECT_GE(XGetTickCount64() - t0, 350u);
    releaser.join();
    EXPECT_TRUE(c.stolen);

    // A set event whose acquire declines: the waiter keeps waiting to its original end.
    struct declining : PP::waitable {
        bool acquire() override { return false; }
    } never;
    never.set();
    PP::waitable* one[1] = {&never};
    EXPECT_EQ(PP::waitMany(one, 1, 0.2), PP::waitTimedOut);
}

TEST(PPWait, SemaphoreCountsDown) {
    PP::semaphoreLike sem(2);
    PP::waitable* list[1] = {&sem};
    EXPECT_EQ(PP::waitMany(list, 1, 0), 0u);
    EXPECT_EQ(PP::waitMany(list, 1, 0), 0u);
    EXPECT_EQ(PP::waitMany(list, 1, 0.01), PP::waitTimedOut);
    std::thread giver([&] { sem.release(); });
    EXPECT_EQ(PP::waitMany(list, 1, 30.0), 0u);
    giver.join();
    EXPECT_EQ(sem.count(), 0u);
}

}  // namespace
