#include "CodePage/MultiByteToUnicode.h"
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
using TableResults::Decode;

using Table = MultiByteToUnicode;
using Pointer = KBase::ReturnPtrI<Table>;

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

// What conversion of `text` throws; a substituting one must throw nothing.
Failure Thrown(Table& table, std::string_view text, int mode = CodePage::THROW_INVALID_CHARACTER) {
    const ExactBuffer<char> input(text);
    return Raised([&] {
        table.Convert(input.Get(), static_cast<unsigned>(input.Size()),
                      static_cast<CodePage::USE_SUBSTITUTION_CHARACTER>(mode));
    });
}

WideString Substituted(Table& table, std::string_view text) {
    const auto result = Decode(table, text, true);
    EXPECT_FALSE(result.shown);
    return result.units;
}

// The table of the tests below: ASCII; 81 leads pairs 8140 to 817E for U+4E40 to U+4E7E.
std::string PlainFile(char substitution = '?') {
    return Rows().SetLead(0x81, 0x4E00).File(932, substitution);
}

TEST(MultiByteToUnicode, TheExtensionIsM2U) {
    EXPECT_EQ(Ascii(Table().GetFileExtension()), "M2U");
}

TEST(MultiByteToUnicode, AnEmptyInputGivesAnEmptyStringInBothModes) {
    for (const auto& table :
         {Loaded(PlainFile()), Pointer(new Table), Pointer(new Table(ISO_2022_JP, 932, '?'))}) {
        for (const auto mode : {CodePage::SUBSTITUTE, CodePage::THROW_INVALID_CHARACTER}) {
            const auto string = table->Convert(nullptr, 0, mode);
            EXPECT_EQ(string->Length(), 0u);
            EXPECT_EQ(string->Get()[0], 0);
        }
    }
}

TEST(MultiByteToUnicode, ALetterAndATwoByteCharacterGiveTwoUnits) {
    EXPECT_EQ(Substituted(*Loaded(PlainFile()), "A\x81\x40"), (WideString{'A', 0x4E40}));
    EXPECT_EQ(Substituted(*Filled(932), "A\x82\xA0"), (WideString{'A', 0x3042}));
}

TEST(MultiByteToUnicode, ALeadByteAtTheEndIsOneSubstitutionCharacterAndItsTrailIsNotRead) {
    const auto table = Loaded(PlainFile());
    EXPECT_EQ(Substituted(*table, "A\x81"), (WideString{'A', '?'}));
    EXPECT_EQ(Substituted(*table, "\x81"), (WideString{'?'}));
    EXPECT_EQ(Substituted(*Filled(932), "A\x82"), (WideString{'A', '?'}));
    for (const std::string& text : {std::string("01234567\x81"), std::string("\x81\x40\x81")}) {
        EXPECT_EQ(Substituted(*table, text).back(), '?');
        EXPECT_EQ(Substituted(*table, text).size(), text.size() == 3 ? 2u : 9u);
    }
}

TEST(MultiByteToUnicode, APairWithoutMappingIsOneSubstitutionCharacter) {
    EXPECT_EQ(Substituted(*Loaded(PlainFile()), "\x81\x20"
                                                "B\x82"
                                                "C"),
              (WideString{'?', 'B', '?', 'C'}));
}

TEST(MultiByteToUnicode, TheSubstitutionCharacterIsSignExtended) {
    for (int byte = 0; byte < 0x100; ++byte) {
        const auto expected = static_cast<KBase::wchar16>(byte < 0x80 ? byte : 0xFF00 + byte);
        EXPECT_EQ(Substituted(*Loaded(PlainFile(static_cast<char>(byte))), "\x82"), (WideString{expected}));
    }
    // Given at construction: a table whose code page the services refuse maps nothing.
    EXPECT_EQ(Substituted(*Filled(65535, '\x80'), "A"), (WideString{0xFF80}));
    EXPECT_EQ(Substituted(*Filled(65535, '\xFF'), "A"), (WideString{0xFFFF}));
    EXPECT_EQ(Substituted(*Filled(65535, '\x7F'), "A"), (WideString{0x7F}));
}

TEST(MultiByteToUnicode, TheMessageShowsTheByteBehindTheOffendingCharacter) {
    const auto table = Loaded(PlainFile());
    struct {
        std::string_view text;
        std::string shown;
    } const rows[] = {
        {"\x82"
         "B",
         "B"},                                         // behind a byte without mapping
        {"A\x82\xFF", "\\u00FF"},                      // zero-extended
        {"\x82\x82", "\\u0082"},                       // the first of two
        {"\x81\x20\x43", "C"},                         // behind both bytes of a pair without mapping
        {"0123456789\x81\x40\x81\x20\x80", "\\u0080"}, // far inside
        {"A\x82", ""},                                 // at the end: zero, which ends the text
        {"\x81", ""},                                  // a lead byte at the end
        {"\x81\x20", ""},                              // a pair at the end
        {std::string_view("\x82\0B", 3), ""},          // a zero byte that is really there
    };
    for (const auto& row : rows) {
        EXPECT_EQ(Thrown(*table, row.text), InvalidCharacter("Invalid character 000" + row.shown))
            << testing::PrintToString(row.text);
    }
}

TEST(MultiByteToUnicode, EveryModeButZeroThrows) {
    const auto table = Loaded(PlainFile());
    for (const int mode : {1, 2, -1, 0x7FFFFFFF}) {
        EXPECT_EQ(Thrown(*table, "\x82", mode), InvalidCharacter("Invalid character 000")) << mode;
    }
    EXPECT_EQ(Thrown(*table, "\x82", 0).type, "nothing");
    EXPECT_EQ(Thrown(*table, "A\x81\x40").type, "nothing");
}

TEST(MultiByteToUnicode, AZeroByteIsACharacter) {
    const auto table = Loaded(PlainFile());
    EXPECT_EQ(Substituted(*table, std::string_view("A\0B\0", 4)), (WideString{'A', 0, 'B', 0}));
}

TEST(MultiByteToUnicode, UnitFFFFFromAFileIsAMapping) {
    std::vector<Unit> seconds(256);
    seconds[0x40] = 0xFFFF;
    const auto table = Loaded(Rows().Set(0x80, Row(1, 0xFFFF)).Set(0x81, Row(2, {}, seconds)).File());
    EXPECT_EQ(Substituted(*table, "A\x80\x81\x40"
                                  "B"),
              (WideString{'A', 0xFFFF, 0xFFFF, 'B'}));
    EXPECT_EQ(Thrown(*table, "\x80\x81\x40").type, "nothing");
    EXPECT_TRUE(table->Convert(0x80).IsValid());
    EXPECT_EQ(table->Convert(0x81, 0x40).Get(), 0xFFFF);
}

TEST(MultiByteToUnicode, AsciiMayMapToSomethingElseInAFile) {
    const std::string text =
        "0123456789 the quick brown fox jumps over the lazy dog\x7F" + std::string(1, '\0');
    for (unsigned byte = 0; byte < 0x80; ++byte) {
        for (const std::string& row : {Row(1, 0x3042), Row(1, {}), Row(0, byte), Row(1, byte ^ 1)}) {
            const std::string file = Rows().Set(byte, row).File();
            const auto table = Loaded(file);
            const auto slow = SlowTables::Decoder::Parse(file);
            const std::string around = text + static_cast<char>(byte) + text;
            ASSERT_TRUE(Decode(*table, around, true) == slow->Convert(around, true)) << byte;
            ASSERT_TRUE(Decode(*table, around, false) == slow->Convert(around, false)) << byte;
        }
        const std::string leads = Rows().SetLead(byte, 0x4E00, 0x20, 0x7F).File();
        ASSERT_TRUE(Decode(*Loaded(leads), text, true) ==
                    SlowTables::Decoder::Parse(leads)->Convert(text, true))
            << byte;
    }
}

TEST(MultiByteToUnicode, OneCharacterAtATimeGivesTheRowsAnswer) {
    const auto table = Loaded(PlainFile());
    EXPECT_EQ(table->Convert('A').Get(), 'A');
    EXPECT_FALSE(table->Convert(0x81).IsValid());
    EXPECT_FALSE(table->Convert(0x82).IsValid());
    EXPECT_EQ(table->Convert(0x81, 0x7E).Get(), 0x4E7E);
    EXPECT_FALSE(table->Convert(0x81, 0x7F).IsValid());
    EXPECT_FALSE(table->Convert('A', 0x40).IsValid());
}

TEST(MultiByteToUnicode, TellsLeadBytesAndCharacterLengths) {
    const auto table = Loaded(PlainFile());
    for (unsigned byte = 0; byte < 0x100; ++byte) {
        const ExactBuffer<char> text(std::size_t{1}, static_cast<char>(byte));
        EXPECT_EQ(table->IsLeadingByte(static_cast<unsigned char>(byte)), byte == 0x81) << byte;
        EXPECT_EQ(table->GetNumberOfBytesInThisCharacter(text.Get()), byte == 0x81 ? 2u : 1u) << byte;
    }
}

TEST(MultiByteToUnicode, OnlyCodePage12HasEscapeSequences) {
    for (const int number : {-1, 0, 1, 2, 4, 6, 7, 8, 9, 11, 14, 15, 16, 17, 18, 19, 20, 21}) {
        const auto table = Loaded(PlainFile(), static_cast<CODE_PAGE>(number));
        EXPECT_FALSE(table->IsEscapeSequence("\x1B$B")) << number;
        EXPECT_EQ(table->GetNumberOfBytesInThisEscapeSequence("\x1B$B"), 0u) << number;
    }
}

TEST(MultiByteToUnicode, CodePage12ConvertsSingleCharactersByItsOwnRows) {
    const auto table = Loaded(PlainFile(), ISO_2022_JP);
    EXPECT_EQ(table->Convert('A').Get(), 'A');
    EXPECT_EQ(table->Convert(0x81, 0x40).Get(), 0x4E40);
    const Pointer empty(new Table(ISO_2022_JP, 932, '?'));
    for (unsigned byte = 0; byte < 0x100; ++byte) {
        EXPECT_FALSE(empty->Convert(static_cast<unsigned char>(byte)).IsValid());
        EXPECT_FALSE(empty->Convert(static_cast<unsigned char>(byte), 0x40).IsValid());
    }
}

TEST(MultiByteToUnicode, AnUnfilledTableMapsNothingOneByteAtATime) {
    for (const Pointer& table : {Pointer(new Table), Pointer(new Table(SHIFT_JIS, 932, '?'))}) {
        for (unsigned byte = 0; byte < 0x100; ++byte) {
            const auto value = static_cast<unsigned char>(byte);
            EXPECT_FALSE(table->Convert(value).IsValid());
            EXPECT_FALSE(table->Convert(value, value).IsValid());
            EXPECT_FALSE(table->IsLeadingByte(value));
            const ExactBuffer<char> text(std::size_t{1}, static_cast<char>(byte));
            EXPECT_EQ(table->GetNumberOfBytesInThisCharacter(text.Get()), 1u);
        }
        EXPECT_EQ(Substituted(*table, "A\x81\x40"), (WideString{'?', '?', '?'}));
        EXPECT_EQ(Thrown(*table, "AB"), InvalidCharacter("Invalid character 000B"));
    }
}

TEST(MultiByteToUnicode, MissingRowsMapNothingOneByteAtATime) {
    const std::string three = Head(932, '?', 3) + Row(1, 'x') + Row(2, {}, {{}, 0x3000}) + Row(1, 'z');
    const auto table = Loaded(three);
    EXPECT_EQ(Substituted(*table, std::string_view("\0\1\1\2\3\xFF\1", 7)),
              (WideString{'x', 0x3000, 'z', '?', '?', '?'}));
    EXPECT_FALSE(table->Convert(3).IsValid());
    EXPECT_FALSE(table->Convert(3, 1).IsValid());
    const auto none = Loaded(Head(932, '#', 0));
    EXPECT_EQ(Substituted(*none, "AB"), (WideString{'#', '#'}));
}

TEST(MultiByteToUnicode, RowsBeyondTheLastByteAreKeptButNeverUsed) {
    std::string file = Rows().File();
    file.replace(5, 4, Unsigned32(258));
    file += Row(2, {}, {1, 2, 3}) + Row(1, 'x');
    const auto table = Loaded(file);
    EXPECT_EQ(Written(*table), file);
    EXPECT_EQ(Substituted(*table, std::string_view("\0\1A\xFF", 4)), (WideString{0, 1, 'A', '?'}));
}

TEST(MultiByteToUnicode, ARowOfNeitherOneNorTwoBytesMapsNothingOneByteAtATime) {
    for (const unsigned number : {0u, 3u, 4u, 255u}) {
        const std::vector<Unit> seconds(256, Unit(0x4E00));
        const auto table = Loaded(Rows().Set('B', Row(number, 0x3042, seconds)).File());
        EXPECT_EQ(Substituted(*table, "ABC"), (WideString{'A', '?', 'C'})) << number;
        EXPECT_EQ(Thrown(*table, "ABC"), InvalidCharacter("Invalid character 000C")) << number;
        EXPECT_FALSE(table->Convert('B').IsValid()) << number;
        EXPECT_FALSE(table->Convert('B', 'C').IsValid()) << number;
        EXPECT_EQ(table->GetNumberOfBytesInThisCharacter("B"), 1u) << number;
    }
    for (unsigned number = 0; number < 0x100; ++number) {
        const auto table = Loaded(Rows().Set('B', Row(number, 'x', {'y'})).File());
        EXPECT_EQ(table->IsLeadingByte('B'), number == 2) << number;
        EXPECT_EQ(table->GetNumberOfBytesInThisCharacter("B"), number == 2 ? 2u : 1u) << number;
    }
}

TEST(MultiByteToUnicode, ASecondByteThatALeadByteRowDoesNotHaveTakesBothBytes) {
    for (const std::size_t count : {0u, 1u, 0x40u, 0x41u}) {
        const std::vector<Unit> seconds(count, Unit(0x4E00));
        const auto table = Loaded(Rows().Set(0x81, Row(2, 'x', seconds)).File());
        const KBase::wchar16 expected = count == 0x41 ? 0x4E00 : '?';
        EXPECT_EQ(Substituted(*table, "A\x81\x40"
                                      "B"),
                  (WideString{'A', expected, 'B'}))
            << count;
        EXPECT_EQ(table->Convert(0x81, 0x40).IsValid(), count == 0x41) << count;
    }
}

TEST(MultiByteToUnicode, IsSerializedAsNumberSubstitutionAndRows) {
    const std::string file = PlainFile('\x9A');
    const auto table = Loaded(file);
    EXPECT_EQ(Written(*table), file);
    EXPECT_EQ(file.substr(0, 9), std::string("\xA4\x03\0\0\x9A\0\1\0\0", 9));
    // 256 rows that were never filled are rows of no bytes; a default table has none.
    std::string empty = Head(1252, '+', 256);
    for (int byte = 0; byte < 256; ++byte) {
        empty += Row(0, {});
    }
    EXPECT_EQ(Written(Table(ISO_8859_1, 1252, '+')), empty);
    EXPECT_EQ(Written(Table()), Head(0, '?', 0));
}

TEST(MultiByteToUnicode, ReadingReplacesTheRowsAndWhatFollowsTheTableIsIgnored) {
    const auto table = Loaded(PlainFile());
    const std::string second = Rows().Set(0x81, Row(1, 0x3042)).File(1252, '#');
    Load(*table, second + "more");
    EXPECT_EQ(Written(*table), second);
    EXPECT_EQ(Substituted(*table, "\x81\x40\x82"), (WideString{0x3042, 0x40, '#'}));
    Load(*table, Head(1, '!', 1) + Row(1, 'x'));
    EXPECT_EQ(Substituted(*table, std::string_view("\0A", 2)), (WideString{'x', '!'}));
}

TEST(MultiByteToUnicode, TheCodePageIsNeitherWrittenNorRead) {
    const Initializer initializer;
    SetBasePath(u"UseWindowsAPI"_w);
    const auto page12 = Loaded(PlainFile(), ISO_2022_JP);
    EXPECT_EQ(Written(*page12), PlainFile());
    // Still page 12: the Shift-JIS to JIS table tells the lead bytes.
    EXPECT_FALSE(page12->IsLeadingByte(0x81));
    EXPECT_TRUE(page12->IsLeadingByte('!'));
}

TEST(MultiByteToUnicode, CodePage12TakesTheLengthsOfJisCharactersAndItsOwnRowsForTheRest) {
    const Initializer initializer;
    SetBasePath(u"UseWindowsAPI"_w);
    const auto page12 = Loaded(PlainFile(), ISO_2022_JP);
    // 81 is a character of its own, whose row has pairs only, and 40 a lead byte at the end of the text; A
    // and B are one pair, which the row of A does not have.
    EXPECT_EQ(Substituted(*page12, "\x81\x40"), (WideString{'?', '?'}));
    EXPECT_EQ(Substituted(*page12, "AB "), (WideString{'?', ' '}));
    EXPECT_TRUE(page12->IsEscapeSequence("\x1B$B"));
    EXPECT_EQ(page12->GetNumberOfBytesInThisEscapeSequence("\x1B(B"), 3u);
}

TEST(MultiByteToUnicode, DataCutOffAnywhereThrowsAndTheTableHoldsWhatWasRead) {
    const std::string file = Head(932, '#', 3) + Row(1, 'x') + Row(2, {}, {{}, 0x3000}) + Row(1, 'z');
    for (std::size_t length = 0; length < file.size(); ++length) {
        const auto table = Loaded(PlainFile());
        EXPECT_EQ(Raised([&] { Load(*table, file.substr(0, length)); }).type, "Message") << length;
        for (const char* const text : {"A\x81\x40", "\x01\x01\x02", "\x81"}) {
            Decode(*table, text, true);
            Decode(*table, text, false);
        }
        Load(*table, file);
        EXPECT_EQ(Written(*table), file) << length;
    }
}

TEST(MultiByteToUnicode, ACopyHasRowsOfItsOwn) {
    Pointer original = Loaded(PlainFile('#'), EUC_KR);
    const Pointer copy(new Table(*original));
    const Pointer assigned(new Table(SHIFT_JIS, 1, '!'));
    *assigned = *original;
    Load(*original, Rows().File());
    EXPECT_EQ(Substituted(*original, "\x81"), (WideString{'?'}));
    original = nullptr;
    for (const Pointer& table : {copy, assigned}) {
        EXPECT_EQ(Written(*table), PlainFile('#'));
        EXPECT_EQ(Substituted(*table, "\x81\x41\x82"), (WideString{0x4E41, '#'}));
        EXPECT_EQ(table->Convert(0x81, 0x41).Get(), 0x4E41);
    }
}

TEST(MultiByteToUnicode, ACopyOfAnUnfilledTableCanBeFilled) {
    const Table original(SHIFT_JIS, 932, '#');
    const Pointer copy(new Table(original));
    EXPECT_EQ(Substituted(*copy, "A"), (WideString{'#'}));
    copy->ReadFromWindowsAPI();
    EXPECT_EQ(Substituted(*copy, "A\x82\xA0"), (WideString{'A', 0x3042}));
}

TEST(MultiByteToUnicode, ACopyCountsFromZeroAndAssignmentLeavesTheCount) {
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

TEST(MultiByteToUnicode, AssignmentToItselfKeepsTheTable) {
    const Pointer table = Loaded(PlainFile());
    const Table& same = *table;
    *table = same;
    EXPECT_EQ(Written(*table), PlainFile());
    EXPECT_EQ(Substituted(*table, "\x81\x40"), (WideString{0x4E40}));
}

TEST(MultiByteToUnicode, ADefaultTableFilledFromTheServicesTakesRowsAndSubstitutesAQuestionMark) {
    const Pointer table(new Table);
    table->ReadFromWindowsAPI(); // its number is 0: the system's own code page
    EXPECT_EQ(Substituted(*table, "A\x80"), (WideString{'A', 0x20AC}));
    const std::string bytes = Written(*table);
    EXPECT_EQ(bytes.substr(0, 9), std::string("\0\0\0\0?\0\1\0\0", 9));
}

TEST(MultiByteToUnicode, FillingAgainReplacesTheRows) {
    const auto table = Filled(932);
    const std::string first = Written(*table);
    table->ReadFromWindowsAPI();
    EXPECT_EQ(Written(*table), first);
    Load(*table, Head(932, '?', 1) + Row(1, 'x'));
    table->ReadFromWindowsAPI();
    EXPECT_EQ(Written(*table), first);
    Load(*table, Head(1252, '?', 300) + std::string(300 * 8, '\0'));
    table->ReadFromWindowsAPI();
    EXPECT_EQ(Substituted(*table, "\x80"), (WideString{0x20AC}));
}

TEST(MultiByteToUnicode, ACodePageThatTheServicesRefuseMapsNothingAndThrowsNothing) {
    const auto table = Filled(65535);
    for (unsigned byte = 0; byte < 0x100; ++byte) {
        ASSERT_FALSE(table->Convert(static_cast<unsigned char>(byte)).IsValid()) << byte;
    }
    EXPECT_EQ(Thrown(*table, "AB"), InvalidCharacter("Invalid character 000B"));
}

TEST(MultiByteToUnicode, RandomTablesConvertAsTheSlowOnes) {
    std::mt19937 random(11);
    const auto pick = [&](unsigned below) {
        return static_cast<unsigned>(random() % below);
    };
    for (int round = 0; round < 150; ++round) {
        Rows rows;
        for (unsigned count = pick(60); count > 0; --count) {
            std::vector<Unit> seconds(pick(3) == 0 ? pick(300) : 256);
            for (Unit& second : seconds) {
                second = pick(4) == 0 ? Unit() : Unit(pick(8) == 0 ? 0xFFFF : pick(0x10000));
            }
            const unsigned number = pick(8) == 0 ? pick(256) : 1 + pick(2);
            rows.Set(pick(256), Row(number, pick(4) == 0 ? Unit() : Unit(pick(0x10000)),
                                    pick(2) == 0 ? seconds : std::vector<Unit>()));
        }
        const std::string file = rows.File(932, static_cast<char>(pick(256)));
        const auto table = Loaded(file);
        const auto slow = SlowTables::Decoder::Parse(file);
        for (int text = 0; text < 30; ++text) {
            std::string bytes;
            for (unsigned count = pick(80); count > 0; --count) {
                bytes.push_back(static_cast<char>(pick(3) == 0 ? pick(256) : 'a' + pick(26)));
            }
            for (const bool substitute : {true, false}) {
                ASSERT_TRUE(Decode(*table, bytes, substitute) == slow->Convert(bytes, substitute))
                    << "round " << round << " text " << text;
            }
        }
    }
}

TEST(MultiByteToUnicode, AFilledTableConvertsOnManyThreadsAtOnce) {
    const auto table = Filled(932);
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([mine = table] {
            for (int round = 0; round < 300; ++round) {
                EXPECT_EQ(Substituted(*mine, "abcdefgh\x82\xA0\x82"),
                          (WideString{'a', 'b', 'c', 'd', 'e', 'f', 'g', 'h', 0x3042, '?'}));
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

} // namespace
