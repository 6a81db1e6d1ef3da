#include "KBase/WideString.h"

#include <gtest/gtest.h>

#include <type_traits>
#include <vector>

namespace {

using KBase::WideString;
using KBase::WideView;
using KBase::operator""_w;

TEST(WideString, HoldsUnsignedShortCodeUnits) {
    static_assert(std::is_same_v<KBase::wchar16, unsigned short>);
    static_assert(sizeof(KBase::wchar16) == 2);
    static_assert(std::is_same_v<WideString::value_type, unsigned short>);
}

TEST(WideString, ALiteralIsZeroTerminatedUTF16) {
    const KBase::wchar16* const text = u"a\u00E9\u3042\U0001F600"_w;
    const KBase::wchar16 expected[] = {0x61, 0xE9, 0x3042, 0xD83D, 0xDE00, 0};
    for (std::size_t i = 0; i < std::size(expected); ++i) {
        EXPECT_EQ(text[i], expected[i]) << i;
    }
    EXPECT_EQ((u""_w.Length()), 0u);
    EXPECT_EQ(u""_w.Get()[0], 0);
}

TEST(WideString, ALiteralWithAZeroInsideKeepsItsLengthAsViewAndString) {
    const WideView view = u"a\0b"_w;
    ASSERT_EQ(view.size(), 3u);
    EXPECT_EQ(view[1], 0);
    EXPECT_EQ(view[2], 'b');
    const WideString text(WideView(u"a\0b"_w));
    EXPECT_EQ(text, view);
}

TEST(WideString, ALiteralStandsInStaticStorage) {
    const auto get = [] {
        return u"static"_w.Get();
    };
    EXPECT_EQ(get(), get());
}

TEST(WideString, ComparesAsUnsignedCodeUnits) {
    EXPECT_LT((WideString{0x7FFF}), (WideString{0x8000}));
    EXPECT_LT((WideString{1, 0}), (WideString{1, 0, 0}));
    EXPECT_LT((WideString{0x00FF}), (WideString{0x0100}));
    EXPECT_GT((WideString{2}), (WideString{1, 9}));
    EXPECT_EQ(WideString(u"same"_w), WideView(u"same"_w));
    EXPECT_NE(WideString(u"same"_w), WideView(u"sane"_w));
}

TEST(WideString, FindsMovesAndFillsCodeUnits) {
    WideString text(WideView(u"abcabc"_w));
    EXPECT_EQ(text.find('c'), 2u);
    EXPECT_EQ(text.find(0x3042), WideString::npos);
    EXPECT_EQ(text.rfind('a'), 3u);
    EXPECT_EQ(text.find(WideView(u"cab"_w)), 2u);
    text.insert(0, 3, 0xFFFF);
    EXPECT_EQ(text, (WideString{0xFFFF, 0xFFFF, 0xFFFF, 'a', 'b', 'c', 'a', 'b', 'c'}));
    text.erase(0, 4);
    EXPECT_EQ(text, WideView(u"bcabc"_w));
    text.insert(1, text); // overlapping
    EXPECT_EQ(text, WideView(u"bbcabccabc"_w));
    text.assign(text, 3, 4);
    EXPECT_EQ(text, WideView(u"abcc"_w));
}

TEST(WideString, TraitsMoveOverlappingTextInBothDirections) {
    using Traits = KBase::WideCharTraits;
    std::vector<KBase::wchar16> units = {1, 2, 3, 4, 5};
    Traits::move(units.data() + 1, units.data(), 4);
    EXPECT_EQ(units, (std::vector<KBase::wchar16>{1, 1, 2, 3, 4}));
    Traits::move(units.data(), units.data() + 1, 4);
    EXPECT_EQ(units, (std::vector<KBase::wchar16>{1, 2, 3, 4, 4}));
    EXPECT_EQ(Traits::length(u"12345"_w), 5u);
    EXPECT_TRUE(Traits::compare(u"ab"_w, u"ac"_w, 1) == 0);
    EXPECT_TRUE(Traits::compare(u"ab"_w, u"ac"_w, 2) < 0);
    EXPECT_TRUE(Traits::compare(u"ac"_w, u"ab"_w, 2) > 0);
}

TEST(WideString, TraitsEndOfFileIsNoCodeUnit) {
    using Traits = KBase::WideCharTraits;
    for (unsigned unit = 0; unit < 0x10000; ++unit) {
        const auto value = Traits::to_int_type(static_cast<KBase::wchar16>(unit));
        ASSERT_FALSE(Traits::eq_int_type(value, Traits::eof())) << unit;
        ASSERT_EQ(Traits::to_char_type(value), unit);
        ASSERT_EQ(Traits::not_eof(value), value);
    }
    EXPECT_FALSE(Traits::eq_int_type(Traits::not_eof(Traits::eof()), Traits::eof()));
}

} // namespace
