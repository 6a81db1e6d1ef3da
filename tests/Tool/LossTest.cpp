// What the command says of characters without an exact counterpart, and what it does about them: every kind
// in each direction and under every policy.

#include "Tool/Command.h"
#include "Tool/TextFiles.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using namespace std::string_literals;

struct Row {
    const char* from;
    const char* to;
    std::string input;
    std::string output; // before the character
    std::string message;
};

const std::vector<Row> losses = {
    // Decoding.
    {"shift_jis", "utf-8", "abc\ndef\n\x82\xA0\x85\x40x\n", "abc\ndef\n\xE3\x81\x82",
     "line 3, byte offset 10: the bytes 85 40 are undefined in shift_jis; "
     "--substitute puts U+FFFD in their place"},
    {"SJIS", "koi8-r", "a\x81\x20", "a",
     "line 1, byte offset 1: the bytes 81 20 are undefined in shift_jis; --substitute puts ? in their place"},
    {"cp932", "utf-16le", "\x81\x45\x93\0x"s, "\xFB\x30"s,
     "line 1, byte offset 2: the bytes 93 00 are undefined in shift_jis; "
     "--substitute puts U+FFFD in their place"},
    {"gbk", "utf-8", "?\xFE\xFF", "?",
     "line 1, byte offset 1: the bytes FE FF are undefined in gb2312; "
     "--substitute puts U+FFFD in their place"},
    {"us-ascii", "utf-8", "A\n\xE9", "A\n",
     "line 2, byte offset 2: the byte E9 is undefined in us-ascii; --substitute puts U+FFFD in its place"},
    {"big5", "utf-8", "a\n\nb\xA4", "a\n\nb",
     "line 3, byte offset 4: the byte A4 is a cut-off character of big5 at the end; "
     "--substitute puts U+FFFD in its place"},
    {"utf-8", "shift_jis", "a\xE3\x81", "a",
     "line 1, byte offset 1: the bytes E3 81 are a cut-off character of utf-8 at the end; "
     "--substitute puts ? in their place"},
    {"utf-8", "utf-8", "\0\n\xF0\x9F\x98z"s, "\0\n"s,
     "line 2, byte offset 2: the bytes F0 9F 98 are not well-formed UTF-8; "
     "--substitute puts U+FFFD in their place"},
    {"utf-16le", "utf-16be", "a\0\x3D\xD8z\0"s, "\0a"s,
     "line 1, byte offset 2: the bytes 3D D8 are an unpaired surrogate in utf-16le; "
     "--substitute puts U+FFFD in their place"},
    {"utf-16be", "utf-8", "\0\n\xDE\x00"s, "\n",
     "line 2, byte offset 2: the bytes DE 00 are an unpaired surrogate in utf-16be; "
     "--substitute puts U+FFFD in their place"},
    {"utf-16", "utf-8", "\xFE\xFF\0a\xD8\x3D"s, "a",
     "line 1, byte offset 4: the bytes D8 3D are an unpaired surrogate in utf-16; "
     "--substitute puts U+FFFD in their place"},
    {"utf-16le", "utf-8", "a\0b"s, "a",
     "line 1, byte offset 2: the byte 62 is a cut-off character of utf-16le at the end; "
     "--substitute puts U+FFFD in its place"},
    // Encoding.
    {"utf-8", "shift_jis", "caf\xC3\xA9\n", "caf",
     "line 1, byte offset 3: U+00E9 (bytes C3 A9) has only a best fit in shift_jis (65); --best-fit allows "
     "it"},
    {"utf-8", "cp949", "\n\n\xC2\xA3", "\n\n", // two bytes of best fit
     "line 3, byte offset 2: U+00A3 (bytes C2 A3) has only a best fit in euc-kr (A1 CC); "
     "--best-fit allows it"},
    {"utf-8", "shift_jis", "a\xE2\x82\xAC", "a",
     "line 1, byte offset 1: U+20AC (bytes E2 82 AC) has no counterpart in shift_jis; "
     "--substitute puts ? in its place"},
    {"utf-8", "big5", "\xE6\x97\xA5\n\xF0\x9F\x98\x80", "\xA4\xE9\n",
     "line 2, byte offset 4: U+1F600 (bytes F0 9F 98 80) has no counterpart in big5; "
     "--substitute puts ?? in its place"},
    {"latin1", "us-ascii", "x\n\xE9", "x\n",
     "line 2, byte offset 2: U+00E9 (byte E9) has no counterpart in us-ascii; "
     "--substitute puts ? in its place"},
    {"utf-16", "koi8-r", "\xFF\xFE\x30\x04\x3D\xD8\x00\xDE"s, "\xC1",
     "line 1, byte offset 4: U+1F600 (bytes 3D D8 00 DE) has no counterpart in koi8-r; "
     "--substitute puts ?? in its place"},
    // The first of two.
    {"utf-8", "latin1", "a\xE6\x97\xA5\xFF", "a",
     "line 1, byte offset 1: U+65E5 (bytes E6 97 A5) has no counterpart in iso-8859-1; "
     "--substitute puts ? in its place"},
};

TEST(LossTest, TheFirstLossStopsTheCommandAndIsNamedWithItsPlace) {
    const Directory directory;
    for (const Row& row : losses) {
        const std::vector<std::string> arguments = {"convert", "--from", row.from, "--to", row.to};
        const Outcome piped = RunCommand(arguments, row.input);
        EXPECT_EQ(piped.status, 1) << row.message;
        EXPECT_EQ(piped.errors, "kcodepage: standard input: " + row.message + "\n");
        EXPECT_EQ(piped.output, row.output) << row.message;

        const std::string file = (directory / "text.txt").string();
        const std::string output = (directory / "out.txt").string();
        WriteFile(file, row.input);
        WriteFile(output, "old");
        std::vector<std::string> words = arguments;
        words.insert(words.end(), {"-o", output, file});
        const Outcome named = RunCommand(words);
        EXPECT_EQ(named.status, 1) << row.message;
        EXPECT_EQ(named.errors, "kcodepage: " + file + ": " + row.message + "\n");
        EXPECT_EQ(ReadFile(output), "old");
    }
    EXPECT_EQ(NamesIn(directory.Name()), (std::vector<std::string>{"out.txt", "text.txt"}));
}

TEST(LossTest, BestFitIsTakenWhereItIsAllowed) {
    const Outcome outcome = RunCommand({"convert", "--from", "utf-8", "--to", "shift_jis", "--best-fit"},
                                       "caf\xC3\xA9 \xE2\x82\xAC");
    EXPECT_EQ(outcome.output, "cafe ");
    EXPECT_EQ(outcome.errors,
              "kcodepage: standard input: line 1, byte offset 6: U+20AC (bytes E2 82 AC) has no "
              "counterpart in shift_jis; --substitute puts ? in its place\n");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(RunCommand({"convert", "--from", "utf-8", "--to", "us-ascii", "--best-fit"}, "\xC3\xA9").status,
              1);
}

TEST(LossTest, SubstitutesAndTellsHowManyOfEachKindAndWhereTheFirstIs) {
    const std::string input = "caf\xC3\xA9 \xF0\x9F\x98\x80\xFF\n\xC3\xA8\xE3\x81";
    const Outcome outcome =
        RunCommand({"convert", "--from", "utf-8", "--to", "shift_jis", "--substitute"}, input);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.output, "caf? ???\n??");
    EXPECT_EQ(
        outcome.errors,
        "kcodepage: replaced 1 by ? (cut off at the end of utf-8), the first in standard input: line 2, "
        "byte offset 14: bytes E3 81\n"
        "kcodepage: replaced 1 by ? (not well-formed UTF-8), the first in standard input: line 1, byte "
        "offset 10: byte FF\n"
        "kcodepage: replaced 1 by ? (no counterpart in shift_jis), the first in standard input: line 1, "
        "byte offset 6: U+1F600 (bytes F0 9F 98 80)\n"
        "kcodepage: replaced 2 by ? (only a best fit in shift_jis), the first in standard input: line 1, "
        "byte offset 3: U+00E9 (bytes C3 A9)\n");
    const Outcome both =
        RunCommand({"convert", "--from", "utf-8", "--to", "shift_jis", "--substitute", "--best-fit"}, input);
    EXPECT_EQ(both.output, "cafe ???\ne?");
    EXPECT_EQ(both.errors.find("best fit"), std::string::npos) << both.errors;
    const Outcome unicode =
        RunCommand({"convert", "--from", "sjis", "--to", "utf-16", "--substitute"}, "\x85\x40\n\x85\x41\x82");
    EXPECT_EQ(unicode.output, "\xFF\xFE\xFD\xFF\n\0\xFD\xFF\xFD\xFF"s);
    EXPECT_EQ(unicode.errors,
              "kcodepage: replaced 2 by U+FFFD (undefined in shift_jis), the first in standard "
              "input: line 1, byte offset 0: bytes 85 40\n"
              "kcodepage: replaced 1 by U+FFFD (cut off at the end of shift_jis), the first in "
              "standard input: line 2, byte offset 5: byte 82\n");
}

TEST(LossTest, OffsetsAndLinesAreThoseOfTheFile) {
    const Directory directory;
    WriteFile(directory / "one", "\x82\xA0\n\n");
    WriteFile(directory / "two", "\n\x82\xA0\x85\x40");
    const Outcome outcome =
        RunCommand({"convert", "--from", "sjis", "--to", "utf-8", "one", "two"}, "", directory.Name());
    EXPECT_EQ(outcome.output, "\xE3\x81\x82\n\n\n\xE3\x81\x82");
    EXPECT_EQ(outcome.errors,
              "kcodepage: two: line 2, byte offset 3: the bytes 85 40 are undefined in shift_jis; "
              "--substitute puts U+FFFD in their place\n");
    const Outcome encoding = RunCommand(
        {"convert", "--from", "sjis", "--to", "latin1", "--substitute", "two", "one"}, "", directory.Name());
    EXPECT_EQ(encoding.output, "\n???\n\n");
    EXPECT_NE(
        encoding.errors.find("replaced 2 by ? (no counterpart in iso-8859-1), the first in two: line 2, "
                             "byte offset 1: U+3042 (bytes 82 A0)\n"),
        std::string::npos)
        << encoding.errors;
}

TEST(LossTest, ACharacterCutOffAtTheEndOfAFileIsNotCompletedByTheNext) {
    const Directory directory;
    WriteFile(directory / "one", "a\xE3\x81");
    WriteFile(directory / "two", "\x82");
    const Outcome outcome =
        RunCommand({"convert", "--from", "utf-8", "--to", "utf-8", "one", "two"}, "", directory.Name());
    EXPECT_EQ(outcome.output, "a");
    EXPECT_NE(outcome.errors.find("one: line 1, byte offset 1: the bytes E3 81"), std::string::npos);
}

TEST(LossTest, Utf16HasOneMarkInFrontOfAllFilesAndTheMarkDecidesEachFilesOrder) {
    const Directory directory;
    WriteFile(directory / "big", "\xFE\xFF\0a"s);
    WriteFile(directory / "little", "\xFF\xFE\x62\0"s);
    WriteFile(directory / "none", "c\0"s);
    WriteFile(directory / "empty", "");
    const std::vector<std::string> files = {"empty", "big", "little", "none"};
    std::vector<std::string> words = {"convert", "--from", "utf-16", "--to", "utf-16"};
    words.insert(words.end(), files.begin(), files.end());
    EXPECT_EQ(RunCommand(words, "", directory.Name()).output, "\xFF\xFE\x61\0b\0c\0"s);
    EXPECT_EQ(RunCommand({"convert", "--from", "utf-16le", "--to", "utf-8"}, "\xFF\xFE\x61\0"s).output,
              "\xEF\xBB\xBF\x61"); // only utf-16 takes it for a mark
}

TEST(LossTest, EveryAliasIsItsCharacterSet) {
    const std::vector<std::pair<const char*, const char*>> aliases = {{"cp932", "shift_jis"},
                                                                      {"windows-31j", "shift_jis"},
                                                                      {"windows-932", "shift_jis"},
                                                                      {"ms932", "shift_jis"},
                                                                      {"csWindows31J", "shift_jis"},
                                                                      {"x-sjis", "shift_jis"},
                                                                      {"MS_Kanji", "shift_jis"},
                                                                      {"csShiftJIS", "shift_jis"},
                                                                      {"windows-949", "euc-kr"},
                                                                      {"ms949", "euc-kr"},
                                                                      {"windows-936", "gb2312"},
                                                                      {"ms936", "gb2312"},
                                                                      {"windows-950", "big5"},
                                                                      {"ms950", "big5"},
                                                                      {"ms874", "windows-874"},
                                                                      {"windows-20866", "koi8-r"},
                                                                      {"sjis", "shift_jis"},
                                                                      {"ks_c_5601-1987", "euc-kr"},
                                                                      {"uhc", "euc-kr"},
                                                                      {"CP949", "euc-kr"},
                                                                      {"gbk", "gb2312"},
                                                                      {"cp936", "gb2312"},
                                                                      {"cp950", "big5"},
                                                                      {"latin1", "iso-8859-1"},
                                                                      {"tis-620", "windows-874"},
                                                                      {"koi8r", "koi8-r"},
                                                                      {"windows-1250", "iso-8859-2"},
                                                                      {"windows-1252", "iso-8859-1"},
                                                                      {"windows-1253", "iso-8859-7"},
                                                                      {"windows-1254", "iso-8859-9"},
                                                                      {"Windows-1255", "windows-1255"},
                                                                      {"windows-1256", "iso-8859-6"},
                                                                      {"windows-1257", "iso-8859-4"}};
    std::string bytes;
    for (int byte = 0xA1; byte < 0xFF; ++byte) {
        bytes.push_back(static_cast<char>(byte));
    }
    for (const auto& [alias, name] : aliases) {
        const auto decode = [&](const char* from) {
            return RunCommand({"convert", "--from", from, "--to", "utf-8", "--substitute"}, bytes);
        };
        const Outcome outcome = decode(alias);
        EXPECT_EQ(outcome.status, 0) << alias;
        EXPECT_EQ(outcome.output, decode(name).output) << alias;
        EXPECT_EQ(RunCommand({"convert", "--from", "utf-8", "--to", alias}, "a").output, "a") << alias;
    }
    for (const char* unknown : {"no-such-set", "windows-1259", "", "utf-9", "sjis2"}) {
        EXPECT_EQ(RunCommand({"convert", "--from", unknown, "--to", "utf-8"}, "a").status, 2) << unknown;
        EXPECT_EQ(RunCommand({"convert", "--from", "utf-8", "--to", unknown}, "a").status, 2) << unknown;
    }
}

TEST(LossTest, WhatCannotBeConvertedIsRefusedAtOnceWithWhatToUse) {
    const auto refusal = [](const char* from, const char* to) {
        const Outcome outcome = RunCommand({"convert", "--from", from, "--to", to, "/there/is/no/such/file"});
        EXPECT_EQ(outcome.status, 2);
        return outcome.errors;
    };
    EXPECT_EQ(refusal("unicode-1-1", "utf-8"),
              "kcodepage: unicode-1-1 cannot be converted; use utf-16le or utf-16be in --from\n");
    EXPECT_EQ(refusal("utf-8", "unicode-1-1"),
              "kcodepage: unicode-1-1 cannot be converted; use utf-16le or utf-16be in --to\n");
}

TEST(LossTest, MessagesShowNoControlBytes) {
    const Outcome outcome =
        RunCommand({"convert", "--from", "a\x1B[31m\nb\xC2\x9B\xFF\xC3\xA9", "--to", "utf-8"});
    EXPECT_EQ(outcome.errors, "kcodepage: the character set 'a\\x1B[31m\\x0Ab\\xC2\\x9B\\xFF\xC3\xA9' is "
                              "neither one that 'kcodepage list' shows nor one that is read by ICU\n");
    EXPECT_EQ(RunCommand({"convert", "--from", "utf-8", "--to", "utf-8", "no\nsuch\x7F"}).errors,
              "kcodepage: cannot open 'no\\x0Asuch\\x7F': No such file or directory\n");
    const Outcome option = RunCommand({"--x\x1B\n"});
    EXPECT_EQ(option.status, 2);
    EXPECT_EQ(option.errors.find('\x1B'), std::string::npos) << option.errors;
}

TEST(PrintableNames, WhatWouldBreakOrTurnTheLineIsEscaped) {
    // A line separator, a right-to-left override, a byte that is not UTF-8, an escape; Greek stays.
    const Outcome outcome = RunCommand({"convert", "--from", "utf-8", "--to", "utf-8",
                                        "a\u2028b\u202Ec\xFF"
                                        "d\x1B[e\u03B1"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(
        outcome.errors,
        "kcodepage: cannot open 'a\\xE2\\x80\\xA8b\\xE2\\x80\\xAEc\\xFFd\\x1B[e\u03B1': No such file or "
        "directory\n");
}

} // namespace
