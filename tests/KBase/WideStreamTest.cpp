#include "KBase/WideStream.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

namespace {

using KBase::WideStream;
using KBase::WideView;
using KBase::operator""_w;

TEST(WideStream, StartsEmpty) {
    EXPECT_TRUE(WideStream().Text().empty());
}

TEST(WideStream, WritesIntegersOfEveryWidthInDecimal) {
    EXPECT_EQ((WideStream() << 19).Text(), WideView(u"19"_w));
    EXPECT_EQ((WideStream() << -1).Text(), WideView(u"-1"_w));
    EXPECT_EQ((WideStream() << std::numeric_limits<std::int64_t>::min()).Text(),
              WideView(u"-9223372036854775808"_w));
    EXPECT_EQ((WideStream() << std::numeric_limits<std::uint64_t>::max()).Text(),
              WideView(u"18446744073709551615"_w));
    EXPECT_EQ((WideStream() << std::uint8_t{200}).Text(), WideView(u"200"_w));
}

TEST(WideStream, WritesACodeUnitAsANumberUnlessAskedForACharacter) {
    const KBase::wchar16 unit = 0x3042;
    EXPECT_EQ((WideStream() << unit).Text(), WideView(u"12354"_w));
    EXPECT_EQ(WideStream().Unit(unit).Text(), WideView(u"\u3042"_w));
    EXPECT_EQ(WideStream().Unit(0).Text(), WideView(u"\0"_w));
}

TEST(WideStream, WidensBytesWithoutSignExtension) {
    EXPECT_EQ((WideStream() << std::string_view("a\xFF\0b", 4)).Text(), WideView(u"a\u00FF\0b"_w));
}

TEST(WideStream, AppendsWideTextWithZeroUnits) {
    EXPECT_EQ((WideStream() << WideView(u"a\0"_w) << WideView(u"\u3042"_w)).Text(), WideView(u"a\0\u3042"_w));
}

TEST(WideStream, WritesHexadecimalInLowerCaseWithoutPadding) {
    EXPECT_EQ(WideStream().Hexadecimal(0).Text(), WideView(u"0"_w));
    EXPECT_EQ(WideStream().Hexadecimal(0xABCDEF0u).Text(), WideView(u"abcdef0"_w));
    EXPECT_EQ(WideStream().Hexadecimal(std::numeric_limits<std::uintmax_t>::max()).Text(),
              WideView(u"ffffffffffffffff"_w));
}

TEST(WideStream, WritesAnAddressWithItsPrefix) {
    EXPECT_EQ(WideStream().Pointer(0x7FFE1230).Text(), WideView(u"0x7ffe1230"_w));
    EXPECT_EQ(WideStream().Pointer(0).Text(), WideView(u"0x0"_w));
}

} // namespace
