// How much memory reading a translation file takes.

#include "AllocationMeter.h"

#include "CodePage/MultiByteToUnicode.h"
#include "CodePage/SerializedTables.h"
#include "CodePage/TemporaryDirectory.h"
#include "CodePage/UnicodeToMultiByte.h"

#include <gtest/gtest.h>

#include <fstream>

namespace {

using namespace KCodePage;
using namespace SerializedTables;
using CodePageTests::TemporaryDirectory;
using CodePageTests::Widen;
using KBase::operator""_w;

std::ptrdiff_t Bound(std::size_t fileSize) {
    return static_cast<std::ptrdiff_t>((std::size_t{2} << 20) + 16 * fileSize);
}

std::string Repeated(const std::string& piece, std::size_t count) {
    std::string text;
    text.reserve(piece.size() * count);
    for (std::size_t i = 0; i < count; ++i) {
        text += piece;
    }
    return text;
}

// The most memory that was in use at once while the file was read, by a table of its own and once more by the
// same, and what the table holds afterwards.
template <class Table>
void ExpectWithinBound(const std::string& name, const std::string& bytes) {
    const TemporaryDirectory directory;
    const auto path = directory.Path() / "table";
    std::ofstream(path, std::ios::binary) << bytes;
    const KBase::WideString widePath = Widen(path.string());
    // What the operating-system door keeps from its first use on is not the table's.
    EXPECT_THROW(Table().WriteToFile(u"/dev/full"_w), KBase::Message);
    const AllocationMeter meter;
    {
        const KBase::ReturnPtrI<Table> table(new Table);
        for (int reading = 0; reading < 2; ++reading) {
            try {
                table->ReadFromFile(widePath.c_str());
            } catch (const KBase::Message&) {
            }
            EXPECT_LE(meter.Get().live, Bound(bytes.size())) << name << ": held after reading " << reading;
        }
        EXPECT_GE(meter.Get().peak, static_cast<std::ptrdiff_t>(bytes.size())) << name << ": not measured";
    }
    EXPECT_LE(meter.Get().peak, Bound(bytes.size())) << name << " of " << bytes.size() << " bytes";
    EXPECT_EQ(meter.Get().live, 0) << name << " of " << bytes.size() << " bytes: not given back";
}

TEST(AllocationBoundTest, ReadingADecodingFileStaysBelowTwoMebibytesAndSixteenTimesItsSize) {
    const std::string shortest = Row(1, 'x');
    for (const std::size_t count : {1u, 256u, 257u, 4096u, 65536u, 300000u}) {
        ExpectWithinBound<MultiByteToUnicode>("short rows",
                                              Head(932, '?', count) + Repeated(shortest, count));
        ExpectWithinBound<MultiByteToUnicode>("rows of lead bytes without entries",
                                              Head(932, '?', count) + Repeated(Row(2, {}), count));
        ExpectWithinBound<MultiByteToUnicode>("rows of one entry",
                                              Head(932, '?', count) + Repeated(Row(2, {}, {0x3000}), count));
        ExpectWithinBound<MultiByteToUnicode>("cut off", Head(932, '?', count) +
                                                             Repeated(shortest, count - 1) + "1234567");
        ExpectWithinBound<MultiByteToUnicode>("one row of many entries",
                                              Head(932, '?', 1) + std::string("\2\0\0\0", 4) +
                                                  Unsigned32(count) + Repeated(Value(0x3000), count));
    }
    for (const std::uint64_t count : {0x7FFFFFFFull, 0x80000000ull, 0xFFFFFFFFull}) {
        ExpectWithinBound<MultiByteToUnicode>("a huge count of rows", Head(932, '?', count) + shortest);
        ExpectWithinBound<MultiByteToUnicode>("a huge count of entries", Head(932, '?', 1) +
                                                                             std::string("\2\0\0\0", 4) +
                                                                             Unsigned32(count) + shortest);
    }
}

TEST(AllocationBoundTest, ReadingAnEncodingFileStaysBelowTwoMebibytesAndSixteenTimesItsSize) {
    ExpectWithinBound<UnicodeToMultiByte>("the last unit alone", Records({Record(0xFFFF, "x")}));
    ExpectWithinBound<UnicodeToMultiByte>("no record", Records({}));
    for (const std::size_t count : {1u, 255u, 65536u, 300000u}) {
        std::string rising = Head(932, '?', count);
        std::string falling = rising;
        for (std::size_t i = 0; i < count; ++i) {
            rising += Record(static_cast<unsigned>(i & 0xFFFF), "xy");
            falling += Record(static_cast<unsigned>(~i & 0xFFFF), "xy");
        }
        ExpectWithinBound<UnicodeToMultiByte>("rising units", rising);
        ExpectWithinBound<UnicodeToMultiByte>("falling units", falling);
        ExpectWithinBound<UnicodeToMultiByte>("cut off", rising.substr(0, rising.size() - 1));
    }
    std::string climbing = Head(932, '?', 16);
    for (unsigned bit = 0; bit < 16; ++bit) {
        climbing += Record((2u << bit) - 1, "x");
    }
    ExpectWithinBound<UnicodeToMultiByte>("units that double", climbing);
    for (const std::uint64_t count : {0x7FFFFFFFull, 0x80000000ull, 0xFFFFFFFFull}) {
        ExpectWithinBound<UnicodeToMultiByte>("a huge count", Head(932, '?', count) + Record('a', "x"));
    }
}

} // namespace
