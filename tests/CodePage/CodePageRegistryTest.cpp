#include "CodePage/CodePageRegistry.h"

#include "CodePage/CodePageImpl.h"
#include "CodePage/Initializer.h"
#include "MarkedTables.h"
#include "Raised.h"
#include "TemporaryDirectory.h"
#include "TimeLimit.h"

#include <gtest/gtest.h>

#include <atomic>
#include <limits>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace KCodePage;
using namespace CodePageTests;
using KBase::operator""_w;

constexpr int codePages[] = {0, 1, 2, 4, 6, 7, 8, 9, 11, 12, 14, 15, 16, 17, 18, 20, 21};

class CodePageRegistryTest : public testing::Test {
protected:
    CodePageRegistryTest() { SetBasePath(u"UseWindowsAPI"_w); }

    Initializer initializer;
    TemporaryDirectory directory;
};

TEST_F(CodePageRegistryTest, RefusesNumbersThatAreNoCodePage) {
    const Failure invalid = UserError("Error - Cannot create CodePage due to invalid CodePage enumeration");
    for (const int number : {3, 5, 10, 13, 22, 23, 100, 932, -1, -2, std::numeric_limits<int>::max(),
                             std::numeric_limits<int>::min()}) {
        EXPECT_EQ(Raised([&] { GetCodePage(number); }), invalid) << number;
        EXPECT_EQ(Raised([&] { GetCodePageReference(number); }), invalid) << number;
    }
}

TEST_F(CodePageRegistryTest, Accepts19ButCannotCreateIt) {
    const Failure unsupported = UserError("The character set is not supported: 19");
    EXPECT_EQ(Raised([] { GetCodePage(19); }), unsupported);
    EXPECT_EQ(Raised([] { GetCodePage(19); }), unsupported);
    EXPECT_EQ(Raised([] { GetCodePageReference(19); }), unsupported);
}

TEST_F(CodePageRegistryTest, GivesTheCodePageAskedFor) {
    for (const int number : codePages) {
        EXPECT_EQ(GetCodePage(number)->GetType(), number);
    }
}

TEST_F(CodePageRegistryTest, GivesTheSameObjectEachTime) {
    for (const int number : codePages) {
        CodePage* const first = GetCodePage(number);
        EXPECT_EQ(GetCodePage(number), first);
        EXPECT_EQ(GetCodePageReference(number).Get(), first);
    }
}

TEST_F(CodePageRegistryTest, GivesEachNumberAnObjectOfItsOwn) {
    std::set<CodePage*> objects;
    for (const int number : codePages) {
        objects.insert(GetCodePage(number));
    }
    EXPECT_EQ(objects.size(), std::size(codePages));
}

TEST_F(CodePageRegistryTest, HoldsOneReferenceOnEachObject) {
    const CodePage* const object = GetCodePage(20);
    EXPECT_EQ(object->AddRef(), 2);
    EXPECT_EQ(GetCodePage(20), object);
    EXPECT_EQ(object->AddRef(), 3);
    FlushCodePageCaches();
    EXPECT_EQ(object->Release(), 1);
    EXPECT_EQ(object->Release(), 0);
}

TEST_F(CodePageRegistryTest, AReferenceIsTheCallersOwn) {
    const auto reference = GetCodePageReference(20);
    EXPECT_EQ(reference->AddRef(), 3);
    EXPECT_EQ(reference->Release(), 2);
    FlushCodePageCaches();
    EXPECT_EQ(reference->AddRef(), 2);
    EXPECT_EQ(reference->Release(), 1);
    EXPECT_STREQ(reference->GetIANANameASCII(), "utf-8");
}

TEST_F(CodePageRegistryTest, AFlushMakesTheNextRequestANewObject) {
    for (const int number : codePages) {
        const auto before = GetCodePageReference(number);
        FlushCodePageCaches();
        EXPECT_NE(GetCodePage(number), before.Get()) << number;
    }
}

TEST_F(CodePageRegistryTest, AFlushOfAnEmptyRegistryDoesNothing) {
    FlushCodePageCaches();
    FlushCodePageCaches();
    EXPECT_EQ(GetCodePage(1)->GetType(), 1);
}

TEST_F(CodePageRegistryTest, FilesAreReadOnceAndAgainAfterAFlush) {
    MarkedTables::Write(directory.Path(), "koi8-r", 20866, 'q');
    SetBasePath(directory.Wide().c_str());
    EXPECT_EQ(MarkedTables::Shown(*GetCodePage(15)), "qq");
    MarkedTables::Write(directory.Path(), "koi8-r", 20866, 'z');
    EXPECT_EQ(MarkedTables::Shown(*GetCodePage(15)), "qq");
    const auto before = GetCodePageReference(15);
    FlushCodePageCaches();
    EXPECT_EQ(MarkedTables::Shown(*GetCodePage(15)), "zz");
    EXPECT_EQ(MarkedTables::Shown(*before), "qq"); // keeps what it read
}

TEST_F(CodePageRegistryTest, SettingTheBasePathFlushes) {
    MarkedTables::Write(directory.Path() / "a", "koi8-r", 20866, 'a');
    MarkedTables::Write(directory.Path() / "b", "koi8-r", 20866, 'b');
    SetBasePath(Widen((directory.Path() / "a").string()).c_str());
    const auto fromA = GetCodePageReference(15);
    SetBasePath(Widen((directory.Path() / "b").string()).c_str());
    EXPECT_EQ(MarkedTables::Shown(*GetCodePage(15)), "bb");
    EXPECT_EQ(MarkedTables::Shown(*fromA), "aa");
    SetBasePath(Widen((directory.Path() / "a").string()).c_str());
    EXPECT_NE(GetCodePage(15), fromA.Get());
    EXPECT_EQ(MarkedTables::Shown(*GetCodePage(15)), "aa");
}

TEST_F(CodePageRegistryTest, SettingTheSameBasePathFlushesToo) {
    const auto before = GetCodePageReference(20);
    SetBasePath(u"UseWindowsAPI"_w);
    EXPECT_NE(GetCodePage(20), before.Get());
}

TEST_F(CodePageRegistryTest, UseWindowsAPIBuildsTheTablesFromTheOperatingSystem) {
    SetBasePath(directory.Wide().c_str());
    EXPECT_EQ(Raised([] { GetCodePage(11); }).type, "CodePageConversionException");
    SetBasePath(u"UseWindowsAPI"_w);
    EXPECT_TRUE(GetCodePage(11)
                    ->ConvertToUnicode("\x82\xA0", 2, CodePage::THROW_INVALID_CHARACTER)
                    ->IsEqual(u"\u3042"_w, 1));
}

TEST_F(CodePageRegistryTest, AFailedCreationLeavesNoEntryAndTheNextRequestTriesAgain) {
    SetBasePath(directory.Wide().c_str());
    EXPECT_EQ(Raised([] { GetCodePage(15); }).type, "CodePageConversionException");
    EXPECT_EQ(Raised([] { GetCodePage(15); }).type, "CodePageConversionException");
    MarkedTables::Write(directory.Path(), "koi8-r", 20866, 'q');
    EXPECT_EQ(MarkedTables::Shown(*GetCodePage(15)), "qq");
}

TEST_F(CodePageRegistryTest, AFailedCreationLetsOthersCreate) {
    // A creator that did not give up its place would make the next request wait for ever.
    const TimeLimit limit("a request after a failed one");
    SetBasePath(directory.Wide().c_str());
    for (int round = 0; round < 3; ++round) {
        Raised([] { GetCodePage(19); });
        Raised([] { GetCodePage(3); });
        Raised([] { GetCodePage(15); });
        EXPECT_EQ(GetCodePage(20)->GetType(), 20);
        FlushCodePageCaches();
    }
}

TEST(CodePageRegistryOfAFreshModuleTest, MakingAnyCodePageNeverWaitsForItself) {
    for (const int number : codePages) {
        const TimeLimit limit("the first request for code page " + std::to_string(number));
        const Initializer initializer;
        SetBasePath(u"UseWindowsAPI"_w);
        EXPECT_EQ(GetCodePage(number)->GetType(), number);
    }
}

TEST(CodePageRegistryOfAFreshModuleTest, MakingPage12FromFilesNeverWaitsForItself) {
    const TimeLimit limit("the first request for code page 12");
    const TemporaryDirectory directory;
    MarkedTables::Write(directory.Path(), "shift_jis", 932, 'q');
    const Initializer initializer;
    SetBasePath(directory.Wide().c_str());
    EXPECT_EQ(GetCodePage(12)->GetType(), 12);
    FlushCodePageCaches();
    EXPECT_EQ(GetCodePage(12)->GetType(), 12);
}

TEST(CodePageRegistryOfAFreshModuleTest, AnObjectThatAClientHoldsOutlivesTheModule) {
    KBase::ReturnPtrI<CodePage> held;
    {
        const Initializer initializer;
        SetBasePath(u"UseWindowsAPI"_w);
        held = GetCodePageReference(15);
    }
    EXPECT_STREQ(held->GetIANANameASCII(), "koi8-r");
    EXPECT_EQ(held->AddRef(), 2); // the registry's reference is gone
    EXPECT_EQ(held->Release(), 1);
}

TEST(CodePageRegistryOfAFreshModuleTest, StartsEmptyInEachModule) {
    KBase::ReturnPtrI<CodePage> before;
    {
        const Initializer initializer;
        before = GetCodePageReference(20);
    }
    const Initializer initializer;
    EXPECT_NE(GetCodePage(20), before.Get());
}

// A code page that another thread began to make under the old base path must not be found under the new one.
TEST_F(CodePageRegistryTest, ACodePageBegunUnderAnOldBasePathIsNotFoundUnderTheNewOne) {
    const TimeLimit limit("requests and changes of the base path");
    const std::string marks = "ab";
    std::vector<KBase::WideString> paths;
    for (const char mark : marks) {
        const auto path = directory.Path() / std::string(1, mark);
        MarkedTables::Write(path, "koi8-r", 20866, mark);
        paths.push_back(Widen(path.string()));
    }
    SetBasePath(paths[1].c_str());
    std::atomic<bool> stop = false;
    std::atomic<int> wrong = 0;
    std::vector<std::thread> makers;
    for (int i = 0; i < 3; ++i) {
        makers.emplace_back([&] {
            while (!stop) {
                const std::string shown = MarkedTables::Shown(*GetCodePageReference(15));
                wrong += shown != "aa" && shown != "bb"; // both tables come from one directory
            }
        });
    }
    constexpr int rounds = 400;
    int stale = 0;
    for (int round = 0; round < rounds; ++round) {
        const std::size_t which = static_cast<std::size_t>(round) % 2;
        SetBasePath(paths[which].c_str());
        // Only this thread changes the path: whatever is found from now on must be of this one.
        for (int request = 0; request < 3; ++request) {
            stale += MarkedTables::Shown(*GetCodePageReference(15)) != std::string(2, marks[which]);
        }
    }
    stop = true;
    for (std::thread& maker : makers) {
        maker.join();
    }
    EXPECT_EQ(stale, 0);
    EXPECT_EQ(wrong, 0);
}

} // namespace
