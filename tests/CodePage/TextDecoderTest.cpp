#include "CodePage/TextDecoder.h"

#include "CodePage/CodePageRegistry.h"
#include "CodePage/Exceptions.h"
#include "CodePage/IANAInfo.h"
#include "CodePage/Initializer.h"
#include "CodePage/TextEncoder.h"
#include "KBase/UTF8Routines.h"
#include "MarkedTables.h"
#include "OperatingSystem/CodePageSources.h"
#include "TemporaryDirectory.h"
#include "TextPieces.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace KCodePage;
using KBase::operator""_w;
using TextPieces::ConvertAtOnce;
using TextPieces::ConvertThirds;
using DecoderOutcome = TextPieces::Outcome<wchar16>;

constexpr CODE_PAGE tablePages[] = {US_ASCII,   ISO_8859_1,   ISO_8859_2, ISO_8859_4, ISO_8859_6,
                                    ISO_8859_7, WINDOWS_1255, ISO_8859_9, SHIFT_JIS,  EUC_KR,
                                    KOI8_R,     GB2312,       BIG5,       WINDOWS_874};

std::vector<char> Bytes(std::string_view text) {
    return {text.begin(), text.end()};
}

std::vector<wchar16> Units(KBase::WideView text) {
    return {text.begin(), text.end()};
}

std::vector<char> Contents(const std::filesystem::path& path) {
    std::ifstream stream(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

const CodePageSources::CodePage& Source(CODE_PAGE codePage) {
    const unsigned number = GetIANAInfo()->GetWindowsCodePage(codePage);
    return CodePageSources::Get(number != 0 ? number : 1252);
}

// Every byte that is a character, and every lead byte with every second byte.
std::vector<char> WholePage(CODE_PAGE codePage) {
    const CodePageSources::CodePage& source = Source(codePage);
    std::vector<char> text;
    for (unsigned byte = 0; byte < 256; ++byte) {
        for (unsigned second = 0; second < (source.isLeadByte[byte] ? 256u : 1u); ++second) {
            text.push_back(static_cast<char>(byte));
            if (source.isLeadByte[byte]) {
                text.push_back(static_cast<char>(second));
            }
        }
    }
    return text;
}

TextPolicy Substituting(wchar16 unit = 0xFFFD) {
    TextPolicy policy;
    policy.substitute = true;
    policy.decoded = unit;
    return policy;
}

class TextDecoderTest : public testing::Test {
protected:
    TextDecoderTest() { SetBasePath(u"UseWindowsAPI"_w); }

    Initializer initializer;
};

// A short text in every three pieces and with every small capacity.
void ExpectTheSameInEverySplit(CODE_PAGE codePage, const TextPolicy& policy, const std::vector<char>& text,
                               const DecoderOutcome& expected) {
    for (std::size_t first = 0; first <= text.size(); ++first) {
        for (std::size_t second = first; second <= text.size(); ++second) {
            for (std::size_t capacity = 1; capacity <= 9; ++capacity) {
                DecoderOutcome outcome =
                    ConvertThirds<wchar16>(TextDecoder(codePage, policy), text, first, second, capacity);
                ASSERT_EQ(outcome, expected) << "page " << codePage << " cut at " << first << " and "
                                             << second << ", capacity " << capacity;
            }
        }
    }
}

// A long text in pieces of every small size and with every small capacity.
void ExpectTheSameInPieces(CODE_PAGE codePage, const TextPolicy& policy, const std::vector<char>& text,
                           const DecoderOutcome& expected) {
    for (const std::size_t size : {1u, 2u, 3u, 5u, 8u, 17u}) {
        for (std::size_t capacity = 1; capacity <= 9; ++capacity) {
            const bool endApart = (size + capacity) % 2 == 0;
            ASSERT_TRUE(TextPieces::Convert<wchar16>(TextDecoder(codePage, policy), text, size, capacity,
                                                     endApart) == expected)
                << "page " << codePage << " in pieces of " << size << ", capacity " << capacity;
        }
    }
}

TEST_F(TextDecoderTest, DecodesWholePagesInPiecesAsTheOneShotConversionDoes) {
    for (const CODE_PAGE codePage : tablePages) {
        const CodePageSources::CodePage& source = Source(codePage);
        // The services answer what is undefined with the default unit; so does this substitution.
        const wchar16 defaultUnit =
            source.IsDoubleByte() ? source.pairs[0x8100].units[0] : static_cast<wchar16>('?');
        const std::vector<char> text = WholePage(codePage);
        const auto oneShot = GetCodePage(codePage)->ConvertToUnicode(
            text.data(), static_cast<unsigned>(text.size()), CodePage::THROW_INVALID_CHARACTER);
        const TextPolicy policy = Substituting(defaultUnit);
        const DecoderOutcome outcome = ConvertAtOnce<wchar16>(TextDecoder(codePage, policy), text);
        EXPECT_EQ(outcome.output, Units({oneShot->Get(), oneShot->Length()})) << codePage;
        EXPECT_EQ(outcome.consumed, text.size());
        ExpectTheSameInPieces(codePage, policy, text, outcome);
    }
}

TEST_F(TextDecoderTest, TellsUndefinedPairsOfWholePagesFromDefinedOnes) {
    const std::pair<CODE_PAGE, unsigned> pages[] = {
        {SHIFT_JIS, 5'696 + 60}, // undefined, and lead bytes with 00
        {GB2312, 8'190 + 126},
        {EUC_KR, 14'894 + 126},
        {BIG5, 12'410 + 126}};
    for (const auto& [codePage, undefined] : pages) {
        const CodePageSources::CodePage& source = Source(codePage);
        const std::vector<char> text = WholePage(codePage);
        std::vector<wchar16> expected;
        unsigned count = 0;
        for (std::size_t i = 0; i < text.size(); ++i) {
            const unsigned byte = static_cast<unsigned char>(text[i]);
            if (!source.isLeadByte[byte]) {
                expected.push_back(source.byteUnits[byte]);
                continue;
            }
            const unsigned pair = byte << 8 | static_cast<unsigned char>(text[++i]);
            const wchar16 unit = source.pairs[pair].units[0];
            const bool isDefined = (pair & 0xFF) != 0 &&
                                   (unit != source.pairs[byte << 8].units[0] || source.encoded[unit] == pair);
            expected.push_back(isDefined ? unit : 0xFFFD);
            count += isDefined ? 0 : 1;
        }
        TextDecoder decoder(codePage, Substituting());
        std::vector<wchar16> output(text.size());
        const TextResult result = decoder.Convert(text, output, true);
        output.resize(result.written);
        EXPECT_TRUE(output == expected) << codePage;
        EXPECT_EQ(count, undefined) << codePage;
        EXPECT_EQ(decoder.Substitutions().ofKind[static_cast<std::size_t>(TextFailureKind::Undefined)].count,
                  undefined)
            << codePage;
    }
}

TEST_F(TextDecoderTest, EveryByteOfASingleBytePageIsDefined) {
    for (const CODE_PAGE codePage : tablePages) {
        if (!Source(codePage).IsDoubleByte()) {
            EXPECT_EQ(ConvertAtOnce<wchar16>(TextDecoder(codePage), WholePage(codePage)).failure, "");
        }
    }
}

TEST_F(TextDecoderTest, AnUndefinedPairOf932IsNotTheMiddleDotThatItsServicesAnswer) {
    EXPECT_EQ(ConvertAtOnce<wchar16>(TextDecoder(SHIFT_JIS), Bytes("\x81\x45")).output, Units(u"\u30FB"_w));
    EXPECT_EQ(ConvertAtOnce<wchar16>(TextDecoder(SHIFT_JIS), Bytes("\x85\x40")).failure,
              "undefined at 0: 85 40");
}

TEST_F(TextDecoderTest, EveryFailureHasItsKindOffsetAndBytesInEverySplit) {
    struct Row {
        CODE_PAGE codePage;
        std::string text;
        KBase::WideString before;
        const char* failure;
    };
    TextPolicy sevenBit;
    sevenBit.sevenBit = true;
    using namespace std::string_literals;
    const Row rows[] = {
        {SHIFT_JIS, "a\x93\xFA\x85\x40z"s, u"a\u65E5"_w, "undefined at 3: 85 40"}, // no such pair
        {SHIFT_JIS, "\x81\x20x"s, u""_w, "undefined at 0: 81 20"},                 // no possible trail
        {SHIFT_JIS, "ab\x93\0x"s, u"ab"_w, "undefined at 2: 93 00"},               // a lead byte with zero
        {SHIFT_JIS, "\x93\xFA\x96"s, u"\u65E5"_w, "cut off at 2: 96"},             //
        {GB2312, "\xC4\xE3\xFE\xFFx"s, u"\u4F60"_w, "undefined at 2: FE FF"},      // the default unit is ?
        {BIG5, "?\xA3\xC0"s, u"?"_w, "undefined at 1: A3 C0"},                     // a real ? before
        {UTF_8, "a\xE3\x81"s, u"a"_w, "cut off at 1: E3 81"},                      //
        {UTF_8, "\xF0\x9F\x98\x80\xF0\x9F\x98"s, u"\U0001F600"_w, "cut off at 4: F0 9F 98"},
        {UTF_8, "a\0b\xE3\x81z"s, u"a\0b"_w, "ill-formed at 3: E3 81"}, // a zero byte is text
        {UTF_8, "ab\x80"s, u"ab"_w, "ill-formed at 2: 80"},             // a lone trail
        {UTF_8, "\xC0\xAF"s, u""_w, "ill-formed at 0: C0"},             // overlong
        {UTF_8, "x\xED\xA0\x80"s, u"x"_w, "ill-formed at 1: ED"},       // a surrogate
        {UTF_8, "\xF4\x90\x80\x80"s, u""_w, "ill-formed at 0: F4"},     // beyond U+10FFFF
        {UTF_8, "\xF0\x9F\x98z"s, u""_w, "ill-formed at 0: F0 9F 98"},  //
        {US_ASCII, "az\xE9"s, u"az"_w, "undefined at 2: E9"},           // 7-bit
    };
    for (const Row& row : rows) {
        const TextPolicy policy = row.codePage == US_ASCII ? sevenBit : TextPolicy();
        const std::vector<char> text = Bytes(row.text);
        const DecoderOutcome outcome = ConvertAtOnce<wchar16>(TextDecoder(row.codePage, policy), text);
        EXPECT_EQ(outcome.output, Units(row.before)) << row.failure;
        EXPECT_EQ(outcome.failure, row.failure);
        ExpectTheSameInEverySplit(row.codePage, policy, text, outcome);
    }
}

TEST_F(TextDecoderTest, SubstitutesAndCountsInEverySplit) {
    struct Row {
        CODE_PAGE codePage;
        std::string text;
        KBase::WideString output;
        const char* counts;
    };
    const Row rows[] = {
        {SHIFT_JIS, "\x85\x40z\x85\x41\x81", u"\uFFFDz\uFFFD\uFFFD"_w,
         "2 x undefined at 0: 85 40; 1 x cut off at 5: 81"},
        {UTF_8, "\xE3\x81z\xFF\xF0\x9F\x98\x80\xED\xA0\xF0\x9F",
         u"\uFFFDz\uFFFD\U0001F600\uFFFD\uFFFD\uFFFD"_w,
         "1 x cut off at 10: F0 9F; 4 x ill-formed at 0: E3 81"},
    };
    for (const Row& row : rows) {
        const std::vector<char> text = Bytes(row.text);
        const DecoderOutcome outcome =
            ConvertAtOnce<wchar16>(TextDecoder(row.codePage, Substituting()), text);
        EXPECT_EQ(outcome.output, Units(row.output)) << row.counts;
        EXPECT_EQ(outcome.substitutions, row.counts);
        ExpectTheSameInEverySplit(row.codePage, Substituting(), text, outcome);
    }
}

TEST_F(TextDecoderTest, DecodesUTF8InPiecesAsThePlatformsRoutineDoes) {
    // Every code point, and noise.
    KBase::WideString all;
    for (std::uint32_t point = 0; point < 0x110000; point = point == 0xD7FF ? 0xE000 : point + 1) {
        if (point >= 0x10000) {
            all.push_back(static_cast<wchar16>(0xD7C0 + (point >> 10)));
        }
        all.push_back(static_cast<wchar16>(point < 0x10000 ? point : 0xDC00 + (point & 0x3FF)));
        point += point < 0x11000 ? 0 : 31; // the planes are alike
    }
    std::string noise;
    std::mt19937 random(1);
    constexpr unsigned char pieces[] = {0xE3, 0x81, 0x82, 0xF0, 0x9F, 0x98, 0x80, 'a', 0xC3,
                                        0xA9, 0xED, 0xA0, 0xFF, 0,    0xF4, 0x90, 0xC0};
    for (int i = 0; i < 40'000; ++i) {
        noise.push_back(static_cast<char>(pieces[random() % std::size(pieces)]));
    }
    for (const std::string& text : {KBase::WideCharToUTF8UsingLength(all.data(), all.size(), false), noise}) {
        const KBase::WideString expected = KBase::UTF8ToWideCharUsingLength(text.data(), text.size(), true);
        const std::vector<char> bytes = Bytes(text);
        const DecoderOutcome outcome = ConvertAtOnce<wchar16>(TextDecoder(UTF_8, Substituting()), bytes);
        EXPECT_TRUE(outcome.output == Units(expected));
        ExpectTheSameInPieces(UTF_8, Substituting(), bytes, outcome);
    }
}

TEST_F(TextDecoderTest, DecodesTheExampleTextsInPiecesAndEncodesThemBack) {
    unsigned files = 0;
    for (const auto& entry : std::filesystem::directory_iterator("examples/data")) {
        const std::filesystem::path path = entry.path();
        const std::string charset = path.stem().extension().string();
        if (path.extension() != ".txt" || charset == ".utf-8") {
            continue;
        }
        ++files;
        const std::string name = charset.substr(1);
        const KBase::WideString wideName(name.begin(), name.end());
        const CODE_PAGE codePage = GetIANAInfo()->FindCodePage(wideName.c_str());
        const std::string language = path.stem().stem().string();
        const std::vector<char> text = Contents(path);
        const std::vector<char> utf8 = Contents(path.parent_path() / (language + ".utf-8.txt"));
        const DecoderOutcome outcome = ConvertAtOnce<wchar16>(TextDecoder(codePage), text);
        EXPECT_EQ(outcome.failure, "") << path;
        EXPECT_FALSE(outcome.output.empty()) << path;
        EXPECT_TRUE(outcome.output == ConvertAtOnce<wchar16>(TextDecoder(UTF_8), utf8).output) << path;
        EXPECT_TRUE(ConvertAtOnce<char>(TextEncoder(codePage), outcome.output).output == text) << path;
        EXPECT_TRUE(ConvertAtOnce<char>(TextEncoder(UTF_8), outcome.output).output == utf8) << path;
        ExpectTheSameInPieces(codePage, {}, text, outcome);
    }
    EXPECT_GE(files, 14u);
}

TEST_F(TextDecoderTest, ThePositionIsWhereTheNextCharacterBegins) {
    const std::pair<CODE_PAGE, std::vector<char>> texts[] = {
        {SHIFT_JIS, Bytes("a\x93\xFAx\xB1\x96\x7By")},
        {UTF_8, Bytes("a\xC3\xA9x\xE3\x81\x82\xE3\x81\x84y")},
    };
    const std::size_t begins[][8] = {{0, 1, 3, 4, 5, 7, 8, 8}, {0, 1, 3, 4, 7, 10, 11, 11}};
    for (std::size_t text = 0; text < 2; ++text) {
        const auto& [codePage, bytes] = texts[text];
        for (std::size_t units = 0; units <= 6; ++units) {
            TextDecoder decoder(codePage);
            std::vector<wchar16> output(units);
            EXPECT_EQ(decoder.Convert(bytes, output, true).written, units);
            EXPECT_EQ(decoder.Position(), begins[text][units]) << codePage << " after " << units;
        }
    }
    TextDecoder cut(UTF_8);
    std::array<wchar16, 4> room{};
    EXPECT_EQ(cut.Convert(std::span("a\xE3\x81", 3), room, false).consumed, 3u);
    EXPECT_EQ(cut.Position(), 1u); // two bytes are kept
    EXPECT_EQ(cut.Convert(std::span("z", 1), room, true).stop, TextStop::Failure);
    EXPECT_EQ(cut.Position(), 1u);
    EXPECT_EQ(cut.Convert({}, room, true).stop, TextStop::Failure); // it stays failed
}

TEST_F(TextDecoderTest, WithoutRoomNothingIsTakenAndNothingIsLost) {
    for (const CODE_PAGE codePage : {SHIFT_JIS, UTF_8}) {
        TextDecoder decoder(codePage);
        for (int i = 0; i < 3; ++i) {
            const TextResult result = decoder.Convert(std::span("ab", 2), {}, true);
            EXPECT_EQ(result.consumed + result.written, 0u);
            EXPECT_EQ(result.stop, TextStop::OutputFull);
        }
        EXPECT_EQ(ConvertAtOnce<wchar16>(std::move(decoder), Bytes("ab")).output, Units(u"ab"_w));
        EXPECT_EQ(TextDecoder(codePage).Convert({}, {}, true).stop, TextStop::InputUsedUp);
    }
}

TEST_F(TextDecoderTest, AnotherTextMayFollowTheEndOfOne) {
    TextDecoder decoder(UTF_8, Substituting());
    std::array<wchar16, 8> room{};
    EXPECT_EQ(decoder.Convert(std::span("a\xE3", 2), room, true).written, 2u);
    EXPECT_EQ(decoder.Convert(std::span("\x81z\xE3", 3), room, true).written, 3u);
    EXPECT_EQ(TextPieces::Shown(decoder.Substitutions()), "2 x cut off at 1: E3; 1 x ill-formed at 2: 81");
}

TEST_F(TextDecoderTest, LivesOnWhenTheCachesAreFlushedAndTheBasePathChanges) {
    TextDecoder decoder(SHIFT_JIS);
    std::array<wchar16, 4> room{};
    EXPECT_EQ(decoder.Convert(std::span("\x93", 1), room, false).written, 0u);
    FlushCodePageCaches();
    SetBasePath(u"there is no such directory"_w);
    EXPECT_EQ(decoder.Convert(std::span("\xFA", 1), room, true).written, 1u);
    EXPECT_EQ(room[0], 0x65E5);
    EXPECT_THROW(TextDecoder other(SHIFT_JIS), CodePageConversionException);
}

TEST_F(TextDecoderTest, RefusesWhatDoesNotDecode) {
    for (const CODE_PAGE codePage : {ISO_2022_JP, UNICODE_1_1, UNLISTED, static_cast<CODE_PAGE>(99)}) {
        EXPECT_THROW(TextDecoder decoder(codePage), UserErrorException) << codePage;
    }
}

TEST_F(TextDecoderTest, EntriesThatATranslationFileDoesNotHaveAreUndefined) {
    const CodePageTests::TemporaryDirectory directory;
    MarkedTables::Write(directory.Path(), "koi8-r", 20866, 'Z');
    SetBasePath(directory.Wide().c_str());
    const DecoderOutcome outcome = ConvertAtOnce<wchar16>(TextDecoder(KOI8_R), Bytes("xA\xC1"));
    EXPECT_EQ(outcome.output, Units(u"xZ"_w));
    EXPECT_EQ(outcome.failure, "undefined at 2: C1");
}

TEST_F(TextDecoderTest, ASevenBitDecoderDoesNotTakeTheLookUpOfAnother) {
    const std::vector<char> text = Bytes("e\xE9");
    TextPolicy sevenBit = Substituting();
    sevenBit.sevenBit = true;
    EXPECT_EQ(ConvertAtOnce<wchar16>(TextDecoder(ISO_8859_1, Substituting()), text).output,
              Units(u"e\u00E9"_w));
    EXPECT_EQ(ConvertAtOnce<wchar16>(TextDecoder(ISO_8859_1, sevenBit), text).output, Units(u"e\uFFFD"_w));
}

} // namespace
