// The module and the registry when memory fails, at each allocation in turn.

#include "AllocationMeter.h"
#include "CodePage/CodePageImpl.h"
#include "CodePage/CodePageRegistry.h"
#include "CodePage/IANAInfo.h"
#include "CodePage/Initializer.h"
#include "CodePage/Private/Characters/SpareMemory.h"
#include "FailingAllocation.h"
#include "KSerialization/Streams.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <functional>
#include <new>
#include <optional>

namespace {

using namespace KCodePage;
using KBase::operator""_w;

// Runs `work` with its first allocation failing, then the second, and so on until it succeeds; checks `after`
// each failure. `work` that let the failure pass unseen counts as a success.
void FailAtEachAllocation(const std::function<void()>& work, const std::function<void()>& after) {
    std::size_t failures = 0;
    for (std::size_t number = 1;; ++number) {
        bool failed = false;
        bool thrown = false;
        {
            const FailingAllocation failing(number);
            try {
                work();
            } catch (const std::bad_alloc&) {
                thrown = true;
            }
            failed = failing.HasFailed();
        }
        EXPECT_EQ(thrown, failed) << "allocation " << number;
        if (!failed) {
            break;
        }
        ++failures;
        after();
        if (testing::Test::HasFailure()) {
            FAIL() << "after allocation " << number << " failed";
        }
    }
    EXPECT_GT(failures, 0u) << "nothing was allocated";
}

TEST(InitializerAllocationTest, AFailureAnywhereInTheConstructionLeavesNoModuleAndALaterOneWorks) {
    FailAtEachAllocation([] { const Initializer initializer; },
                         [] {
                             // The use count is 0 again: no module, one Initializer makes it, and its end
                             // takes it along. The spin word is free: else this would wait for ever.
                             EXPECT_EQ(GetIANAInfo(), nullptr);
                             {
                                 const Initializer initializer;
                                 ASSERT_NE(GetIANAInfo(), nullptr);
                                 EXPECT_EQ(GetCodePage(20)->GetType(), 20);
                             }
                             EXPECT_EQ(GetIANAInfo(), nullptr);
                         });
    EXPECT_EQ(GetIANAInfo(), nullptr);
}

TEST(InitializerAllocationTest, ACopyOrASecondOneNeedsNoMemory) {
    std::optional<Initializer> first(std::in_place);
    std::optional<Initializer> second;
    std::optional<Initializer> copy;
    {
        const FailingAllocation counting(0);
        second.emplace();
        copy.emplace(*first);
        EXPECT_EQ(counting.Count(), 0u);
    }
    first.reset();
    second.reset();
    EXPECT_NE(GetIANAInfo(), nullptr);
    copy.reset();
    EXPECT_EQ(GetIANAInfo(), nullptr);
}

class RegistryAllocationTest : public testing::Test {
protected:
    RegistryAllocationTest() { SetBasePath(u"UseWindowsAPI"_w); }

    Initializer initializer;
};

TEST_F(RegistryAllocationTest, AFailureWhileACodePageIsMadeLetsTheNextRequestMakeIt) {
    FailAtEachAllocation(
        [] {
            FlushCodePageCaches();
            GetCodePage(20);
        },
        [] {
            EXPECT_EQ(GetCodePage(20)->GetType(), 20);
            EXPECT_EQ(GetCodePage(21)->GetType(), 21);
        });
}

TEST_F(RegistryAllocationTest, AFailureWhileTablesAreFilledLetsTheNextRequestMakeThem) {
    std::size_t round = 0;
    FailAtEachAllocation(
        [] {
            FlushCodePageCaches();
            GetCodePage(15);
        },
        [&] {
            if (++round % 40 == 1) { // the making of a page with tables takes a while
                EXPECT_TRUE(GetCodePage(15)
                                ->ConvertToUnicode("\xC1", 1, CodePage::THROW_INVALID_CHARACTER)
                                ->IsEqual(u"\u0430"_w, 1));
            }
        });
}

TEST_F(RegistryAllocationTest, AFailedChangeOfTheBasePathLeavesTheOldOneOrTheNewOne) {
    FailAtEachAllocation([] { SetBasePath(u"a directory with a rather long name for a short string"_w); },
                         [] {
                             SetBasePath(u"UseWindowsAPI"_w);
                             EXPECT_EQ(GetCodePage(15)->GetType(), 15);
                         });
}

TEST_F(RegistryAllocationTest, AFailureWhileACodePageIsReadLeavesItUnchanged) {
    const KBase::SmartPtrI<CodePageImpl> object(new CodePageImpl(ISO_8859_7));
    FailAtEachAllocation(
        [&] {
            FlushCodePageCaches();
            auto binary = KDataType::CreateBinary(4, nullptr);
            std::memcpy(binary->GetData(), "\x14\0\0\0", 4);
            object->DeSerialize(*KSerialization::ConvertBinary2ReadDataStream(std::move(binary), nullptr));
        },
        [&] {
            EXPECT_EQ(object->GetType(), 7);
            EXPECT_STREQ(object->GetIANANameASCII(), "iso-8859-7");
            EXPECT_EQ(object->GetWindowsAPICodePage(), 1253u);
        });
    EXPECT_EQ(object->GetType(), 20);
}

TEST_F(RegistryAllocationTest, AFailureWhileTextIsConvertedLeavesTheCodePageUsable) {
    const auto shiftJis = GetCodePageReference(11);
    const auto utf8 = GetCodePageReference(20);
    const auto convert = [&] {
        EXPECT_TRUE(shiftJis->ConvertToUnicode("\x82\xA0", 2, CodePage::SUBSTITUTE)->IsEqual(u"\u3042"_w, 1));
        EXPECT_TRUE(
            shiftJis->ConvertToMultiByte(u"\u3042"_w, 1, CodePage::SUBSTITUTE)->IsEqual("\x82\xA0", 2));
        EXPECT_TRUE(utf8->ConvertToUnicode("\xE3\x81\x82 a text too long to be held in place", 1,
                                           CodePage::SUBSTITUTE)
                        ->Length() > 20);
        unsigned consumed = 0;
        EXPECT_TRUE(
            utf8->ConvertToMultiByteObservingBlockSize(consumed, 4, u"\u3042"_w, 1, CodePage::SUBSTITUTE)
                ->IsEqual("\xE3\x81\x82", 3));
    };
    FailAtEachAllocation(convert, convert);
}

// A line of text costs one allocation, its result; so does a block. Where the thread let such a string go
// before, the next one has its memory.
TEST_F(RegistryAllocationTest, AShortTextOrABlockIsConvertedWithOneAllocationAtMost) {
    const std::string bytes(100, 'a');
    const KBase::WideString units(100, 'a');
    for (const int number : {1, 11, 15, 20}) {
        const auto codePage = GetCodePageReference(number);
        const auto decode = [&] {
            return codePage->ConvertToUnicode(bytes.c_str(), 100, CodePage::THROW_INVALID_CHARACTER);
        };
        const auto encode = [&] {
            return codePage->ConvertToMultiByte(units.data(), 100, CodePage::THROW_INVALID_CHARACTER);
        };
        const auto encodeBlock = [&] {
            unsigned consumed = 0;
            return codePage->ConvertToMultiByteObservingBlockSize(consumed, 64, units.data(), 100,
                                                                  CodePage::SUBSTITUTE);
        };
        decode(); // what the thread keeps from the first call on
        const FailingAllocation counting(0);
        {
            const auto first = decode();
            EXPECT_EQ(counting.Count(), 1u) << number;
            const auto second = encode();
            EXPECT_EQ(counting.Count(), 2u) << number;
            const auto third = encodeBlock();
            EXPECT_EQ(counting.Count(), 3u) << number;
        }
        if (!SpareMemory::keeps) {
            continue;
        }
        decode();
        encodeBlock();
        for (int i = 0; i < 100; ++i) {
            encode();
        }
        EXPECT_LE(counting.Count(), 4u) << number; // what is kept may be too small at first
    }
}

// Room is made for the worst case, of which these texts fill a third.
TEST_F(RegistryAllocationTest, AResultThatFillsLessThanHalfOfItsRoomKeepsOnlyWhatItNeeds) {
    const auto utf8 = GetCodePageReference(20);
    utf8->ConvertToUnicode("a", 1, CodePage::SUBSTITUTE);
    for (const std::size_t length : {1000u, 3000u, 40000u}) {
        const KBase::WideString ascii(length, 'a');
        std::string kana;
        for (std::size_t i = 0; i < length / 3; ++i) {
            kana += "\xE3\x81\x82";
        }
        const AllocationMeter meter;
        const auto bytes =
            utf8->ConvertToMultiByte(ascii.data(), static_cast<unsigned>(length), CodePage::SUBSTITUTE);
        EXPECT_LE(meter.Get().live, static_cast<std::ptrdiff_t>(length + 128)) << length;
        EXPECT_EQ(bytes->Length(), length);
        EXPECT_EQ(bytes->Get()[length], 0);
        const auto before = meter.Get().live;
        const auto units = utf8->ConvertToUnicode(kana.c_str(), 0, CodePage::SUBSTITUTE);
        EXPECT_LE(meter.Get().live - before, static_cast<std::ptrdiff_t>(2 * (length / 3) + 128)) << length;
        EXPECT_EQ(units->Length(), length / 3);
        EXPECT_EQ(units->Get()[length / 3 - 1], 0x3042);
        EXPECT_EQ(units->Get()[length / 3], 0);
    }
}

} // namespace
