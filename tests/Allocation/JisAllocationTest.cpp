// The Shift-JIS to JIS table when memory fails, at each allocation in turn, and how much of it reading a file
// takes at most.

#include "AllocationMeter.h"
#include "FailingAllocation.h"

#include "CodePage/CodePageRegistry.h"
#include "CodePage/Exceptions.h"
#include "CodePage/Initializer.h"
#include "CodePage/SerializedTables.h"
#include "CodePage/ShiftJisToJis.h"
#include "CodePage/TemporaryDirectory.h"
#include "CodePage/TextEncoder.h"

#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <new>
#include <string>

namespace {

using namespace KCodePage;
using namespace SerializedTables;
using CodePageTests::TemporaryDirectory;
using CodePageTests::Widen;
using KBase::operator""_w;
using Pointer = KBase::ReturnPtrI<ShiftJisToJis>;

std::string Entry(unsigned key, unsigned jis) {
    std::string entry;
    Put(entry, key, 2);
    return entry + Byte(1) + Byte(0) + Byte(jis >> 8) + Byte(jis);
}

// `count` entries of `distinct` keys.
std::string Entries(std::size_t count, std::size_t distinct) {
    std::string file = Unsigned32(count);
    for (std::size_t i = 0; i < count; ++i) {
        file += Entry(static_cast<unsigned>(i % distinct * 0x9E37 & 0xFFFF), 0x3021);
    }
    return file;
}

class JisAllocationTest : public testing::Test {
protected:
    JisAllocationTest() {
        Store("ShiftJisToJis.SJ2J", Unsigned32(0));
        SetBasePath(u"UseWindowsAPI"_w);
        // What is kept from the first use on is not what a test makes.
        table = ShiftJisToJis::InstanceReference();
        Convert("\x82\xA0");
        table->ReadFromFile((directory.Wide() + Widen("/ShiftJisToJis.SJ2J")).c_str());
    }

    void Store(const std::string& name, const std::string& bytes) const {
        std::ofstream(directory.Path() / name, std::ios::binary) << bytes;
    }

    void Convert(const std::string& text) const {
        const KBase::ReturnPtrI<MultiByteString> input(
            CreateMultiByteString(text.data(), static_cast<unsigned>(text.size())));
        if (!input) {
            throw std::bad_alloc();
        }
        table->Convert(input.Get());
    }

    // Runs `work` with its first allocation failing, then with the second, and so on until none fails: each
    // failure ends it as such and leaves nothing behind.
    static void FailInTurn(const std::function<void()>& work) {
        std::size_t failures = 0;
        for (bool failed = true; failed; ++failures) {
            bool threw = false;
            std::ptrdiff_t live = 0;
            {
                const AllocationMeter meter;
                const FailingAllocation failing(failures + 1);
                try {
                    work();
                } catch (const std::bad_alloc&) {
                    threw = true;
                } catch (const CodePageConversionException& error) {
                    // A file that cannot be opened for want of memory.
                    threw = std::string(error.what()).ends_with("\nThere is not enough memory.");
                }
                failed = failing.HasFailed();
                live = meter.Get().live;
            }
            ASSERT_EQ(threw, failed) << "allocation " << failures + 1;
            ASSERT_EQ(live, 0) << "left after allocation " << failures + 1;
        }
        EXPECT_GT(failures, 1u) << "nothing was allocated";
    }

    Initializer initializer;
    TemporaryDirectory directory;
    Pointer table;
};

TEST_F(JisAllocationTest, MakingATableFromItsFileFailsWithoutATrace) {
    Store("ShiftJisToJis.SJ2J", Entries(40, 40));
    SetBasePath(directory.Wide().c_str());
    FailInTurn([] { const Pointer made(new ShiftJisToJis); });
}

TEST_F(JisAllocationTest, AnInstanceThatCannotBeMadeIsNotThereAndALaterRequestTriesAgain) {
    Store("ShiftJisToJis.SJ2J", Entries(40, 40));
    SetBasePath(directory.Wide().c_str());
    FailInTurn([] {
        try {
            ShiftJisToJis::Instance();
        } catch (...) {
            // The failure has happened; from here on all allocations succeed.
            EXPECT_EQ(ShiftJisToJis::InstanceReference()->AddRef(), 3);
            ShiftJisToJis::Instance()->Release();
            ShiftJisToJis::Flush();
            throw;
        }
        ShiftJisToJis::Flush();
    });
}

TEST_F(JisAllocationTest, AFillFromTheServicesThatFailsLeavesATableThatCanBeFilled) {
    const std::string whole = Written(*table);
    SetBasePath(directory.Wide().c_str());
    const Pointer empty(new ShiftJisToJis);
    SetBasePath(u"UseWindowsAPI"_w);
    GetCodePage(SHIFT_JIS);
    for (const std::size_t number : {1u, 2u, 3u, 100u, 5000u, 8836u}) {
        const Pointer filled(new ShiftJisToJis(*empty));
        {
            const FailingAllocation failing(number);
            EXPECT_THROW(filled->ReadFromWindowsAPI(), std::bad_alloc) << number;
        }
        Written(*filled);
        filled->ReadFromWindowsAPI();
        EXPECT_TRUE(Written(*filled) == whole) << number;
    }
}

TEST_F(JisAllocationTest, AReadThatFailsLeavesATableThatReadsAgain) {
    const std::string bytes = Entries(40, 40);
    SetBasePath(directory.Wide().c_str());
    const Pointer empty(new ShiftJisToJis);
    FailInTurn([&] {
        ShiftJisToJis fresh(*empty);
        try {
            Load(fresh, bytes);
        } catch (const std::bad_alloc&) {
            Written(fresh);
            Load(fresh, bytes);
            EXPECT_EQ(Written(fresh).size(), bytes.size());
            throw;
        }
    });
}

TEST_F(JisAllocationTest, ConversionsAndTheirRefusalsThrowBadAlloc) {
    for (const std::string& text : {std::string("a"), std::string(5000, '\x82')}) {
        FailInTurn([&] { Convert(text); });
    }
    FailInTurn([&] {
        try {
            Convert("\x81\x07");
        } catch (const InvalidCharacterException&) {
        }
    });
    FailInTurn([&] { Written(*table); });
}

TEST_F(JisAllocationTest, ACopyOrAssignmentThatFailsLeavesTheTargetAsItWas) {
    Store("ShiftJisToJis.SJ2J", Entries(40, 40));
    SetBasePath(directory.Wide().c_str());
    const Pointer source(new ShiftJisToJis);
    FailInTurn([&] { const ShiftJisToJis copy(*source); });
    Store("ShiftJisToJis.SJ2J", Entries(3, 3));
    const Pointer target(new ShiftJisToJis);
    const std::string before = Written(*target);
    for (std::size_t number = 1; number <= 41; ++number) { // a node each, and the flat look-up
        {
            const FailingAllocation failing(number);
            EXPECT_THROW(*target = *source, std::bad_alloc) << number;
        }
        ASSERT_EQ(Written(*target), before);
    }
    *target = *source;
    EXPECT_EQ(Written(*target), Written(*source));
}

TEST_F(JisAllocationTest, QuestionsNeedNoMemory) {
    const auto codePage = GetCodePageReference(12);
    codePage->IsEscapeSequence("\x1B$B");
    const FailingAllocation counting(0);
    table->IsLeadingByte('a');
    table->GetNumberOfBytesInThisCharacter("a");
    table->IsEscapeSequence("\x1B$B");
    table->GetNumberOfBytesInThisEscapeSequence("\x1B$B");
    ShiftJisToJis::InstanceReference();
    EXPECT_EQ(counting.Count(), 0u);
}

TEST_F(JisAllocationTest, ABlockAllocatesForTheBlockAndNotForTheTextBehindIt) {
    std::string text;
    for (int i = 0; i < 500'000; ++i) {
        text += "\x82\xA0";
    }
    const KBase::ReturnPtrI<MultiByteString> input(
        CreateMultiByteString(text.data(), static_cast<unsigned>(text.size())));
    const AllocationMeter meter;
    unsigned count = 0;
    table->ConvertObservingBlockSize(count, 100, input.Get());
    EXPECT_EQ(count, 46u); // 3 + 2 * 46 + 3 bytes
    EXPECT_LE(meter.Get().allocated, 8192u);
    table->Convert(input.Get());
    EXPECT_LE(meter.Get().allocations, 12u);
    EXPECT_LE(meter.Get().allocated, 5 * text.size());
}

// The most memory that was in use at once while the file was read, by a table of its own and once more by the
// same, and what the table holds afterwards.
void ExpectWithinBound(const char* name, const std::string& bytes) {
    const TemporaryDirectory directory;
    const auto path = directory.Path() / "table";
    std::ofstream(path, std::ios::binary) << bytes;
    const KBase::WideString widePath = Widen(path.string());
    const auto bound = static_cast<std::ptrdiff_t>((std::size_t{2} << 20) + 16 * bytes.size());
    const AllocationMeter meter;
    {
        const Pointer read(new ShiftJisToJis);
        for (int reading = 0; reading < 2; ++reading) {
            try {
                read->ReadFromFile(widePath.c_str());
            } catch (const KBase::Message&) {
            }
            EXPECT_LE(meter.Get().live, bound) << name << ": held after reading " << reading;
        }
        EXPECT_GE(meter.Get().peak, static_cast<std::ptrdiff_t>(bytes.size())) << name << ": not measured";
    }
    EXPECT_LE(meter.Get().peak, bound) << name << " of " << bytes.size() << " bytes";
    EXPECT_EQ(meter.Get().live, 0) << name << " of " << bytes.size() << " bytes: not given back";
}

TEST_F(JisAllocationTest, ReadingAFileStaysBelowTwoMebibytesAndSixteenTimesItsSize) {
    SetBasePath(directory.Wide().c_str());
    for (const std::size_t count : {0u, 1u, 255u, 8836u, 65536u, 300000u}) {
        const std::string all = Entries(count, 65536);
        ExpectWithinBound("all keys", all);
        ExpectWithinBound("one key", Entries(count, 1));
        ExpectWithinBound("cut off", all.substr(0, all.size() - 1));
        for (const std::uint64_t claimed : {0x7FFFFFFFull, 0x80000000ull, 0xFFFFFFFFull}) {
            ExpectWithinBound("a huge count", Unsigned32(claimed) + all.substr(4));
        }
    }
}

} // namespace
