// Texts in which something stands at every position around the edge of a chunk of 64 KiB.

#include "Tool/Command.h"
#include "Tool/Shell.h"
#include "Tool/TextFiles.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <sys/resource.h>

namespace {

using namespace std::string_literals;

constexpr std::size_t chunk = 64 * 1024;

// `before` bytes of ASCII in lines of 64.
std::string Lines(std::size_t before) {
    std::string text(before, 'x');
    for (std::size_t i = 63; i < text.size(); i += 64) {
        text[i] = '\n';
    }
    return text;
}

// The place `more` bytes behind Lines(offset).
std::string Place(std::size_t offset, std::size_t more = 0) {
    return "line " + std::to_string(offset / 64 + 1) + ", byte offset " + std::to_string(offset + more) +
           ": ";
}

class ChunkEdgeTest : public testing::Test {
protected:
    // From a file: a pipe would be cut wherever it pleases.
    Outcome Convert(const std::string& from, const std::string& to, const std::string& input,
                    const std::string& option = "--best-fit") {
        WriteFile(directory / "text", input);
        return RunCommand({"convert", "--from", from, "--to", to, option, (directory / "text").string()});
    }

    std::string Failure(const Outcome& outcome) const {
        const std::string start = "kcodepage: " + (directory / "text").string() + ": ";
        EXPECT_EQ(outcome.status, 1);
        EXPECT_EQ(outcome.errors.substr(0, start.size()), start);
        return outcome.errors.substr(start.size(), outcome.errors.find(';') - start.size());
    }

    Directory directory;
};

TEST_F(ChunkEdgeTest, CharactersThereAreKeptWhole) {
    for (std::size_t offset = chunk - 5; offset <= chunk + 2; ++offset) {
        const std::string lines = Lines(offset);
        EXPECT_TRUE(Convert("utf-8", "utf-8", lines + "\xF0\x9F\x98\x80z").output ==
                    lines + "\xF0\x9F\x98\x80z");
        EXPECT_TRUE(Convert("utf-8", "shift_jis", lines + "\xE6\x97\xA5z").output == lines + "\x93\xFAz");
        EXPECT_TRUE(Convert("shift_jis", "utf-8", lines + "\x93\xFAz").output == lines + "\xE6\x97\xA5z");
        EXPECT_TRUE(Convert("utf-8", "utf-8", lines + "\0z"s).output == lines + "\0z"s);
        if (offset % 2 == 0) {
            const std::string pair = "\x3D\xD8\x00\xDE"s;
            EXPECT_TRUE(Convert("utf-16le", "utf-16le", lines + pair).output == lines + pair);
        }
    }
}

TEST_F(ChunkEdgeTest, EveryKindOfLossThereHasItsPlaceAndBytes) {
    for (std::size_t offset = chunk - 5; offset <= chunk + 2; ++offset) {
        const std::string lines = Lines(offset);
        const std::string place = Place(offset);
        EXPECT_EQ(Failure(Convert("shift_jis", "utf-8", lines + "\x85\x40z")),
                  place + "the bytes 85 40 are undefined in shift_jis");
        EXPECT_EQ(Failure(Convert("us-ascii", "utf-8", lines + "\xFFz")),
                  place + "the byte FF is undefined in us-ascii");
        EXPECT_EQ(Failure(Convert("big5", "utf-8", lines + "\xA4")),
                  place + "the byte A4 is a cut-off character of big5 at the end");
        EXPECT_EQ(Failure(Convert("utf-8", "utf-8", lines + "\xF0\x9F\x98")),
                  place + "the bytes F0 9F 98 are a cut-off character of utf-8 at the end");
        EXPECT_EQ(Failure(Convert("utf-8", "utf-8", lines + "\xE3\x81z")),
                  place + "the bytes E3 81 are not well-formed UTF-8");
        EXPECT_EQ(Failure(Convert("utf-8", "koi8-r", lines + "\xE6\x97\xA5z")),
                  place + "U+65E5 (bytes E6 97 A5) has no counterpart in koi8-r");
        EXPECT_EQ(Failure(Convert("utf-8", "big5", lines + "\xF0\x9F\x98\x80z")),
                  place + "U+1F600 (bytes F0 9F 98 80) has no counterpart in big5");
        EXPECT_EQ(Failure(Convert("shift_jis", "koi8-r", lines + "\x93\xFAz")),
                  place + "U+65E5 (bytes 93 FA) has no counterpart in koi8-r");
        EXPECT_EQ(Failure(Convert("utf-8", "sjis", lines + "\xC3\xA9z", "--")),
                  place + "U+00E9 (bytes C3 A9) has only a best fit in shift_jis (65)");
        if (offset % 2 == 0) {
            const std::string text = lines.substr(0, offset - offset % 64); // no U+0A78 line ends
            EXPECT_NE(
                Convert("utf-16le", "utf-8", text + std::string(offset - text.size(), 'x') + "\x3D\xD8z\0"s)
                    .errors.find("byte offset " + std::to_string(offset) +
                                 ": the bytes 3D D8 are an unpaired surrogate in utf-16le"),
                std::string::npos);
        }
    }
}

TEST_F(ChunkEdgeTest, SubstitutionThereIsCountedOnceWithItsPlace) {
    for (std::size_t offset = chunk - 5; offset <= chunk + 2; ++offset) {
        const std::string lines = Lines(offset);
        const Outcome outcome =
            Convert("utf-8", "shift_jis", lines + "\xF0\x9F\x98\x80\xE3\x81z\xE3", "--substitute");
        EXPECT_TRUE(outcome.output == lines + "???z?") << offset;
        const std::string name = (directory / "text").string() + ": ";
        EXPECT_EQ(outcome.errors,
                  "kcodepage: replaced 1 by ? (cut off at the end of utf-8), the first in " + name +
                      Place(offset, 7) + "byte E3\n" +
                      "kcodepage: replaced 1 by ? (not well-formed UTF-8), the first in " + name +
                      Place(offset, 4) + "bytes E3 81\n" +
                      "kcodepage: replaced 1 by ? (no counterpart in shift_jis), the first in " + name +
                      Place(offset) + "U+1F600 (bytes F0 9F 98 80)\n");
    }
}

TEST_F(ChunkEdgeTest, APlaceFarBehindIsCountedIn64Bits) {
    const std::string lines = Lines(chunk * 40 + 7);
    EXPECT_EQ(Failure(Convert("utf-8", "shift_jis", lines + "\xE2\x82\xAC")),
              Place(chunk * 40 + 7) + "U+20AC (bytes E2 82 AC) has no counterpart in shift_jis");
}

TEST_F(ChunkEdgeTest, APipeThatComesInSmallPartsIsTheSameText) {
    const ShellOutcome outcome = RunShell(
        directory.Name(),
        "for part in '\\223' '\\372\\n' '\\223\\372' '\\205' '\\100'; do printf \"$part\"; sleep 0.05; "
        "done | \"$K\" convert --from sjis --to utf-8 2>&1");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.output,
              "\xE6\x97\xA5\n\xE6\x97\xA5"
              "kcodepage: standard input: line 2, byte offset 5: the bytes 85 40 are undefined in shift_jis; "
              "--substitute puts U+FFFD in their place\n");
}

TEST_F(ChunkEdgeTest, SixtyFourMebibytesThroughPipesTakeLittleMemory) {
    // Japanese there and back again: what comes out is what went in.
    const std::string text = ReadFile("examples/data/japanese.utf-8.txt");
    setenv("K", KCODEPAGE_COMMAND, 1);
    const std::string result = (directory / "sum").string();
    const auto feed = [&](const std::string& command) {
        std::FILE* pipe = popen((command + " | cksum > '" + result + "'").c_str(), "w");
        ASSERT_NE(pipe, nullptr);
        for (std::size_t total = 0; total < 64u << 20; total += text.size()) {
            ASSERT_EQ(std::fwrite(text.data(), 1, text.size(), pipe), text.size());
        }
        EXPECT_EQ(pclose(pipe), 0);
    };
    feed("cat");
    const std::string expected = ReadFile(result);
    feed("\"$K\" convert --from utf-8 --to shift_jis | \"$K\" convert --from shift_jis --to utf-8");
    EXPECT_EQ(ReadFile(result), expected);
    rusage usage{};
    ASSERT_EQ(getrusage(RUSAGE_CHILDREN, &usage), 0);
    RecordProperty("MaximumKiB", static_cast<int>(usage.ru_maxrss));
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
    EXPECT_LT(usage.ru_maxrss, 64 * 1024); // KiB
#endif
}

} // namespace
