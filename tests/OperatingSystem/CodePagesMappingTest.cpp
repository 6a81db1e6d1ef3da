#include "OperatingSystem/CodePages.h"

#include "OperatingSystem/CodePageCalls.h"
#include "OperatingSystem/CodePageSources.h"

#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <map>
#include <numeric>
#include <optional>
#include <set>
#include <string>
#include <utility>

namespace {

using namespace CodePageCalls;
using namespace std::string_view_literals;

wchar16 DefaultUnit(unsigned page) {
    return page == 932 ? 0x30FB : 0x3F;
}

// The unit of a pair whose second byte is not zero.
wchar16 DecodedPair(unsigned page, unsigned pair) {
    const Units units = Decoded(page, BytesOf(pair));
    EXPECT_EQ(units.size(), 1U) << page << " " << pair;
    return units.at(0);
}

// Whether the pair has a character: an undefined one gives the default unit, which has a pair of its own in
// 932.
bool IsDefined(unsigned page, unsigned pair) {
    const wchar16 unit = DecodedPair(page, pair);
    return unit != DefaultUnit(page) || EncodedUnit(page, unit) == static_cast<int>(pair);
}

bool IsTrail(unsigned page, unsigned byte) {
    const auto within = [byte](unsigned first, unsigned last) {
        return byte >= first && byte <= last;
    };
    switch (page) {
    case 932:
        return within(0x40, 0x7E) || within(0x80, 0xFC);
    case 936:
        return within(0x40, 0x7E) || within(0x80, 0xFE);
    case 949:
        return within(0x41, 0x5A) || within(0x61, 0x7A) || within(0x81, 0xFE);
    default:
        return within(0x40, 0x7E) || within(0xA1, 0xFE);
    }
}

void ForEachPair(unsigned page, const std::function<void(unsigned pair)>& take) {
    for (unsigned lead = 0x81; lead < 0xFF; ++lead) {
        for (unsigned second = 1; IsLead(page, lead) && second < 0x100; ++second) {
            take(lead * 0x100 + second);
        }
    }
}

// Every pair from `first` to `last` whose second byte is within one of two ranges stands for the next unit
// from `unit` on, both ways. Returns the number of pairs.
unsigned ExpectConsecutive(unsigned page, unsigned first, unsigned last, unsigned unit, unsigned firstTrail,
                           unsigned lastOfLower, unsigned firstOfUpper, unsigned lastTrail) {
    unsigned count = 0;
    for (unsigned pair = first; pair <= last; ++pair) {
        const unsigned trail = pair & 0xFF;
        if (trail < firstTrail || (trail > lastOfLower && trail < firstOfUpper) || trail > lastTrail) {
            continue;
        }
        EXPECT_EQ(DecodedPair(page, pair), unit + count) << page << " " << std::hex << pair;
        EXPECT_EQ(EncodedUnit(page, unit + count), static_cast<int>(pair)) << page;
        ++count;
    }
    return count;
}

void ExpectEncoded(unsigned page, const std::string& mappings) {
    for (const auto& [unit, bytes] : Mappings(mappings)) {
        EXPECT_EQ(EncodedUnit(page, unit), static_cast<int>(bytes)) << page << " " << std::hex << unit;
    }
}

void ExpectDecoded(unsigned page, const std::string& mappings) {
    for (const auto& [bytes, unit] : Mappings(mappings)) {
        EXPECT_EQ(Decoded(page, BytesOf(bytes)), Units{static_cast<wchar16>(unit)})
            << page << " " << std::hex << bytes;
    }
}

} // namespace

// The whole data against the dumps

TEST(CodePages, TheLeadBytesAreThoseOfTheDumps) {
    for (const unsigned number : CodePageSources::numbers) {
        const CodePageSources::CodePage& source = CodePageSources::Get(number);
        for (unsigned byte = 0; byte < 0x100; ++byte) {
            ASSERT_EQ(IsLead(number, byte), source.isLeadByte[byte]) << number << " " << byte;
        }
    }
}

TEST(CodePages, EveryByteDecodesAsInTheDumps) {
    for (const unsigned number : CodePageSources::numbers) {
        const CodePageSources::CodePage& source = CodePageSources::Get(number);
        for (unsigned byte = 0; byte < 0x100; ++byte) {
            ASSERT_EQ(DecodedByte(number, byte), source.byteUnits[byte]) << number << " " << std::hex << byte;
        }
    }
}

TEST(CodePages, EveryPairDecodesAsInTheDumps) {
    for (const unsigned number : CodePageSources::numbers) {
        const CodePageSources::CodePage& source = CodePageSources::Get(number);
        for (unsigned pair = 0; pair < 0x10000; ++pair) {
            const CodePageSources::PairUnits& expected = source.pairs[pair];
            if (expected.count == 0) {
                continue;
            }
            const std::string bytes = {static_cast<char>(pair >> 8), static_cast<char>(pair & 0xFF)};
            const Units units(expected.units.begin(), expected.units.begin() + expected.count);
            ASSERT_EQ(Decoded(number, bytes), units) << number << " " << std::hex << pair;
        }
    }
}

TEST(CodePages, EveryPairInsideALongerTextDecodesAsInTheDumps) {
    for (const unsigned number : CodePageSources::numbers) {
        const CodePageSources::CodePage& source = CodePageSources::Get(number);
        std::string all;
        Units allUnits;
        for (unsigned pair = 0; pair < 0x10000; ++pair) {
            const CodePageSources::PairUnits& expected = source.pairs[pair];
            if (expected.count == 0) {
                continue;
            }
            const std::string bytes = {static_cast<char>(pair >> 8), static_cast<char>(pair & 0xFF)};
            Units units = {'a'};
            units.insert(units.end(), expected.units.begin(), expected.units.begin() + expected.count);
            all += "a" + bytes;
            allUnits.insert(allUnits.end(), units.begin(), units.end());
            units.push_back('z');
            ASSERT_EQ(Decoded(number, "a" + bytes + "z"), units) << number << " " << std::hex << pair;
        }
        all += "z";
        allUnits.push_back('z');
        ASSERT_TRUE(Decoded(number, all) == allUnits) << number;
    }
}

TEST(CodePages, EveryUnitEncodesAsInTheDumps) {
    Units allUnits(0x10000);
    std::iota(allUnits.begin(), allUnits.end(), wchar16{0});
    for (const unsigned number : CodePageSources::numbers) {
        const CodePageSources::CodePage& source = CodePageSources::Get(number);
        std::string all;
        for (unsigned unit = 0; unit < 0x10000; ++unit) {
            const std::optional<std::uint16_t>& bytes = source.encoded[unit];
            const EncodedText expected = {BytesOf(bytes.value_or('?')), !bytes.has_value()};
            ASSERT_EQ(Encoded(number, {static_cast<wchar16>(unit)}, "?"), expected)
                << number << " " << std::hex << unit;
            all += expected.bytes;
        }
        ASSERT_TRUE((Encoded(number, allUnits) == EncodedText{all, true})) << number;
    }
}

TEST(CodePages, EveryUnmappedUnitGivesADefaultOfTheCaller) {
    for (const unsigned number : CodePageSources::numbers) {
        const CodePageSources::CodePage& source = CodePageSources::Get(number);
        for (unsigned unit = 0; unit < 0x10000; ++unit) {
            const std::optional<std::uint16_t>& bytes = source.encoded[unit];
            const EncodedText expected = {BytesOf(bytes.value_or('X')), !bytes.has_value()};
            ASSERT_EQ(Encoded(number, {static_cast<wchar16>(unit)}, "X"), expected)
                << number << " " << std::hex << unit;
        }
    }
}

// Bytes to units

TEST(CodePages, EveryPageDecodesASCIIAsItself) {
    for (const unsigned page : CodePageSources::numbers) {
        for (unsigned byte = 0; byte < 0x80; ++byte) {
            EXPECT_EQ(DecodedByte(page, byte), byte) << page;
        }
    }
}

TEST(CodePages, EveryByteOfASingleBytePageHasAUnitOfItsOwn) {
    for (const unsigned page : singleBytePages) {
        std::set<wchar16> units;
        for (unsigned byte = 0; byte < 0x100; ++byte) {
            units.insert(DecodedByte(page, byte));
        }
        EXPECT_EQ(units.size(), 0x100U) << page;
    }
}

TEST(CodePages, BytesWithoutCharacterDecodeToTheC1UnitOfTheSameValue) {
    const std::map<unsigned, std::set<unsigned>> expected = {
        {1252, {0x81, 0x8D, 0x8F, 0x90, 0x9D}},
        {1250, {0x81, 0x83, 0x88, 0x90, 0x98}},
        {1254, {0x81, 0x8D, 0x8E, 0x8F, 0x90, 0x9D, 0x9E}},
        {1256, {}},
        {1253, {0x81, 0x88, 0x8A, 0x8C, 0x8D, 0x8E, 0x8F, 0x90, 0x98, 0x9A, 0x9C, 0x9D, 0x9E, 0x9F}},
        {1257, {0x81, 0x83, 0x88, 0x8A, 0x8C, 0x90, 0x98, 0x9A, 0x9C, 0x9F}},
        {1255, {0x81, 0x8A, 0x8C, 0x8D, 0x8E, 0x8F, 0x90, 0x9A, 0x9C, 0x9D, 0x9E, 0x9F}},
        {874, {0x81, 0x82, 0x83, 0x84, 0x86, 0x87, 0x88, 0x89, 0x8A, 0x8B, 0x8C, 0x8D,
               0x8E, 0x8F, 0x90, 0x98, 0x99, 0x9A, 0x9B, 0x9C, 0x9D, 0x9E, 0x9F}},
        {20866, {}}};
    for (const auto& [page, bytes] : expected) {
        std::set<unsigned> identical;
        for (unsigned byte = 0x80; byte < 0xA0; ++byte) {
            if (DecodedByte(page, byte) == byte) {
                identical.insert(byte);
            }
        }
        EXPECT_EQ(identical, bytes) << page;
    }
}

TEST(CodePages, SomeBytesOfSingleBytePagesDecodeToPrivateUseUnits) {
    ExpectDecoded(1253, "AA>F8F9 D2>F8FA FF>F8FB");
    ExpectDecoded(1257, "A1>F8FC A5>F8FD");
    ExpectDecoded(1255, "D9>F88D DA>F88E DB>F88F DC>F890 DD>F891 DE>F892 DF>F893 FB>F894 FC>F895 FF>F896");
    ExpectDecoded(874, "DB>F8C1 DC>F8C2 DD>F8C3 DE>F8C4 FC>F8C5 FD>F8C6 FE>F8C7 FF>F8C8");
    ExpectDecoded(1255, "CA>05BA A4>20AA D4>05F0 D5>05F1 D6>05F2 D7>05F3 D8>05F4");
}

TEST(CodePages, SingleBytesOfDoubleBytePagesDecodeAsKnown) {
    ExpectDecoded(932, "80>0080 A0>F8F0 FD>F8F1 FE>F8F2 FF>F8F3");
    for (unsigned byte = 0xA1; byte <= 0xDF; ++byte) {
        EXPECT_EQ(DecodedByte(932, byte), 0xFF61 + byte - 0xA1);
    }
    ExpectDecoded(936, "80>20AC FF>F8F5");
    ExpectDecoded(949, "80>0080 FF>F8F7");
    ExpectDecoded(950, "80>0080 FF>F8F8");
}

TEST(CodePages, ALeadByteFollowedByZeroGivesTheDefaultUnitAndTheZero) {
    for (const unsigned page : doubleBytePages) {
        EXPECT_EQ(Decoded(page, "\x81\0"sv), (Units{DefaultUnit(page), 0}));
        EXPECT_EQ(Decoded(page, "\x81\0x"sv), (Units{DefaultUnit(page), 0, 'x'}));
    }
}

TEST(CodePages, ALeadByteAtTheEndGivesTheDefaultUnit) {
    for (const unsigned page : doubleBytePages) {
        EXPECT_EQ(Decoded(page, "\x81"), Units{DefaultUnit(page)});
        EXPECT_EQ(Decoded(page, "a\x81"), (Units{'a', DefaultUnit(page)}));
    }
}

TEST(CodePages, ASecondByteThatIsNoTrailByteIsConsumedAllTheSame) {
    EXPECT_EQ(Decoded(932, "\x81\x20\x78"), (Units{0x30FB, 0x78}));
    EXPECT_EQ(Decoded(936, "\x81\x20\x78"), (Units{0x3F, 0x78}));
    EXPECT_EQ(Decoded(949, "\x81\xFF\x78"), (Units{0x3F, 0x78}));
    EXPECT_EQ(Decoded(950, "\x81\x81\x40"), (Units{0x3F, 0x40}));
}

TEST(CodePages, TheNumbersOfDefinedAndUndefinedPairsAreKnown) {
    const std::map<unsigned, std::array<unsigned, 3>> expected = {{932, {9604, 5696, 1676}},
                                                                  {936, {23940, 8190, 0}},
                                                                  {949, {17236, 14894, 5192}},
                                                                  {950, {19720, 12410, 62}}};
    for (const auto& [page, counts] : expected) {
        unsigned defined = 0;
        unsigned undefined = 0;
        unsigned undefinedWithTrail = 0;
        std::set<unsigned> undefinedLeads;
        ForEachPair(page, [&, number = page](unsigned pair) {
            const bool isTrail = IsTrail(number, pair & 0xFF);
            if (IsDefined(number, pair)) {
                ++defined;
                EXPECT_TRUE(isTrail) << number << " " << std::hex << pair;
                return;
            }
            ++undefined;
            if (isTrail) {
                ++undefinedWithTrail;
                undefinedLeads.insert(pair >> 8);
                EXPECT_TRUE(number != 950 || (pair >= 0xA3C0 && pair <= 0xA3FE && pair != 0xA3E1))
                    << std::hex << pair;
            }
        });
        EXPECT_EQ(defined, counts[0]) << page;
        EXPECT_EQ(undefined, counts[1]) << page;
        EXPECT_EQ(undefinedWithTrail, counts[2]) << page;
        if (page == 932) {
            EXPECT_EQ(undefinedLeads, (std::set<unsigned>{0x81, 0x82, 0x83, 0x84, 0x85, 0x86, 0x87, 0x88,
                                                          0x98, 0xEA, 0xEB, 0xEC, 0xEE, 0xEF, 0xFC}));
        }
    }
}

TEST(CodePages, EndUserDefinedPairsMapBothWaysInOrder) {
    EXPECT_EQ(ExpectConsecutive(932, 0xF040, 0xF9FC, 0xE000, 0x40, 0x7E, 0x80, 0xFC), 1880U);
    EXPECT_EQ(ExpectConsecutive(936, 0xAAA1, 0xAFFE, 0xE000, 0xA1, 0xFE, 0xA1, 0xFE), 0x234U);
    EXPECT_EQ(ExpectConsecutive(936, 0xF8A1, 0xFEFE, 0xE234, 0xA1, 0xFE, 0xA1, 0xFE), 0x292U);
    EXPECT_EQ(ExpectConsecutive(936, 0xA140, 0xA7A0, 0xE4C6, 0x40, 0x7E, 0x80, 0xA0), 0x2A0U);
    EXPECT_EQ(ExpectConsecutive(949, 0xC9A1, 0xC9FE, 0xE000, 0xA1, 0xFE, 0xA1, 0xFE), 94U);
    EXPECT_EQ(ExpectConsecutive(949, 0xFEA1, 0xFEFE, 0xE05E, 0xA1, 0xFE, 0xA1, 0xFE), 94U);
    EXPECT_EQ(ExpectConsecutive(950, 0xFA40, 0xFEFE, 0xE000, 0x40, 0x7E, 0xA1, 0xFE), 0x311U);
    EXPECT_EQ(ExpectConsecutive(950, 0x8E40, 0xA0FE, 0xE311, 0x40, 0x7E, 0xA1, 0xFE), 0xBA7U);
    EXPECT_EQ(ExpectConsecutive(950, 0x8140, 0x8DFE, 0xEEB8, 0x40, 0x7E, 0xA1, 0xFE), 0x7F9U);
    EXPECT_EQ(ExpectConsecutive(950, 0xC6A1, 0xC8FE, 0xF6B1, 0x40, 0x7E, 0xA1, 0xFE), 0x198U);
}

TEST(CodePages, TheFreeCellsOf936MapToPrivateUseUnitsBothWays) {
    unsigned previous = 0;
    for (unsigned unit = 0xE766; unit <= 0xE864; ++unit) {
        const int pair = EncodedUnit(936, unit);
        ASSERT_GT(pair, static_cast<int>(previous)) << std::hex << unit;
        previous = static_cast<unsigned>(pair);
        EXPECT_EQ(DecodedPair(936, previous), unit);
    }
    EXPECT_EQ(EncodedUnit(936, 0xE766), 0xA2AB);
    EXPECT_EQ(EncodedUnit(936, 0xE864), 0xFEA0);
}

TEST(CodePages, TheNumbersOfPrivateUsePairsAreKnown) {
    const std::map<unsigned, unsigned> expected = {{932, 1880}, {936, 2149}, {949, 188}, {950, 6217}};
    for (const auto& [page, count] : expected) {
        unsigned found = 0;
        ForEachPair(page, [&, number = page](unsigned pair) {
            const wchar16 unit = DecodedPair(number, pair);
            found += unit >= 0xE000 && unit <= 0xF8FF;
        });
        EXPECT_EQ(found, count) << page;
    }
}

TEST(CodePages, TheDefaultUnitIsAKatakanaMiddleDotIn932AndAQuestionMarkElsewhere) {
    EXPECT_EQ(DecodedPair(932, 0x8540), 0x30FB);
    EXPECT_EQ(DecodedPair(936, 0x8120), 0x003F);
    EXPECT_EQ(DecodedPair(949, 0x815B), 0x003F);
    EXPECT_EQ(DecodedPair(950, 0xA3C0), 0x003F);
}

// Units to bytes

TEST(CodePages, TheNumbersOfMappedUnitsAreKnown) {
    struct Counts {
        unsigned mapped, roundTrip, toOneByte, toTwoBytes, tableLength;
    };
    const std::map<unsigned, Counts> expected = {
        {1252, {697, 256, 441, 0, 65375}},     {1250, {691, 256, 435, 0, 65375}},
        {1257, {349, 256, 93, 0, 65375}},      {1256, {543, 256, 287, 0, 65375}},
        {1253, {621, 256, 365, 0, 65375}},     {1255, {351, 256, 95, 0, 65375}},
        {1254, {693, 256, 437, 0, 65375}},     {932, {9485, 9402, 73, 10, 65510}},
        {949, {17760, 17366, 55, 339, 65511}}, {20866, {521, 256, 265, 0, 9836}},
        {936, {24482, 24070, 14, 398, 65510}}, {950, {20320, 19840, 72, 408, 65510}},
        {874, {393, 256, 137, 0, 65375}}};
    for (const auto& [page, wanted] : expected) {
        Counts found = {};
        for (unsigned unit = 0; unit < 0x10000; ++unit) {
            const int bytes = EncodedUnit(page, unit);
            if (bytes < 0) {
                continue;
            }
            ++found.mapped;
            found.tableLength = unit + 1;
            const bool isRoundTrip =
                Decoded(page, BytesOf(static_cast<unsigned>(bytes))) == Units{static_cast<wchar16>(unit)};
            ++(isRoundTrip ? found.roundTrip : bytes > 0xFF ? found.toTwoBytes : found.toOneByte);
        }
        EXPECT_EQ(found.mapped, wanted.mapped) << page;
        EXPECT_EQ(found.roundTrip, wanted.roundTrip) << page;
        EXPECT_EQ(found.toOneByte, wanted.toOneByte) << page;
        EXPECT_EQ(found.toTwoBytes, wanted.toTwoBytes) << page;
        EXPECT_EQ(found.tableLength, wanted.tableLength) << page;
    }
}

TEST(CodePages, BestFitIsNoUseOfTheDefault) {
    EXPECT_EQ(Encoded(1252, {0x0100, 0x221E, 0xFF21}), (EncodedText{"A8A", false}));
    EXPECT_EQ(Encoded(1252, {0x0301}), (EncodedText{"\xB4", false}));
    EXPECT_EQ(Encoded(1252, {'e', 0x0301}), (EncodedText{"e\xB4", false}));
    ExpectEncoded(20866, "263A>01 2665>03 2192>1A 00A7>15 00B6>14 25D9>0A 266A>0D");
    ExpectEncoded(874, "263A>01 2665>03 2192>1A 00A7>15 00B6>14 25D9>0A 266A>0D");
    ExpectEncoded(1256, "0660>30 0661>31 0662>32 0663>33 0664>34 0665>35 0666>36 0667>37 0668>38 0669>39");
}

TEST(CodePages, FullwidthFormsOtherThanTheQuestionMarkBecomeASCIIInSingleByteWindowsPages) {
    for (const unsigned page : singleBytePages) {
        for (unsigned unit = 0xFF01; unit <= 0xFF5E; ++unit) {
            const int ascii = static_cast<int>(unit - 0xFF01 + 0x21);
            EXPECT_EQ(EncodedUnit(page, unit), page == 20866 || ascii == '?' ? -1 : ascii) << page;
        }
    }
}

TEST(CodePages, WhatTheBestFitTablesTakeToTheQuestionMarkCountsAsUnmapped) {
    for (const unsigned page : {1250U, 1252U, 1253U, 1254U, 1255U, 1256U, 1257U, 874U}) {
        EXPECT_EQ(Encoded(page, {0xFF1F}, "?"), (EncodedText{"?", true})) << page;
        EXPECT_EQ(Encoded(page, {0xFF1F}, "X"), (EncodedText{"X", true})) << page;
    }
    for (const unsigned page : {1250U, 932U, 950U}) {
        EXPECT_EQ(Encoded(page, {0x00BF}, "?"), (EncodedText{"?", true})) << page;
    }
}

TEST(CodePages, TheBestFitOf932IsComplete) {
    const std::map<unsigned, unsigned> expected = Mappings(
        "00A1>21 00A2>8191 00A3>8192 00A5>5C 00A6>7C 00A9>63 00AA>61 00AB>81E1 00AC>81CA 00AD>2D "
        "00AE>52 00AF>8150 00B2>32 00B3>33 00B5>83CA 00B7>8145 00B8>8143 00B9>31 00BA>6F 00BB>81E2 "
        "00C0-00C6>41 00C7>43 00C8-00CB>45 00CC-00CF>49 00D0>44 00D1>4E 00D2-00D6>4F 00D8>4F "
        "00D9-00DC>55 00DD>59 00DE>54 00DF>73 00E0-00E6>61 00E7>63 00E8-00EB>65 00EC-00EF>69 00F0>64 "
        "00F1>6E 00F2-00F6>6F 00F8>6F 00F9-00FC>75 00FD>79 00FE>74 00FF>79 3094>8394");
    std::map<unsigned, unsigned> found;
    for (unsigned unit = 0; unit < 0x10000; ++unit) {
        const int bytes = EncodedUnit(932, unit);
        if (bytes >= 0 && Decoded(932, BytesOf(static_cast<unsigned>(bytes))).at(0) != unit) {
            found[unit] = static_cast<unsigned>(bytes);
        }
    }
    EXPECT_EQ(found, expected);
}

TEST(CodePages, LookAlikesOfWindowsCharactersAreUnmappedIn932) {
    for (const unsigned unit : {0x203EU, 0x301CU, 0x2212U, 0x2014U, 0x2016U, 0x20ACU}) {
        EXPECT_EQ(EncodedUnit(932, unit), -1) << std::hex << unit;
    }
    ExpectEncoded(932, "FF5E>8160 FF0D>817C 2015>815C 2225>8161 30FB>8145 0080>80 005C>5C 007E>7E");
}

TEST(CodePages, TheEuroSignAndU0080AreEncodedAsKnown) {
    ExpectEncoded(936, "20AC>80");
    ExpectEncoded(949, "20AC>A2E6 0080>80");
    ExpectEncoded(950, "20AC>A3E1 0080>80");
    EXPECT_EQ(EncodedUnit(936, 0x0080), -1);
    EXPECT_EQ(EncodedUnit(936, 0x30FB), -1);
}

TEST(CodePages, SurrogatesAndNonCharactersAreUnmapped) {
    for (const unsigned page : CodePageSources::numbers) {
        for (unsigned unit = 0xD800; unit <= 0xDFFF; ++unit) {
            ASSERT_EQ(EncodedUnit(page, unit), -1) << page;
        }
        EXPECT_EQ(Encoded(page, {0xD83D, 0xDE00}), (EncodedText{"??", true})) << page;
        for (const unsigned unit : {0xFFFDU, 0xFFFEU, 0xFFFFU}) {
            EXPECT_EQ(EncodedUnit(page, unit), -1) << page;
        }
    }
}

TEST(CodePages, EveryUnitThatDecodingGivesEncodesBack) {
    for (const unsigned page : CodePageSources::numbers) {
        for (unsigned byte = 0; byte < 0x100; ++byte) {
            if (!IsLead(page, byte)) {
                EXPECT_EQ(EncodedUnit(page, DecodedByte(page, byte)), static_cast<int>(byte)) << page;
            }
        }
        ForEachPair(page, [&](unsigned pair) {
            const wchar16 unit = DecodedPair(page, pair);
            const EncodedText back = Encoded(page, {unit});
            ASSERT_FALSE(back.usedDefault) << page << " " << std::hex << pair;
            ASSERT_EQ(Decoded(page, back.bytes), Units{unit}) << page << " " << std::hex << pair;
        });
    }
}

TEST(CodePages, AmongDuplicatesTheWindowsChoiceIsEncoded) {
    ExpectEncoded(932,
                  "222A>81BE 2229>81BF 2220>81DA 22A5>81DB 2261>81DF 2252>81E0 221A>81E3 222B>81E7 2235>81E6 "
                  "FFE2>81CA 2116>8782 2121>8784 3231>878A FFE4>FA55 FF07>FA56");
    ExpectDecoded(932,
                  "879C>222A 879B>2229 8797>2220 8796>22A5 8791>2261 8790>2252 8795>221A 8792>222B 879A>2235 "
                  "FA5B>2235 EEF9>FFE2 FA54>FFE2 FA59>2116 FA5A>2121 FA58>3231 EEFA>FFE4 EEFB>FF07");
    for (unsigned i = 0; i < 10; ++i) {
        EXPECT_EQ(EncodedUnit(932, 0x2160 + i), static_cast<int>(0x8754 + i));
        EXPECT_EQ(DecodedPair(932, 0xFA4A + i), 0x2160 + i);
        EXPECT_EQ(EncodedUnit(932, 0x2170 + i), static_cast<int>(0xFA40 + i));
        EXPECT_EQ(DecodedPair(932, 0xEEEF + i), 0x2170 + i);
    }
    ExpectEncoded(950,
                  "256D>A27E 256E>A2A1 2570>A2A2 256F>A2A3 5341>A451 5345>A4CA 2550>F9F9 255E>F9E9 256A>F9EA "
                  "2561>F9EB");
    ExpectDecoded(950,
                  "F9FA>256D F9FB>256E F9FC>2570 F9FD>256F A2CC>5341 A2CE>5345 A2A4>2550 A2A5>255E A2A6>256A "
                  "A2A7>2561");
}

TEST(CodePages, TheNumbersOfDuplicatesAreKnown) {
    const std::map<unsigned, std::pair<unsigned, unsigned>> expected = {
        {932, {396, 398}}, {936, {0, 0}}, {949, {0, 0}}, {950, {10, 10}}};
    for (const auto& [page, counts] : expected) {
        std::set<unsigned> units;
        unsigned losing = 0;
        unsigned extensionOverSelected = 0;
        ForEachPair(page, [&, number = page](unsigned pair) {
            const wchar16 unit = DecodedPair(number, pair);
            const int winner = EncodedUnit(number, unit);
            if (unit == DefaultUnit(number) || winner == static_cast<int>(pair)) {
                return;
            }
            units.insert(unit);
            ++losing;
            extensionOverSelected += winner >> 8 >= 0xFA && (pair >> 8 == 0xED || pair >> 8 == 0xEE);
        });
        EXPECT_EQ(units.size(), counts.first) << page;
        EXPECT_EQ(losing, counts.second) << page;
        EXPECT_EQ(extensionOverSelected, page == 932 ? 373U : 0U) << page;
    }
}
