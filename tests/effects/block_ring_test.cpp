// The ring of waiting blocks: blocks of any size go in and come out in order and intact while
// the ring wraps around, a full ring says so until its oldest block goes, a block that can
// never fit is told apart from a full ring, and an emptied ring starts over at its front.
#include <gtest/gtest.h>

#include <cstring>
#include <deque>
#include <random>
#include <vector>

#include "block_ring.h"

namespace {

TEST(BlockRing, BlocksComeOutInOrderAndIntactAsTheRingWraps) {
    constexpr size_t Capacity = 10000;
    tvfx::BlockRing ring(Capacity);
    std::mt19937 rng(5);
    std::deque<std::vector<uint8_t>> want;
    size_t wraps = 0, fulls = 0;
    size_t lastTail = 0;
    for (int step = 0; step < 5000; ++step) {
        if (rng() % 3 != 0) {
            std::vector<uint8_t> block(1 + rng() % 3000);
            for (uint8_t& b : block) b = static_cast<uint8_t>(rng());
            bool full = false;
            uint8_t* place = ring.Claim(block.size(), full);
            if (!place) {
                ASSERT_TRUE(full);
                ASSERT_FALSE(want.empty());  // an empty ring holds any block that fits at all
                ++fulls;
                continue;
            }
            if (ring.Tail() < lastTail) ++wraps;
            lastTail = ring.Tail();
            std::memcpy(place, block.data(), block.size());
            ring.Commit(place, block.size());
            want.push_back(block);
        } else if (!ring.Empty()) {
            const auto [data, size] = ring.Front();
            ASSERT_EQ(std::vector<uint8_t>(data, data + size), want.front());
            ring.Pop();
            want.pop_front();
        }
    }
    EXPECT_GT(wraps, 10u);
    EXPECT_GT(fulls, 10u);
}

TEST(BlockRing, TooLargeFullEmptiedAndReleased) {
    tvfx::BlockRing ring(1000);
    bool full = true;
    EXPECT_EQ(ring.Claim(1001, full), nullptr);
    EXPECT_FALSE(full);

    uint8_t* first = ring.Claim(600, full);
    ASSERT_NE(first, nullptr);
    ring.Commit(first, 600);
    EXPECT_EQ(ring.Claim(500, full), nullptr);
    EXPECT_TRUE(full);
    // Once the oldest is measured, the ring is empty and starts over where the first began.
    ring.Pop();
    EXPECT_EQ(ring.Claim(500, full), first);

    // Pages are offered once each, up to the ring's end.
    uint8_t* at = nullptr;
    size_t bytes = 0;
    ASSERT_TRUE(ring.NextToPopulate(5000, at, bytes));
    EXPECT_EQ(at, first);
    EXPECT_EQ(bytes, 1000u);
    EXPECT_FALSE(ring.NextToPopulate(5000, at, bytes));

    ring.Release();
    EXPECT_TRUE(ring.Empty());
    EXPECT_EQ(ring.Claim(10, full), nullptr);
    EXPECT_FALSE(full);
}

}  // namespace
