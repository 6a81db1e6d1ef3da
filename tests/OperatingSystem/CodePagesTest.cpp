#include "OperatingSystem/CodePages.h"

#include "OperatingSystem/CodePageCalls.h"
#include "OperatingSystem/CodePageSources.h"
#include "OperatingSystem/LastError.h"

#include <gtest/gtest.h>

#include <barrier>
#include <climits>
#include <cstddef>
#include <map>
#include <numeric>
#include <set>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

namespace {

using namespace CodePageCalls;
using namespace std::string_view_literals;
using namespace OperatingSystem;

std::string EncodedUTF8(const Units& units) {
    Exact<wchar16> text(units);
    SetLastError(untouched);
    const int needed = WideCharToMultiByte(65001, 0, text.get(), text.size(), nullptr, 0, nullptr, nullptr);
    Exact<char> target(static_cast<std::size_t>(needed));
    EXPECT_EQ(WideCharToMultiByte(65001, 0, text.get(), text.size(), target.get(), needed, nullptr, nullptr),
              needed);
    EXPECT_EQ(GetLastError(), untouched);
    return target.To<std::string>(needed);
}

// The first argument is what the call answers, which has to be 0.
void ExpectRefused(int answer, ErrorNumber error) {
    EXPECT_EQ(answer, 0);
    EXPECT_EQ(GetLastError(), error);
}

} // namespace

// The default character

TEST(CodePages, TheDefaultCharacterOfTheCallerIsPutOutForUnmappedUnits) {
    EXPECT_EQ(Encoded(1252, {'a', 0x4E00, 'b'}, "X"), (EncodedText{"aXb", true}));
    EXPECT_EQ(Encoded(1252, {'a', 0x4E00, 'b'}), (EncodedText{"a?b", true}));
    EXPECT_EQ(Encoded(932, {0xD800, 0xDC00}, "X"), (EncodedText{"XX", true}));
}

TEST(CodePages, ATwoByteDefaultCharacterIsPutOutWholeInDoubleBytePages) {
    EXPECT_EQ(Encoded(932, {'a', 0xD800, 0x4E00}, "\x81\x40"), (EncodedText{"a\x81\x40\x88\xEA", true}));
    EXPECT_EQ(Encoded(949, {0xD800}, "\xA1\xA1"), (EncodedText{"\xA1\xA1", true}));
}

TEST(CodePages, ASingleBytePageTakesTheFirstByteOfADefaultCharacter) {
    EXPECT_EQ(Encoded(1252, {0x4E00, 0x4E00}, "ab"), (EncodedText{"aa", true}));
}

TEST(CodePages, AnEmptyDefaultCharacterIsAZeroByte) {
    Exact<char> empty(1);
    EXPECT_EQ(Encoded(1252, {0x4E00}, empty.get()), (EncodedText{std::string(1, '\0'), true}));
    EXPECT_EQ(Encoded(932, {0xD800}, empty.get()), (EncodedText{std::string(1, '\0'), true}));
}

TEST(CodePages, AUnitThatIsTheDefaultCharacterDoesNotCountAsUseOfIt) {
    for (const unsigned page : CodePageSources::numbers) {
        EXPECT_EQ(Encoded(page, {'?'}), (EncodedText{"?", false})) << page;
        EXPECT_EQ(Encoded(page, {'X'}, "X"), (EncodedText{"X", false})) << page;
        EXPECT_EQ(Encoded(page, {'?'}, "X"), (EncodedText{"?", false})) << page;
    }
    EXPECT_EQ(Encoded(932, {0x3000}, "\x81\x40"), (EncodedText{"\x81\x40", false}));
}

TEST(CodePages, NobodyHasToAskWhetherTheDefaultWasUsed) {
    Exact<wchar16> text(Units{0x4E00});
    Exact<char> target(1);
    EXPECT_EQ(WideCharToMultiByte(1252, 0, text.get(), 1, target.get(), 1, nullptr, nullptr), 1);
    EXPECT_EQ(*target.get(), '?');
}

TEST(CodePages, UsedDefaultIsKeptWhereTheArgumentsAreRefused) {
    Exact<wchar16> text(Units{'a'});
    Exact<char> target(1);
    int used = 7;
    ExpectRefused(WideCharToMultiByte(1252, 0, text.get(), 0, target.get(), 1, nullptr, &used), 87);
    ExpectRefused(WideCharToMultiByte(12345, 0, text.get(), 1, target.get(), 1, nullptr, &used), 87);
    ExpectRefused(WideCharToMultiByte(1252, 1, text.get(), 1, target.get(), 1, nullptr, &used), 1004);
    ExpectRefused(WideCharToMultiByte(65001, 0, text.get(), 1, target.get(), 1, nullptr, &used), 87);
    EXPECT_EQ(used, 7);
}

TEST(CodePages, UsedDefaultTellsOfThePartThatWasConvertedWhereTheTargetIsTooSmall) {
    Exact<char> target(1);
    Exact<wchar16> mapped(Units{'a', 'b'});
    int used = 7;
    ExpectRefused(WideCharToMultiByte(1252, 0, mapped.get(), 2, target.get(), 1, nullptr, &used), 122);
    EXPECT_EQ(used, 0);
    Exact<wchar16> unmapped(Units{0x4E00, 'b'});
    ExpectRefused(WideCharToMultiByte(1252, 0, unmapped.get(), 2, target.get(), 1, nullptr, &used), 122);
    EXPECT_EQ(used, 1);
}

// Arguments and sizes

TEST(CodePages, DecodingRefusesBadArguments) {
    Exact<char> text("ab"sv);
    Exact<wchar16> target(2, 0x7E7E);
    for (const unsigned page : {0U, 1252U, 932U, 65001U}) {
        ExpectRefused(MultiByteToWideChar(page, 0, text.get(), 0, target.get(), 2), 87);
        ExpectRefused(MultiByteToWideChar(page, 0, nullptr, 2, target.get(), 2), 87);
        ExpectRefused(MultiByteToWideChar(page, 0, nullptr, -1, target.get(), 2), 87);
        ExpectRefused(MultiByteToWideChar(page, 0, text.get(), 2, nullptr, 2), 87);
        ExpectRefused(MultiByteToWideChar(page, 0, text.get(), 2, target.get(), -1), 87);
        ExpectRefused(MultiByteToWideChar(page, 0, text.get(), 2, nullptr, -1), 87);
        ExpectRefused(MultiByteToWideChar(page, 8, text.get(), 2, target.get(), 2), 1004);
    }
    for (const unsigned page : {65535U, 12345U, 437U, 1251U, 0xFFFFFFFFU, 0x10000U + 1252U}) {
        ExpectRefused(MultiByteToWideChar(page, 0, text.get(), 2, target.get(), 2), 87);
        ExpectRefused(MultiByteToWideChar(page, 8, text.get(), 2, target.get(), 2), 87);
    }
    EXPECT_EQ(target.To<Units>(2), (Units{0x7E7E, 0x7E7E}));
}

TEST(CodePages, EncodingRefusesBadArguments) {
    Exact<wchar16> text(Units{'a', 'b'});
    Exact<char> target(2, '~');
    for (const unsigned page : {0U, 1252U, 932U, 65001U}) {
        ExpectRefused(WideCharToMultiByte(page, 0, text.get(), 0, target.get(), 2, nullptr, nullptr), 87);
        ExpectRefused(WideCharToMultiByte(page, 0, nullptr, 2, target.get(), 2, nullptr, nullptr), 87);
        ExpectRefused(WideCharToMultiByte(page, 0, nullptr, -1, target.get(), 2, nullptr, nullptr), 87);
        ExpectRefused(WideCharToMultiByte(page, 0, text.get(), 2, nullptr, 2, nullptr, nullptr), 87);
        ExpectRefused(WideCharToMultiByte(page, 0, text.get(), 2, target.get(), -1, nullptr, nullptr), 87);
        ExpectRefused(WideCharToMultiByte(page, 0, text.get(), 2, nullptr, -1, nullptr, nullptr), 87);
        ExpectRefused(WideCharToMultiByte(page, 0x400, text.get(), 2, target.get(), 2, nullptr, nullptr),
                      1004);
    }
    for (const unsigned page : {65535U, 12345U, 437U, 1251U, 0xFFFFFFFFU, 0x10000U + 1252U}) {
        ExpectRefused(WideCharToMultiByte(page, 0, text.get(), 2, target.get(), 2, nullptr, nullptr), 87);
        ExpectRefused(WideCharToMultiByte(page, 1, text.get(), 2, target.get(), 2, nullptr, nullptr), 87);
    }
    EXPECT_EQ(target.To<std::string>(2), "~~");
}

TEST(CodePages, CapacityZeroAsksForTheSizeAndLeavesTheTargetAlone) {
    Exact<char> bytes("a\x81\x40\x81"sv);
    Exact<wchar16> units(1, 0x7E7E);
    EXPECT_EQ(MultiByteToWideChar(932, 0, bytes.get(), 4, nullptr, 0), 3);
    EXPECT_EQ(MultiByteToWideChar(932, 0, bytes.get(), 4, units.get(), 0), 3);
    EXPECT_EQ(*units.get(), 0x7E7E);

    Exact<wchar16> text(Units{'a', 0x3000, 0xD800});
    Exact<char> target(1, '~');
    EXPECT_EQ(WideCharToMultiByte(932, 0, text.get(), 3, nullptr, 0, nullptr, nullptr), 4);
    EXPECT_EQ(WideCharToMultiByte(932, 0, text.get(), 3, target.get(), 0, "\x81\x45", nullptr), 5);
    EXPECT_EQ(*target.get(), '~');
}

TEST(CodePages, ANegativeLengthStandsForTheTextWithItsTerminatingZero) {
    Exact<char> bytes("a\x81\0"sv);
    Exact<wchar16> units(3);
    for (const int length : {-1, -2, -7, INT_MIN}) {
        EXPECT_EQ(MultiByteToWideChar(932, 0, bytes.get(), length, nullptr, 0), 3);
        EXPECT_EQ(MultiByteToWideChar(932, 0, bytes.get(), length, units.get(), 3), 3);
        EXPECT_EQ(units.To<Units>(3), (Units{'a', 0x30FB, 0}));
    }
    Exact<wchar16> text(Units{'a', 0x3000, 0});
    Exact<char> target(4);
    for (const int length : {-1, -2, -7, INT_MIN}) {
        EXPECT_EQ(WideCharToMultiByte(932, 0, text.get(), length, nullptr, 0, nullptr, nullptr), 4);
        EXPECT_EQ(WideCharToMultiByte(932, 0, text.get(), length, target.get(), 4, nullptr, nullptr), 4);
        EXPECT_EQ(target.To<std::string>(4), "a\x81\x40\0"sv);
    }
    Exact<char> empty(1);
    EXPECT_EQ(MultiByteToWideChar(1252, 0, empty.get(), -1, units.get(), 3), 1);
    EXPECT_EQ(MultiByteToWideChar(65001, 0, empty.get(), -1, units.get(), 3), 1);
    Exact<wchar16> emptyUnits(1);
    EXPECT_EQ(WideCharToMultiByte(1252, 0, emptyUnits.get(), -1, target.get(), 4, nullptr, nullptr), 1);
    EXPECT_EQ(WideCharToMultiByte(65001, 0, emptyUnits.get(), -1, target.get(), 4, nullptr, nullptr), 1);
}

TEST(CodePages, AZeroInsideATextOfGivenLengthIsACharacterAndNoneIsAdded) {
    for (const unsigned page : CodePageSources::numbers) {
        EXPECT_EQ(Decoded(page, "\0"sv), Units{0}) << page;
        EXPECT_EQ(Decoded(page, "a\0b"sv), (Units{'a', 0, 'b'})) << page;
        EXPECT_EQ(Encoded(page, {0}), (EncodedText{std::string(1, '\0'), false})) << page;
        EXPECT_EQ(Encoded(page, {'a', 0, 'b'}), (EncodedText{std::string("a\0b"sv), false})) << page;
    }
}

TEST(CodePages, ATooSmallTargetForUnitsGetsWhatFits) {
    Exact<char> text("a\x81\x40z"sv);
    Exact<wchar16> target(2);
    ExpectRefused(MultiByteToWideChar(932, 0, text.get(), 4, target.get(), 2), 122);
    EXPECT_EQ(target.To<Units>(2), (Units{'a', 0x3000}));
    Exact<char> halved("\x81\0"sv);
    Exact<wchar16> one(1);
    ExpectRefused(MultiByteToWideChar(932, 0, halved.get(), 2, one.get(), 1), 122);
    EXPECT_EQ(*one.get(), 0x30FB);
}

TEST(CodePages, ATooSmallTargetForBytesGetsWhatFitsAndNeverHalfACharacter) {
    for (const unsigned page : doubleBytePages) {
        Exact<wchar16> text(Units{0x4E00, 'a'});
        Exact<char> one(1, '~');
        ExpectRefused(WideCharToMultiByte(page, 0, text.get(), 1, one.get(), 1, nullptr, nullptr), 122);
        EXPECT_EQ(*one.get(), '~');
        Exact<char> two(2, '~');
        ExpectRefused(WideCharToMultiByte(page, 0, text.get(), 2, two.get(), 2, nullptr, nullptr), 122);
        EXPECT_EQ(two.To<std::string>(2), Encoded(page, {0x4E00}).bytes);
    }
    Exact<wchar16> unmapped(Units{0xD800, 0xD800});
    Exact<char> three(3, '~');
    ExpectRefused(WideCharToMultiByte(932, 0, unmapped.get(), 2, three.get(), 3, "\x81\x40", nullptr), 122);
    EXPECT_EQ(three.To<std::string>(3), "\x81\x40~");
}

TEST(CodePages, ATargetThatIsLargerThanNeededKeepsTheRest) {
    Exact<char> text("a"sv);
    Exact<wchar16> target(3, 0x7E7E);
    EXPECT_EQ(MultiByteToWideChar(1252, 0, text.get(), 1, target.get(), 3), 1);
    EXPECT_EQ(target.To<Units>(3), (Units{'a', 0x7E7E, 0x7E7E}));
}

// Page 0, lead bytes

TEST(CodePages, PageZeroIs1252) {
    for (unsigned byte = 0; byte < 0x100; ++byte) {
        EXPECT_EQ(DecodedByte(0, byte), DecodedByte(1252, byte));
        EXPECT_FALSE(IsLead(0, byte));
    }
    for (unsigned unit = 0; unit < 0x10000; ++unit) {
        ASSERT_EQ(EncodedUnit(0, unit), EncodedUnit(1252, unit)) << std::hex << unit;
    }
}

TEST(CodePages, TheLeadBytesOfThePagesAreKnown) {
    SetLastError(untouched);
    for (unsigned byte = 0; byte < 0x100; ++byte) {
        EXPECT_EQ(IsLead(932, byte), (byte >= 0x81 && byte <= 0x9F) || (byte >= 0xE0 && byte <= 0xFC))
            << byte;
        for (const unsigned page : {936U, 949U, 950U}) {
            EXPECT_EQ(IsLead(page, byte), byte >= 0x81 && byte <= 0xFE) << page << " " << byte;
        }
        for (const unsigned page : singleBytePages) {
            EXPECT_FALSE(IsLead(page, byte)) << page << " " << byte;
        }
        EXPECT_FALSE(IsLead(65001, byte)) << byte;
    }
    EXPECT_EQ(GetLastError(), untouched);
}

TEST(CodePages, AnUnknownPageHasNoLeadBytes) {
    for (const unsigned page : {65535U, 12345U, 437U}) {
        SetLastError(untouched);
        EXPECT_FALSE(IsLead(page, 0x81));
        EXPECT_EQ(GetLastError(), 87U);
    }
}

// UTF-8

TEST(CodePages, WellFormedUTF8ConvertsBothWays) {
    const std::string bytes = "a\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xED\x9F\xBF\xEE\x80\x80\xEF\xBF\xBF"
                              "\xF0\x90\x80\x80\xF0\x9F\x98\x80\xF4\x8F\xBF\xBF";
    const Units units = {'a',    0x7F,   0x80,   0x7FF,  0x800,  0xD7FF, 0xE000,
                         0xFFFF, 0xD800, 0xDC00, 0xD83D, 0xDE00, 0xDBFF, 0xDFFF};
    EXPECT_EQ(Decoded(65001, bytes), units);
    EXPECT_EQ(EncodedUTF8(units), bytes);
    EXPECT_EQ(Decoded(65001, "\0a"sv), (Units{0, 'a'}));
    EXPECT_EQ(EncodedUTF8({0, 'a'}), "\0a"sv);
}

TEST(CodePages, EveryMaximalIllFormedPartOfUTF8BecomesAReplacementCharacter) {
    const std::pair<std::string_view, std::size_t> expected[] = {{"\x80", 1},     // a lone continuation byte
                                                                 {"\xC0\x80", 2}, // overlong
                                                                 {"\xC1\xBF", 2}, //
                                                                 {"\xE0\x80\x80", 3},     //
                                                                 {"\xF0\x80\x80\x80", 4}, //
                                                                 {"\xED\xA0\x80", 3},     // a surrogate
                                                                 {"\xF4\x90\x80\x80", 4}, // above U+10FFFF
                                                                 {"\xF5\x80\x80\x80", 4}, //
                                                                 {"\xF8\x88\x80\x80\x80", 5},
                                                                 {"\xFE", 1}, // no first byte at all
                                                                 {"\xFF", 1}, //
                                                                 {"\xC3", 1}, // cut off
                                                                 {"\xE4\xB8", 1},
                                                                 {"\xF0\x9F\x98", 1},
                                                                 {"\xF0\x9F", 1},
                                                                 {"\xE4\xB8\xE4\xB8", 2}};
    for (const auto& [bytes, count] : expected) {
        const Units replacements(count, 0xFFFD);
        EXPECT_EQ(Decoded(65001, bytes), replacements) << PrintedBytes(bytes);
        Units surrounded = replacements;
        surrounded.insert(surrounded.begin(), 'a');
        surrounded.push_back('z');
        EXPECT_EQ(Decoded(65001, "a" + std::string(bytes) + "z"), surrounded) << PrintedBytes(bytes);
    }
}

TEST(CodePages, EveryUnpairedSurrogateBecomesAReplacementCharacter) {
    EXPECT_EQ(EncodedUTF8({0xD800, 'a'}), "\xEF\xBF\xBD"
                                          "a");
    EXPECT_EQ(EncodedUTF8({'a', 0xD800}), "a\xEF\xBF\xBD");
    EXPECT_EQ(EncodedUTF8({0xDC00, 0xD800, 0xD800, 0xDC00}), "\xEF\xBF\xBD\xEF\xBF\xBD\xF0\x90\x80\x80");
}

TEST(CodePages, LongUTF8TextsAreCountedAndConverted) {
    std::string bytes;
    Units units;
    for (unsigned i = 0; i < 1000; ++i) {
        bytes += "a\xE4\xB8\x80\xFF\xF0\x9F\x98\x80";
        units.insert(units.end(), {'a', 0x4E00, 0xFFFD, 0xD83D, 0xDE00});
    }
    EXPECT_EQ(Decoded(65001, bytes), units);
    for (std::size_t at = bytes.find('\xFF'); at != std::string::npos; at = bytes.find('\xFF', at)) {
        bytes.replace(at, 1, "\xEF\xBF\xBD");
    }
    EXPECT_EQ(EncodedUTF8(units), bytes);
}

TEST(CodePages, UTF8RefusesADefaultCharacterAndAPlaceForItsUse) {
    Exact<wchar16> text(Units{'a'});
    Exact<char> target(1, '~');
    int used = 7;
    ExpectRefused(WideCharToMultiByte(65001, 0, text.get(), 1, target.get(), 1, "?", nullptr), 87);
    ExpectRefused(WideCharToMultiByte(65001, 0, text.get(), 1, target.get(), 1, nullptr, &used), 87);
    EXPECT_EQ(used, 7);
    EXPECT_EQ(*target.get(), '~');
}

TEST(CodePages, ATooSmallTargetForUTF8GetsWholeCharacters) {
    Exact<char> bytes("a\xF0\x9F\x98\x80"sv);
    Exact<wchar16> units(2, 0x7E7E);
    ExpectRefused(MultiByteToWideChar(65001, 0, bytes.get(), 5, units.get(), 2), 122);
    EXPECT_EQ(units.To<Units>(2), (Units{'a', 0x7E7E}));
    Exact<char> illFormed("a\xFF"sv);
    Exact<wchar16> one(1);
    ExpectRefused(MultiByteToWideChar(65001, 0, illFormed.get(), 2, one.get(), 1), 122);
    EXPECT_EQ(*one.get(), 'a');

    Exact<wchar16> text(Units{'a', 0x4E00, 0xD800});
    Exact<char> target(6, '~');
    ExpectRefused(WideCharToMultiByte(65001, 0, text.get(), 3, target.get(), 6, nullptr, nullptr), 122);
    EXPECT_EQ(target.To<std::string>(6), "a\xE4\xB8\x80~~");
}

// The multi-byte code page and Shift-JIS to JIS

TEST(CodePages, TheMultiByteCodePageIsZeroAtFirstAndHeldPerThread) {
    ASSERT_EQ(_setmbcp(932), 0);
    EXPECT_EQ(_getmbcp(), 932);
    std::thread([] {
        EXPECT_EQ(_getmbcp(), 0);
        EXPECT_EQ(_mbcjmstojis(0x8140), 0x8140U);
        EXPECT_EQ(_setmbcp(1252), 0);
        EXPECT_EQ(_getmbcp(), 1252);
    }).join();
    EXPECT_EQ(_getmbcp(), 932);
    EXPECT_EQ(_setmbcp(0), 0);
    EXPECT_EQ(_getmbcp(), 0);
}

TEST(CodePages, AnUnknownMultiByteCodePageIsRefused) {
    ASSERT_EQ(_setmbcp(936), 0);
    for (const int page : {-1, 12345, 65535, INT_MIN}) {
        EXPECT_EQ(_setmbcp(page), -1) << page;
        EXPECT_EQ(_getmbcp(), 936) << page;
    }
    EXPECT_EQ(_setmbcp(65001), 0);
    EXPECT_EQ(_setmbcp(0), 0);
}

TEST(CodePages, EveryShiftJISCharacterBecomesJISAsInTheDump) {
    const CodePageSources::ShiftJisToJis source = CodePageSources::ReadShiftJisToJis();
    ASSERT_EQ(_setmbcp(932), 0);
    for (unsigned character = 0; character < 0x10000; ++character) {
        ASSERT_EQ(_mbcjmstojis(character), source.jis[character]) << std::hex << character;
    }
    EXPECT_EQ(_setmbcp(0), 0);
}

TEST(CodePages, ShiftJISConvertsToEveryCellOfJIS) {
    ASSERT_EQ(_setmbcp(932), 0);
    std::set<unsigned> cells;
    for (unsigned character = 0; character < 0x10000; ++character) {
        if (const unsigned jis = _mbcjmstojis(character); jis != 0) {
            EXPECT_TRUE(cells.insert(jis).second) << std::hex << character;
            EXPECT_TRUE(jis >> 8 >= 0x21 && jis >> 8 <= 0x7E && (jis & 0xFF) >= 0x21 && (jis & 0xFF) <= 0x7E);
        }
    }
    EXPECT_EQ(cells.size(), 8836U);
    const std::map<unsigned, unsigned> expected = Mappings(
        "8140>2121 817E>215F 8180>2160 819E>217E 819F>2221 81FC>227E 9FFC>5E7E E040>5F21 EFFC>7E7E "
        "889F>3021 8540>2921 EB40>7521 F040>0 FCFC>0 A1>0 41>0 813F>0 817F>0 81FD>0 8040>0 A040>0 0>0");
    for (const auto& [character, jis] : expected) {
        EXPECT_EQ(_mbcjmstojis(character), jis) << std::hex << character;
    }
    EXPECT_EQ(_mbcjmstojis(0x18140), 0x2121U);
    EXPECT_EQ(_setmbcp(0), 0);
}

TEST(CodePages, ShiftJISComesBackUnchangedWithAnotherMultiByteCodePage) {
    for (const int page : {0, 1252, 936, 949, 950, 65001}) {
        ASSERT_EQ(_setmbcp(page), 0);
        for (unsigned character = 0; character < 0x10000; ++character) {
            ASSERT_EQ(_mbcjmstojis(character), character) << page;
        }
    }
    EXPECT_EQ(_setmbcp(0), 0);
}

// Threads

TEST(CodePages, EightThreadsMayStartUsingAPageAtOnce) {
    constexpr std::size_t threadCount = 8;
    Units units(0x10000);
    std::iota(units.begin(), units.end(), wchar16{0});
    std::barrier start(static_cast<std::ptrdiff_t>(threadCount));
    std::vector<std::map<unsigned, EncodedText>> answers(threadCount);
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < threadCount; ++i) {
        threads.emplace_back([&, i] {
            for (const unsigned page : CodePageSources::numbers) {
                start.arrive_and_wait();
                answers[i][page] = Encoded(page, units);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (const unsigned page : CodePageSources::numbers) {
        for (std::size_t i = 0; i < threadCount; ++i) {
            EXPECT_TRUE(answers[i][page] == Encoded(page, units)) << page << " " << i;
        }
    }
}
