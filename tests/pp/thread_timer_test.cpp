// PP::thread and the timer service, on real threads with generous bounds.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <mutex>
#include <thread>
#include <vector>

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

TEST(PPTimer, StarvedTimerCatchesUpTwiceThenKeepsItsGrid) {
  std::mutex m;
  std::vector<std::chrono::steady_clock::time_point> fires;
  auto start = std::chrono::steady_clock::now();
  // A one-shot that hogs the timer thread for ten periods.
  auto hog = PP::addTimer(0.01, [&] { std::this_thread::sleep_for(std::chrono::milliseconds(1050)); },
                          false, false);
  auto t = PP::addTimer(0.1, [&] {
    std::lock_guard<std::mutex> g(m);
    fires.push_back(std::chrono::steady_clock::now());
  }, true);
  ASSERT_TRUE(waitFor([&] {
    std::lock_guard<std::mutex> g(m);
    return fires.size() >= 3;
  }));
  t.reset();
  std::lock_guard<std::mutex> g(m);
  // Two catch-up runs back to back, not ten; the third lands on the 0.1 s grid.
  auto at = [&](size_t i) { return std::chrono::duration<double>(fires[i] - start).count(); };
  EXPECT_LT(at(1) - at(0), 0.05);
  EXPECT_GT(at(2) - at(1), 0.02);
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
