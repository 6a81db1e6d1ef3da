#include "CodePage/Initializer.h"

#include "CodePage/CodePageRegistry.h"
#include "CodePage/IANAInfo.h"
#include "Raised.h"
#include "TimeLimit.h"

#include <gtest/gtest.h>

#include <atomic>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

using namespace KCodePage;
using namespace CodePageTests;

// Whether the module lives, and works.
bool Lives() {
    const IANAInfo* const list = GetIANAInfo();
    if (list == nullptr) {
        return false;
    }
    return std::string(list->GetIANANameASCII(SHIFT_JIS)) == "shift_jis" && GetCodePage(20)->GetType() == 20;
}

TEST(InitializerTest, WithoutOneThereIsNoModule) {
    EXPECT_EQ(GetIANAInfo(), nullptr);
    EXPECT_EQ(Raised([] { GetCodePage(20); }).type, "UserErrorException");
    EXPECT_EQ(Raised([] { GetCodePageReference(20); }).type, "UserErrorException");
    EXPECT_EQ(Raised([] { FlushCodePageCaches(); }).type, "UserErrorException");
}

TEST(InitializerTest, OneMakesTheModuleAndTakesItAlong) {
    {
        const Initializer initializer;
        EXPECT_TRUE(Lives());
    }
    EXPECT_EQ(GetIANAInfo(), nullptr);
}

TEST(InitializerTest, OfTwoTheFirstToGoLeavesTheModuleAndTheSecondEndsIt) {
    std::optional<Initializer> first(std::in_place);
    std::optional<Initializer> second(std::in_place);
    first.reset();
    EXPECT_TRUE(Lives());
    second.reset();
    EXPECT_EQ(GetIANAInfo(), nullptr);
    first.emplace();
    second.emplace();
    second.reset();
    EXPECT_TRUE(Lives());
    first.reset();
    EXPECT_EQ(GetIANAInfo(), nullptr);
}

TEST(InitializerTest, ASecondOneSharesTheModuleOfTheFirst) {
    const Initializer first;
    const IANAInfo* const list = GetIANAInfo();
    const CodePage* const codePage = GetCodePage(20);
    const Initializer second;
    EXPECT_EQ(GetIANAInfo(), list);
    EXPECT_EQ(GetCodePage(20), codePage);
}

TEST(InitializerTest, ACopyCountsAUseOfItsOwn) {
    std::optional<Initializer> original(std::in_place);
    std::optional<Initializer> copy(*original);
    original.reset();
    EXPECT_TRUE(Lives());
    std::optional<Initializer> copyOfCopy(*copy);
    copy.reset();
    EXPECT_TRUE(Lives());
    copyOfCopy.reset();
    EXPECT_EQ(GetIANAInfo(), nullptr);
}

TEST(InitializerTest, MovingOneLeavesTwoUses) {
    std::optional<Initializer> original(std::in_place);
    std::optional<Initializer> moved(std::move(*original));
    original.reset();
    EXPECT_TRUE(Lives());
    moved.reset();
    EXPECT_EQ(GetIANAInfo(), nullptr);
}

TEST(InitializerTest, CopiesInAContainerCountAsTheyComeAndGo) {
    std::vector<Initializer> many(3);
    many.resize(50, many.front());
    many.erase(many.begin(), many.begin() + 49);
    EXPECT_TRUE(Lives());
    many.clear();
    EXPECT_EQ(GetIANAInfo(), nullptr);
}

TEST(InitializerTest, AssigningOneToAnotherCountsNothing) {
    std::optional<Initializer> first(std::in_place);
    std::optional<Initializer> second(std::in_place);
    *first = *second;
    first.reset();
    EXPECT_TRUE(Lives());
    second.reset();
    EXPECT_EQ(GetIANAInfo(), nullptr);
}

TEST(InitializerTest, TheModuleIsMadeAnewEachTime) {
    for (int round = 0; round < 20; ++round) {
        const Initializer initializer;
        EXPECT_TRUE(Lives());
    }
    EXPECT_EQ(GetIANAInfo(), nullptr);
}

TEST(InitializerTest, AnExceptionThatPassesOneEndsItsUse) {
    EXPECT_EQ(Raised([] {
                  const Initializer initializer;
                  GetCodePage(3);
              }).type,
              "UserErrorException");
    EXPECT_EQ(GetIANAInfo(), nullptr);
}

TEST(InitializerTest, ThreadsMayMakeAndDestroyThemAllAtOnce) {
    const TimeLimit limit("Initializers on eight threads");
    std::atomic<int> dead = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([&] {
            for (int round = 0; round < 300; ++round) {
                const Initializer initializer;
                dead += !Lives();
                const Initializer copy(initializer);
                dead += GetIANAInfo() == nullptr;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(dead, 0);
    EXPECT_EQ(GetIANAInfo(), nullptr);
}

} // namespace
