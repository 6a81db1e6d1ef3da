// The strings and tables when memory fails, at each allocation in turn: nothing leaks, what was there before
// stays usable.

#include "AllocationMeter.h"
#include "FailingAllocation.h"

#include "CodePage/Exceptions.h"
#include "CodePage/MultiByteString.h"
#include "CodePage/MultiByteToUnicode.h"
#include "CodePage/SerializedTables.h"
#include "CodePage/UnicodeString.h"
#include "CodePage/UnicodeToMultiByte.h"
#include "KBase/UTF8Routines.h"

#include <gtest/gtest.h>

#include <functional>
#include <new>
#include <string>

namespace {

using namespace KCodePage;
using namespace SerializedTables;

// Runs `work` with its first allocation failing, then with the second, and so on until none fails. `work`
// says how it ended; each failure has to end it as `expected` and leave no memory behind.
enum class End { Success, OutOfMemory, Null };

void FailInTurn(End expected, const std::function<End()>& work) {
    std::size_t failures = 0;
    for (std::size_t number = 1;; ++number) {
        End end = End::Success;
        bool failed = false;
        std::ptrdiff_t live = 0;
        {
            const AllocationMeter meter;
            const FailingAllocation failing(number);
            try {
                end = work();
            } catch (const std::bad_alloc&) {
                end = End::OutOfMemory;
            }
            failed = failing.HasFailed();
            live = meter.Get().live;
        }
        ASSERT_EQ(end, failed ? expected : End::Success) << "allocation " << number;
        ASSERT_EQ(live, 0) << "left after allocation " << number;
        if (!failed) {
            break;
        }
        ++failures;
    }
    EXPECT_GT(failures, 0u) << "nothing was allocated";
}

TEST(StringAllocationTest, AFactoryGivesNullWhenAnyAllocationFails) {
    for (const unsigned length : {0u, 1u, 3000u}) {
        const std::string bytes(length, 'a');
        FailInTurn(End::Null, [&] {
            const KBase::ReturnPtrI<MultiByteString> string(CreateMultiByteString(bytes.data(), length));
            return string ? End::Success : End::Null;
        });
        const KBase::WideString units(length, 'a');
        FailInTurn(End::Null, [&] {
            const KBase::ReturnPtrI<UnicodeString> string(CreateUnicodeString(units.data(), length));
            return string ? End::Success : End::Null;
        });
    }
}

TEST(StringAllocationTest, AnAppendThatFailsLeavesTheStringAsItWas) {
    const KBase::ReturnPtrI<MultiByteString> string(CreateMultiByteString("abc", 3));
    const std::string more(10000, 'x');
    {
        const FailingAllocation failing(1);
        EXPECT_THROW(string->Append(more.data(), 10000), std::bad_alloc);
        EXPECT_TRUE(failing.HasFailed());
    }
    EXPECT_TRUE(string->IsEqual("abc", 3));
    EXPECT_EQ(string->Get()[3], 0);
    {
        const FailingAllocation failing(1);
        EXPECT_THROW(string->Append(nullptr, 10000), std::bad_alloc);
    }
    EXPECT_TRUE(string->IsEqual("abc", 3));
    string->Append(more.data(), 10000);
    EXPECT_EQ(string->Length(), 10003u);
}

// A program may have an operator delete of its own, which logs, say.
TEST(StringAllocationTest, StringsMayBeMadeWhileMemoryIsFreed) {
    static thread_local void* place = nullptr;
    static thread_local int made = 0;
    using Pointer = KBase::ReturnPtrI<MultiByteString>;
    const auto create = [](unsigned length) {
        return Pointer(CreateMultiByteString(std::string(length, 'x').data(), length));
    };
    for (const unsigned length : {10u, 4000u}) {
        for (int round = 0; round < 3; ++round) {
            Pointer first = create(length);
            Pointer second = create(length);
            first = nullptr; // kept, and freed when the next is kept in its place
            beforeFreeing = [](void* memory) {
                const Pointer line(CreateMultiByteString("a line", 6));
                place = const_cast<char*>(line->Get());
                EXPECT_TRUE(place < memory || place > static_cast<char*>(memory) + 64)
                    << "in what is being freed";
                ++made;
            };
            second = nullptr;
            beforeFreeing = nullptr;
        }
    }
    EXPECT_GT(made, 0);
}

class TableAllocationTest : public testing::Test {
protected:
    TableAllocationTest() : decoding(new MultiByteToUnicode), encoding(new UnicodeToMultiByte) {
        Load(*decoding, decodingBytes);
        Load(*encoding, encodingBytes);
    }

    const std::string decodingBytes = Rows().SetLead(0x81, 0x4E00).File();
    const std::string encodingBytes = Records({Record('a', "x"), Record('b', "yz")});
    const KBase::ReturnPtrI<MultiByteToUnicode> decoding;
    const KBase::ReturnPtrI<UnicodeToMultiByte> encoding;
};

TEST_F(TableAllocationTest, ConversionsThrowBadAlloc) {
    for (const unsigned length : {0u, 1u, 5000u}) {
        const std::string bytes(length, 'a');
        FailInTurn(End::OutOfMemory, [&] {
            decoding->Convert(bytes.data(), length, CodePage::SUBSTITUTE);
            return End::Success;
        });
        const KBase::WideString units(length, 'a');
        FailInTurn(End::OutOfMemory, [&] {
            encoding->Convert(units.data(), length, CodePage::SUBSTITUTE);
            return End::Success;
        });
        FailInTurn(End::OutOfMemory, [&] {
            unsigned converted = 0;
            encoding->ConvertObservingBlockSize(converted, 100, units.data(), length, CodePage::SUBSTITUTE);
            return End::Success;
        });
    }
}

// Out of memory while the exception itself is made is still out of memory.
TEST_F(TableAllocationTest, TheMakingOfAnInvalidCharacterExceptionMayRunOutOfMemory) {
    FailInTurn(End::OutOfMemory, [&] {
        try {
            decoding->Convert("\xFF", 1, CodePage::THROW_INVALID_CHARACTER);
        } catch (const InvalidCharacterException&) {
            return End::Success;
        }
        return End::Null;
    });
}

TEST_F(TableAllocationTest, SingleCharactersNeedNoMemory) {
    const FailingAllocation counting(0);
    decoding->Convert('a');
    decoding->Convert(0x81, 0x40);
    encoding->Convert('a');
    encoding->Convert(0xFFFF);
    EXPECT_EQ(counting.Count(), 0u);
}

TEST_F(TableAllocationTest, ReadingThrowsBadAllocAndTheTableStaysUsable) {
    const auto read = [](auto& table, const std::string& bytes) {
        FailInTurn(End::OutOfMemory, [&] {
            std::remove_reference_t<decltype(table)> fresh(table);
            try {
                Load(fresh, bytes);
            } catch (const std::bad_alloc&) {
                // The failure has happened; from here on all allocations succeed.
                if constexpr (std::is_same_v<std::remove_cvref_t<decltype(table)>, MultiByteToUnicode>) {
                    fresh.Convert("a\x81\x40\x81", 4, CodePage::SUBSTITUTE);
                } else {
                    const KBase::wchar16 units[] = {'a', 'b', 0xFFFF};
                    fresh.Convert(units, 3, CodePage::SUBSTITUTE);
                }
                Written(fresh);
                Load(fresh, bytes);
                EXPECT_EQ(Written(fresh), bytes);
                throw;
            }
            return End::Success;
        });
    };
    read(*decoding, Rows().SetLead(0x82, 0x4E00).File());
    std::vector<std::string> records;
    for (unsigned unit = 0; unit < 300; ++unit) {
        records.push_back(Record(unit, "xy"));
    }
    read(*encoding, Records(records));
    records.push_back(Record(300, std::string("x\0", 2))); // odd: no look-up has it
    read(*encoding, Records(records));
}

TEST_F(TableAllocationTest, AnEncodingTableKeepsItsCharactersWhereReadingOrFillingRunsOutOfMemory) {
    const auto keeps = [&](auto change) {
        FailInTurn(End::OutOfMemory, [&] {
            UnicodeToMultiByte table(*encoding);
            try {
                change(table);
            } catch (const std::bad_alloc&) {
                const KBase::wchar16 units[] = {'a', 'b'};
                const auto converted = table.Convert(units, 2, CodePage::THROW_INVALID_CHARACTER);
                EXPECT_EQ(std::string(converted->Get(), converted->Length()), "xyz");
                throw;
            }
            return End::Success;
        });
    };
    keeps([](UnicodeToMultiByte& table) {
        Load(table, Records({Record('a', "1"), Record('b', "2"), Record('c', std::string("x\0", 2))}));
    });
    keeps([](UnicodeToMultiByte& table) { table.ReadFromWindowsAPI(); });
}

TEST_F(TableAllocationTest, ACopyOrAssignmentThatFailsLeavesTheTargetAsItWas) {
    const KBase::ReturnPtrI<MultiByteToUnicode> other(new MultiByteToUnicode);
    const std::string otherBytes = Rows().SetLead(0x99, 0x5000).File(1, '!');
    Load(*other, otherBytes);
    std::size_t failures = 0;
    for (std::size_t number = 1;; ++number) {
        bool failed = false;
        {
            const FailingAllocation failing(number);
            try {
                *other = *decoding;
            } catch (const std::bad_alloc&) {
            }
            failed = failing.HasFailed();
        }
        if (!failed) {
            break;
        }
        ++failures;
        ASSERT_EQ(Written(*other), otherBytes) << "allocation " << number;
    }
    EXPECT_GT(failures, 256u); // a row each
    EXPECT_EQ(Written(*other), decodingBytes);
    FailInTurn(End::OutOfMemory, [&] {
        const UnicodeToMultiByte copy(*encoding);
        return End::Success;
    });
}

TEST_F(TableAllocationTest, TheUTF8RoutinesThrowBadAlloc) {
    const std::string bytes(1000, 'a');
    const KBase::WideString units(1000, 'a');
    FailInTurn(End::OutOfMemory, [&] {
        KBase::UTF8ToWideCharUsingLength(bytes.data(), bytes.size(), true);
        return End::Success;
    });
    FailInTurn(End::OutOfMemory, [&] {
        KBase::WideCharToUTF8UsingLength(units.data(), units.size(), true);
        return End::Success;
    });
}

} // namespace
