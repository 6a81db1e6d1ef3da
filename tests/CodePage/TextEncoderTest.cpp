#include "CodePage/TextEncoder.h"

#include "CodePage/CodePageRegistry.h"
#include "CodePage/Exceptions.h"
#include "CodePage/IANAInfo.h"
#include "CodePage/Initializer.h"
#include "KBase/UTF8Routines.h"
#include "OperatingSystem/CodePageSources.h"
#include "TextPieces.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace KCodePage;
using KBase::operator""_w;
using TextPieces::ConvertAtOnce;
using TextPieces::ConvertThirds;
using EncoderOutcome = TextPieces::Outcome<char>;

// Each with the number of code units that have a best fit alone.
constexpr std::pair<CODE_PAGE, unsigned> tablePages[] = {
    {US_ASCII, 441},   {ISO_8859_1, 441},  {ISO_8859_2, 435}, {ISO_8859_4, 93},  {ISO_8859_6, 287},
    {ISO_8859_7, 365}, {WINDOWS_1255, 95}, {ISO_8859_9, 437}, {SHIFT_JIS, 83},   {EUC_KR, 394},
    {KOI8_R, 265},     {GB2312, 412},      {BIG5, 480},       {WINDOWS_874, 137}};

std::vector<wchar16> Units(KBase::WideView text) {
    return {text.begin(), text.end()};
}

std::vector<char> Bytes(std::string_view text) {
    return {text.begin(), text.end()};
}

std::vector<wchar16> AllUnits() {
    std::vector<wchar16> units(0x10000);
    for (std::size_t i = 0; i < units.size(); ++i) {
        units[i] = static_cast<wchar16>(i);
    }
    return units;
}

TextPolicy Policy(bool substitute, bool allowBestFit, bool sevenBit = false) {
    TextPolicy policy;
    policy.substitute = substitute;
    policy.allowBestFit = allowBestFit;
    policy.sevenBit = sevenBit;
    return policy;
}

std::uint64_t CountOf(const TextEncoder& encoder, TextFailureKind kind) {
    return encoder.Substitutions().ofKind[static_cast<std::size_t>(kind)].count;
}

class TextEncoderTest : public testing::Test {
protected:
    TextEncoderTest() { SetBasePath(u"UseWindowsAPI"_w); }

    const CodePageSources::CodePage& Source(CODE_PAGE codePage) const {
        const unsigned number = GetIANAInfo()->GetWindowsCodePage(codePage);
        return CodePageSources::Get(number != 0 ? number : 1252);
    }

    Initializer initializer;
};

// A short text in every three pieces and with every small capacity.
void ExpectTheSameInEverySplit(CODE_PAGE codePage, const TextPolicy& policy, const std::vector<wchar16>& text,
                               const EncoderOutcome& expected) {
    for (std::size_t first = 0; first <= text.size(); ++first) {
        for (std::size_t second = first; second <= text.size(); ++second) {
            for (std::size_t capacity = 1; capacity <= 9; ++capacity) {
                EncoderOutcome outcome =
                    ConvertThirds<char>(TextEncoder(codePage, policy), text, first, second, capacity);
                ASSERT_EQ(outcome, expected) << "page " << codePage << " cut at " << first << " and "
                                             << second << ", capacity " << capacity;
            }
        }
    }
}

// A long text unit by unit and in longer pieces, with every small capacity.
void ExpectTheSameInPieces(CODE_PAGE codePage, const TextPolicy& policy, const std::vector<wchar16>& text,
                           const EncoderOutcome& expected) {
    for (std::size_t capacity = 1; capacity <= 9; ++capacity) {
        for (const std::size_t size : {std::size_t{1}, 2 + capacity % 7}) {
            const bool endApart = (size + capacity) % 2 == 0;
            ASSERT_TRUE(TextPieces::Convert<char>(TextEncoder(codePage, policy), text, size, capacity,
                                                  endApart) == expected)
                << "page " << codePage << " in pieces of " << size << ", capacity " << capacity;
        }
    }
}

TEST_F(TextEncoderTest, EncodesAllUnitsInPiecesAsTheOneShotConversionDoesWhenBestFitIsAllowed) {
    const std::vector<wchar16> text = AllUnits();
    for (const auto& [codePage, bestFits] : tablePages) {
        const auto oneShot = GetCodePage(codePage)->ConvertToMultiByte(
            text.data(), static_cast<unsigned>(text.size()), CodePage::SUBSTITUTE);
        const TextPolicy policy = Policy(true, true);
        const EncoderOutcome outcome = ConvertAtOnce<char>(TextEncoder(codePage, policy), text);
        EXPECT_TRUE(outcome.output == Bytes({oneShot->Get(), oneShot->Length()})) << codePage;
        EXPECT_EQ(outcome.consumed, text.size());
        ExpectTheSameInPieces(codePage, policy, text, outcome);
    }
}

TEST_F(TextEncoderTest, ByDefaultOnlyUnitsThatComeBackAreExact) {
    const std::vector<wchar16> text = AllUnits();
    for (const auto& [codePage, bestFits] : tablePages) {
        const CodePageSources::CodePage& source = Source(codePage);
        std::vector<char> expected;
        for (const wchar16 unit : text) {
            const std::optional<std::uint16_t> code = source.encoded[unit];
            const bool isDouble = code && *code > 0xFF;
            const bool isExact =
                code && (isDouble ? source.pairs[*code].units[0] : source.byteUnits[*code]) == unit;
            if (isExact && isDouble) {
                expected.push_back(static_cast<char>(*code >> 8));
            }
            expected.push_back(isExact ? static_cast<char>(*code) : '?');
        }
        TextEncoder encoder(codePage, Policy(true, false));
        std::vector<char> output(2 * text.size());
        const TextResult result = encoder.Convert(text, output, true);
        output.resize(result.written);
        EXPECT_TRUE(output == expected) << codePage;
        EXPECT_EQ(CountOf(encoder, TextFailureKind::BestFit), bestFits) << codePage;
        // D800 to DBFE and DC01 to DFFF stand alone; between them is one pair.
        EXPECT_EQ(CountOf(encoder, TextFailureKind::UnpairedSurrogate), 0x800u - 2) << codePage;
        ExpectTheSameInPieces(codePage, Policy(true, false), text,
                              ConvertAtOnce<char>(TextEncoder(codePage, Policy(true, false)), text));
    }
}

TEST_F(TextEncoderTest, EveryFailureHasItsKindOffsetAndUnitsInEverySplit) {
    struct Row {
        CODE_PAGE codePage;
        KBase::WideString text;
        std::string before;
        const char* failure;
    };
    constexpr wchar16 lead = 0xD83D;
    constexpr wchar16 trail = 0xDE00;
    const KBase::WideString one(1, 'a');
    const KBase::WideString leads(1, lead);
    const KBase::WideString trails(1, trail);
    const Row rows[] = {
        {SHIFT_JIS, u"ab\u20ACc"_w, "ab", "unmapped at 2: 20AC"},
        {SHIFT_JIS, u"\u65E5\u00E9"_w, "\x93\xFA", "best fit at 1: E9"},
        {SHIFT_JIS, one + leads + trails + one, "a", "unmapped at 1: D83D DE00"},
        {SHIFT_JIS, one + leads, "a", "unpaired at 1: D83D"},
        {SHIFT_JIS, one + leads + one, "a", "unpaired at 1: D83D"},
        {SHIFT_JIS, one + leads + leads + trails, "a", "unpaired at 1: D83D"},
        {SHIFT_JIS, one + trails, "a", "unpaired at 1: DE00"},
        {ISO_8859_1, u"\u00E9\u0100"_w, "\xE9", "best fit at 1: 100"},
        {UTF_8, KBase::WideString(u"\u00E9"_w) + leads + trails + leads, "\xC3\xA9\xF0\x9F\x98\x80",
         "unpaired at 3: D83D"},
        {UTF_8, one + leads + one, "a", "unpaired at 1: D83D"},
        {UTF_8, one + trails + one, "a", "unpaired at 1: DE00"},
    };
    for (const Row& row : rows) {
        const std::vector<wchar16> text = Units(row.text);
        const EncoderOutcome outcome = ConvertAtOnce<char>(TextEncoder(row.codePage), text);
        EXPECT_EQ(outcome.output, Bytes(row.before)) << row.failure;
        EXPECT_EQ(outcome.failure, row.failure);
        ExpectTheSameInEverySplit(row.codePage, {}, text, outcome);
    }
}

TEST_F(TextEncoderTest, SubstitutesAndCountsInEverySplit) {
    struct Row {
        CODE_PAGE codePage;
        TextPolicy policy;
        std::string output;
        const char* counts;
    };
    // A pair gives two bytes, as the one-shot conversion has it.
    const KBase::WideString text =
        KBase::WideString(u"\u00E9\U0001F600\u20AC\u65E5"_w) + KBase::WideString(1, 0xD800);
    const Row rows[] = {
        {SHIFT_JIS, Policy(true, false), "????\x93\xFA?",
         "1 x unpaired at 5: D800; 2 x unmapped at 1: D83D DE00; 1 x best fit at 0: E9"},
        {SHIFT_JIS, Policy(true, true), "e???\x93\xFA?",
         "1 x unpaired at 5: D800; 2 x unmapped at 1: D83D DE00"},
        {UTF_8, Policy(true, false), "\xC3\xA9\xF0\x9F\x98\x80\xE2\x82\xAC\xE6\x97\xA5\xEF\xBF\xBD",
         "1 x unpaired at 5: D800"},
    };
    for (const Row& row : rows) {
        const EncoderOutcome outcome =
            ConvertAtOnce<char>(TextEncoder(row.codePage, row.policy), Units(text));
        EXPECT_EQ(outcome.output, Bytes(row.output)) << row.counts;
        EXPECT_EQ(outcome.substitutions, row.counts);
        ExpectTheSameInEverySplit(row.codePage, row.policy, Units(text), outcome);
    }
}

TEST_F(TextEncoderTest, EncodesUTF8InPiecesAsThePlatformsRoutineDoes) {
    std::vector<wchar16> text = AllUnits();
    std::mt19937 random(1);
    constexpr wchar16 pieces[] = {0xD83D, 0xDE00, 0, 'a', 0xE9, 0x65E5, 0xDBFF, 0xDFFF, 0xFFFF};
    for (int i = 0; i < 40'000; ++i) {
        text.push_back(pieces[random() % std::size(pieces)]);
    }
    const std::string expected = KBase::WideCharToUTF8UsingLength(text.data(), text.size(), true);
    const EncoderOutcome outcome = ConvertAtOnce<char>(TextEncoder(UTF_8, Policy(true, false)), text);
    EXPECT_TRUE(outcome.output == Bytes(expected));
    ExpectTheSameInPieces(UTF_8, Policy(true, false), text, outcome);
}

TEST_F(TextEncoderTest, SevenBitLeavesNothingAbove7FNotEvenABestFit) {
    for (const bool allowBestFit : {false, true}) {
        TextEncoder encoder(US_ASCII, Policy(true, allowBestFit, true));
        std::vector<char> output(0x10000);
        EXPECT_EQ(encoder.Convert(AllUnits(), output, true).written, 0x10000u);
        for (std::size_t unit = 0; unit < output.size(); ++unit) {
            ASSERT_EQ(output[unit], unit < 0x80 ? static_cast<char>(unit) : '?') << unit;
        }
        EXPECT_EQ(CountOf(encoder, TextFailureKind::BestFit), 0u);
        EXPECT_EQ(CountOf(encoder, TextFailureKind::Unmapped), 0x10000u - 0x80 - 0x800 + 1);
    }
}

TEST_F(TextEncoderTest, WithoutRoomNothingIsTakenAndNothingIsLost) {
    for (const CODE_PAGE codePage : {SHIFT_JIS, UTF_8}) {
        TextEncoder encoder(codePage);
        const std::vector<wchar16> text = Units(u"a\u65E5"_w);
        for (int i = 0; i < 3; ++i) {
            const TextResult result = encoder.Convert(text, {}, true);
            EXPECT_EQ(result.consumed + result.written, 0u);
            EXPECT_EQ(result.stop, TextStop::OutputFull);
        }
        const auto expected = codePage == UTF_8 ? Bytes("a\xE6\x97\xA5") : Bytes("a\x93\xFA");
        EXPECT_EQ(ConvertAtOnce<char>(std::move(encoder), text).output, expected);
    }
}

TEST_F(TextEncoderTest, AnotherTextMayFollowTheEndOfOne) {
    TextEncoder encoder(UTF_8, Policy(true, false));
    std::array<char, 8> room{};
    const wchar16 lead = 0xD83D;
    const wchar16 trail = 0xDE00;
    EXPECT_EQ(encoder.Convert({&lead, 1}, room, true).written, 3u);
    EXPECT_EQ(encoder.Convert({&trail, 1}, room, true).written, 3u); // no pair with that of the text before
    EXPECT_EQ(TextPieces::Shown(encoder.Substitutions()), "2 x unpaired at 0: D83D");
}

TEST_F(TextEncoderTest, LivesOnWhenTheCachesAreFlushedAndTheBasePathChanges) {
    TextEncoder encoder(SHIFT_JIS);
    FlushCodePageCaches();
    SetBasePath(u"there is no such directory"_w);
    EXPECT_EQ(ConvertAtOnce<char>(std::move(encoder), Units(u"\u65E5"_w)).output, Bytes("\x93\xFA"));
    EXPECT_THROW(TextEncoder other(SHIFT_JIS), CodePageConversionException);
}

TEST_F(TextEncoderTest, RefusesWhatHasNoExactTables) {
    for (const CODE_PAGE codePage : {UNICODE_1_1, UNLISTED, static_cast<CODE_PAGE>(99)}) {
        EXPECT_THROW(TextEncoder encoder(codePage), UserErrorException) << codePage;
    }
}

// The most permissive first: what its look-up has, another must not find there.
TEST_F(TextEncoderTest, EncodersOfDifferentPoliciesOverTheSameTablesConvertByTheirOwn) {
    struct Row {
        bool allowBestFit;
        bool sevenBit;
        const char* latin;
        const char* shiftJis;
        const char* jis;
    };
    const Row rows[] = {{true, false,
                         "e\xE9"
                         "a",
                         "e\x82\xA0\\\xB1", "e\x1B$B$\"\x1B(B\\?"},
                        {false, false, "e\xE9?", "e\x82\xA0?\xB1", "e\x1B$B$\"\x1B(B??"},
                        {true, true, "e??", "e???", "e???"},
                        {false, true, "e??", "e???", "e???"}};
    const auto expect = [](CODE_PAGE page, const TextPolicy& policy, KBase::WideView units,
                           const std::string& expected) {
        std::vector<wchar16> text;
        std::string output;
        for (int times = 0; times < 50; ++times) {
            text.insert(text.end(), units.begin(), units.end());
            output += expected;
        }
        EXPECT_EQ(ConvertAtOnce<char>(TextEncoder(page, policy), text).output, Bytes(output))
            << page << ' ' << policy.allowBestFit << policy.sevenBit;
    };
    for (const Row& row : rows) {
        const TextPolicy policy = Policy(true, row.allowBestFit, row.sevenBit);
        expect(ISO_8859_1, policy, u"e\u00E9\u0101"_w, row.latin);
        expect(SHIFT_JIS, policy, u"e\u3042\u00A5\uFF71"_w, row.shiftJis);
        expect(ISO_2022_JP, policy, u"e\u3042\u00A5\uFF71"_w, row.jis);
    }
}

} // namespace
