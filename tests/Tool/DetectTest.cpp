// detect, and convert --from auto: which character set a text is in, and what is said where that is not sure.

#include "Command.h"
#include "Shell.h"
#include "TextFiles.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace {

using nlohmann::json;

constexpr std::size_t windowSize = 256 * 1024; // what is judged of a text

std::string Repeated(const std::string& text, std::size_t least) {
    std::string repeated;
    while (repeated.size() < least) {
        repeated += text;
    }
    return repeated;
}

std::string Example(const std::string& name) {
    return ReadFile("examples/data/" + name);
}

Outcome Detect(const std::string& text, std::vector<std::string> options = {}) {
    options.insert(options.begin(), "detect");
    return RunCommand(options, text);
}

// The answer for `text`, from standard input.
json Answer(const std::string& text, std::vector<std::string> options = {}) {
    options.emplace_back("--json");
    return json::parse(Detect(text, options).output).at(0);
}

json Best(const std::string& text) {
    return Answer(text).at("candidates").at(0);
}

Outcome ConvertAuto(const std::string& text) {
    return RunCommand({"convert", "--from", "auto", "--to", "utf-8"}, text);
}

// A text that is long enough for an answer.
std::string LongRussian() {
    return Repeated(Example("russian.koi8-r.txt"), 4096);
}

struct Sample {
    const char* file;
    const char* text; // in UTF-8
    const char* charset;
    const char* language;
};

// The names are those that others give the same bytes: windows-1250 where iso-8859-2 would be another text.
constexpr Sample samples[] = {
    {"arabic.iso-8859-6.txt", "arabic.utf-8.txt", "windows-1256", "ar"},
    {"greek.iso-8859-7.txt", "greek.utf-8.txt", "windows-1253", "el"},
    {"hebrew.windows-1255.txt", "hebrew.utf-8.txt", "windows-1255", "he"},
    {"japanese.shift_jis.txt", "japanese.utf-8.txt", "shift_jis", "ja"},
    {"korean.euc-kr.txt", "korean.utf-8.txt", "euc-kr", "ko"},
    {"lithuanian.iso-8859-4.txt", "lithuanian.utf-8.txt", "windows-1257", "lt"},
    {"polish.iso-8859-2.txt", "polish.utf-8.txt", "windows-1250", "pl"},
    {"russian.koi8-r.txt", "russian.utf-8.txt", "koi8-r", "ru"},
    {"simplified-chinese.gb2312.txt", "simplified-chinese.utf-8.txt", "gb2312", "zh"},
    {"thai.windows-874.txt", "thai.utf-8.txt", "windows-874", "th"},
    {"traditional-chinese.big5.txt", "traditional-chinese.utf-8.txt", "big5", "zh"},
    {"turkish.iso-8859-9.txt", "turkish.utf-8.txt", "windows-1254", "tr"},
};

class SampleTest : public testing::TestWithParam<Sample> {};

TEST_P(SampleTest, TwoKibibytesAreNamedWithTheirLanguage) {
    const Sample& sample = GetParam();
    const std::string text = Repeated(Example(sample.file), 2048);
    const Outcome outcome = Detect(text, {"--json"});
    const json answer = json::parse(outcome.output).at(0);
    EXPECT_EQ(answer.at("candidates").at(0).at("charset"), sample.charset);
    EXPECT_EQ(answer.at("candidates").at(0).at("language"), sample.language);
    EXPECT_TRUE(answer.at("convincing"));
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.errors, "");
}

TEST_P(SampleTest, LessIsNotConvincingAndListsWhatItMayBe) {
    const std::string text = Example(GetParam().file);
    ASSERT_LT(text.size(), 2048u);
    const Outcome outcome = Detect(text, {"--json"});
    const json answer = json::parse(outcome.output).at(0);
    EXPECT_FALSE(answer.at("convincing"));
    EXPECT_GE(answer.at("candidates").size(), 2u);
    EXPECT_EQ(outcome.status, 1);
}

TEST_P(SampleTest, AutomaticConversionGivesTheText) {
    const Sample& sample = GetParam();
    const std::string once = Example(sample.file);
    const std::string text = Repeated(once, 2048);
    std::string expected;
    for (std::size_t size = 0; size < text.size(); size += once.size()) {
        expected += Example(sample.text);
    }
    const Outcome outcome = ConvertAuto(text);
    EXPECT_EQ(outcome.output, expected);
    EXPECT_NE(
        outcome.errors.find("standard input: detected " + std::string(sample.charset) + " (confidence "),
        std::string::npos)
        << outcome.errors;
    EXPECT_EQ(outcome.status, 0);
}

INSTANTIATE_TEST_SUITE_P(DetectTest, SampleTest, testing::ValuesIn(samples), [](const auto& one) {
    std::string name = one.param.file;
    std::erase_if(name, [](char c) { return c == '.' || c == '-' || c == '_'; });
    return name;
});

TEST(DetectTest, PlainAsciiIsCertain) {
    const json best = Best("plain text\n");
    EXPECT_EQ(best.at("charset"), "us-ascii");
    EXPECT_EQ(best.at("confidence"), 100);
    EXPECT_TRUE(best.at("language").is_null());
}

TEST(DetectTest, WellFormedUTF8IsCertain) {
    for (const char* text : {"caf\xC3\xA9\n", "\xE2\x82\xAC", "\xF0\x9F\x98\x80", "\xEF\xBB\xBFmarked",
                             "H\u00E9llo W\u00F6rld \u00FF \u00D8", "\u00E9 \u03B1 \u0436"}) {
        const json best = Best(text);
        EXPECT_EQ(best.at("charset"), "utf-8") << text;
        EXPECT_EQ(best.at("confidence"), 100) << text;
    }
}

TEST(DetectTest, AFewCharactersOfAnotherEncodingThatAreWellFormedUTF8AreNotCertain) {
    const std::string chinese = "\xC4\xA1\xD3\xA2\xD7\xB5"; // U+0121 U+04E2 U+05F5 in UTF-8
    const json answer = Answer(chinese, {"--all"});
    for (const json& candidate : answer.at("candidates")) {
        EXPECT_LT(candidate.at("confidence"), 80) << candidate;
    }
    EXPECT_EQ(Detect(chinese).status, 1);
}

TEST(DetectTest, AnEmptyTextIsPlainAscii) {
    const Outcome outcome = Detect("");
    EXPECT_NE(outcome.output.find("us-ascii  100"), std::string::npos) << outcome.output;
    EXPECT_EQ(outcome.status, 0);
    const Outcome converted = ConvertAuto("");
    EXPECT_EQ(converted.output, "");
    EXPECT_EQ(converted.status, 0);
}

TEST(DetectTest, OneByteAboveAsciiIsNotConvincing) {
    const Outcome outcome = Detect("\xE9");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_NE(outcome.errors.find("standard input: no character set is convincing; candidates: "),
              std::string::npos)
        << outcome.errors;
}

TEST(DetectTest, BinaryGarbageIsNotConvincing) {
    std::uint32_t state = 12345;
    std::string garbage;
    for (int i = 0; i < 65536; ++i) {
        state = state * 1664525 + 1013904223;
        garbage += static_cast<char>(state >> 24);
    }
    const Outcome outcome = Detect(garbage, {"--json"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_FALSE(json::parse(outcome.output).at(0).at("convincing"));
}

TEST(DetectTest, EscapeSequencesTellIso2022) {
    EXPECT_EQ(Best("\x1B$B$3$s\x1B(B\n").at("charset"), "iso-2022-jp");
    EXPECT_EQ(Best("\x1B$)C\x0E\x47\x51\x0F\n").at("charset"), "ISO-2022-KR");
    EXPECT_EQ(Best("~{<:Ky2;WS~}\n").at("charset"), "HZ-GB-2312");
}

TEST(DetectTest, TerminalSequencesAreAsciiButNotCertain) {
    const json best = Best("\x1B[31mred\x1B[0m\n");
    EXPECT_EQ(best.at("charset"), "us-ascii");
    EXPECT_LT(best.at("confidence"), 100);
}

TEST(DetectTest, ShiftsAndZerosInAsciiAreNotConvincing) {
    EXPECT_EQ(Detect("a\x0E"
                     "b")
                  .status,
              1);
    EXPECT_EQ(Detect(std::string("a\0b\0c", 5)).status, 1);
}

TEST(DetectTest, UTF16IsToldByItsMarkOrItsZeros) {
    EXPECT_EQ(Best(std::string("\xFF\xFEh\0i\0", 6)).at("charset"), "utf-16");
    EXPECT_EQ(Best(std::string("\xFE\xFF\0h\0i", 6)).at("charset"), "utf-16");
    EXPECT_EQ(Best(std::string("h\0e\0l\0l\0o\0", 10)).at("charset"), "utf-16le");
    EXPECT_EQ(Best(std::string("\0h\0e\0l\0l\0o", 10)).at("charset"), "utf-16be");
}

TEST(DetectTest, TheIsoStandardsOwnTextIsToldFromTheCodePages) {
    // s and z with caron and a with ogonek stand elsewhere in windows-1250.
    const std::string text = Repeated("\xB9koda, \xBE"
                                      "e \xE1no. Pozn\xE1mka: \xE8lov\xECk vid\xED \xB9patn\xEC.\n",
                                      2048);
    const json best = Best(text);
    EXPECT_EQ(best.at("charset"), "iso-8859-2");
    EXPECT_TRUE(best.at("standard"));
}

TEST(DetectTest, OfReadingsWithTheSameTextOneIsListed) {
    const std::string german = Repeated("Sch\xF6ne Gr\xFC\xDF"
                                        "e aus K\xF6ln, f\xFCr \xC4rger.\n",
                                        2048);
    const json answer = Answer(german, {"--all"});
    EXPECT_EQ(answer.at("candidates").at(0).at("charset"), "iso-8859-1");
    for (const json& candidate : answer.at("candidates")) {
        EXPECT_NE(candidate.at("charset"), "windows-1252");
        EXPECT_NE(candidate.at("charset"), "iso-8859-9");
    }
}

TEST(DetectTest, ACharacterMayBeCutByTheEndOfWhatIsJudged) {
    for (std::size_t before = windowSize - 3; before <= windowSize; ++before) {
        const std::string utf8 = "\xC3\xA9" + std::string(before - 2, 'a') + "\xE2\x82\xAC";
        EXPECT_EQ(Best(utf8).at("confidence"), 100) << before;
        EXPECT_EQ(ConvertAuto(utf8).output, utf8) << before;
        const std::string lines = Repeated(Example("japanese.shift_jis.txt"), 4096);
        const std::string japanese = lines + std::string(before - lines.size(), 'a') + "\x93\xFA\x96{\n";
        EXPECT_EQ(Best(japanese).at("charset"), "shift_jis") << before;
    }
}

TEST(DetectTest, WhatIsBehindALongPlainStartDecides) {
    const Directory directory;
    const std::string plain = Repeated("nothing but plain text\n", 1 << 20);
    WriteFile(directory / "late.txt", plain + LongRussian());
    const Outcome outcome = RunCommand({"detect", "--json", (directory / "late.txt").string()});
    EXPECT_EQ(json::parse(outcome.output).at(0).at("candidates").at(0).at("charset"), "koi8-r");
    const Outcome converted =
        RunCommand({"convert", "--from", "auto", "--to", "koi8-r", (directory / "late.txt").string()});
    EXPECT_EQ(converted.output, plain + LongRussian());
}

TEST(DetectTest, UTF8IsHeldToToItsEnd) {
    const std::string text = Repeated(Example("russian.utf-8.txt"), 3 * windowSize);
    EXPECT_EQ(Best(text).at("confidence"), 100);
    const Outcome outcome = Detect(text + "\xFF", {"--json"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_NE(outcome.errors.find("it is utf-8 up to byte offset " + std::to_string(text.size())),
              std::string::npos)
        << outcome.errors;
    const json answer = json::parse(outcome.output).at(0);
    for (const json& candidate : answer.at("candidates")) {
        EXPECT_NE(candidate.at("charset"), "utf-8");
    }
}

TEST(DetectTest, WhatLooksLikeHzOrUTF8AtFirstMayBeAnotherText) {
    const std::string plain = Repeated("cd ~{user}\n", 2 * windowSize);
    EXPECT_EQ(Best(plain).at("charset"), "us-ascii");
    EXPECT_EQ(Best(plain + LongRussian()).at("charset"), "koi8-r");
    const std::string utf8 = "caf\xC3\xA9\n" + Repeated("plain\n", 2 * windowSize);
    const json answer = Answer(utf8 + Repeated(LongRussian(), 2 * windowSize));
    EXPECT_EQ(answer.at("candidates").at(0).at("charset"), "koi8-r");
}

TEST(DetectTest, ATextMayBeCutInsideItsLastCharacter) {
    const std::string japanese = Repeated(Example("japanese.shift_jis.txt"), 2048) + "\x93";
    EXPECT_EQ(Best(japanese).at("charset"), "shift_jis");
    const json best = Best(Example("japanese.utf-8.txt") + "\xE6\x97");
    EXPECT_EQ(best.at("charset"), "utf-8");
    EXPECT_LT(best.at("confidence"), 100);
    EXPECT_EQ(Best("caf\xE9").at("charset"), "iso-8859-1"); // half a character of shift_jis
}

TEST(DetectTest, CandidatesAreHeldToTheEndOfTheText) {
    const std::string text = Repeated(Example("japanese.shift_jis.txt"), 2 * windowSize);
    EXPECT_EQ(Best(text).at("charset"), "shift_jis");
    EXPECT_NE(Best(text + "\x85\x40").at("charset"), "shift_jis"); // undefined there
}

TEST(DetectTest, ChoosesAmongTheCandidatesThatAreGiven) {
    const std::string text = Repeated(Example("korean.euc-kr.txt"), 2048);
    const json answer = Answer(text, {"--all", "--candidates", "cp932,gb2312,uhc"});
    EXPECT_EQ(answer.at("candidates").at(0).at("charset"), "uhc");
    EXPECT_TRUE(answer.at("convincing"));
    EXPECT_LE(answer.at("candidates").size(), 3u);
}

TEST(DetectTest, TheOnlyCandidateThatDecodesIsConvincing) {
    EXPECT_EQ(Answer("\x93\xFA\x96{", {"--candidates", "utf-8,shift_jis,us-ascii"}).at("convincing"), true);
}

TEST(DetectTest, WithoutACandidateThatDecodesThereIsNoAnswer) {
    const Outcome outcome = Detect("\xFF\xFF", {"--candidates", "utf-8,us-ascii"});
    EXPECT_EQ(outcome.errors,
              "kcodepage: standard input: no character set is convincing; candidates: none\n");
    EXPECT_EQ(outcome.output, "file  charset  confidence  language\n-     -        0           -\n");
    EXPECT_EQ(outcome.status, 1);
}

TEST(DetectTest, UnknownAndEmptyCandidatesAreWrongUsage) {
    EXPECT_EQ(Detect("a", {"--candidates", "utf-8,no-such-set"}).status, 2);
    EXPECT_EQ(Detect("a", {"--candidates", ""}).status, 2);
    EXPECT_EQ(Detect("a", {"--candidates", "utf-8,,koi8-r"}).status, 2);
    EXPECT_EQ(Detect("a", {"--no-such-option"}).status, 2);
}

TEST(DetectTest, EachFileHasItsLineAndStandardInputToo) {
    const Directory directory;
    WriteFile(directory / "plain.txt", "plain\n");
    WriteFile(directory / "russian.txt", LongRussian());
    const Outcome outcome =
        RunCommand({"detect", "plain.txt", "-", "russian.txt"}, "caf\xC3\xA9", directory.Name());
    EXPECT_EQ(outcome.output, "file         charset   confidence  language\n"
                              "plain.txt    us-ascii  100         -\n"
                              "-            utf-8     100         fr\n"
                              "russian.txt  koi8-r    99          ru\n");
    EXPECT_EQ(outcome.status, 0);
}

TEST(DetectTest, AFileThatCannotBeReadKeepsNoOtherFromItsAnswer) {
    const Directory directory;
    WriteFile(directory / "plain.txt", "plain\n");
    const Outcome outcome = RunCommand({"detect", "missing.txt", ".", "plain.txt"}, "", directory.Name());
    EXPECT_EQ(outcome.errors, "kcodepage: cannot open 'missing.txt': No such file or directory\n"
                              "kcodepage: cannot read '.': Is a directory\n");
    EXPECT_NE(outcome.output.find("plain.txt  us-ascii"), std::string::npos) << outcome.output;
    EXPECT_EQ(outcome.status, 1);
}

TEST(DetectTest, JsonTakesAnyFileName) {
    const Directory directory;
    for (const std::string name : {"quote\".txt", "line\nfeed", "back\\slash", "not utf-8 \xFF"}) {
        WriteFile(directory / name, "plain\n");
        const Outcome outcome = RunCommand({"detect", "--json", name}, "", directory.Name());
        const std::string file = json::parse(outcome.output).at(0).at("file");
        EXPECT_EQ(file, name.ends_with('\xFF') ? "not utf-8 \xEF\xBF\xBD" : name);
        const Outcome shown = RunCommand({"detect", name}, "", directory.Name());
        EXPECT_EQ(std::count(shown.output.begin(), shown.output.end(), '\n'), 2) << shown.output;
    }
}

TEST(DetectTest, AClosedStandardInputIsAFailure) {
    const Directory directory;
    const ShellOutcome outcome = RunShell(directory.Name(), "\"$K\" detect <&- 2>&1");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_NE(outcome.output.find("cannot read standard input"), std::string::npos) << outcome.output;
}

TEST(ConvertAutoTest, EachFileIsDetectedByItself) {
    const Directory directory;
    const std::string japanese = Repeated(Example("japanese.shift_jis.txt"), 2048);
    WriteFile(directory / "russian.txt", LongRussian());
    WriteFile(directory / "japanese.txt", japanese);
    WriteFile(directory / "plain.txt", "plain\n");
    const Outcome outcome = RunCommand(
        {"convert", "--from", "auto", "--to", "utf-16", "russian.txt", "japanese.txt", "plain.txt"}, "",
        directory.Name());
    EXPECT_EQ(outcome.errors, "kcodepage: russian.txt: detected koi8-r (confidence 99)\n"
                              "kcodepage: japanese.txt: detected shift_jis (confidence 99)\n"
                              "kcodepage: plain.txt: detected us-ascii (certain)\n");
    const auto decoded = [](const char* name, const std::string& text) {
        return RunCommand({"convert", "--from", name, "--to", "utf-16le"}, text).output;
    };
    EXPECT_EQ(outcome.output, "\xFF\xFE" + decoded("koi8-r", LongRussian()) + decoded("shift_jis", japanese) +
                                  decoded("us-ascii", "plain\n"));
    EXPECT_EQ(outcome.status, 0);
}

TEST(ConvertAutoTest, APipeIsConvertedFromItsStart) {
    const Directory directory;
    const std::string text = Repeated(LongRussian(), 2 * windowSize);
    WriteFile(directory / "russian.txt", text);
    const ShellOutcome outcome = RunShell(
        directory.Name(), "cat russian.txt | \"$K\" convert --from auto --to koi8-r 2> told; cat told >&2");
    EXPECT_EQ(outcome.output, text);
    EXPECT_EQ(outcome.status, 0);
}

TEST(ConvertAutoTest, AnInputThatWasReadInPartIsConvertedFromThere) {
    const Directory directory;
    WriteFile(directory / "russian.txt", "skipped\n" + LongRussian());
    const ShellOutcome outcome = RunShell(
        directory.Name(), "{ read line; \"$K\" convert --from auto --to koi8-r 2> told; } < russian.txt");
    EXPECT_EQ(outcome.output, LongRussian());
}

TEST(ConvertAutoTest, StopsWhereNothingIsConvincingAndNamesTheCandidates) {
    const Directory directory;
    WriteFile(directory / "short.txt", "caf\xE9");
    WriteFile(directory / "out.txt", "old");
    const Outcome outcome = RunCommand(
        {"convert", "--from", "auto", "--to", "utf-8", "short.txt", "-o", "out.txt"}, "", directory.Name());
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(ReadFile(directory / "out.txt"), "old");
    EXPECT_NE(
        outcome.errors.find("short.txt: no character set is convincing; name one in --from; candidates: "
                            "iso-8859-1 (confidence "),
        std::string::npos)
        << outcome.errors;
}

TEST(ConvertAutoTest, SubstitutionsAreToldForEachCharset) {
    const Directory directory;
    // Half a character at the end, which detection leaves out of what it knows of a pipe.
    const std::string japanese = Repeated(Example("japanese.shift_jis.txt"), windowSize) + "\x93";
    WriteFile(directory / "japanese.txt", japanese);
    const ShellOutcome outcome =
        RunShell(directory.Name(),
                 "cat japanese.txt | \"$K\" convert --from auto --to utf-8 --substitute 2>&1 > out.txt");
    EXPECT_NE(outcome.output.find("replaced 1 by U+FFFD (cut off at the end of shift_jis)"),
              std::string::npos)
        << outcome.output;
}

} // namespace
