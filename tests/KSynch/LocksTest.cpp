#include "KSynch/Locks.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

namespace {

constexpr auto category = KSynch::LOCK_CATEGORY_CODE_PAGE;

TEST(Locks, UseCategoryMinusThree) {
    EXPECT_EQ(static_cast<int>(category), -3);
}

TEST(Locks, ACriticalSectionAdmitsOneThread) {
    const auto section = KSynch::CreateCriticalSection(category);
    int inside = 0;
    int total = 0;
    bool overlap = false;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&] {
            for (int round = 0; round < 5000; ++round) {
                const KSynch::ScopedCriticalSection lock(*section);
                overlap = overlap || inside != 0;
                ++inside;
                ++total;
                --inside;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_FALSE(overlap);
    EXPECT_EQ(total, 20000);
}

TEST(Locks, AReadLockAdmitsASecondReader) {
    const auto lock = KSynch::CreateRWLock(category);
    const KSynch::ScopedReadLock first(*lock);
    bool admitted = false;
    std::thread([&] {
        const KSynch::ScopedReadLock second(*lock);
        admitted = true;
    }).join();
    EXPECT_TRUE(admitted);
}

TEST(Locks, AWriterExcludesReadersAndWriters) {
    const auto lock = KSynch::CreateRWLock(category);
    int first = 0;
    int second = 0;
    std::atomic<bool> torn = false;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&, writer = thread < 2] {
            for (int round = 0; round < 3000; ++round) {
                if (writer) {
                    const KSynch::ScopedWriteLock held(*lock);
                    ++first;
                    ++second;
                } else {
                    const KSynch::ScopedReadLock held(*lock);
                    if (first != second) {
                        torn = true;
                    }
                }
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_FALSE(torn);
    EXPECT_EQ(first, 6000);
    EXPECT_EQ(second, 6000);
}

} // namespace
