// PP::thread and the timer service, on real threads with generous bounds.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "pp/abort.h"
#include "pp/exceptions.h"
#include "pp/thread.h"
#include "pp/timers.h"
#include "pp/wait.h"
#include "pp/waitable.h"

namespace {

bool waitFor(const std::function<bool()>& cond, double seconds = 20.0) {
    auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    while (!cond()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

TEST(PPThread, RunsWithItsAborterSwallowsThrowsAndJoins) {
    std::atomic<bool> sawAborter{false};
    std::atomic<bool> ended{false};
    {
        PP::thread t("pp test");
        t.start([&] {
            sawAborter = PP::currentAborter() != nullptr;
            try {
                PP::sleepSeconds(60);  // ended by the destructor's abort
            } catch (const PP::user_abort&) {
                ended = true;
                throw;  // must not leave the thread
            }
        });
        ASSERT_TRUE(waitFor([&] { return sawAborter.load(); }));
        EXPECT_TRUE(t.isRunning());
    }
    EXPECT_TRUE(ended);

    PP::thread plain("", false);
    std::atomic<int> runs{0};
    plain.start([&] {
        ++runs;
        throw std::runtime_error("dropped");
    });
    plain.join();
    plain.start([&] { runs += PP::currentAborter() == nullptr ? 10 : 100; });
    plain.join();
    EXPECT_EQ(runs, 11);
    EXPECT_FALSE(plain.isRunning());
}

TEST(PPTimer, StarvedTimerCatchesUpAtMostTwice) {
    std::atomic<int> fires{0};
    auto start = std::chrono::steady_clock::now();
    // A one-shot that hogs the timer thread for ten periods of the timer below.
    auto hog = PP::addTimer(
        0.01, [] { std::this_thread::sleep_for(std::chrono::milliseconds(1050)); }, false, false);
    auto t = PP::addTimer(
        0.1, [&] { ++fires; }, true);
    ASSERT_TRUE(waitFor([&] { return fires.load() >= 2; }));
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    const int seen = fires.load();
    const double elapsed = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    t.reset();
    // Ten firings were owed after the hog; two ran and the rest were skipped, so the count stays
    // well below one per period. A late machine only makes it smaller.
    EXPECT_GE(seen, 2);
    EXPECT_LE(seen, int(elapsed / 0.1) - 5);
}

TEST(PPTimer, AbortWatchAndOnLeavingRunOnce) {
    PP::aborter a;
    std::atomic<int> watched{0}, left{0}, dropped{0};
    auto w = PP::addAbortWatch(a, [&] { ++watched; });
    auto leaving = PP::onLeaving::make(a, [&] { ++left; });
    PP::aborter never;
    auto other = PP::onLeaving::make(never, [&] { ++dropped; });
    a.abort();
    ASSERT_TRUE(waitFor([&] { return watched == 1 && left == 1; }));
    leaving.reset();
    other.reset();
    EXPECT_EQ(left, 1);
    EXPECT_EQ(dropped, 1);
    w.reset();
    // With nothing left the service thread leaves by itself.
    EXPECT_TRUE(waitFor([] { return !PP::timerServiceRunning(); }));
    EXPECT_EQ(watched, 1);
}

}  // namespace
