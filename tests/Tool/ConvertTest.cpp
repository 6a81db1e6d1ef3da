#include "Tool/Command.h"
#include "Tool/TextFiles.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <map>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

const std::filesystem::path examples = "examples/data";

Outcome Convert(const std::string& from, const std::string& to, const std::string& input) {
    return RunCommand({"convert", "--from", from, "--to", to}, input);
}

void ExpectSuccess(const Outcome& outcome, const std::string& output, const std::string& what) {
    EXPECT_EQ(outcome.status, 0) << what;
    EXPECT_EQ(WithoutRemarks(outcome.errors), "") << what;
    EXPECT_TRUE(outcome.output == output)
        << what << ": " << outcome.output.size() << " bytes instead of " << output.size();
}

// One line that begins with the command's name, and a status that says so.
void ExpectFailure(const Outcome& outcome, const std::string& part) {
    EXPECT_NE(outcome.status, 0);
    EXPECT_LT(outcome.status, 128);
    const std::string errors = WithoutRemarks(outcome.errors);
    EXPECT_EQ(errors.substr(0, 11), "kcodepage: ") << errors;
    EXPECT_EQ(errors.find('\n'), errors.size() - 1) << errors;
    EXPECT_NE(errors.find(part), std::string::npos) << errors;
}

std::string Utf16LE(const std::u16string& text) {
    std::string bytes;
    for (const char16_t unit : text) {
        bytes.push_back(static_cast<char>(unit & 0xFF));
        bytes.push_back(static_cast<char>(unit >> 8));
    }
    return bytes;
}

struct Example {
    std::string language;
    std::string charset;
    std::string bytes;
    std::string utf8;
};

// Every text beside which a UTF-8 version stands: LANGUAGE.CHARSET.txt and LANGUAGE.utf-8.txt.
std::vector<Example> Examples() {
    std::vector<Example> found;
    for (const std::string& name : NamesIn(examples)) {
        const std::size_t first = name.find('.');
        const std::size_t last = name.rfind(".txt");
        if (first == std::string::npos || last == std::string::npos || last <= first) {
            continue;
        }
        const std::string language = name.substr(0, first);
        const std::string charset = name.substr(first + 1, last - first - 1);
        if (charset != "utf-8") {
            found.push_back({language, charset, ReadFile(examples / name),
                             ReadFile(examples / (language + ".utf-8.txt"))});
        }
    }
    return found;
}

TEST(ConvertTest, ThereIsAnExampleInEachScriptOfTheCatalogue) {
    std::map<std::string, int> charsets;
    for (const Example& example : Examples()) {
        ++charsets[example.charset];
        EXPECT_GT(example.bytes.size(), 100u) << example.charset;
    }
    for (const char* charset :
         {"us-ascii", "iso-8859-1", "iso-8859-2", "iso-8859-4", "iso-8859-6", "iso-8859-7", "windows-1255",
          "iso-8859-9", "shift_jis", "euc-kr", "koi8-r", "gb2312", "big5", "windows-874"}) {
        EXPECT_EQ(charsets[charset], 1) << charset;
    }
}

TEST(ConvertTest, EveryExampleBecomesItsUtf8VersionAndBackOverPipes) {
    for (const Example& example : Examples()) {
        ExpectSuccess(Convert(example.charset, "utf-8", example.bytes), example.utf8, example.charset);
        ExpectSuccess(Convert("utf-8", example.charset, example.utf8), example.bytes, example.charset);
    }
}

TEST(ConvertTest, EveryExampleBecomesItsUtf8VersionAndBackInFiles) {
    const Directory directory;
    for (const Example& example : Examples()) {
        const std::string legacy = (examples / (example.language + "." + example.charset + ".txt")).string();
        const std::string utf8 = (examples / (example.language + ".utf-8.txt")).string();
        const std::string output = (directory / "output.txt").string();
        ExpectSuccess(
            RunCommand({"convert", "--from", example.charset, "--to", "utf-8", "-o", output, legacy}), "",
            legacy);
        EXPECT_TRUE(ReadFile(output) == example.utf8) << legacy;
        ExpectSuccess(RunCommand({"convert", "--from", "utf-8", "--to", example.charset, "-o", output, utf8}),
                      "", utf8);
        EXPECT_TRUE(ReadFile(output) == example.bytes) << utf8;
    }
    EXPECT_EQ(NamesIn(directory.Name()), std::vector<std::string>{"output.txt"});
}

TEST(ConvertTest, AFileGoesToStandardOutputAndStandardInputIntoAFile) {
    const Directory directory;
    WriteFile(directory / "in.txt", "\x82\xA0");
    ExpectSuccess(
        RunCommand({"convert", "--from", "shift_jis", "--to", "utf-8", (directory / "in.txt").string()}),
        "\xE3\x81\x82", "a file in");
    const std::string out = (directory / "out.txt").string();
    ExpectSuccess(
        RunCommand({"convert", "--from", "shift_jis", "--to", "utf-8", "--output", out}, "\x82\xA0"), "",
        "a file out");
    EXPECT_EQ(ReadFile(out), "\xE3\x81\x82");
}

TEST(ConvertTest, TheOutputMayReplaceTheInput) {
    const Directory directory;
    const std::string file = (directory / "text.txt").string();
    WriteFile(file, "\x82\xA0");
    ExpectSuccess(RunCommand({"convert", "--from", "shift_jis", "--to", "utf-8", "-o", file, file}), "",
                  "in place");
    EXPECT_EQ(ReadFile(file), "\xE3\x81\x82");
    EXPECT_EQ(NamesIn(directory.Name()), std::vector<std::string>{"text.txt"});
}

TEST(ConvertTest, FileNamesAreTakenByTheirBytes) {
    const Directory directory;
    const std::string in = (directory / "a\\b \xFF.txt").string();
    const std::string out = (directory / "out \xC3\xA9\xFE.txt").string();
    WriteFile(in, "\x82\xA0");
    ExpectSuccess(RunCommand({"convert", "--from", "shift_jis", "--to", "utf-8", "-o", out, in}), "",
                  "names");
    EXPECT_EQ(ReadFile(out), "\xE3\x81\x82");
}

TEST(ConvertTest, NamesOfCharacterSetsAreTakenInAnyCase) {
    ExpectSuccess(Convert("Shift_JIS", "UTF-8", "\x82\xA0"), "\xE3\x81\x82", "from");
    ExpectSuccess(Convert("Utf-16LE", "KOI8-R", Utf16LE(u"\u0430")), "\xC1", "to");
}

TEST(ConvertTest, AnEmptyTextGivesAnEmptyText) {
    for (const char* from : {"us-ascii", "shift_jis", "utf-8", "utf-16le"}) {
        for (const char* to : {"us-ascii", "shift_jis", "utf-8", "utf-16le"}) {
            ExpectSuccess(Convert(from, to, ""), "", std::string(from) + " to " + to);
        }
    }
    const Directory directory;
    const std::string file = (directory / "empty.txt").string();
    ExpectSuccess(RunCommand({"convert", "--from", "big5", "--to", "utf-8", "-o", file}), "", "a file");
    EXPECT_EQ(ReadFile(file), "");
}

// Every pair of names. What is common to all of them is ASCII.

const std::vector<std::string> convertibles = {"us-ascii",   "iso-8859-1",  "iso-8859-2",   "iso-8859-4",
                                               "iso-8859-6", "iso-8859-7",  "windows-1255", "iso-8859-9",
                                               "shift_jis",  "euc-kr",      "koi8-r",       "gb2312",
                                               "big5",       "windows-874", "utf-8",        "utf-16le"};

std::string EncodeAscii(const std::string& charset, const std::string& ascii) {
    return charset == "utf-16le" ? Utf16LE(std::u16string(ascii.begin(), ascii.end())) : ascii;
}

TEST(ConvertTest, EveryPairOfNamesConvertsAscii) {
    std::string ascii;
    for (int byte = 0; byte < 0x80; ++byte) {
        ascii.push_back(static_cast<char>(byte));
    }
    for (const std::string& from : convertibles) {
        for (const std::string& to : convertibles) {
            ExpectSuccess(Convert(from, to, EncodeAscii(from, ascii)), EncodeAscii(to, ascii),
                          from + " to " + to);
        }
    }
}

TEST(ConvertTest, EveryPairGivesWhatTheWayOverUtf16Gives) {
    for (const Example& example : Examples()) {
        const Outcome middle = Convert(example.charset, "utf-16le", example.bytes);
        ASSERT_EQ(middle.status, 0) << middle.errors;
        // The true UTF-16, from the UTF-8 version.
        ExpectSuccess(Convert("utf-8", "utf-16le", example.utf8), middle.output, example.charset);
        for (const std::string& to : convertibles) {
            const Outcome direct = Convert(example.charset, to, example.bytes);
            const Outcome second = Convert("utf-16le", to, middle.output);
            EXPECT_EQ(direct.status, second.status) << example.charset << " to " << to;
            if (second.status == 0) {
                EXPECT_TRUE(direct.output == second.output) << example.charset << " to " << to;
            } else {
                ExpectFailure(direct, "");
                ExpectFailure(second, "");
            }
        }
    }
}

// UTF-8 and UTF-16.

TEST(ConvertTest, ZeroBytesInUtf8AreKeptBothWays) {
    const std::string utf8("\0a\0\0\xE3\x81\x82\0", 8);
    const std::string utf16 = Utf16LE(std::u16string(u"\0a\0\0\u3042\0", 6));
    ExpectSuccess(Convert("utf-8", "utf-16le", utf8), utf16, "decoding");
    ExpectSuccess(Convert("utf-16le", "utf-8", utf16), utf8, "encoding");
    ExpectSuccess(Convert("utf-8", "utf-8", utf8), utf8, "both");
    const std::string shiftJis("\0a\0\0\x82\xA0\0", 7);
    ExpectSuccess(Convert("shift_jis", "utf-8", shiftJis), utf8, "from tables");
    ExpectSuccess(Convert("utf-8", "shift_jis", utf8), shiftJis, "to tables");
}

TEST(ConvertTest, SupplementaryCharactersPassBetweenUtf8AndUtf16) {
    ExpectSuccess(Convert("utf-8", "utf-16le", "\xF0\x9F\x98\x80"), std::string("\x3D\xD8\x00\xDE", 4),
                  "decoding");
    ExpectSuccess(Convert("utf-16le", "utf-8", std::string("\x3D\xD8\x00\xDE", 4)), "\xF0\x9F\x98\x80",
                  "encoding");
}

// What is no surrogate is converted in runs, which end here at every place of a block.
TEST(ConvertTest, SurrogatesAnywhereInAUtf16TextArePairedOrRefused) {
    for (std::size_t before = 0; before <= 70; ++before) {
        const std::string ascii(before, 'x');
        const std::string utf8 = ascii + "\xF0\x9F\x98\x80" + std::string(70, 'y');
        std::string littleEndian;
        std::string bigEndian;
        for (const char c : ascii) {
            littleEndian += {c, '\0'};
            bigEndian += {'\0', c};
        }
        const std::string cut = littleEndian + "\x3D\xD8";
        littleEndian += std::string("\x3D\xD8\x00\xDE", 4);
        bigEndian += std::string("\xD8\x3D\xDE\x00", 4);
        for (int i = 0; i < 70; ++i) {
            littleEndian += {'y', '\0'};
            bigEndian += {'\0', 'y'};
        }
        ExpectSuccess(Convert("utf-16le", "utf-8", littleEndian), utf8, "little-endian");
        ExpectSuccess(Convert("utf-16be", "utf-8", bigEndian), utf8, "big-endian");
        ExpectSuccess(Convert("utf-8", "utf-16be", utf8), bigEndian, "to big-endian");
        ExpectSuccess(Convert("utf-16", "utf-16be", "\xFF\xFE" + littleEndian), bigEndian, "with a mark");
        const Outcome refused = Convert("utf-16le", "utf-8", cut + littleEndian);
        ExpectFailure(refused, "byte offset " + std::to_string(2 * before) + ": the bytes 3D D8");
        EXPECT_EQ(refused.output, ascii);
    }
}

TEST(ConvertTest, AByteOrderMarkIsTextAndKept) {
    ExpectSuccess(Convert("utf-8", "utf-16le",
                          "\xEF\xBB\xBF"
                          "a"),
                  std::string("\xFF\xFE"
                              "a\0",
                              4),
                  "decoding");
    ExpectSuccess(Convert("utf-16le", "utf-8",
                          std::string("\xFF\xFE"
                                      "a\0",
                                      4)),
                  "\xEF\xBB\xBF"
                  "a",
                  "encoding");
}

TEST(ConvertTest, Utf16OfAnOddNumberOfBytesIsRefused) {
    for (const std::string& input : {std::string("a"), std::string("a\0b", 3), Utf16LE(u"abc") + "d"}) {
        const Outcome outcome = Convert("utf-16le", "utf-8", input);
        ExpectFailure(outcome, "utf-16le");
    }
}

TEST(ConvertTest, IllFormedUtf8IsRefused) {
    for (const char* input : {"a\xFFz", "a\xE3\x81", "\xC0\x80", "\xED\xA0\x80"}) {
        ExpectFailure(Convert("utf-8", "utf-16le", input), "byte offset");
    }
}

TEST(ConvertTest, AnUnpairedSurrogateIsRefused) {
    ExpectFailure(Convert("utf-16le", "utf-8",
                          std::string("\x3D\xD8"
                                      "a\0",
                                      4)),
                  "surrogate");
    ExpectFailure(Convert("utf-16le", "utf-8", std::string("\x00\xDE", 2)), "surrogate");
}

// What does not convert.

TEST(ConvertTest, AnInvalidCharacterStopsIt) {
    ExpectFailure(Convert("utf-8", "koi8-r", "a\xE3\x81\x82z"), "U+3042");
    ExpectFailure(Convert("shift_jis", "utf-8", "a\x82"), "cut-off");
    const Outcome outcome = Convert("utf-8", "us-ascii", "\xE3\x81\x82");
    ExpectFailure(outcome, "U+3042");
    EXPECT_EQ(outcome.output, "");
}

TEST(ConvertTest, CharacterSetsThatTheCommandRefusesStopIt) {
    ExpectFailure(Convert("unicode-1-1", "utf-8", "a"), "unicode-1-1");
    ExpectFailure(Convert("utf-8", "unicode-1-1", "a"), "unicode-1-1");
}

TEST(ConvertTest, AnUnknownNameIsRefusedAndTold) {
    ExpectFailure(Convert("klingon", "utf-8", "a"), "klingon");
    ExpectFailure(Convert("utf-8", "klingon", "a"), "klingon");
    ExpectFailure(Convert("", "utf-8", "a"), "");
    ExpectFailure(Convert("kli\ngon", "utf-8", "a"), "gon"); // one line, whatever the name
}

TEST(ConvertTest, AMissingInputIsRefusedAndTold) {
    const Directory directory;
    const std::string missing = (directory / "missing.txt").string();
    ExpectFailure(RunCommand({"convert", "--from", "big5", "--to", "utf-8", missing}), missing);
    ExpectFailure(RunCommand({"convert", "--from", "big5", "--to", "utf-8", directory.Name()}),
                  directory.Name());
}

TEST(ConvertTest, MissingTranslationFilesAreTold) {
    const Directory directory;
    const Outcome outcome =
        RunCommand({"convert", "--from", "big5", "--to", "utf-8", "--base-path", directory.Name()}, "a");
    ExpectFailure(outcome, "Can't open the CodePage translation file: 950");
    EXPECT_NE(outcome.errors.find("big5.M2U"), std::string::npos) << outcome.errors;
}

// The file that -o names.

TEST(ConvertTest, AnOutputThatCannotBeWrittenIsRefusedAndTold) {
    const Directory directory;
    const std::string nowhere = (directory / "none" / "out.txt").string();
    ExpectFailure(RunCommand({"convert", "--from", "big5", "--to", "utf-8", "-o", nowhere}, "a"), nowhere);
    const std::string folder = (directory / "folder").string();
    std::filesystem::create_directory(folder);
    WriteFile(folder + "/kept", "kept");
    ExpectFailure(RunCommand({"convert", "--from", "big5", "--to", "utf-8", "-o", folder}, "a"), folder);
    EXPECT_EQ(NamesIn(directory.Name()), std::vector<std::string>{"folder"});
    EXPECT_EQ(NamesIn(folder), std::vector<std::string>{"kept"});
}

TEST(ConvertTest, AFullDiskIsTold) {
    if (!std::filesystem::exists("/dev/full")) {
        GTEST_SKIP() << "there is no /dev/full";
    }
    ExpectFailure(RunCommandInto("/dev/full", {"convert", "--from", "big5", "--to", "utf-8"}, "a"), "output");
}

TEST(ConvertTest, AFailureLeavesTheOldOutputAndNothingElse) {
    const Directory directory;
    const std::string file = (directory / "out.txt").string();
    WriteFile(file, "old");
    const std::vector<std::vector<std::string>> failing = {
        {"convert", "--from", "utf-8", "--to", "koi8-r", "-o", file},             // an invalid character
        {"convert", "--from", "utf-16le", "--to", "utf-8", "-o", file},           // half a code unit
        {"convert", "--from", "klingon", "--to", "utf-8", "-o", file},            // an unknown name
        {"convert", "--from", "utf-8", "--to", "unicode-1-1", "-o", file},        // nothing converts to it
        {"convert", "--from", "utf-8", "--to", "big5", "-o", file, file + ".no"}, // no input
    };
    for (const auto& arguments : failing) {
        ExpectFailure(RunCommand(arguments, std::string(100000, 'a') + "\xE3\x81\x82"), "");
        EXPECT_EQ(ReadFile(file), "old");
        EXPECT_EQ(NamesIn(directory.Name()), std::vector<std::string>{"out.txt"});
    }
    std::filesystem::remove(file);
    for (const auto& arguments : failing) {
        ExpectFailure(RunCommand(arguments, std::string(100000, 'a') + "\xE3\x81\x82"), "");
        EXPECT_EQ(NamesIn(directory.Name()), std::vector<std::string>{});
    }
}

TEST(ConvertTest, AnOldOutputIsReplacedAsAWhole) {
    const Directory directory;
    const std::string file = (directory / "out.txt").string();
    WriteFile(file, std::string(5000, 'x'));
    ExpectSuccess(RunCommand({"convert", "--from", "koi8-r", "--to", "utf-8", "-o", file}, "\xC1"), "",
                  "replaced");
    EXPECT_EQ(ReadFile(file), "\xD0\xB0");
    EXPECT_EQ(NamesIn(directory.Name()), std::vector<std::string>{"out.txt"});
}

// Size.

TEST(ConvertTest, TwentyMebibytesOnStandardInputConvert) {
    constexpr std::size_t size = 20u << 20;
    std::string input;
    input.reserve(size);
    std::string expected;
    expected.reserve(size * 2);
    while (input.size() + 4 <= size) {
        input += "\x82\xA0"
                 "a\xB1";
        expected += "\xE3\x81\x82"
                    "a\xEF\xBD\xB1";
    }
    ExpectSuccess(Convert("shift_jis", "utf-8", input), expected, "decoding");
    ExpectSuccess(Convert("utf-8", "shift_jis", expected), input, "encoding");
}

TEST(ConvertTest, ACharacterIsInvalidHoweverFarIntoTheText) {
    for (const std::size_t before : {1u, 4095u, 65535u, 65536u, 1000001u}) {
        const Outcome outcome = Convert("utf-8", "koi8-r", std::string(before, 'a') + "\xE3\x81\x82");
        ExpectFailure(outcome, "U+3042");
    }
}

TEST(ConvertTest, CharactersOfSeveralBytesConvertAtEveryPositionOfTheText) {
    // Wherever the command cuts its input into pieces, some of these characters lie across a cut.
    for (std::size_t before = 0; before < 4; ++before) {
        std::string shiftJis(before, 'a');
        std::string utf8(before, 'a');
        for (int i = 0; i < 100000; ++i) {
            shiftJis += "\x82\xA0";
            utf8 += "\xE3\x81\x82";
        }
        ExpectSuccess(Convert("shift_jis", "utf-8", shiftJis), utf8, "decoding");
        ExpectSuccess(Convert("utf-8", "shift_jis", utf8), shiftJis, "encoding");
    }
}

} // namespace
