// TextEncoder for iso-2022-jp, which is 7-bit and exact where the code page itself is neither.

#include "CodePage/CodePageRegistry.h"
#include "CodePage/Exceptions.h"
#include "CodePage/Initializer.h"
#include "CodePage/TextEncoder.h"
#include "JisTables.h"
#include "MarkedTables.h"
#include "OtherConverters.h"
#include "TemporaryDirectory.h"
#include "TextPieces.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <string>
#include <vector>

namespace {

using namespace KCodePage;
using KBase::WideString;
using KBase::operator""_w;
using CodePageTests::TemporaryDirectory;
using TextPieces::ConvertAtOnce;
using TextPieces::ConvertThirds;
using EncoderOutcome = TextPieces::Outcome<char>;

std::vector<wchar16> Units(KBase::WideView text) {
    return {text.begin(), text.end()};
}

std::vector<char> Bytes(std::string_view text) {
    return {text.begin(), text.end()};
}

TextPolicy Policy(bool substitute, bool allowBestFit = false) {
    TextPolicy policy;
    policy.substitute = substitute;
    policy.allowBestFit = allowBestFit;
    return policy;
}

TextEncoder Encoder(const TextPolicy& policy = {}) {
    return TextEncoder(ISO_2022_JP, policy);
}

std::uint64_t CountOf(const TextEncoder& encoder, TextFailureKind kind) {
    return encoder.Substitutions().ofKind[static_cast<std::size_t>(kind)].count;
}

class JisEncoderTest : public testing::Test {
protected:
    JisEncoderTest() { SetBasePath(u"UseWindowsAPI"_w); }

    Initializer initializer;
};

// What the dumps say of a unit: its byte or JIS code, and whether that is its own.
struct Expected {
    std::string bytes; // empty where there are none
    bool isExact = false;
};

const std::vector<Expected>& ExpectedOfUnits() {
    static const std::vector<Expected> expected = [] {
        const CodePageSources::CodePage& shiftJis = CodePageSources::Get(932);
        const std::vector<std::uint16_t> jis = CodePageSources::ReadShiftJisToJis().jis;
        std::vector<Expected> found(0x10000);
        for (std::size_t unit = 0; unit < found.size(); ++unit) {
            const auto code = shiftJis.encoded[unit];
            if (code && *code > 0xFF && jis[*code] != 0) {
                found[unit].bytes = {static_cast<char>(jis[*code] >> 8), static_cast<char>(jis[*code])};
                found[unit].isExact = shiftJis.pairs[*code].units[0] == unit;
            } else if (code && *code < 0x80 && *code != 0x0E && *code != 0x0F && *code != 0x1B) {
                found[unit].bytes = {static_cast<char>(*code)};
                found[unit].isExact = shiftJis.byteUnits[*code] == unit;
            }
        }
        return found;
    }();
    return expected;
}

std::vector<wchar16> ExactUnits(unsigned first) {
    std::vector<wchar16> exact;
    for (unsigned unit = first; unit < 0x10000; ++unit) {
        if (ExpectedOfUnits()[unit].isExact) {
            exact.push_back(static_cast<wchar16>(unit));
        }
    }
    return exact;
}

// The bytes of a text, with escape sequences wherever the mode changes. What has no bytes gives "?".
std::string ExpectedOf(const std::vector<wchar16>& text, bool allowBestFit) {
    std::string output;
    bool inJis = false;
    const auto change = [&](bool toJis) {
        if (inJis != toJis) {
            output += toJis ? "\x1B$B" : "\x1B(B";
            inJis = toJis;
        }
    };
    for (const wchar16 unit : text) {
        const Expected& expected = ExpectedOfUnits()[unit];
        const bool converts = !expected.bytes.empty() && (expected.isExact || allowBestFit);
        change(converts && expected.bytes.size() == 2);
        output += converts ? expected.bytes : "?";
    }
    change(false);
    return output;
}

// In every three pieces and with every small capacity.
void ExpectTheSameInEverySplit(const TextPolicy& policy, const std::vector<wchar16>& text,
                               const EncoderOutcome& expected) {
    for (std::size_t first = 0; first <= text.size(); ++first) {
        for (std::size_t second = first; second <= text.size(); ++second) {
            for (std::size_t capacity = 1; capacity <= 9; ++capacity) {
                ASSERT_EQ(ConvertThirds<char>(Encoder(policy), text, first, second, capacity), expected)
                    << "cut at " << first << " and " << second << ", capacity " << capacity;
            }
        }
    }
}

// A long text unit by unit and in longer pieces, with every small capacity.
void ExpectTheSameInPieces(const TextPolicy& policy, const std::vector<wchar16>& text,
                           const EncoderOutcome& expected) {
    for (std::size_t capacity = 1; capacity <= 9; ++capacity) {
        for (const std::size_t size : {std::size_t{1}, 2 + capacity % 7}) {
            const bool endApart = (size + capacity) % 2 == 0;
            ASSERT_TRUE(TextPieces::Convert<char>(Encoder(policy), text, size, capacity, endApart) ==
                        expected)
                << "in pieces of " << size << ", capacity " << capacity;
        }
    }
}

TEST_F(JisEncoderTest, EveryUnitAloneGivesItsBytesOrFailsByItsKind) {
    for (const bool allowBestFit : {false, true}) {
        TextEncoder encoder = Encoder(Policy(true, allowBestFit));
        std::uint64_t bestFits = 0;
        std::uint64_t unmapped = 0;
        for (unsigned unit = 0; unit < 0x10000; ++unit) {
            const std::vector<wchar16> text = {static_cast<wchar16>(unit)};
            char room[16];
            const TextResult result = encoder.Convert(text, room, true);
            ASSERT_EQ(std::string(room, result.written), ExpectedOf(text, allowBestFit)) << unit;
            ASSERT_EQ(result.stop, TextStop::InputUsedUp);
            const Expected& expected = ExpectedOfUnits()[unit];
            bestFits += !expected.bytes.empty() && !expected.isExact ? 1u : 0u;
            unmapped += expected.bytes.empty() && (unit < 0xD800 || unit > 0xDFFF) ? 1u : 0u;
        }
        EXPECT_EQ(bestFits, 83u);
        EXPECT_EQ(CountOf(encoder, TextFailureKind::BestFit), allowBestFit ? 0 : bestFits);
        EXPECT_EQ(CountOf(encoder, TextFailureKind::Unmapped), unmapped);
        EXPECT_EQ(CountOf(encoder, TextFailureKind::UnpairedSurrogate), 0x800u);
    }
}

TEST_F(JisEncoderTest, AllUnitsInOneTextGiveTheSameInEveryPiece) {
    std::vector<wchar16> text(0x10000);
    for (std::size_t i = 0; i < text.size(); ++i) {
        text[i] = static_cast<wchar16>(i * 0x9E37u); // all of them, in an order that changes modes often
    }
    for (const bool allowBestFit : {false, true}) {
        const TextPolicy policy = Policy(true, allowBestFit);
        const EncoderOutcome outcome = ConvertAtOnce<char>(Encoder(policy), text);
        EXPECT_TRUE(outcome.output == Bytes(ExpectedOf(text, allowBestFit)));
        EXPECT_EQ(outcome.consumed, text.size());
        ExpectTheSameInPieces(policy, text, outcome);
    }
}

// Long enough for many of the stretches in which it is converted.
TEST_F(JisEncoderTest, LongTextsOfAllKindsInPiecesOfEverySize) {
    const std::vector<wchar16> pairs = ExactUnits(0x80);
    std::mt19937 random(44);
    std::vector<wchar16> text;
    while (text.size() < 150'000) {
        const bool isASCII = random() % 2 == 0;
        for (auto run = random() % (random() % 20 == 0 ? 2000 : 20); run > 0; --run) {
            text.push_back(isASCII ? static_cast<wchar16>(random() % 96 + 0x20)
                                   : pairs[random() % pairs.size()]);
        }
        // What does not convert: announcers of other character sets, half-width katakana, what JIS does not
        // have, best fits. Rare at first.
        if (random() % 150'000 < text.size()) {
            text.push_back(u"\u000E\u000F\u001B\uFF71\u2170\uE000\u00A5\u00B7\u0100\u0010"[random() % 10]);
        }
    }
    for (const bool allowBestFit : {false, true}) {
        const TextPolicy policy = Policy(true, allowBestFit);
        const EncoderOutcome outcome = ConvertAtOnce<char>(Encoder(policy), text);
        ASSERT_EQ(outcome.output, Bytes(ExpectedOf(text, allowBestFit)));
        for (const auto& [size, capacity] : {std::pair<std::size_t, std::size_t>{1000, 70},
                                             {32768, 65536},
                                             {7777, 500},
                                             {text.size(), 4096},
                                             {100, 10'000}}) {
            ASSERT_TRUE(TextPieces::Convert<char>(Encoder(policy), text, size, capacity, false) == outcome)
                << "in pieces of " << size << ", capacity " << capacity;
        }
    }
}

// Nothing ends a stretch early.
TEST_F(JisEncoderTest, LongTextsThatConvertThroughout) {
    const std::vector<wchar16> exact = ExactUnits(0x20);
    std::mt19937 random(45);
    std::vector<wchar16> text(300'000);
    for (wchar16& unit : text) {
        unit =
            random() % 20 == 0 ? static_cast<wchar16>('a' + random() % 26) : exact[random() % exact.size()];
    }
    const std::vector<char> expected = Bytes(ExpectedOf(text, false));
    for (const std::size_t capacity : {expected.size() + 100, std::size_t{200'000}, std::size_t{65'600}}) {
        ASSERT_TRUE(TextPieces::Convert<char>(Encoder(), text, text.size(), capacity).output == expected)
            << capacity;
    }
}

TEST_F(JisEncoderTest, WhatConvertsIcuAndIconvDecodeToTheSameUnit) {
    OtherConverters::IcuDecoder icu("ISO-2022-JP");
    // iconv's JIS X 0208 has these under other units, and nothing of row 13.
    const std::map<wchar16, wchar16> otherInIconv = {{0xFF5E, 0x301C}, {0x2225, 0x2016}, {0xFF0D, 0x2212},
                                                     {0xFFE0, 0x00A2}, {0xFFE1, 0x00A3}, {0xFFE2, 0x00AC}};
    TextEncoder encoder = Encoder(Policy(true));
    unsigned pairs = 0;
    unsigned ofRow13 = 0;
    for (unsigned unit = 0; unit < 0x10000; ++unit) {
        if (!ExpectedOfUnits()[unit].isExact) {
            continue;
        }
        const WideString text(1, static_cast<wchar16>(unit));
        char room[16];
        const std::string bytes(room, encoder.Convert({text.data(), 1}, room, true).written);
        ASSERT_EQ(icu(bytes), text) << unit;
        const auto decoded = OtherConverters::Iconv("UTF-16LE", "ISO-2022-JP", bytes);
        if (bytes.size() == 8 && bytes[3] == 0x20 + 13) {
            ASSERT_FALSE(decoded) << unit;
            ++ofRow13;
            continue;
        }
        const auto other = otherInIconv.find(text[0]);
        const wchar16 expected = other != otherInIconv.end() ? other->second : text[0];
        ASSERT_EQ(decoded, (std::string{static_cast<char>(expected), static_cast<char>(expected >> 8)}))
            << unit;
        pairs += bytes.size() == 8 ? 1u : 0u;
    }
    EXPECT_EQ(pairs, 6879u);
    EXPECT_EQ(ofRow13, 83u - 9); // nine of its characters have another code too, which is taken
}

TEST_F(JisEncoderTest, RandomTextsComeBackThroughIcu) {
    OtherConverters::IcuDecoder icu("ISO-2022-JP");
    const std::vector<wchar16> exact = ExactUnits(0x20);
    std::mt19937 random(43);
    TextEncoder encoder = Encoder();
    for (int round = 0; round < 500; ++round) {
        WideString text;
        for (auto count = random() % 60; count > 0; --count) {
            text.push_back(random() % 3 == 0 ? static_cast<wchar16>('a' + random() % 26)
                                             : exact[random() % exact.size()]);
        }
        std::string room(8 * text.size() + 8, '\0');
        room.resize(encoder.Convert({text.data(), text.size()}, {room.data(), room.size()}, true).written);
        ASSERT_EQ(icu(room), text);
    }
}

TEST_F(JisEncoderTest, EveryFailureHasItsKindAndOffsetAndWhatComesBeforeEndsInOneByteMode) {
    struct Row {
        WideString text;
        std::string before;
        const char* failure;
    };
    const WideString a(1, 'a');
    const WideString lead(1, 0xD83D);
    const WideString hiragana(1, 0x3042);
    const std::string hiraganaBytes = "\x1B$B$\"\x1B(B";
    const Row rows[] = {
        {u"ab\uFF71c"_w.Get(), "ab", "unmapped at 2: FF71"}, // half-width katakana
        {u"\u3042\uFF71"_w.Get(), hiraganaBytes, "unmapped at 1: FF71"},
        {u"\u3042a\u2170"_w.Get(), hiraganaBytes + "a", "unmapped at 2: 2170"}, // FA40, which JIS has not
        {u"\u3042\u2170"_w.Get(), hiraganaBytes, "unmapped at 1: 2170"},
        {u"\u3042\uE000"_w.Get(), hiraganaBytes, "unmapped at 1: E000"}, // F040
        {u"\u3042\u000E"_w.Get(), hiraganaBytes, "unmapped at 1: 0E"},
        {u"a\u000F"_w.Get(), "a", "unmapped at 1: 0F"},
        {u"\u3042\u001B$B"_w.Get(), hiraganaBytes, "unmapped at 1: 1B"},
        {u"\u0080"_w.Get(), "", "unmapped at 0: 80"},
        {u"\u3042\u00A5"_w.Get(), hiraganaBytes, "best fit at 1: A5"},
        {u"\u3042\u20AC"_w.Get(), hiraganaBytes, "unmapped at 1: 20AC"},
        {hiragana + lead, hiraganaBytes, "unpaired at 1: D83D"},
        {hiragana + lead + a, hiraganaBytes, "unpaired at 1: D83D"},
        {u"\u3042\U0001F600a"_w.Get(), hiraganaBytes, "unmapped at 1: D83D DE00"},
    };
    for (const Row& row : rows) {
        const std::vector<wchar16> text = Units(row.text);
        const EncoderOutcome outcome = ConvertAtOnce<char>(Encoder(), text);
        EXPECT_EQ(outcome.output, Bytes(row.before)) << row.failure;
        EXPECT_EQ(outcome.failure, row.failure);
        ExpectTheSameInEverySplit({}, text, outcome);
    }
}

TEST_F(JisEncoderTest, SubstitutesInOneByteModeAndCountsInEverySplit) {
    struct Row {
        TextPolicy policy;
        WideString text;
        std::string output;
        const char* counts;
    };
    TextPolicy exclamation = Policy(true);
    exclamation.encoded = '!';
    const Row rows[] = {
        {Policy(true), u"\u3042\uFF71\u3044"_w.Get(), "\x1B$B$\"\x1B(B?\x1B$B$$\x1B(B",
         "1 x unmapped at 1: FF71"},
        {exclamation, u"\u3042\U0001F600\u3044"_w.Get(), "\x1B$B$\"\x1B(B!!\x1B$B$$\x1B(B",
         "1 x unmapped at 1: D83D DE00"},
        {Policy(true), u"\u001B\u000E\u000F\u2170"_w.Get(), "????", "4 x unmapped at 0: 1B"},
        {Policy(true), u"\u3042\u00A5\u00B7"_w.Get(), "\x1B$B$\"\x1B(B??", "2 x best fit at 1: A5"},
        {Policy(true, true), u"a\u00A5\uFF71\u00B7"_w.Get(), "a\\?\x1B$B!&\x1B(B", "1 x unmapped at 2: FF71"},
    };
    for (const Row& row : rows) {
        const EncoderOutcome outcome = ConvertAtOnce<char>(Encoder(row.policy), Units(row.text));
        EXPECT_EQ(outcome.output, Bytes(row.output)) << row.counts;
        EXPECT_EQ(outcome.substitutions, row.counts);
        EXPECT_EQ(outcome.failure, "");
        ExpectTheSameInEverySplit(row.policy, Units(row.text), outcome);
    }
}

TEST_F(JisEncoderTest, ShortTextsInEverySplit) {
    for (const WideString& text : {WideString(), WideString(u"a"_w), WideString(u"\u3042"_w),
                                   WideString(u"\u3042\u3044\u65E5"_w), WideString(u"a\u3042b\u3044"_w)}) {
        const EncoderOutcome outcome = ConvertAtOnce<char>(Encoder(), Units(text));
        EXPECT_EQ(outcome.output, Bytes(ExpectedOf(Units(text), false)));
        EXPECT_EQ(outcome.consumed, text.size());
        ExpectTheSameInEverySplit({}, Units(text), outcome);
    }
}

TEST_F(JisEncoderTest, TheModeStaysOpenBetweenPiecesAndClosesAtTheEndOnce) {
    TextEncoder encoder = Encoder();
    char room[32];
    const std::vector<wchar16> first = Units(u"a\u3042"_w);
    const std::vector<wchar16> second = Units(u"\u3044"_w);
    EXPECT_EQ(std::string(room, encoder.Convert(first, room, false).written), "a\x1B$B$\"");
    EXPECT_EQ(encoder.Convert({}, room, false).written, 0u);
    EXPECT_EQ(std::string(room, encoder.Convert(second, room, false).written), "$$");
    EXPECT_EQ(std::string(room, encoder.Convert({}, room, true).written), "\x1B(B");
    EXPECT_EQ(encoder.Convert({}, room, true).written, 0u);
    // Another text, whose offsets go on.
    EXPECT_EQ(std::string(room, encoder.Convert(second, room, true).written), "\x1B$B$$\x1B(B");
    const TextResult failing = encoder.Convert(Units(u"\u3044\uFF71"_w), room, true);
    EXPECT_EQ(std::string(room, failing.written), "\x1B$B$$\x1B(B");
    EXPECT_EQ(failing.stop, TextStop::Failure);
    EXPECT_EQ(TextPieces::Shown(failing.failure), "unmapped at 5: FF71");
    // It stays failed, and adds nothing.
    const TextResult again = encoder.Convert(second, room, true);
    EXPECT_EQ(again.stop, TextStop::Failure);
    EXPECT_EQ(again.consumed + again.written, 0u);
}

TEST_F(JisEncoderTest, TheClosingSequenceWaitsForRoom) {
    for (const bool fails : {false, true}) {
        TextEncoder encoder = Encoder();
        char room[8];
        const std::vector<wchar16> text = Units(fails ? u"\u3042\uFF71"_w : u"\u3042"_w);
        TextResult result = encoder.Convert(text, std::span(room, 5), true);
        EXPECT_EQ(std::string(room, result.written), "\x1B$B$\"");
        EXPECT_EQ(result.stop, TextStop::OutputFull);
        std::span<const wchar16> rest = std::span(text).subspan(result.consumed);
        const auto next = [&](std::size_t capacity) {
            result = encoder.Convert(rest, std::span(room, capacity), true);
            rest = rest.subspan(result.consumed);
            return std::string(room, result.written);
        };
        EXPECT_EQ(next(0), "");
        EXPECT_EQ(result.stop, TextStop::OutputFull);
        EXPECT_EQ(next(1), "\x1B");
        EXPECT_EQ(result.stop, TextStop::OutputFull);
        EXPECT_EQ(next(2), "(B");
        EXPECT_EQ(result.stop, fails ? TextStop::Failure : TextStop::InputUsedUp);
        EXPECT_TRUE(rest.empty());
        EXPECT_EQ(next(8), "");
    }
}

TEST_F(JisEncoderTest, SevenBitLeavesAsciiAlone) {
    TextPolicy policy = Policy(true, true);
    policy.sevenBit = true;
    EXPECT_EQ(ConvertAtOnce<char>(Encoder(policy), Units(u"a\u3042\u00A5\u001B~"_w)).output, Bytes("a???~"));
}

TEST_F(JisEncoderTest, TakesTheTablesThatAreInForceAndLivesOnWithoutThem) {
    const TemporaryDirectory directory;
    MarkedTables::Write(directory.Path(), "shift_jis", 932, 'q');
    MarkedTables::Write(directory.Path(), "iso-2022-jp", 932, 'w'); // never read
    SetBasePath(directory.Wide().c_str());
    EXPECT_THROW(Encoder(), CodePageConversionException); // without ShiftJisToJis.SJ2J
    MarkedTables::WriteFile(directory.Path() / JisTables::fileName, JisTables::File({}));
    TextEncoder encoder = Encoder(Policy(true, true));
    SetBasePath(u"no such directory"_w);
    EXPECT_EQ(ConvertAtOnce<char>(std::move(encoder), Units(u"AB\u3042"_w)).output, Bytes("qB?"));
    EXPECT_THROW(Encoder(), CodePageConversionException);
}

// A table file may hold JIS codes of any kind.
TEST_F(JisEncoderTest, CodesThatLookLikeSingleBytesAreNotTaken) {
    const TemporaryDirectory directory;
    SerializedTables::Rows rows;
    MarkedTables::WriteFile(directory.Path() / "shift_jis.M2U", rows.SetLead(0x81, 0x3000).File());
    std::vector<std::string> records;
    for (unsigned trail = 0x40; trail < 0x44; ++trail) {
        records.push_back(
            SerializedTables::Record(0x3000 + trail, {"\x81" + std::string(1, static_cast<char>(trail))}));
    }
    MarkedTables::WriteFile(directory.Path() / "shift_jis.U2M", SerializedTables::Records(records));
    MarkedTables::WriteFile(directory.Path() / JisTables::fileName,
                            JisTables::File({{0x8140, JisTables::Jis(0x0041)},
                                             {0x8141, JisTables::Jis(0)},
                                             {0x8142, {0, 0, 0x30, 0x31}},
                                             {0x8143, JisTables::Jis(0x3031)}}));
    SetBasePath(directory.Wide().c_str());
    const EncoderOutcome outcome =
        ConvertAtOnce<char>(Encoder(Policy(true)), std::vector<wchar16>{0x3040, 0x3041, 0x3042, 0x3043});
    EXPECT_EQ(outcome.output, Bytes("???\x1B$B01\x1B(B"));
    EXPECT_EQ(outcome.substitutions, "3 x unmapped at 0: 3040");
}

// With room for the loops, which look at more than one character, and without.
void ExpectWithAndWithoutRoom(const std::vector<wchar16>& units, const std::string& expected) {
    constexpr int times = 50;
    std::vector<wchar16> text;
    std::string output;
    for (int i = 0; i < times; ++i) {
        text.insert(text.end(), units.begin(), units.end());
        output += expected;
    }
    for (const std::size_t capacity : {9u, 64u, 70u, 100u, 1000u, 10'000u}) {
        const EncoderOutcome outcome =
            TextPieces::Convert<char>(Encoder(Policy(true, true)), text, text.size(), capacity);
        EXPECT_EQ(outcome.output, Bytes(output)) << capacity;
        EXPECT_EQ(outcome.consumed, text.size());
    }
}

TEST_F(JisEncoderTest, CodesOfATableThatAreNotRegularAreTakenWithAnyRoom) {
    const TemporaryDirectory directory;
    SerializedTables::Rows rows;
    for (unsigned lead = 0x81; lead <= 0xFC; lead += lead == 0x9F ? 0x41 : 1) { // those of shift_jis
        rows.SetLead(lead, 0x3000 + lead * 0x40);
    }
    MarkedTables::WriteFile(directory.Path() / "shift_jis.M2U", rows.File());
    MarkedTables::WriteFile(directory.Path() / "shift_jis.U2M",
                            SerializedTables::Records({SerializedTables::Record('a', "a"),
                                                       SerializedTables::Record(0x3040, "\x81\x40"),
                                                       SerializedTables::Record(0x3041, "\x81\x41"),
                                                       SerializedTables::Record(0x3042, "\x81\x42")}));
    const auto use = [&](const JisTables::Entries& codes) {
        MarkedTables::WriteFile(directory.Path() / JisTables::fileName, JisTables::File(codes));
        SetBasePath(directory.Wide().c_str());
    };
    use({{0x8140, JisTables::Jis(0x3031)}, {0x8142, JisTables::Jis(0x8081)}});
    ExpectWithAndWithoutRoom({0x3040, 0x3042, 0x3041, 'a'}, "\x1B$B01\x80\x81\x1B(B?a");
    // A code as if of one byte.
    use({{0x8140, JisTables::Jis(0x3031)}, {0x8141, JisTables::Jis(0x0041)}});
    ExpectWithAndWithoutRoom({0x3040, 0x3041, 'a'}, "\x1B$B01\x1B(B?a");
    use({{0x8140, JisTables::Jis(0x3031)}, {0x8141, JisTables::Jis(0xFFFF)}});
    ExpectWithAndWithoutRoom({0x3040, 0x3041, 'a'}, "\x1B$B01\x1B(B?a");
}

TEST_F(JisEncoderTest, ATableThatIsAssignedToServesTheEncodersThatHaveIt) {
    const std::vector<wchar16> text(100, 0x3042);
    TextEncoder encoder = Encoder();
    *ShiftJisToJis::Instance() = ShiftJisToJis();
    std::string expected = "\x1B$B";
    for (std::size_t i = 0; i < text.size(); ++i) {
        expected += "$\"";
    }
    EXPECT_EQ(ConvertAtOnce<char>(std::move(encoder), text).output, Bytes(expected + "\x1B(B"));
}

// As files may have it: what is encoded would be told apart differently when it is decoded.
TEST_F(JisEncoderTest, LeadBytesThatTheOtherTableDoesNotHaveMakeNoDifference) {
    const TemporaryDirectory directory;
    SerializedTables::Rows rows;
    MarkedTables::WriteFile(directory.Path() / "shift_jis.M2U",
                            rows.SetLead('A', 0x4000).SetLead(0x81, 0x3000).File());
    MarkedTables::WriteFile(
        directory.Path() / "shift_jis.U2M",
        SerializedTables::Records({SerializedTables::Record('A', "A"), SerializedTables::Record('b', "b"),
                                   SerializedTables::Record(0x3040, "\x81\x40"),
                                   SerializedTables::Record(0x4E00, "\x90\x40")}));
    MarkedTables::WriteFile(
        directory.Path() / JisTables::fileName,
        JisTables::File({{0x8140, JisTables::Jis(0x3031)}, {0x9040, JisTables::Jis(0x3033)}}));
    SetBasePath(directory.Wide().c_str());
    ExpectWithAndWithoutRoom({0x4E00, 0x3040, 'b'}, "\x1B$B0301\x1B(Bb");
    ExpectWithAndWithoutRoom({'A', 'b', 0x3040, 'A', 'A'}, "Ab\x1B$B01\x1B(BAA");
}

} // namespace
