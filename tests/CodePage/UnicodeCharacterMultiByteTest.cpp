#include "CodePage/UnicodeCharacterMultiByte.h"

#include "OperatingSystem/CodePageSources.h"
#include "SerializedTables.h"

#include <gtest/gtest.h>

#include <type_traits>

namespace {

using KCodePage::UnicodeCharacter;
using KCodePage::UnicodeCharacterMultiByte;
using SerializedTables::Accepts;
using SerializedTables::Load;
using SerializedTables::Row;
using SerializedTables::Unit;
using SerializedTables::Written;

UnicodeCharacterMultiByte Loaded(const std::string& bytes) {
    UnicodeCharacterMultiByte row;
    Load(row, bytes);
    return row;
}

TEST(UnicodeCharacterMultiByte, ADefaultRowHasNoBytesAndMapsNothing) {
    const UnicodeCharacterMultiByte row;
    EXPECT_EQ(row.GetNumberOfBytes(), 0u);
    EXPECT_FALSE(row.IsLeadingByte());
    EXPECT_FALSE(row.GetValue().IsValid());
    for (unsigned second = 0; second < 256; ++second) {
        EXPECT_FALSE(row.GetValue(static_cast<unsigned char>(second)).IsValid());
    }
    EXPECT_EQ(Written(row), std::string("\0\0\0\0\0\0\0\0", 8));
}

TEST(UnicodeCharacterMultiByte, EveryRowOfASingleByteCodePageHasOneByteAndItsUnit) {
    for (const unsigned number : {1252u, 874u, 20866u, 1255u}) {
        const auto& source = CodePageSources::Get(number);
        for (unsigned byte = 0; byte < 256; ++byte) {
            const UnicodeCharacterMultiByte row(number, static_cast<unsigned char>(byte));
            ASSERT_EQ(row.GetNumberOfBytes(), 1u) << number << ' ' << byte;
            ASSERT_FALSE(row.IsLeadingByte());
            ASSERT_TRUE(row.GetValue().IsValid()) << number << ' ' << byte;
            ASSERT_EQ(row.GetValue().Get(), source.byteUnits[byte]) << number << ' ' << byte;
            ASSERT_EQ(Written(row), Row(1, source.byteUnits[byte]));
        }
        const UnicodeCharacterMultiByte zero(number, 0);
        EXPECT_TRUE(zero.GetValue().IsValid());
        EXPECT_EQ(zero.GetValue().Get(), 0);
    }
}

TEST(UnicodeCharacterMultiByte, ALeadByteRowHoldsTheFirstUnitOfEveryPairAndNoValueOfItsOwn) {
    for (const unsigned number : {932u, 936u, 949u, 950u}) {
        const auto& source = CodePageSources::Get(number);
        for (unsigned byte = 0; byte < 256; ++byte) {
            const UnicodeCharacterMultiByte row(number, static_cast<unsigned char>(byte));
            ASSERT_EQ(row.IsLeadingByte(), source.isLeadByte[byte]) << number << ' ' << byte;
            if (!source.isLeadByte[byte]) {
                ASSERT_EQ(Written(row), Row(1, source.byteUnits[byte])) << number << ' ' << byte;
                continue;
            }
            ASSERT_EQ(row.GetNumberOfBytes(), 2u);
            ASSERT_FALSE(row.GetValue().IsValid());
            std::vector<Unit> seconds(256);
            for (unsigned second = 0; second < 256; ++second) {
                const unsigned unit = source.pairs[byte * 256 + second].units[0];
                seconds[second] = unit;
                ASSERT_EQ(row.GetValue(static_cast<unsigned char>(second)).Get(), unit)
                    << number << ' ' << byte << ' ' << second;
            }
            ASSERT_EQ(Written(row), Row(2, {}, seconds)) << number << ' ' << byte;
        }
    }
}

TEST(UnicodeCharacterMultiByte, ALeadByteAndZeroGiveTheDefaultUnitAndTheZeroIsDropped) {
    const UnicodeCharacterMultiByte row(932, 0x81);
    EXPECT_EQ(row.GetValue(0).Get(), 0x30FB);
    const UnicodeCharacterMultiByte korean(949, 0x81);
    EXPECT_EQ(korean.GetValue(0).Get(), 0x003F);
}

TEST(UnicodeCharacterMultiByte, ACodePageThatTheServicesRefuseGivesAOneByteRowWithoutMapping) {
    for (const unsigned number : {65535u, 12345u}) {
        const UnicodeCharacterMultiByte row(number, 0x41);
        EXPECT_EQ(row.GetNumberOfBytes(), 1u);
        EXPECT_FALSE(row.GetValue().IsValid());
        EXPECT_EQ(row.GetValue().Get(), 0);
    }
}

TEST(UnicodeCharacterMultiByte, ASerializedOneByteRowEndsWithACountOfZero) {
    const UnicodeCharacterMultiByte row(1252, 0x80);
    EXPECT_EQ(Written(row), std::string("\1\1\xAC\x20\0\0\0\0", 8));
}

TEST(UnicodeCharacterMultiByte, ASerializedLeadByteRowCarriesExactly256Entries) {
    const std::string bytes = Written(UnicodeCharacterMultiByte(932, 0x88));
    ASSERT_EQ(bytes.size(), 8u + 256 * 3);
    EXPECT_EQ(bytes.substr(0, 8), std::string("\2\0\0\0\0\1\0\0", 8));
    EXPECT_EQ(bytes.substr(8 + 0x9F * 3, 3), "\1\x9C\x4E"); // 889F is U+4E9C
}

TEST(UnicodeCharacterMultiByte, ASecondByteWithoutMappingIsInvalid) {
    std::vector<Unit> seconds(256);
    seconds[0x40] = 0x3000;
    seconds[0xFF] = 0xFFFF;
    const auto row = Loaded(Row(2, {}, seconds));
    for (unsigned second = 0; second < 256; ++second) {
        const UnicodeCharacter character = row.GetValue(static_cast<unsigned char>(second));
        EXPECT_EQ(character.IsValid(), second == 0x40 || second == 0xFF) << second;
        EXPECT_EQ(character.Get(), second == 0x40 ? 0x3000 : second == 0xFF ? 0xFFFF : 0) << second;
    }
}

TEST(UnicodeCharacterMultiByte, ASecondByteBeyondTheEntriesIsInvalid) {
    const auto row = Loaded(Row(2, {}, {0x3000, 0x3001}));
    EXPECT_EQ(row.GetValue(1).Get(), 0x3001);
    for (unsigned second = 2; second < 256; ++second) {
        EXPECT_FALSE(row.GetValue(static_cast<unsigned char>(second)).IsValid()) << second;
    }
}

TEST(UnicodeCharacterMultiByte, ARowKeepsWhateverNumberOfBytesAndEntriesAStreamHolds) {
    for (const unsigned number : {0u, 1u, 3u, 255u}) {
        for (const std::size_t count : {0u, 1u, 255u, 257u}) {
            const std::string bytes = Row(number, 0x1234, std::vector<Unit>(count, Unit(0x5678)));
            const auto row = Loaded(bytes);
            EXPECT_EQ(row.GetNumberOfBytes(), number);
            EXPECT_EQ(row.IsLeadingByte(), number > 1);
            EXPECT_EQ(Written(row), bytes);
        }
    }
}

TEST(UnicodeCharacterMultiByte, ReadingACountOfZeroLeavesTheEntriesAsTheyWere) {
    UnicodeCharacterMultiByte row;
    Load(row, Row(2, {}, {0x3000, {}, 0x3002}));
    Load(row, Row(1, 0x41));
    EXPECT_EQ(row.GetNumberOfBytes(), 1u);
    EXPECT_EQ(Written(row), Row(1, 0x41, {0x3000, {}, 0x3002}));
}

TEST(UnicodeCharacterMultiByte, ReadingASmallerOrLargerCountReplacesTheEntries) {
    UnicodeCharacterMultiByte row;
    Load(row, Row(2, {}, {1, 2, 3}));
    Load(row, Row(2, {}, {4}));
    EXPECT_EQ(Written(row), Row(2, {}, {4}));
    Load(row, Row(2, {}, {5, {}, 6, 7}));
    EXPECT_EQ(Written(row), Row(2, {}, {5, {}, 6, 7}));
}

TEST(UnicodeCharacterMultiByte, ARowCutOffAnywhereThrowsAndStaysUsable) {
    const std::string bytes = Row(2, 0x41, {0x3000, {}, 0x3002});
    for (std::size_t length = 0; length < bytes.size(); ++length) {
        UnicodeCharacterMultiByte row;
        EXPECT_THROW(Load(row, bytes.substr(0, length)), KBase::Message) << length;
        for (unsigned second = 0; second < 256; ++second) {
            row.GetValue(static_cast<unsigned char>(second));
        }
        EXPECT_TRUE(Accepts(row, Written(row))) << length;
        EXPECT_TRUE(Accepts(row, bytes)) << length;
        EXPECT_EQ(Written(row), bytes) << length;
    }
}

TEST(UnicodeCharacterMultiByte, ACountThatTheStreamCannotHoldThrows) {
    for (const std::uint64_t count : {2ull, 65536ull, 0x7FFFFFFFull, 0x80000000ull, 0xFFFFFFFFull}) {
        UnicodeCharacterMultiByte row;
        const std::string bytes = SerializedTables::Byte(2) + SerializedTables::Value({}) +
                                  SerializedTables::Unsigned32(count) + "abc";
        EXPECT_FALSE(Accepts(row, bytes)) << count;
    }
}

TEST(UnicodeCharacterMultiByte, ACopyIsIndependentOfItsSource) {
    const std::string bytes = Row(2, {}, {0x3000, 0x3001});
    auto original = Loaded(bytes);
    const UnicodeCharacterMultiByte copy(original);
    UnicodeCharacterMultiByte assigned(1252, 0x41);
    assigned = original;
    Load(original, Row(2, {}, {0x4E00}));
    EXPECT_EQ(Written(copy), bytes);
    EXPECT_EQ(Written(assigned), bytes);
    assigned = copy;
    const UnicodeCharacterMultiByte& same = assigned;
    assigned = same;
    EXPECT_EQ(Written(assigned), bytes);
    static_assert(std::has_virtual_destructor_v<UnicodeCharacterMultiByte>);
}

} // namespace
