#include "CodePage/WideCharacters.h"

#include "UTF8/ExactBuffer.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <string_view>

namespace {

using namespace KCodePage;
using namespace std::string_view_literals;
using KBase::operator""_w;

std::string BytesOf(const KDataType::Binary& block) {
    return std::string(block.GetData(), block.GetSize());
}

std::string WideBytes(const unsigned short* text, unsigned length) {
    const std::unique_ptr<KDataType::Binary> block(ConvertToWindowsWideChar(text, length));
    return BytesOf(*block);
}

std::unique_ptr<KDataType::Binary> Block(std::string_view bytes) {
    auto block = KDataType::CreateBinary(bytes.size(), nullptr);
    std::memcpy(block->GetData(), bytes.data(), bytes.size());
    return block;
}

TEST(WideCharacters, ToWideWithLengthZeroEndsAtTheFirstZeroUnit) {
    const unsigned short text[] = {0x41, 0x42, 0, 0x43};
    EXPECT_EQ(WideBytes(text, 0), "A\0B\0"sv);
    EXPECT_EQ(WideBytes(text, 1), "A\0"sv);
    EXPECT_EQ(WideBytes(text, 4), "A\0B\0\0\0C\0"sv); // zero units of an explicit length are text
}

TEST(WideCharacters, ToWideReadsNoUnitMoreThanItIsGiven) {
    const ExactBuffer<unsigned short> text(3, 0xABCD);
    EXPECT_EQ(WideBytes(text.Get(), 3), "\xCD\xAB\xCD\xAB\xCD\xAB"sv);
}

TEST(WideCharacters, ToWideOfNothingIsAnEmptyBlock) {
    EXPECT_EQ(WideBytes(u""_w, 0), "");
    EXPECT_EQ(WideBytes(nullptr, 0), "");
    EXPECT_EQ(WideBytes(nullptr, 7), "");
}

TEST(WideCharacters, FromWideKeepsZeroUnitsOfAnExplicitLengthOnly) {
    const unsigned short text[] = {0x41, 0, 0xD83D, 0};
    EXPECT_EQ(ConvertFromWindowsWideChar(text, 0), KBase::WideString(u"A"_w));
    EXPECT_EQ(ConvertFromWindowsWideChar(text, 3), KBase::WideString({0x41, 0, 0xD83D}));
    EXPECT_TRUE(ConvertFromWindowsWideChar(nullptr, 0).empty());
    EXPECT_TRUE(ConvertFromWindowsWideChar(nullptr, 7).empty());
}

TEST(WideCharacters, AddingZerosWidensEachByteUnsigned) {
    EXPECT_TRUE(SimplyAddZerosToMakeWide("").empty());
    EXPECT_TRUE(SimplyAddZerosToMakeWide(nullptr).empty());
    EXPECT_EQ(SimplyAddZerosToMakeWide("\xE9"), KBase::WideString({0xE9}));
    EXPECT_EQ(SimplyAddZerosToMakeWide("A\x7F\x80\xFF"), KBase::WideString({0x41, 0x7F, 0x80, 0xFF}));
}

TEST(WideCharacters, RemovingZerosKeepsTheLowBytesAndAnOddByte) {
    struct Row {
        std::string_view before;
        std::string_view after;
    };
    const Row rows[] = {{""sv, ""sv},
                        {"A"sv, "A"sv},
                        {"A\0"sv, "A"sv},
                        {"A\0B\0C\0"sv, "ABC"sv},
                        {"A\x01Z\x80"sv, "AZ"sv}, // high bytes go unchecked
                        {"abcde"sv, "acc"sv},     // the third is the old third byte
                        {"abcdefg"sv, "aced"sv}}; // and the fourth the old fourth
    for (const Row& row : rows) {
        const auto block = Block(row.before);
        SimplyRemoveZerosToMakeMBCSInPlace(block.get());
        EXPECT_EQ(BytesOf(*block), row.after);
    }
    SimplyRemoveZerosToMakeMBCSInPlace(nullptr);
}

} // namespace
