#include <gtest/gtest.h>

#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <thread>
#include <utility>

#include "foundation/platform/scheduling.h"

// Each in a thread of its own, whose nice value dies with it: the test process keeps its own.
TEST(Platform, LowerThreadPrioritiesAreNiceValues) {
    errno = 0;
    const int start = getpriority(PRIO_PROCESS, 0);
    if (start > 10 && getuid() != 0) GTEST_SKIP() << "started at nice " << start << ": a raise would be refused";
    for (const auto& [priority, nice] : {std::pair{-1, 10}, std::pair{-2, 15}, std::pair{-15, 19}}) {
        int seen = -100;
        std::thread([&, priority = priority] {
            if (XSetCurrentThreadPriority(priority)) {
                seen = getpriority(PRIO_PROCESS, static_cast<id_t>(syscall(SYS_gettid)));
            }
        }).join();
        EXPECT_EQ(seen, nice) << "priority " << priority;
    }
}
