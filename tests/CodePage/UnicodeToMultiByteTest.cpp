#include "CodePage/UnicodeToMultiByte.h"
#include "CodePage/CodePageRegistry.h"
#include "CodePage/Initializer.h"

#include "Raised.h"
#include "SerializedTables.h"
#include "SlowTables.h"
#include "TableResults.h"

#include <gtest/gtest.h>

#include <random>
#include <thread>
#include <type_traits>

namespace {

using namespace KCodePage;
using namespace CodePageTests;
using namespace SerializedTables;
using KBase::WideString;
using KBase::operator""_w;
using TableResults::Encode;
using TableResults::ToBytes;

using Table = UnicodeToMultiByte;
using Pointer = KBase::ReturnPtrI<Table>;
using Result = SlowTables::Encoder::Result;

Pointer Loaded(const std::string& bytes, CODE_PAGE codePage = SHIFT_JIS) {
    Pointer table(new Table(codePage, 1, '!'));
    Load(*table, bytes);
    return table;
}

Pointer Filled(unsigned windowsCodePage, char substitution = '?') {
    Pointer table(new Table(SHIFT_JIS, windowsCodePage, substitution));
    table->ReadFromWindowsAPI();
    return table;
}

Failure Thrown(Table& table, const WideString& text, unsigned blockSize = 0,
               int mode = CodePage::THROW_INVALID_CHARACTER) {
    const ExactBuffer<KBase::wchar16> input(text);
    return Raised([&] {
        unsigned converted = 0;
        table.ConvertObservingBlockSize(converted, blockSize, input.Get(),
                                        static_cast<unsigned>(input.Size()),
                                        static_cast<CodePage::USE_SUBSTITUTION_CHARACTER>(mode));
    });
}

std::vector<std::string> AsciiRecords() {
    std::vector<std::string> records;
    for (unsigned unit = 0; unit < 0x80; ++unit) {
        records.push_back(Record(unit, Byte(unit)));
    }
    return records;
}

// The table of the tests below: ASCII; U+0100 to U+013E become 8140 to 817E.
std::string PlainFile(char substitution = '?') {
    auto records = AsciiRecords();
    for (unsigned unit = 0x80; unit < 0x140; ++unit) {
        records.push_back(Record(unit, unit < 0x100 || unit == 0x13F ? "" : Byte(0x81) + Byte(unit - 0xC0)));
    }
    return Records(records, 932, substitution);
}

TEST(UnicodeToMultiByte, TheExtensionIsU2M) {
    EXPECT_EQ(Ascii(Table().GetFileExtension()), "U2M");
}

TEST(UnicodeToMultiByte, AnEmptyTextGivesAnEmptyStringAndConvertedZero) {
    for (const Pointer& table : {Loaded(PlainFile()), Filled(1252), Pointer(new Table)}) {
        for (const unsigned blockSize : {0u, 1u, 100u}) {
            for (const bool substitute : {true, false}) {
                EXPECT_TRUE(Encode(*table, WideString(), blockSize, substitute) == Result());
            }
        }
        unsigned converted = 7;
        const auto string = table->ConvertObservingBlockSize(converted, 0, nullptr, 0, CodePage::SUBSTITUTE);
        EXPECT_EQ(converted, 0u);
        EXPECT_EQ(string->Length(), 0u);
        EXPECT_EQ(string->Get()[0], 0);
    }
}

TEST(UnicodeToMultiByte, OneAndTwoByteCharactersFollowEachOther) {
    EXPECT_EQ(Encode(*Loaded(PlainFile()), WideString{'A', 0x100, 'B', 0x101}, true), "A\x81\x40"
                                                                                      "B\x81\x41");
    EXPECT_EQ(Encode(*Filled(932), WideString{'A', 0x3042}, false), "A\x82\xA0");
}

TEST(UnicodeToMultiByte, ATwoByteCharacterDoesNotStartInABlockOfOneByte) {
    const auto table = Loaded(PlainFile());
    EXPECT_TRUE(Encode(*table, WideString{0x100}, 1, true) == Result());
    EXPECT_TRUE(Encode(*table, WideString{0x100, 'A'}, 1, false) == Result());
}

TEST(UnicodeToMultiByte, ABlockOfThreeBytesTakesOneOfThreeTwoByteCharacters) {
    const auto table = Loaded(PlainFile());
    const Result result = Encode(*table, WideString{0x100, 0x101, 0x102}, 3, true);
    EXPECT_EQ(result.bytes, "\x81\x40");
    EXPECT_EQ(result.converted, 1u);
}

TEST(UnicodeToMultiByte, ABlockIsFilledToItsLastByteWhereTheCharactersFit) {
    const auto table = Loaded(PlainFile());
    const WideString text = {'A', 0x100, 'B', 0x101, 'C'}; // 7 bytes
    const unsigned converted[] = {5, 1, 1, 2, 3, 3, 4, 5, 5};
    const unsigned lengths[] = {7, 1, 1, 3, 4, 4, 6, 7, 7};
    for (unsigned blockSize = 0; blockSize < 9; ++blockSize) {
        const Result result = Encode(*table, text, blockSize, false);
        EXPECT_EQ(result.converted, converted[blockSize]) << blockSize;
        EXPECT_EQ(result.bytes, std::string("A\x81\x40"
                                            "B\x81\x41"
                                            "C")
                                    .substr(0, lengths[blockSize]))
            << blockSize;
    }
}

TEST(UnicodeToMultiByte, ASubstitutionCharacterNeedsOneByteOfTheBlock) {
    const auto table = Loaded(PlainFile('#'));
    EXPECT_TRUE(Encode(*table, WideString{0xFFFD, 0xFFFD, 0xFFFD}, 2, true) == (Result{"##", 2, {}}));
    EXPECT_TRUE(Encode(*table, WideString{0x100, 0xFFFD}, 2, true) == (Result{"\x81\x40", 1, {}}));
    EXPECT_TRUE(Encode(*table, WideString{0x100, 0xFFFD}, 3, true) == (Result{"\x81\x40#", 2, {}}));
}

TEST(UnicodeToMultiByte, AUnitWithoutMappingThrowsAlsoBehindAFullBlock) {
    const auto table = Loaded(PlainFile());
    EXPECT_EQ(Thrown(*table, WideString{'A', 0xFFFD}, 1), InvalidCharacter("Invalid character 000\\uFFFD"));
    // What does not fit before it ends the block first.
    EXPECT_EQ(Thrown(*table, WideString{'A', 'B', 0xFFFD}, 1).type, "nothing");
}

TEST(UnicodeToMultiByte, ConvertedCountsWhatStoodBeforeTheOffendingUnit) {
    EXPECT_TRUE(Encode(*Loaded(PlainFile()), WideString{'A', 0x100, 0x13F, 'B'}, 0, false) ==
                (Result{"", 2, KBase::wchar16{0x13F}}));
}

TEST(UnicodeToMultiByte, TheMessageShowsTheOffendingUnitItself) {
    const auto table = Loaded(PlainFile());
    struct {
        WideString text;
        std::string shown;
    } const rows[] = {
        {{0x13F}, "\\u013F"},            // named in the file as having no mapping
        {{'A', 0xE9, 'B'}, "\\u00E9"},   // in the middle
        {{'A', 'B', 0x3042}, "\\u3042"}, // beyond the last entry, at the end
        {{0xD83D, 0xDE00}, "\\uD83D"},   // a pair of surrogates is looked up unit by unit
        {{0xFFFF}, "\\uFFFF"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(Thrown(*table, row.text), InvalidCharacter("Invalid character 000" + row.shown));
    }
    // A zero unit ends the text that is shown.
    EXPECT_EQ(Thrown(*Loaded(Records({Record('A', "A")})), WideString{0}),
              InvalidCharacter("Invalid character 000"));
}

TEST(UnicodeToMultiByte, EveryModeButZeroThrows) {
    const auto table = Loaded(PlainFile());
    for (const int mode : {1, 2, -1, 0x7FFFFFFF}) {
        EXPECT_EQ(Thrown(*table, WideString{0x3042}, 0, mode),
                  InvalidCharacter("Invalid character 000\\u3042"));
    }
    EXPECT_EQ(Thrown(*table, WideString{0x3042}, 0, 0).type, "nothing");
}

TEST(UnicodeToMultiByte, APairOfSurrogatesGivesTwoSubstitutionCharacters) {
    EXPECT_EQ(Encode(*Filled(932), WideString{'a', 0xD83D, 0xDE00, 'b'}, true), "a??b");
}

TEST(UnicodeToMultiByte, TheSubstitutionCharacterIsOneByteOfAnyValue) {
    for (unsigned byte = 0; byte < 0x100; ++byte) {
        const auto table = Loaded(PlainFile(static_cast<char>(byte)));
        EXPECT_EQ(Encode(*table, WideString{'A', 0x3042, 'B'}, true),
                  std::string("A").append(Byte(byte)).append("B"))
            << byte;
    }
    EXPECT_EQ(Encode(*Filled(1252, '\x80'), WideString{0x3042}, true), "\x80");
}

TEST(UnicodeToMultiByte, UnitFFFFIsNeverAskedAndBecomesTheSubstitutionCharacter) {
    for (const unsigned number : {1252u, 932u, 936u}) {
        const auto table = Filled(number);
        EXPECT_FALSE(table->Convert(0xFFFF).IsValid());
        EXPECT_EQ(Encode(*table, WideString{0xFFFF}, true), "?");
        EXPECT_EQ(Thrown(*table, WideString{0xFFFF}), InvalidCharacter("Invalid character 000\\uFFFF"));
    }
}

TEST(UnicodeToMultiByte, AUnitOfAFileThatIsFFFFOrWithLeadByteZeroIsAMapping) {
    const auto table = Loaded(Records({Record(0xFFFF, "\xFE\xFF"), Record('0', std::string("\0\x41", 2)),
                                       Record('1', std::string("\0\0", 2)), Record('2', std::string(1, '\0')),
                                       Record('3', std::string("\x41\0", 2))}));
    EXPECT_TRUE(Encode(*table, WideString{0xFFFF, '0', '1', '2', '3'}, 0, false) ==
                (Result{std::string("\xFE\xFF\0\x41\0\0\0\x41\0", 9), 5, {}}));
    EXPECT_EQ(table->Convert(0xFFFF).GetMBChar(), 0xFEFF);
    EXPECT_EQ(ToBytes(table->Convert('1')), std::string("\0\0", 2));
    for (unsigned blockSize = 1; blockSize < 12; ++blockSize) {
        const std::string whole("\0\0\0\0\0\x41\0", 7);
        const Result result = Encode(*table, WideString{'1', '2', '1', '3'}, blockSize, false);
        const unsigned taken = blockSize < 2   ? 0
                               : blockSize < 3 ? 1
                               : blockSize < 5 ? 2
                               : blockSize < 7 ? 3
                                               : 4;
        EXPECT_EQ(result.converted, taken) << blockSize;
        EXPECT_EQ(result.bytes, whole.substr(0, taken == 0   ? 0
                                                : taken == 1 ? 2
                                                             : 2 * taken - 1))
            << blockSize;
    }
}

TEST(UnicodeToMultiByte, ATextOfPairsWithAZeroByteIsWholeWhereAllOtherCharactersAreOfOneByte) {
    const auto table = Loaded(Records({Record('a', "1"), Record('b', std::string("2\0", 2))}));
    const std::string b("2\0", 2);
    EXPECT_EQ(Encode(*table, WideString{'b', 'a', 'b', 'b'}, false), b + "1" + b + b);
}

TEST(UnicodeToMultiByte, AUnitThatOnlyHasTheDefaultCharacterIsUnmappedThoughTheCharacterItselfIsMapped) {
    const auto table = Filled(1252, 'X');
    EXPECT_EQ(ToBytes(table->Convert('X')), "X");
    EXPECT_FALSE(table->Convert(0x3042).IsValid());
    EXPECT_EQ(Encode(*table, WideString{'X', 0x3042}, true), "XX");
    EXPECT_EQ(ToBytes(Filled(1252)->Convert('?')), "?");
    // Best fit is no default character.
    EXPECT_EQ(ToBytes(table->Convert(0x0100)), "A");
}

TEST(UnicodeToMultiByte, AUnitBeyondTheEntriesIsUnmapped) {
    const auto table = Loaded(PlainFile());
    for (const unsigned unit : {0x13Fu, 0x140u, 0x8000u, 0xFFFEu, 0xFFFFu}) {
        EXPECT_FALSE(table->Convert(static_cast<KBase::wchar16>(unit)).IsValid()) << unit;
        EXPECT_EQ(Encode(*table, WideString(1, static_cast<KBase::wchar16>(unit)), true), "?") << unit;
    }
}

TEST(UnicodeToMultiByte, AnUnfilledTableMapsNothing) {
    for (const Pointer& table : {Pointer(new Table), Pointer(new Table(SHIFT_JIS, 932, '?'))}) {
        for (const unsigned unit : {0u, 0x41u, 0xFFFFu}) {
            EXPECT_FALSE(table->Convert(static_cast<KBase::wchar16>(unit)).IsValid());
        }
        EXPECT_EQ(Encode(*table, WideString{'A', 0, 0xFFFF}, true), "???");
        EXPECT_EQ(Thrown(*table, WideString{'A'}), InvalidCharacter("Invalid character 000A"));
        EXPECT_TRUE(Encode(*table, WideString{'A', 'B'}, 1, true) == (Result{"?", 1, {}}));
    }
}

TEST(UnicodeToMultiByte, AsciiMayMapToSomethingElseInAFile) {
    WideString text;
    for (unsigned unit = 0; unit < 0x80; ++unit) {
        text.push_back(static_cast<KBase::wchar16>(unit));
    }
    for (unsigned unit = 0; unit < 0x80; ++unit) {
        for (const std::string& bytes : {std::string(), Byte(unit ^ 1), Byte(0x80 + unit),
                                         Byte(unit) + Byte(unit), Byte(0) + Byte(unit)}) {
            auto records = AsciiRecords();
            records[unit] = Record(unit, bytes);
            const std::string file = Records(records);
            const auto table = Loaded(file);
            const auto slow = SlowTables::Encoder::Parse(file);
            for (const bool substitute : {true, false}) {
                for (const unsigned blockSize : {0u, unit, unit + 1, unit + 2, 128u}) {
                    ASSERT_TRUE(Encode(*table, text, blockSize, substitute) ==
                                slow->Convert(text, blockSize, substitute))
                        << unit << " block " << blockSize;
                }
            }
        }
    }
}

TEST(UnicodeToMultiByte, IsSerializedAsNumberSubstitutionAndOneRecordForEachEntry) {
    const std::string file = PlainFile('\x9A');
    EXPECT_EQ(Written(*Loaded(file)), file);
    EXPECT_EQ(file.substr(0, 15), std::string("\xA4\x03\0\0\x9A\x40\1\0\0\0\0\1\1\0\0", 15));
    EXPECT_EQ(Written(Table()), Head(0, '?', 0));
    EXPECT_EQ(Written(Table(ISO_8859_1, 1252, '+')), Head(1252, '+', 0));
    // Units between the ones that are named are written as invalid.
    EXPECT_EQ(Written(*Loaded(Records({Record(2, "ab"), Record(0, "c")}))),
              Records({Record(0, "c"), Record(1, ""), Record(2, "ab")}));
}

// Valid, single and the two bytes: invalid ones that are not all zero, a second byte of a single character,
// pairs with 00.
TEST(UnicodeToMultiByte, AnOddRecordAmongPlainOnesIsKeptAndWrittenBackByteForByte) {
    for (const std::string& odd : {
             std::string("\0\1\0\0", 4),
             std::string("\0\0\x41\0", 4),
             std::string("\0\0\0\x42", 4),
             std::string("\0\1\x41\x42", 4),
             std::string("\1\1\x41\x42", 4),
             std::string("\1\1\0\xFF", 4),
             std::string("\1\0\0\0", 4),
             std::string("\1\0\x41\0", 4),
             std::string("\1\0\0\xFF", 4),
         }) {
        SCOPED_TRACE(testing::PrintToString(odd));
        const std::string file = Records({Record(0, "a"), Record(1, "bc"), Record(2, std::string(1, '\0')),
                                          Record(3, ""), std::string("\4\0", 2) + odd, Record(5, "de")});
        const auto table = Loaded(file);
        EXPECT_EQ(Written(*table), file);
        const MultiByteCharacter character = table->Convert(4);
        EXPECT_EQ(character.IsValid(), odd[0] != 0);
        EXPECT_EQ(character.Length(), odd[1] != 0 ? 1u : 2u);
        EXPECT_EQ(character.GetByte1(), odd[2]);
        EXPECT_EQ(character.GetByte2(), odd[3]);
        const std::string bytes = odd[0] == 0 ? "?" : odd.substr(2, odd[1] != 0 ? 1 : 2);
        EXPECT_EQ(Encode(*table, WideString{1, 4, 0}, true), "bc" + bytes + "a");
        EXPECT_EQ(Written(Table(*table)), file);
        // A plain one takes its place.
        Load(*table, Records({Record(4, "fg")}));
        EXPECT_EQ(Encode(*table, WideString{1, 4, 0}, true), "bcfga");
        EXPECT_EQ(ToBytes(table->Convert(4)), "fg");
    }
}

TEST(UnicodeToMultiByte, AFileOfFifteenBytesMayNameTheLastUnit) {
    const std::string file = Records({Record(0xFFFF, "z")});
    ASSERT_EQ(file.size(), 15u);
    const auto table = Loaded(file);
    EXPECT_EQ(Encode(*table, WideString{0xFFFF, 0xFFFE}, true), "z?");
    const std::string written = Written(*table);
    EXPECT_EQ(written.size(), 9u + 65536 * 6);
    EXPECT_EQ(written.substr(5, 4), std::string("\0\0\1\0", 4));
    EXPECT_EQ(Encode(*Loaded(written), WideString{0xFFFF, 0xFFFE}, true), "z?");
}

TEST(UnicodeToMultiByte, TheLastRecordOfAUnitCounts) {
    const auto table =
        Loaded(Records({Record('a', "1"), Record('b', "2"), Record('a', "34"), Record('b', "")}));
    EXPECT_EQ(Encode(*table, WideString{'a', 'b'}, true), "34?");
}

TEST(UnicodeToMultiByte, ReadingKeepsTheEntriesThatTheDataDoesNotName) {
    const auto table = Loaded(Records({Record('a', "1"), Record('b', "2"), Record('z', "9")}, 932, '#'));
    Load(*table, Records({Record('b', "x"), Record('c', "y")}, 1252, '+') + "more");
    EXPECT_EQ(Encode(*table, WideString{'a', 'b', 'c', 'd', 'z'}, true), "1xy+9");
    EXPECT_EQ(Written(*table).substr(0, 9), Head(1252, '+', 'z' + 1));
}

TEST(UnicodeToMultiByte, FillingKeepsTheEntriesThatTheServicesDoNotMap) {
    const auto table = Loaded(Records({Record(0x3042, "x"), Record('a', "y"), Record(0xFFFF, "z")}, 1252));
    table->ReadFromWindowsAPI();
    EXPECT_EQ(Encode(*table, WideString{0x3042, 'a', 0xFFFF, 0x20AC}, false), "xaz\x80");
}

TEST(UnicodeToMultiByte, DataCutOffAnywhereThrowsAndTheTableHoldsWhatWasRead) {
    const std::string file = Records({Record('A', "x"), Record('B', "yz"), Record('C', "w")}, 1252, '#');
    for (std::size_t length = 0; length < file.size(); ++length) {
        const auto table = Loaded(PlainFile());
        EXPECT_EQ(Raised([&] { Load(*table, file.substr(0, length)); }).type, "Message") << length;
        const std::string bytes = Encode(*table, WideString{'A', 'B', 'C', 'D', 0x100, 0x3042}, true);
        EXPECT_EQ(bytes.substr(bytes.size() - 4, 3), "D\x81\x40") << length;
        // As one table: what is looked up singly and in a text agree.
        EXPECT_EQ(bytes.substr(0, 1), ToBytes(table->Convert('A'))) << length;
        Load(*table, file);
        EXPECT_EQ(Encode(*table, WideString{'A', 'B', 'C', 0x3042}, true), "xyzw#") << length;
    }
}

TEST(UnicodeToMultiByte, ACopyHasEntriesOfItsOwn) {
    Pointer original = Loaded(PlainFile('#'), EUC_KR);
    const Pointer copy(new Table(*original));
    const Pointer assigned(new Table(SHIFT_JIS, 1, '!'));
    *assigned = *original;
    Load(*original, Records({Record('A', "x")}));
    EXPECT_EQ(Encode(*original, WideString{'A'}, true), "x");
    original = nullptr;
    for (const Pointer& table : {copy, assigned}) {
        EXPECT_EQ(Written(*table), PlainFile('#'));
        EXPECT_EQ(Encode(*table, WideString{'A', 0x100, 0x3042}, true), "A\x81\x40#");
    }
}

TEST(UnicodeToMultiByte, ACopyCountsFromZeroAndAssignmentLeavesTheCount) {
    const Pointer original = Loaded(PlainFile());
    EXPECT_EQ(original->AddRef(), 2);
    Table* const copy = new Table(*original);
    EXPECT_EQ(copy->AddRef(), 1);
    EXPECT_EQ(copy->AddRef(), 2);
    *copy = *original;
    EXPECT_EQ(copy->AddRef(), 3);
    *original = *copy;
    EXPECT_EQ(original->AddRef(), 3);
    EXPECT_EQ(copy->Release(), 2);
    EXPECT_EQ(copy->Release(), 1);
    EXPECT_EQ(copy->Release(), 0);
    EXPECT_EQ(original->Release(), 2);
    EXPECT_EQ(original->Release(), 1);
}

TEST(UnicodeToMultiByte, AssignmentToItselfKeepsTheTable) {
    const Pointer table = Loaded(PlainFile());
    const Table& same = *table;
    *table = same;
    EXPECT_EQ(Written(*table), PlainFile());
    EXPECT_EQ(Encode(*table, WideString{0x100}, true), "\x81\x40");
}

TEST(UnicodeToMultiByte, ACodePageThatTheServicesRefuseMapsNothingAndThrowsNothing) {
    const auto table = Filled(65535);
    EXPECT_EQ(Encode(*table, WideString{'A', 0x3042}, true), "??");
    EXPECT_EQ(Written(*table), Head(65535, '?', 0));
}

TEST(UnicodeToMultiByte, ADefaultTableFilledFromTheServicesIsTheSystemsOwnCodePage) {
    const Pointer table(new Table);
    table->ReadFromWindowsAPI();
    EXPECT_EQ(Encode(*table, WideString{'A', 0x20AC, 0x3042}, true), "A\x80?");
}

TEST(UnicodeToMultiByte, CodePage12LooksSingleUnitsUpInItsOwnEntriesAndTurnsTextsIntoJis) {
    const Initializer initializer;
    SetBasePath(u"UseWindowsAPI"_w);
    const auto table = Loaded(PlainFile(), ISO_2022_JP);
    EXPECT_EQ(ToBytes(table->Convert(0x100)), "\x81\x40");
    EXPECT_FALSE(table->Convert(0x3042).IsValid());
    EXPECT_EQ(Encode(*table, WideString{'A', 0x100}, false), "A\x1B$B!!\x1B(B");
    // A unit without mapping throws before the text goes on to the Shift-JIS to JIS table.
    EXPECT_EQ(Thrown(*table, WideString{'A', 0x3042}), InvalidCharacter("Invalid character 000\\u3042"));
}

TEST(UnicodeToMultiByte, RandomTablesConvertAsTheSlowOnes) {
    std::mt19937 random(13);
    const auto pick = [&](unsigned below) {
        return static_cast<unsigned>(random() % below);
    };
    for (int round = 0; round < 150; ++round) {
        auto records = pick(4) == 0 ? std::vector<std::string>() : AsciiRecords();
        const bool doubles = pick(4) != 0;
        for (unsigned count = pick(200); count > 0; --count) {
            std::string bytes;
            for (unsigned length = doubles ? pick(3) : pick(2); length > 0; --length) {
                bytes += Byte(pick(3) == 0 ? 0 : pick(256));
            }
            records.push_back(Record(pick(2) == 0 ? pick(0x200) : pick(0x10000), bytes));
        }
        const std::string file = Records(records, 932, static_cast<char>(pick(256)));
        const auto table = Loaded(file);
        const auto slow = SlowTables::Encoder::Parse(file);
        for (int number = 0; number < 20; ++number) {
            WideString text;
            for (unsigned count = pick(60); count > 0; --count) {
                text.push_back(static_cast<KBase::wchar16>(pick(3) == 0 ? pick(0x200) : 'a' + pick(26)));
            }
            for (const bool substitute : {true, false}) {
                for (const unsigned blockSize : {0u, 1u, 2u, 3u, 1 + pick(40), 1 + pick(130)}) {
                    ASSERT_TRUE(Encode(*table, text, blockSize, substitute) ==
                                slow->Convert(text, blockSize, substitute))
                        << "round " << round << " text " << number << " block " << blockSize;
                }
            }
        }
    }
}

TEST(UnicodeToMultiByte, AFilledTableConvertsOnManyThreadsAtOnce) {
    const auto table = Filled(932);
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([mine = table] {
            for (int round = 0; round < 300; ++round) {
                EXPECT_EQ(Encode(*mine, WideString{'a', 'b', 'c', 'd', 'e', 0x3042, 0xE000, 0xD800}, true),
                          "abcde\x82\xA0\xF0\x40?");
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

} // namespace
