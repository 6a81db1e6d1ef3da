#include "Tool/Command.h"
#include "Tool/TextFiles.h"

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <sstream>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

const std::map<std::string, unsigned> pages = {
    {"us-ascii", 1252},   {"iso-8859-1", 1252}, {"iso-8859-2", 1250},   {"iso-8859-4", 1257},
    {"iso-8859-6", 1256}, {"iso-8859-7", 1253}, {"windows-1255", 1255}, {"iso-8859-9", 1254},
    {"shift_jis", 932},   {"euc-kr", 949},      {"koi8-r", 20866},      {"gb2312", 936},
    {"big5", 950},        {"windows-874", 874},
};

// Every character of a page that stands for itself alone, as the dump in CodePageData/sources has it: bytes
// and the code unit that they decode to and that encodes to them again.
struct WholeSpace {
    std::string bytes;
    std::string utf16;
    std::string decodedOnly;      // all that is defined, also the bytes that no unit encodes to
    std::string decodedOnlyUtf16; //
};

unsigned Hexadecimal(const std::string& digits) {
    return static_cast<unsigned>(std::stoul(digits, nullptr, 16));
}

WholeSpace ReadWholeSpace(unsigned number, bool sevenBit) {
    std::istringstream lines(ReadFile("CodePageData/sources/codepage-" + std::to_string(number) + ".txt"));
    std::map<std::string, unsigned> decoded; // by bytes
    std::map<unsigned, std::string> encoded; // by unit
    std::set<unsigned> leads;
    const auto text = [](unsigned code, bool two) {
        std::string bytes;
        if (two) {
            bytes.push_back(static_cast<char>(code >> 8));
        }
        bytes.push_back(static_cast<char>(code & 0xFF));
        return bytes;
    };
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        std::string kind;
        std::string word;
        words >> kind;
        if (kind == "lead") {
            while (words >> word && word != "-") {
                const unsigned last = Hexadecimal(word.substr(word.size() - 2));
                for (unsigned byte = Hexadecimal(word.substr(0, 2)); byte <= last; ++byte) {
                    leads.insert(byte);
                }
            }
        } else if (kind == "byte" || kind == "pair" || kind == "unit") {
            words >> word;
            unsigned code = kind == "pair" ? Hexadecimal(word) << 8 : Hexadecimal(word);
            for (; words >> word; ++code) {
                if (kind == "byte" && leads.count(code) == 0 && !(sevenBit && code > 0x7F)) {
                    decoded[text(code, false)] = Hexadecimal(word);
                } else if (kind == "pair" && word.find('+') == std::string::npos) {
                    decoded[text(code, true)] = Hexadecimal(word);
                } else if (kind == "unit" && word != "-") {
                    encoded[code] = text(Hexadecimal(word), word.size() == 4);
                }
            }
        }
    }
    const unsigned defaultUnit = number == 932 ? 0x30FB : 0x3F;
    WholeSpace space;
    for (const auto& [bytes, unit] : decoded) {
        const auto winner = encoded.find(unit);
        const bool roundTrip = winner != encoded.end() && winner->second == bytes;
        if (unit == defaultUnit && !roundTrip) {
            continue; // undefined
        }
        std::string utf16;
        utf16.push_back(static_cast<char>(unit & 0xFF));
        utf16.push_back(static_cast<char>(unit >> 8));
        space.decodedOnly += bytes;
        space.decodedOnlyUtf16 += utf16;
        if (roundTrip) {
            space.bytes += bytes;
            space.utf16 += utf16;
        }
    }
    return space;
}

void ExpectOutput(const Outcome& outcome, const std::string& output, const std::string& what) {
    EXPECT_EQ(outcome.status, 0) << what << ": " << outcome.errors;
    EXPECT_EQ(WithoutRemarks(outcome.errors), "") << what;
    EXPECT_TRUE(outcome.output == output) << what;
}

void ExpectFailure(const Outcome& outcome, const std::string& part) {
    EXPECT_NE(outcome.status, 0);
    EXPECT_LT(outcome.status, 128);
    EXPECT_EQ(outcome.errors.substr(0, 11), "kcodepage: ") << outcome.errors;
    EXPECT_EQ(outcome.errors.find('\n'), outcome.errors.size() - 1) << outcome.errors;
    EXPECT_NE(outcome.errors.find(part), std::string::npos) << outcome.errors;
}

TEST(TablesTest, WritesTheFilesOfEveryCodePageThatHasTables) {
    const Directory directory;
    const std::string made = (directory / "new" / "tables").string(); // made if missing
    ExpectOutput(RunCommand({"tables", made}), "", "tables");
    std::vector<std::string> expected{"ShiftJisToJis.SJ2J"};
    for (const auto& [name, number] : pages) {
        expected.push_back(name + ".M2U");
        expected.push_back(name + ".U2M");
    }
    EXPECT_EQ(NamesIn(made), expected); // and no others for iso-2022-jp, utf-8 and unicode-1-1
}

TEST(TablesTest, WritesTheFilesOfTheCodePagesThatAreNamed) {
    const Directory directory;
    ExpectOutput(RunCommand({"tables", directory.Name(), "KOI8-R", "big5", "koi8-r"}), "", "tables");
    EXPECT_EQ(NamesIn(directory.Name()),
              (std::vector<std::string>{"big5.M2U", "big5.U2M", "koi8-r.M2U", "koi8-r.U2M"}));
}

TEST(TablesTest, Iso2022JpSharesTheFilesOfShiftJis) {
    const Directory directory;
    ExpectOutput(RunCommand({"tables", directory.Name(), "iso-2022-jp"}), "", "tables");
    EXPECT_EQ(NamesIn(directory.Name()),
              (std::vector<std::string>{"ShiftJisToJis.SJ2J", "shift_jis.M2U", "shift_jis.U2M"}));
    ExpectOutput(
        RunCommand({"convert", "--from", "shift_jis", "--to", "utf-8", "--base-path", directory.Name()},
                   "\x82\xA0"),
        "\xE3\x81\x82", "reading");
    const Directory other;
    ExpectOutput(RunCommand({"tables", other.Name(), "shift_jis", "iso-2022-jp"}), "", "tables");
    for (const char* name : {"shift_jis.M2U", "shift_jis.U2M"}) {
        EXPECT_TRUE(ReadFile(directory / name) == ReadFile(other / name)) << name;
    }
}

TEST(TablesTest, TheFilesAreWhatTheFormatSays) {
    const Directory directory;
    ExpectOutput(RunCommand({"tables", directory.Name(), "koi8-r"}), "", "tables");
    const std::string decoding = ReadFile(directory / "koi8-r.M2U");
    ASSERT_EQ(decoding.size(), 9u + 256 * 8);
    EXPECT_EQ(decoding.substr(0, 9), std::string("\x82\x51\0\0?\0\1\0\0", 9));           // 20866, 256 rows
    EXPECT_EQ(decoding.substr(9 + 0xC1 * 8, 8), std::string("\1\1\x30\x04\0\0\0\0", 8)); // C1 is U+0430
    const std::string encoding = ReadFile(directory / "koi8-r.U2M");
    ASSERT_EQ(encoding.size(), 9u + 9836 * 6); // up to U+266B
    EXPECT_EQ(encoding.substr(0, 9), std::string("\x82\x51\0\0?\x6C\x26\0\0", 9));
    EXPECT_EQ(encoding.substr(9 + 0x430 * 6, 6), std::string("\x30\x04\1\1\xC1\0", 6));
}

TEST(TablesTest, OldFilesAreReplaced) {
    const Directory directory;
    WriteFile(directory / "koi8-r.M2U", std::string(1000000, 'x'));
    WriteFile(directory / "other", "kept");
    ExpectOutput(RunCommand({"tables", directory.Name(), "koi8-r"}), "", "tables");
    EXPECT_EQ(ReadFile(directory / "koi8-r.M2U").size(), 9u + 256 * 8);
    EXPECT_EQ(ReadFile(directory / "other"), "kept");
}

TEST(TablesTest, NamesWithoutTablesAreRefused) {
    const Directory directory;
    for (const char* name : {"utf-8", "unicode-1-1", "utf-16le"}) {
        ExpectFailure(RunCommand({"tables", directory.Name(), "koi8-r", name}), name);
    }
    ExpectFailure(RunCommand({"tables", directory.Name(), "koi8-r", "klingon"}), "klingon");
    EXPECT_EQ(NamesIn(directory.Name()), std::vector<std::string>{}); // the names are judged first
}

TEST(TablesTest, ADirectoryThatCannotBeMadeOrWrittenIsRefused) {
    const Directory directory;
    WriteFile(directory / "file", "x");
    ExpectFailure(RunCommand({"tables", (directory / "file").string()}), "file");
    ExpectFailure(RunCommand({"tables", (directory / "file" / "below").string()}), "file");
    std::filesystem::create_directories(directory / "taken" / "koi8-r.M2U");
    ExpectFailure(RunCommand({"tables", (directory / "taken").string(), "koi8-r"}),
                  "koi8-r.M2U': Is a directory");
    std::filesystem::create_directories(directory / "taken2" / "koi8-r.U2M");
    ExpectFailure(RunCommand({"tables", (directory / "taken2").string(), "koi8-r"}),
                  "koi8-r.U2M': Is a directory");
}

TEST(TablesTest, ADirectoryWithABackslashInItsNameIsRefused) {
    const Directory directory;
    ExpectFailure(RunCommand({"tables", (directory / "a\\b").string()}), "a\\b");
    ExpectFailure(RunCommand({"convert", "--from", "big5", "--to", "utf-8", "--base-path",
                              (directory / "a\\b").string()},
                             "a"),
                  "a\\b");
}

TEST(TablesTest, ADirectoryNamedUseWindowsAPIIsADirectory) {
    const Directory directory;
    ExpectOutput(RunCommand({"tables", "UseWindowsAPI", "koi8-r"}, "", directory.Name()), "", "tables");
    EXPECT_EQ(NamesIn(directory / "UseWindowsAPI"), (std::vector<std::string>{"koi8-r.M2U", "koi8-r.U2M"}));
    ExpectFailure(RunCommand({"convert", "--from", "big5", "--to", "utf-8", "--base-path", "UseWindowsAPI"},
                             "a", directory.Name()),
                  "big5.M2U");
}

TEST(TablesTest, TheWholeSpaceOfEachPageConvertsAsTheDumpSaysWithAndWithoutFiles) {
    const Directory directory;
    ExpectOutput(RunCommand({"tables", directory.Name()}), "", "tables");
    for (const auto& [name, number] : pages) {
        const WholeSpace space = ReadWholeSpace(number, name == "us-ascii");
        ASSERT_GE(space.bytes.size(), 128u) << name;
        for (const bool files : {false, true}) {
            const auto convert = [&, page = name](const std::string& from, const std::string& to,
                                                  const std::string& input) {
                std::vector<std::string> arguments = {"convert", "--from", from, "--to", to};
                if (files) {
                    arguments.insert(arguments.end(), {"--base-path", directory.Name()});
                }
                return RunCommand(arguments, input);
            };
            const std::string what = name + (files ? " from files" : " from the system");
            ExpectOutput(convert(name, "utf-16le", space.decodedOnly), space.decodedOnlyUtf16,
                         what + ", decoding");
            ExpectOutput(convert("utf-16le", name, space.utf16), space.bytes, what + ", encoding");
        }
    }
}

TEST(TablesTest, FilesAreUsedWhereTheyAreNamed) {
    // A file in which the byte C1 is another character shows that it, and not the system, was asked.
    const Directory directory;
    ExpectOutput(RunCommand({"tables", directory.Name(), "koi8-r"}), "", "tables");
    std::string decoding = ReadFile(directory / "koi8-r.M2U");
    decoding.at(9 + 0xC1 * 8 + 2) = 'Z';
    decoding.at(9 + 0xC1 * 8 + 3) = 0;
    WriteFile(directory / "koi8-r.M2U", decoding);
    ExpectOutput(
        RunCommand({"convert", "--from", "koi8-r", "--to", "utf-8", "--base-path", directory.Name()}, "\xC1"),
        "Z", "files");
    ExpectOutput(RunCommand({"convert", "--from", "koi8-r", "--to", "utf-8"}, "\xC1"), "\xD0\xB0",
                 "the system");
}

TEST(TablesTest, DamagedFilesAreRefused) {
    const Directory directory;
    ExpectOutput(RunCommand({"tables", directory.Name(), "koi8-r"}), "", "tables");
    const std::string whole = ReadFile(directory / "koi8-r.M2U");
    for (const std::size_t size : {0u, 3u, 8u, 9u, 10u, 2000u}) {
        WriteFile(directory / "koi8-r.M2U", whole.substr(0, size));
        const Outcome outcome = RunCommand(
            {"convert", "--from", "koi8-r", "--to", "utf-8", "--base-path", directory.Name()}, "a");
        ExpectFailure(outcome, "");
        EXPECT_EQ(outcome.errors.rfind("kcodepage: the translation files of koi8-r in '" + directory.Name() +
                                           "' cannot be used; 'kcodepage tables' writes them: ",
                                       0),
                  0u)
            << outcome.errors;
    }
}

} // namespace
