#include "KBase/ReferenceCounted.h"

#include "KSynch/AtomicLong.h"

#include <gtest/gtest.h>

#include <thread>
#include <type_traits>
#include <vector>

namespace {

class Counted : public virtual KBase::ReferenceCounted {
public:
    explicit Counted(int* aliveCount) : alive(aliveCount) { ++*alive; }
    Counted(const Counted&) = delete; // each one counts as alive once
    Counted& operator=(const Counted&) = delete;
    ~Counted() override { --*alive; }

    std::int32_t AddRef() const override { return ++count; }
    std::int32_t Release() const override {
        const std::int32_t left = --count;
        if (left == 0) {
            delete this;
        }
        return left;
    }

private:
    int* alive;
    mutable KSynch::AtomicLong count;
};

class Derived final : public Counted {
public:
    using Counted::Counted;
};

using Pointer = KBase::SmartPtrI<Counted>;

TEST(ReferenceCounted, APointerTakesAndGivesBackOneReference) {
    int alive = 0;
    {
        const Pointer pointer(new Counted(&alive));
        EXPECT_EQ(alive, 1);
        EXPECT_EQ(pointer->AddRef(), 2);
        EXPECT_EQ(pointer->Release(), 1);
    }
    EXPECT_EQ(alive, 0);
}

TEST(ReferenceCounted, CopiesShareAndMovesHandOver) {
    int alive = 0;
    Pointer first(new Counted(&alive));
    Pointer second = first;
    EXPECT_EQ(second->AddRef(), 3);
    EXPECT_EQ(second->Release(), 2);
    EXPECT_TRUE(first == second);
    Pointer third = std::move(first);
    EXPECT_EQ(third->AddRef(), 3);
    EXPECT_EQ(third->Release(), 2);
    EXPECT_FALSE(first);
    EXPECT_EQ(first.Get(), nullptr);
    second = Pointer();
    EXPECT_EQ(alive, 1);
    third = nullptr;
    EXPECT_EQ(alive, 0);
}

TEST(ReferenceCounted, AssignmentToItselfKeepsTheObject) {
    int alive = 0;
    Pointer pointer(new Counted(&alive));
    const Pointer& same = pointer;
    pointer = same;
    EXPECT_EQ(alive, 1);
    EXPECT_EQ(pointer->AddRef(), 2);
    EXPECT_EQ(pointer->Release(), 1);
}

TEST(ReferenceCounted, AssignmentReleasesWhatWasHeld) {
    int first = 0;
    int second = 0;
    Pointer pointer(new Counted(&first));
    pointer = Pointer(new Counted(&second));
    EXPECT_EQ(first, 0);
    EXPECT_EQ(second, 1);
}

TEST(ReferenceCounted, DetachHandsTheReferenceToTheCaller) {
    int alive = 0;
    Pointer pointer(new Counted(&alive));
    Counted* const raw = pointer.Detach();
    EXPECT_FALSE(pointer);
    EXPECT_EQ(alive, 1);
    EXPECT_EQ(raw->Release(), 0);
    EXPECT_EQ(alive, 0);
}

TEST(ReferenceCounted, APointerToADerivedClassConverts) {
    int alive = 0;
    {
        KBase::ReturnPtrI<Derived> derived(new Derived(&alive));
        const Pointer base = std::move(derived);
        EXPECT_FALSE(derived);
        EXPECT_EQ(base->AddRef(), 2);
        EXPECT_EQ(base->Release(), 1);
    }
    EXPECT_EQ(alive, 0);
}

TEST(ReferenceCounted, ANullPointerHoldsNothing) {
    const Pointer byDefault;
    const Pointer fromNull = nullptr;
    const Pointer fromObject(static_cast<Counted*>(nullptr));
    const Pointer copy = fromObject;
    EXPECT_FALSE(byDefault);
    EXPECT_FALSE(fromNull);
    EXPECT_FALSE(copy);
    EXPECT_TRUE(copy == byDefault);
}

TEST(ReferenceCounted, ThreadsThatShareAnObjectEndItOnce) {
    int alive = 0;
    {
        const Pointer pointer(new Counted(&alive));
        std::vector<std::thread> threads;
        for (int thread = 0; thread < 4; ++thread) {
            threads.emplace_back([copy = pointer] {
                for (int round = 0; round < 5000; ++round) {
                    const Pointer another = copy;
                    const Pointer moved = Pointer(another);
                }
            });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
        threads.clear();
        EXPECT_EQ(pointer->AddRef(), 2);
        EXPECT_EQ(pointer->Release(), 1);
    }
    EXPECT_EQ(alive, 0);
}

} // namespace
