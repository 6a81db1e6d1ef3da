#include "KBase/UTF8Routines.h"

#include "KBase/Message.h"
#include "UTF8/ExactBuffer.h"
#include "UTF8/IcuUTF8.h"

#include <gtest/gtest.h>

#include <random>
#include <string_view>

namespace {

using KBase::WideString;

WideString ToWide(std::string_view bytes, bool substitute) {
    const ExactBuffer<char> exact(bytes);
    return KBase::UTF8ToWideCharUsingLength(exact.Get(), exact.Size(), substitute);
}

std::string ToUTF8(KBase::WideView units, bool substitute) {
    const ExactBuffer<KBase::wchar16> exact(units);
    return KBase::WideCharToUTF8UsingLength(exact.Get(), exact.Size(), substitute);
}

// The text of the ExceptionImpl<Message> that a call throws, "nothing" where it throws none.
template <class Call>
std::string TextThrown(Call call) {
    try {
        call();
    } catch (const KBase::ExceptionImpl<KBase::Message>& error) {
        EXPECT_EQ(error.GetDomain(), KBase::MESSAGE_DOMAIN_UNKNOWN);
        return error.what();
    }
    return "nothing";
}

TEST(UTF8Routines, DecodeOneReplacementCharacterForEachMaximalSubpart) {
    struct {
        std::string_view bytes;
        WideString units;
    } const rows[] = {
        // The examples of the Unicode Standard, chapter 3, tables 3-8 to 3-11.
        {"\xC0\xAF\xE0\x80\xBF\xF0\x81\x82\x41", // overlong forms
         {0xFFFD, 0xFFFD, 0xFFFD, 0xFFFD, 0xFFFD, 0xFFFD, 0xFFFD, 0xFFFD, 0x41}},
        {"\xED\xA0\x80\xED\xBF\xBF\xED\xAF\x41", // surrogates
         {0xFFFD, 0xFFFD, 0xFFFD, 0xFFFD, 0xFFFD, 0xFFFD, 0xFFFD, 0xFFFD, 0x41}},
        {"\xF4\x91\x92\x93\xFF\x41\x80\xBF\x42", // above U+10FFFF and bytes that open nothing
         {0xFFFD, 0xFFFD, 0xFFFD, 0xFFFD, 0xFFFD, 0x41, 0xFFFD, 0xFFFD, 0x42}},
        {"\xE1\x80\xE2\xF0\x91\x92\xF1\xBF\x41", // characters broken off
         {0xFFFD, 0xFFFD, 0xFFFD, 0xFFFD, 0x41}},
        // At the very end.
        {"A\xE3\x81", {0x41, 0xFFFD}},
        {"\xF0\x9F\x98\x80\xF0\x9F\x98", {0xD83D, 0xDE00, 0xFFFD}},
        {"\x80", {0xFFFD}},
        {"", {}},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(ToWide(row.bytes, true), row.units) << testing::PrintToString(row.bytes);
    }
}

TEST(UTF8Routines, SubstituteInRandomBytesAndUnitsAsIcuDoes) {
    std::mt19937 random(7);
    for (int round = 0; round < 5000; ++round) {
        std::string bytes;
        WideString units;
        for (auto count = random() % 40; count > 0; --count) {
            bytes.push_back(static_cast<char>(random() % 4 == 0 ? 'a' : random()));
            units.push_back(
                static_cast<KBase::wchar16>(random() % 2 == 0 ? 0xD800 + random() % 0x800 : random()));
        }
        ASSERT_EQ(ToWide(bytes, true), IcuUTF8::Decode(bytes)) << "round " << round;
        ASSERT_EQ(ToUTF8(units, true), IcuUTF8::Encode(units)) << "round " << round;
    }
}

TEST(UTF8Routines, KeepWellFormedTextWithAndWithoutSubstitution) {
    const std::string bytes("a\0\xC3\xA9\xE3\x81\x82\xF0\x9F\x98\x80\xEF\xBF\xBD", 14);
    const WideString units = {0x61, 0, 0xE9, 0x3042, 0xD83D, 0xDE00, 0xFFFD};
    for (const bool substitute : {false, true}) {
        EXPECT_EQ(ToWide(bytes, substitute), units);
        EXPECT_EQ(ToUTF8(units, substitute), bytes);
    }
}

TEST(UTF8Routines, WithoutSubstitutionTheExceptionNamesTheByteOffset) {
    EXPECT_EQ(TextThrown([] { ToWide("\xFF", false); }), "Invalid UTF-8 at byte offset 0");
    EXPECT_EQ(TextThrown([] { ToWide("0123456789\xC3\xA9\xE3\x41", false); }),
              "Invalid UTF-8 at byte offset 12");
    EXPECT_EQ(TextThrown([] { ToWide("A\xE3\x81", false); }), "Invalid UTF-8 at byte offset 1");
    EXPECT_EQ(TextThrown([] { ToWide("\xE3\x81\x82", false); }), "nothing");
}

TEST(UTF8Routines, WithoutSubstitutionTheExceptionNamesTheCodeUnitOffset) {
    EXPECT_EQ(TextThrown([] { ToUTF8(WideString{0xDC00}, false); }),
              "Unpaired UTF-16 surrogate at code unit offset 0");
    EXPECT_EQ(TextThrown([] {
                  ToUTF8(WideString{0x3042, 0xD83D, 0xDE00, 0xD83D}, false);
              }),
              "Unpaired UTF-16 surrogate at code unit offset 3");
    EXPECT_EQ(TextThrown([] { ToUTF8(WideString{0xD83D, 0xDE00}, false); }), "nothing");
}

TEST(UTF8Routines, ZeroTerminatedTextsEndAtTheirFirstZero) {
    EXPECT_EQ(KBase::UTF8ToWideChar("ab\0c", false), (WideString{'a', 'b'}));
    EXPECT_EQ(KBase::UTF8ToWideChar("", false), WideString());
    // The byte behind the terminator is not part of the buffer.
    ExactBuffer<char> bytes(std::string_view("\xE3\x81\0", 3));
    EXPECT_EQ(KBase::UTF8ToWideChar(bytes.Get(), true), (WideString{0xFFFD}));
    const ExactBuffer<KBase::wchar16> units(WideString{0x3042, 0xD83D, 0});
    EXPECT_EQ(KBase::WideCharToUTF8(units.Get(), true), "\xE3\x81\x82\xEF\xBF\xBD");
    const ExactBuffer<KBase::wchar16> empty(1);
    EXPECT_EQ(KBase::WideCharToUTF8(empty.Get(), false), "");
}

TEST(UTF8Routines, TotalBytesIsTheLengthThatAByteOpensAndOneForOthers) {
    for (unsigned byte = 0; byte < 0x100; ++byte) {
        const unsigned expected = byte >= 0xC2 && byte <= 0xDF   ? 2
                                  : byte >= 0xE0 && byte <= 0xEF ? 3
                                  : byte >= 0xF0 && byte <= 0xF4 ? 4
                                                                 : 1;
        EXPECT_EQ(KBase::UTF8TotalBytes(static_cast<char>(byte)), expected) << byte;
        EXPECT_EQ(KBase::UTF8IsLeadingByte(static_cast<char>(byte)), expected > 1) << byte;
    }
}

} // namespace
