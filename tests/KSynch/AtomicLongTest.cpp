#include "KSynch/AtomicLong.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace {

TEST(AtomicLong, StartsAtZeroAndReturnsTheNewValue) {
    KSynch::AtomicLong value;
    EXPECT_EQ(++value, 1);
    EXPECT_EQ(++value, 2);
    EXPECT_EQ(--value, 1);
    EXPECT_EQ(--value, 0);
    EXPECT_EQ(--value, -1);
    KSynch::AtomicLong seven(7);
    EXPECT_EQ(--seven, 6);
}

TEST(AtomicLong, LosesNoChangeBetweenThreads) {
    constexpr int rounds = 20000;
    KSynch::AtomicLong value;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&value, up = thread != 0] {
            for (int round = 0; round < rounds; ++round) {
                if (up) {
                    ++value;
                } else {
                    --value;
                }
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(++value, 2 * rounds + 1);
}

// Each thread writes its own place and gives its reference back; the one that reaches 0 reads all places. The
// thread sanitizer fails this test where the last decrement does not see what was done before the others.
TEST(AtomicLong, TheThreadThatReachesZeroSeesWhatTheOthersDid) {
    for (int round = 0; round < 200; ++round) {
        KSynch::AtomicLong references(4);
        int written[4] = {};
        int sum = 0;
        std::vector<std::thread> threads;
        for (int thread = 0; thread < 4; ++thread) {
            threads.emplace_back([&, thread] {
                written[thread] = thread + 1;
                if (--references == 0) {
                    sum = written[0] + written[1] + written[2] + written[3];
                }
            });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
        ASSERT_EQ(sum, 10);
    }
}

} // namespace
