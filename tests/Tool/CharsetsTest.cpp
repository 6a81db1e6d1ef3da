// Character sets beyond the tables: iso-2022-jp, those that ICU knows, and names that promise a standard.

#include "Command.h"
#include "TextFiles.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

namespace {

Outcome Convert(const std::string& from, const std::string& to, const std::string& input,
                const std::vector<std::string>& more = {}) {
    std::vector<std::string> arguments{"convert", "--from", from, "--to", to};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return RunCommand(arguments, input);
}

void Expect(const Outcome& outcome, int status, const std::string& output, const std::string& errors) {
    EXPECT_EQ(outcome.status, status);
    EXPECT_EQ(outcome.output, output);
    EXPECT_EQ(outcome.errors, errors);
}

TEST(Iso2022Jp, IsWrittenWithEscapeSequencesAndEndsInOneByteMode) {
    Expect(Convert("utf-8", "iso-2022-jp", "a\u3042\u3044\nb\u3042"), 0,
           "a\x1B$B$\"$$\x1B(B\nb\x1B$B$\"\x1B(B", "");
    Expect(Convert("shift_jis", "iso-2022-jp", "\x93\xFA\x96{"), 0, "\x1B$BF|K\\\x1B(B", "");
    Expect(Convert("utf-8", "iso-2022-jp", ""), 0, "", "");
}

TEST(Iso2022Jp, WhatSevenBitJisDoesNotHaveIsRefusedWithItsPlace) {
    const auto refusal = [](const std::string& bytes, const std::string& what) {
        return "kcodepage: standard input: line 2, byte offset 5: " + what + " (bytes " + bytes +
               ") has no counterpart in iso-2022-jp; --substitute puts ? in its place\n";
    };
    // The output is whole as far as it goes.
    Expect(Convert("utf-8", "iso-2022-jp", "\u3042x\n\uFF71"), 1, "\x1B$B$\"\x1B(Bx\n",
           refusal("EF BD B1", "U+FF71"));
    Expect(Convert("utf-8", "iso-2022-jp", "x\n\u3042\u2170"), 1, "x\n\x1B$B$\"\x1B(B",
           refusal("E2 85 B0", "U+2170"));
    Expect(Convert("shift_jis", "iso-2022-jp", "abcd\n\xFA\x40"), 1, "abcd\n",
           "kcodepage: standard input: line 2, byte offset 5: U+2170 (bytes FA 40) has no counterpart in "
           "iso-2022-jp; --substitute puts ? in its place\n");
    EXPECT_EQ(Convert("utf-8", "iso-2022-jp", "\x1B$B").status, 1); // it would open two-byte mode
}

TEST(Iso2022Jp, IsWrittenWholeAsFarAsItGoesToo) {
    // Where the input fails, behind a two-byte character.
    for (const auto& [from, text] : {std::pair("utf-8", "\u3042\xFF"), std::pair("euc-jp", "\xA4\xA2\xFF"),
                                     std::pair("shift_jis", "\x82\xA0\x82")}) {
        const Outcome outcome = Convert(from, "iso-2022-jp", text);
        EXPECT_EQ(outcome.status, 1) << from;
        EXPECT_EQ(outcome.output, "\x1B$B$\"\x1B(B") << from;
    }
}

TEST(Iso2022Jp, SubstitutesInOneByteMode) {
    Expect(Convert("utf-8", "iso-2022-jp", "\u3042\u2170\u3042", {"--substitute"}), 0,
           "\x1B$B$\"\x1B(B?\x1B$B$\"\x1B(B",
           "kcodepage: replaced 1 by ? (no counterpart in iso-2022-jp), the first in standard input: line 1, "
           "byte offset 3: U+2170 (bytes E2 85 B0)\n");
}

TEST(Iso2022Jp, EachTextOfARunEndsInOneByteMode) {
    const Directory directory;
    WriteFile(directory / "one", "\u3042");
    WriteFile(directory / "two", "\u3044");
    Expect(
        RunCommand({"convert", "--from", "utf-8", "--to", "iso-2022-jp", "one", "two"}, "", directory.Name()),
        0, "\x1B$B$\"\x1B(B\x1B$B$$\x1B(B", "");
}

TEST(Iso2022Jp, IsReadByICU) {
    Expect(Convert("iso-2022-jp", "utf-8", "a\x1B$B$\"$$\x1B(B\nb"), 0, "a\u3042\u3044\nb", "");
    Expect(Convert("ISO-2022-JP", "shift_jis", "\x1B$BF|K\\\x1B(B"), 0, "\x93\xFA\x96{", "");
}

TEST(Iso2022Jp, ReadsTheFilesOfShiftJisAndOneOfItsOwn) {
    const Directory directory;
    EXPECT_EQ(RunCommand({"tables", directory.Name(), "iso-2022-jp"}).status, 0);
    const std::vector<std::string> expected{"ShiftJisToJis.SJ2J", "shift_jis.M2U", "shift_jis.U2M"};
    EXPECT_EQ(NamesIn(directory.Name()), expected);
    EXPECT_EQ(ReadFile(directory / "ShiftJisToJis.SJ2J").size(), 4u + 6u * 8836u);
    const auto convert = [&] {
        return Convert("utf-8", "iso-2022-jp", "\u3042", {"--base-path", directory.Name()});
    };
    Expect(convert(), 0, "\x1B$B$\"\x1B(B", "");
    std::filesystem::remove(directory / "ShiftJisToJis.SJ2J");
    const Outcome refused = convert();
    EXPECT_EQ(refused.status, 1);
    EXPECT_NE(refused.errors.find("Can't open the ShiftJisToJis translation file"), std::string::npos)
        << refused.errors;
    EXPECT_NE(refused.errors.find("'kcodepage tables' writes them"), std::string::npos) << refused.errors;
}

TEST(CharsetsOfICU, AreReadUnderTheirNames) {
    Expect(Convert("euc-jp", "utf-8", "\xC6\xFC\xCB\xDC"), 0, "\u65E5\u672C", "");
    Expect(Convert("windows-1251", "utf-8", "\xE6"), 0, "\u0436", "");
    Expect(Convert("gb18030", "utf-8", "\x81\x30\x81\x30\x94\x39\xDA\x33"), 0, "\u0080\U0001F4A9", "");
    Expect(Convert("utf-32be", "utf-16le", std::string("\0\1\xF6\0", 4)), 0, std::string("\x3D\xD8\0\xDE", 4),
           "");
}

TEST(CharsetsOfICU, AreReadAsStrictlyAsTheCataloguesOwn) {
    Expect(
        Convert("euc-jp", "utf-8", "ab\n\xC6\xFC\xFF\x41"), 1, "ab\n\u65E5",
        "kcodepage: standard input: line 2, byte offset 5: the byte FF is undefined in euc-jp; --substitute "
        "puts U+FFFD in its place\n");
    Expect(
        Convert("euc-jp", "utf-8", "ab\xC6"), 1, "ab",
        "kcodepage: standard input: line 1, byte offset 2: the byte C6 is a cut-off character of euc-jp at "
        "the end; --substitute puts U+FFFD in its place\n");
    Expect(Convert("euc-jp", "utf-8", "\xFF\n\xC6\xFC\xFFz", {"--substitute"}), 0, "\uFFFD\n\u65E5\uFFFDz",
           "kcodepage: replaced 2 by U+FFFD (undefined in euc-jp), the first in standard input: line 1, byte "
           "offset 0: byte FF\n");
}

TEST(CharsetsOfICU, AnEscapeSequenceIsNoPartOfTheCharacterBehindIt) {
    Expect(Convert("iso-2022-jp", "iso-8859-1", "ab\x1B$B$\""), 1, "ab",
           "kcodepage: standard input: line 1, byte offset 5: U+3042 (bytes 24 22) has no counterpart in "
           "iso-8859-1; --substitute puts ? in its place\n");
}

TEST(CharsetsOfICU, PlacesHoldBeyondTheFirstPiece) {
    // Two-byte mode lasts over many pieces; the character without counterpart stands at several offsets.
    for (const std::size_t pairs : {32766u, 32767u, 32768u, 70000u}) {
        std::string text = "\x1B$B";
        for (std::size_t i = 0; i < pairs; ++i) {
            text += "$\"";
        }
        const Outcome outcome = Convert("iso-2022-jp", "utf-8", text + ")!\x1B(B"); // row 9 is undefined
        EXPECT_EQ(outcome.status, 1);
        const std::string expected =
            "byte offset " + std::to_string(text.size()) + ": the bytes 29 21 are undefined in iso-2022-jp";
        EXPECT_NE(outcome.errors.find(expected), std::string::npos) << outcome.errors;
        const Outcome unmapped =
            Convert("iso-2022-jp", "iso-8859-1", "\n" + text.substr(0, 3) + "!_" + text.substr(3));
        EXPECT_NE(unmapped.errors.find("line 2, byte offset 6: U+3042 (bytes 24 22)"), std::string::npos)
            << unmapped.errors;
    }
}

TEST(CharsetsOfICU, HalfASurrogatePairIsNotWrittenAsUtf16) {
    // UTF-7 can carry one.
    const Outcome outcome = Convert("utf-7", "utf-16le", "a+2AA-b");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_NE(outcome.errors.find("U+D800"), std::string::npos) << outcome.errors;
    EXPECT_EQ(Convert("utf-7", "utf-16le", "a+2AA-b", {"--substitute"}).output,
              std::string("a\0\xFD\xFF", 4) + std::string("b\0", 2));
}

TEST(CharsetsOfICU, ANameIsPassedOnAsItIs) {
    // ICU, too, looks at letters and digits alone.
    Expect(Convert("euc\x01jp", "utf-8", "\xC6\xFC"), 0, "\u65E5", "");
}

TEST(CharsetsOfICU, AFailureWhoseBytesAreNotToldReadsAsASentence) {
    // Beyond U+10FFFF in the last byte of a character.
    const std::string text = "\x1B$)C\x0E";
    Expect(
        Convert("bocu-1", "utf-8", text), 1, "\x1B",
        "kcodepage: standard input: line 1, byte offset 4: something there, or just before, is undefined in "
        "bocu-1; --substitute puts U+FFFD in its place\n");
    Expect(Convert("bocu-1", "utf-8", text, {"--substitute"}), 0, "\x1B\uFFFD\x0E",
           "kcodepage: replaced 1 by U+FFFD (undefined in bocu-1), the first in standard input: line 1, byte "
           "offset 4: bytes unknown\n");
}

TEST(CharsetsOfICU, CannotBeWritten) {
    const Outcome outcome = Convert("utf-8", "euc-jp", "a");
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.errors,
              "kcodepage: 'euc-jp' can only be converted from; 'kcodepage list' shows what --to takes\n");
}

TEST(CharsetNames, LetterCaseAndPunctuationDoNotCount) {
    for (const char* name : {"SHIFT_JIS", "Shift-JIS", "shift jis", "ShiftJIS", "cp932", "CP-932"}) {
        // Windows has U+FF5E here, other tables U+301C.
        Expect(Convert(name, "utf-8", "\x81\x60"), 0, "\uFF5E", "");
    }
    Expect(Convert("utf8", "UTF_16LE", "a"), 0, std::string("a\0", 2), "");
}

constexpr const char* sameMeant = "--from windows-1250 says that this is meant\n";

TEST(NamesOfStandards, WhatTheStandardReadsOtherwiseIsSaidOnceWithCountAndPlace) {
    Expect(Convert("iso-8859-2", "utf-8", "ab\xB9\xB9\xE9\xA9"), 0, "ab\u0105\u0105\u00E9\u00A9",
           "kcodepage: standard input: byte offset 2: iso-8859-2 is converted as windows-1250: there the "
           "byte B9 is U+0105, in the ISO standard U+0161; 3 such bytes in all; --standard decodes by the "
           "standard, " +
               std::string(sameMeant));
    Expect(Convert("latin1", "utf-8", "\x80"), 0, "\u20AC",
           "kcodepage: standard input: byte offset 0: iso-8859-1 is converted as windows-1252: there the "
           "byte 80 is U+20AC, in the ISO standard U+0080; 1 such byte in all; --standard decodes by the "
           "standard, --from windows-1252 says that this is meant\n");
}

TEST(NamesOfStandards, NothingIsSaidWhereNothingDiffersOrTheCodePageIsMeant) {
    Expect(Convert("iso-8859-2", "utf-8", "abc\xE9"), 0, "abc\u00E9", "");
    Expect(Convert("windows-1250", "utf-8", "\xB9"), 0, "\u0105", "");
    Expect(Convert("iso-8859-2", "utf-8", "\xB9\xA9\x9A", {"--standard"}), 0, "\u0161\u0160\u009A", "");
}

TEST(NamesOfStandards, WritingSaysItToo) {
    Expect(Convert("utf-8", "iso-8859-2", "\u3042\u0105\u0105", {"--substitute"}), 0, "?\xB9\xB9",
           "kcodepage: replaced 1 by ? (no counterpart in iso-8859-2), the first in standard input: line 1, "
           "byte "
           "offset 0: U+3042 (bytes E3 81 82)\n"
           "kcodepage: standard input: byte offset 3: iso-8859-2 is converted as windows-1250: there the "
           "byte B9 is U+0105, in the ISO standard U+0161; 2 such bytes in all; --to windows-1250 says that "
           "this "
           "is meant\n");
}

TEST(NamesOfStandards, WhatWasNotConvertedDoesNotCount) {
    const Outcome outcome = Convert("iso-8859-2", "us-ascii", "a\xB9\xB9");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.errors.find("kcodepage: standard input: line 1, byte offset 1: U+0105"), 0u)
        << outcome.errors;
    EXPECT_NE(
        Convert("iso-8859-2", "iso-8859-1", "\xBC\xB9\xA6", {"--substitute"}).errors.find("; 3 such bytes"),
        std::string::npos);
    EXPECT_NE(Convert("iso-8859-2", "windows-1250", "\x80\xB9\x81\xA6").errors.find("; 3 such bytes"),
              std::string::npos);
}

TEST(NamesOfStandards, TheFirstOfAllFilesIsNamed) {
    const Directory directory;
    WriteFile(directory / "one", std::string(100000, 'x'));
    WriteFile(directory / "two", std::string(100000, 'x') + "\xB9");
    WriteFile(directory / "three", "\xB9");
    const Outcome outcome = RunCommand(
        {"convert", "--from", "iso-8859-2", "--to", "utf-16", "one", "two", "three"}, "", directory.Name());
    EXPECT_EQ(outcome.errors.find("kcodepage: two: byte offset 100000: "), 0u) << outcome.errors;
    EXPECT_NE(outcome.errors.find("; 2 such bytes in all; "), std::string::npos) << outcome.errors;
}

TEST(NamesOfStandards, ThePlaceOfAByteOfTheOutputHoldsBehindAPairThatTwoPiecesShare) {
    // In SCSU one byte can be a pair: here 80, U+1F600. The number of units before the first is odd.
    std::string text = "a\x0B\x01\xEC";
    text.append(40000, '\x80');
    const std::size_t place = text.size() + 1;
    const Outcome outcome = Convert("scsu", "iso-8859-2", text + "x\x0E\x01\x05yz", {"--substitute"});
    EXPECT_NE(outcome.errors.find("standard input: byte offset " + std::to_string(place) + ": iso-8859-2 is"),
              std::string::npos)
        << outcome.errors;
}

TEST(NamesOfStandards, StandardIsRefusedWhereItMeansNothing) {
    for (const char* name : {"shift_jis", "windows-1250", "utf-8", "euc-jp"}) {
        const Outcome outcome = Convert(name, "utf-8", "a", {"--standard"});
        EXPECT_EQ(outcome.status, 2);
        // By the name that was typed.
        EXPECT_EQ(outcome.errors,
                  "kcodepage: --standard is for the names in --from that promise a standard and stand for a "
                  "Windows code page (iso-8859-1, -2, -4, -6, -7, -9); '" +
                      std::string(name) + "' is none of them: leave --standard out\n");
    }
}

} // namespace
