// TextDecoder of the charsets that ICU knows, against ICU's conversion of the whole text in one call.

#include "CodePage/CodePageRegistry.h"
#include "CodePage/Initializer.h"
#include "CodePage/TextDecoder.h"
#include "IcuText.h"
#include "Raised.h"
#include "TextPieces.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace KCodePage;
using namespace CodePageTests;
using namespace std::string_literals;
using namespace std::string_view_literals;
using KBase::operator""_w;
using KBase::WideString;
using TextPieces::ConvertThirds;
using Outcome = TextPieces::Outcome<wchar16>;

struct Sample {
    const char* charset;
    WideString text;
};

const Sample samples[] = {{"iso-8859-2", u"Za\u017C\u00F3\u0142\u0107 g\u0119\u015B"_w},
                          {"ibm-1047", u"caf\u00E9 {\u00FC}\n"_w},
                          {"euc-jp", u"a\u3042\u65E5 b\u30AB\u672C\nc\u8A9E"_w},
                          {"shift_jis", u"a\u3042\u65E5 b\u30AB\u672C\nc\u8A9E"_w},
                          {"iso-2022-jp", u"a\u3042\u65E5 b\u30AB\u672C\nc\u8A9E"_w},
                          {"ibm-930", u"a\u3042\u65E5 b\u30AB\u672C\nc\u8A9E"_w},
                          {"iso-2022-kr", u"a\uD55C\uAD6D b\uC5B4\nc\uB9D0"_w},
                          {"windows-949", u"a\uD55C\uAD6D b\uC5B4\nc\uB9D0"_w},
                          {"iso-2022-cn", u"a~\u4F60\u597D b\u4E2D\nc\u56FD"_w},
                          {"hz", u"a~\u4F60\u597D b\u4E2D\nc\u56FD"_w},
                          {"big5-hkscs", u"a\u00CA\u0304\u4F60\u597D b\u4E2D c\u570B"_w},
                          {"euc-tw", u"a\u4F60\u597D b\u4E2D c\u570B"_w},
                          {"gb18030", u"a\u00E9\u65E5+ b\U0001F600\u4E2D-c\U00020000"_w},
                          {"utf-7", u"a\u00E9\u65E5+ b\U0001F600\u4E2D-c\U00020000"_w},
                          {"utf-8", u"a\u00E9\u65E5+ b\U0001F600\u4E2D-c\U00020000"_w},
                          {"cesu-8", u"a\u00E9\u65E5+ b\U0001F600\u4E2D-c\U00020000"_w},
                          {"utf-16", u"a\u00E9\u65E5\U0001F600\u4E2D-c\U00020000"_w},
                          {"utf-16le", u"\uFEFFa\u00E9\u65E5\U0001F600\u4E2D-c\U00020000"_w},
                          {"utf-32", u"a\u00E9\U0001F600\u4E2D"_w},
                          {"scsu", u"a\u00E9\u65E5+ b\U0001F600\u4E2D-c\U00020000"_w},
                          {"lmbcs", u"a\u00E9\u65E5+ b\u4E2D-c"_w},
                          {"iscii,version=0", u"a\u0915\u094D\u0916 b\u0917"_w}};

std::vector<char> Bytes(std::string_view text) {
    return {text.begin(), text.end()};
}

std::vector<wchar16> Units(KBase::WideView text) {
    return {text.begin(), text.end()};
}

std::string Hexadecimal(std::string_view bytes) {
    std::string shown;
    for (const char byte : bytes) {
        char digits[8];
        std::snprintf(digits, sizeof digits, "%02X ",
                      static_cast<unsigned>(static_cast<unsigned char>(byte)));
        shown += digits;
    }
    return shown;
}

TextPolicy Substituting() {
    TextPolicy policy;
    policy.substitute = true;
    return policy;
}

TextFailure Failure(const IcuText::Failure& failure) {
    TextFailure shown;
    shown.kind = failure.isCutOff ? TextFailureKind::CutOff : TextFailureKind::Undefined;
    shown.offset = failure.offset;
    shown.length = static_cast<unsigned>(failure.bytes.size());
    for (std::size_t i = 0; i < std::min(failure.bytes.size(), shown.units.size()); ++i) {
        shown.units[i] = static_cast<unsigned char>(failure.bytes[i]);
    }
    return shown;
}

Outcome ExpectedSubstituting(const IcuText::Report& report, std::size_t size) {
    TextSubstitutions substitutions;
    for (const IcuText::Failure& failure : report.failures) {
        substitutions.Add(Failure(failure));
    }
    return {Units(report.units), size, "", TextPieces::Shown(substitutions)};
}

Outcome ExpectedStopping(const IcuText::Report& report, std::size_t size) {
    if (report.failures.empty()) {
        return {Units(report.units), size, "", ""};
    }
    return {Units(KBase::WideView(report.units).substr(0, report.unitsBefore)), 0,
            TextPieces::Shown(Failure(report.failures[0])), ""};
}

// A text in every three pieces, with small capacities, stopping and substituting.
void ExpectAsIcuInEverySplit(const char* charset, const std::string& text) {
    const IcuText::Report report = IcuText::DecodeReporting(charset, text);
    const Outcome stopping = ExpectedStopping(report, text.size());
    const Outcome substituting = ExpectedSubstituting(report, text.size());
    const TextDecoder stoppingDecoder(charset);
    const TextDecoder substitutingDecoder(charset, Substituting());
    const std::vector<char> bytes = Bytes(text);
    for (std::size_t first = 0; first <= text.size(); ++first) {
        for (std::size_t second = first; second <= text.size(); ++second) {
            for (const std::size_t capacity : {1u, 2u, 3u, 7u, 100u}) {
                const auto where = [&] {
                    return std::string(charset) + " cut at " + std::to_string(first) + " and " +
                           std::to_string(second) + ", capacity " + std::to_string(capacity) + ": " +
                           Hexadecimal(text);
                };
                Outcome outcome = ConvertThirds<wchar16>(stoppingDecoder, bytes, first, second, capacity);
                if (!outcome.failure.empty()) {
                    outcome.consumed = 0; // bytes behind the failure may have been looked at
                }
                ASSERT_EQ(outcome, stopping) << where();
                outcome = ConvertThirds<wchar16>(substitutingDecoder, bytes, first, second, capacity);
                ASSERT_EQ(outcome, substituting) << where();
            }
        }
    }
}

TEST(TextDecoderCharset, DecodesWellFormedTextInEverySplitAsIcuDoes) {
    for (const Sample& sample : samples) {
        ExpectAsIcuInEverySplit(sample.charset, IcuText::Encode(sample.charset, sample.text));
    }
}

std::vector<std::int32_t> Starts(const char* charset, const std::string& text) {
    const IcuText::Converter converter = IcuText::Open(charset);
    std::vector<std::int32_t> starts(text.size() * 4 + 16);
    std::vector<unsigned short> units(starts.size());
    unsigned short* unit = units.data();
    const char* source = text.data();
    UErrorCode error = U_ZERO_ERROR;
    ucnv_toUnicode(converter.get(), &unit, unit + units.size(), &source, source + text.size(), starts.data(),
                   true, &error);
    IcuText::Check(error, charset);
    starts.resize(static_cast<std::size_t>(unit - units.data()));
    return starts;
}

// SCSU's tags count as converted before the character that they stand for, and ISCII is a character behind.
bool ThePositionIsApproximate(const Sample& sample) {
    const std::string_view name = sample.charset;
    return name == "scsu" || name.starts_with("iscii");
}

TEST(TextDecoderCharset, ThePositionIsBetweenTheLastCharacterAndTheNext) {
    for (const Sample& sample : samples) {
        const std::string text = IcuText::Encode(sample.charset, sample.text);
        const std::vector<std::int32_t> starts = Starts(sample.charset, text);
        TextDecoder decoder(sample.charset);
        std::size_t count = 0;
        for (std::size_t i = 0; i < text.size(); ++i) {
            const std::uint64_t before = decoder.Position();
            wchar16 units[16];
            const TextResult result = decoder.Convert({&text[i], 1}, units, false);
            ASSERT_EQ(result.stop, TextStop::InputUsedUp);
            count += result.written;
            const std::uint64_t position = decoder.Position();
            ASSERT_GE(position, before) << sample.charset << " " << i;
            ASSERT_LE(position, i + 1) << sample.charset << " " << i;
            if (count != 0) {
                EXPECT_GT(position, static_cast<std::uint64_t>(starts[count - 1]))
                    << sample.charset << " " << i;
            }
            if (count < starts.size() && !ThePositionIsApproximate(sample)) {
                EXPECT_LE(position, static_cast<std::uint64_t>(starts[count])) << sample.charset << " " << i;
            }
        }
        wchar16 units[16];
        decoder.Convert({}, units, true);
        EXPECT_EQ(decoder.Position(), text.size()) << sample.charset;
    }
}

// The text with up to three bytes changed, added or gone, or its end cut off.
std::string Damaged(std::string text, std::mt19937& random) {
    for (unsigned damage = 0; damage <= random() % 3; ++damage) {
        const std::size_t place = random() % text.size();
        switch (random() % 4) {
        case 0:
            text[place] = static_cast<char>(random());
            break;
        case 1:
            text.insert(place, 1, "\x1B\x0E\x0F~+\xFF\x80$("[random() % 9]);
            break;
        case 2:
            text.erase(place + 1, 1);
            break;
        default:
            text.resize(place + 1);
        }
    }
    return text;
}

TEST(TextDecoderCharset, TellsWhatIsDamagedInEverySplitAsIcuDoes) {
    std::mt19937 random(1);
    for (const Sample& sample : samples) {
        const std::string whole = IcuText::Encode(sample.charset, sample.text);
        for (int round = 0; round < 60; ++round) {
            const std::string text = Damaged(whole.substr(0, 16), random);
            if (!IcuText::DropsTheEnd(sample.charset, text)) {
                ExpectAsIcuInEverySplit(sample.charset, text);
            }
        }
    }
}

TEST(TextDecoderCharset, AHeldByteOfHzIsCutOffAtTheEnd) {
    struct Row {
        std::string text;
        WideString units;
        std::string failure;
    };
    const Row rows[] = {{"a~"s, u"a"_w, "cut off at 1: 7E"},
                        {"a~{\x44"s, u"a"_w, "cut off at 3: 44"},
                        {"a~{\x44\x63\x3A"s, u"a\u4F60"_w, "cut off at 5: 3A"},
                        {"a~{\x44\x63"s, u"a\u4F60"_w, ""},
                        {"a~{\x44\x63~}"s, u"a\u4F60"_w, ""},
                        {"a~~"s, u"a~"_w, ""},
                        {"a~\n"s, u"a"_w, ""},
                        {"a~{"s, u"a"_w, ""},
                        {""s, u""_w, ""}};
    for (const Row& row : rows) {
        for (std::size_t first = 0; first <= row.text.size(); ++first) {
            const Outcome outcome =
                ConvertThirds<wchar16>(TextDecoder("hz"), Bytes(row.text), first, row.text.size(), 9);
            EXPECT_EQ(outcome.output, Units(row.units));
            EXPECT_EQ(outcome.failure, row.failure) << Hexadecimal(row.text);
            for (const std::size_t capacity : {0u, 1u}) {
                const Outcome substituted = TextPieces::Convert<wchar16>(
                    TextDecoder("hz", Substituting()), Bytes(row.text), 1, capacity + 1, capacity == 0);
                EXPECT_EQ(substituted.output,
                          Units(row.units + (row.failure.empty() ? WideString() : WideString({0xFFFD}))));
                EXPECT_EQ(substituted.substitutions, row.failure.empty() ? "" : "1 x " + row.failure);
            }
        }
    }
}

TEST(TextDecoderCharset, AnEndThatLacksASignButNoByteIsCutOffOnce) {
    const Outcome stopped =
        TextPieces::ConvertAtOnce<wchar16>(TextDecoder("imap-mailbox-name"), Bytes("a&AOk"));
    EXPECT_EQ(stopped.output, Units(u"a\u00E9"_w));
    EXPECT_EQ(stopped.failure, "cut off at 4: 6B");
    const Outcome bare = TextPieces::ConvertAtOnce<wchar16>(TextDecoder("imap-mailbox-name", Substituting()),
                                                            Bytes("&MEIwRDBG"));
    EXPECT_EQ(bare.output, Units(u"\u3042\u3044\u3046\uFFFD"_w));
    EXPECT_EQ(bare.substitutions, "1 x cut off at 9:");
    EXPECT_EQ(bare.consumed, 9u);
}

TEST(TextDecoderCharset, AFailureShowsNoMoreUnitsThanItHolds) {
    TextFailure failure;
    EXPECT_EQ(failure.FirstUnits().size(), 0u);
    failure.length = 3;
    EXPECT_EQ(failure.FirstUnits().size(), 3u);
    failure.length = 9;
    EXPECT_EQ(failure.FirstUnits().size(), 4u);
    EXPECT_EQ(failure.FirstUnits().data(), failure.units.data());
}

TEST(TextDecoderCharset, UnknownNamesAreRefused) {
    const std::string refusal = "The character set is not supported: ";
    for (const char* name : {"", "no such charset", "-", " ", ",swaplfnl", "\xFF", "x11-compound-text"}) {
        const auto failure = Raised([&] { TextDecoder{name}; });
        EXPECT_EQ(failure.type, "UserErrorException") << name;
        EXPECT_TRUE(failure.text.starts_with(refusal)) << failure.text;
    }
    EXPECT_EQ(Raised([] { TextDecoder{static_cast<const char*>(nullptr)}; }), UserError(refusal));
    EXPECT_EQ(Raised([] { TextDecoder{"no such charset"}; }), UserError(refusal + "no such charset"));
    EXPECT_EQ(Raised([] { TextDecoder{std::string(100'000, 'x').c_str()}; }).type, "UserErrorException");
}

// From every place of a text, the copy and what it was copied from both end as a decoder that was never
// copied.
template <class Make>
void ExpectCopiesToGoOn(Make make, const std::string& text, std::size_t capacity) {
    const Outcome whole = TextPieces::Convert<wchar16>(make(), Bytes(text), 1, capacity);
    for (std::size_t cut = 0; cut <= text.size(); ++cut) {
        TextDecoder first = make();
        std::vector<wchar16> head;
        std::vector<wchar16> room(capacity);
        for (std::size_t i = 0; i < cut;) {
            const TextResult result = first.Convert({&text[i], 1}, room, false);
            head.insert(head.end(), room.begin(), room.begin() + static_cast<std::ptrdiff_t>(result.written));
            i += result.consumed;
            if (result.stop == TextStop::Failure) {
                break;
            }
        }
        TextDecoder copy(first);
        TextDecoder assigned(UTF_8);
        assigned = first;
        EXPECT_EQ(copy.Position(), first.Position());
        for (TextDecoder* decoder : {&first, &copy, &assigned}) {
            const Outcome rest = TextPieces::Convert<wchar16>(
                std::move(*decoder), Bytes(std::string_view(text).substr(cut)), 1, capacity);
            std::vector<wchar16> output = head;
            output.insert(output.end(), rest.output.begin(), rest.output.end());
            ASSERT_EQ(output, whole.output) << Hexadecimal(text) << " at " << cut;
            ASSERT_EQ(rest.failure, whole.failure);
            ASSERT_EQ(rest.substitutions, whole.substitutions);
        }
    }
}

TEST(TextDecoderCharset, ACopyGoesOnFromTheSamePlaceOnItsOwn) {
    std::mt19937 random(2);
    for (const Sample& sample : samples) {
        const std::string whole = IcuText::Encode(sample.charset, sample.text);
        for (int round = 0; round < 10; ++round) {
            const std::string text = round == 0 ? whole : Damaged(whole, random);
            for (const std::size_t capacity : {1u, 5u}) {
                ExpectCopiesToGoOn([&] { return TextDecoder(sample.charset); }, text, capacity);
                ExpectCopiesToGoOn([&] { return TextDecoder(sample.charset, Substituting()); }, text,
                                   capacity);
            }
        }
    }
}

TEST(TextDecoderCharset, CopiesOfCatalogueDecodersGoOnToo) {
    const Initializer initializer;
    SetBasePath(u"UseWindowsAPI"_w);
    const std::string text = "abc\x93\xFA\x85\x40\xE3\x81\x82\xFFxyz\xF0\x9F\x98\x80\xF0\x9F";
    for (const CODE_PAGE codePage : {SHIFT_JIS, ISO_8859_1, UTF_8}) {
        for (const std::size_t capacity : {1u, 5u}) {
            ExpectCopiesToGoOn([&] { return TextDecoder(codePage); }, text, capacity);
            ExpectCopiesToGoOn([&] { return TextDecoder(codePage, Substituting()); }, text, capacity);
        }
    }
}

TEST(TextDecoderCharset, AnotherTextFollowsTheEndWithOffsetsThatGoOn) {
    TextDecoder decoder("utf-16");
    const std::string text = "\xFE\xFF\x00"
                             "a"s;
    wchar16 units[8];
    ASSERT_EQ(decoder.Convert(text, units, true).written, 1u);
    EXPECT_EQ(units[0], 'a');
    // The second text has a mark, and an order, of its own.
    const std::string second = "\xFF\xFE"
                               "b\x00\x00\xDC"s;
    const TextResult result = decoder.Convert(second, units, true);
    EXPECT_EQ(result.written, 1u);
    EXPECT_EQ(units[0], 'b');
    EXPECT_EQ(TextPieces::Shown(result.failure), "undefined at 8: 00 DC");
    EXPECT_EQ(decoder.Position(), 8u);
    EXPECT_EQ(decoder.Convert("more", units, true).stop, TextStop::Failure); // and stays there
}

TEST(TextDecoderCharset, NothingIsTakenWithoutRoom) {
    for (const Sample& sample : samples) {
        const std::string text = IcuText::Encode(sample.charset, sample.text);
        TextDecoder decoder(sample.charset);
        for (int i = 0; i < 3; ++i) {
            const TextResult result = decoder.Convert(text, {}, true);
            EXPECT_EQ(result.stop, TextStop::OutputFull) << sample.charset;
            EXPECT_EQ(result.consumed, 0u);
            EXPECT_EQ(decoder.Position(), 0u);
        }
        EXPECT_EQ(decoder.Convert({}, {}, true).stop, TextStop::InputUsedUp) << sample.charset;
    }
}

TEST(TextDecoderCharset, ExactlySoManyUnitsEndAtTheirCharacter) {
    for (const Sample& sample : samples) {
        if (ThePositionIsApproximate(sample)) {
            continue;
        }
        const std::string text = IcuText::Encode(sample.charset, sample.text);
        const std::vector<std::int32_t> starts = Starts(sample.charset, text);
        for (std::size_t count = 1; count < starts.size(); ++count) {
            TextDecoder decoder(sample.charset);
            std::vector<wchar16> units(count);
            ASSERT_EQ(decoder.Convert(text, units, false).written, count);
            if (starts[count] != starts[count - 1]) {
                EXPECT_GT(decoder.Position(), static_cast<std::uint64_t>(starts[count - 1]))
                    << sample.charset;
                EXPECT_LE(decoder.Position(), static_cast<std::uint64_t>(starts[count])) << sample.charset;
            }
        }
    }
}

} // namespace
