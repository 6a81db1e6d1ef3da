#include "UTF8/UTF8.h"

#include "ExactBuffer.h"
#include "IcuUTF8.h"

#include <gtest/gtest.h>

#include <random>
#include <set>
#include <vector>

namespace {

using KBase::WideString;
using UTF8::Stop;

struct Step {
    UTF8::Result result{};
    WideString units;
};

Step Decode(std::string_view bytes, std::size_t capacity) {
    const ExactBuffer<char> input(bytes);
    ExactBuffer<KBase::wchar16> output(capacity, 0xABCD);
    const UTF8::Result result = UTF8::Decode(input.Get(), input.Size(), output.Get(), capacity);
    return {result, WideString(output.Get(), result.written)};
}

struct EncodeStep {
    UTF8::Result result{};
    std::string bytes;
};

EncodeStep Encode(KBase::WideView units, std::size_t capacity) {
    const ExactBuffer<KBase::wchar16> input(units);
    ExactBuffer<char> output(capacity, 'x');
    const UTF8::Result result = UTF8::Encode(input.Get(), input.Size(), output.Get(), capacity);
    return {result, std::string(output.Get(), result.written)};
}

// Decodes with one U+FFFD for each ill-formed part that the codec names.
WideString DecodeSubstituting(std::string_view bytes) {
    WideString units;
    std::size_t position = 0;
    for (;;) {
        const Step step = Decode(bytes.substr(position), bytes.size() - position);
        units += step.units;
        position += step.result.consumed;
        if (step.result.stop == Stop::InputUsedUp) {
            return units;
        }
        if (step.result.stop == Stop::OutputFull || step.result.illFormedLength == 0 ||
            step.result.illFormedLength > bytes.size() - position) {
            ADD_FAILURE() << "no ill-formed part is named at " << position;
            return units;
        }
        units.push_back(0xFFFD);
        position += step.result.illFormedLength;
    }
}

// The beginnings, but not the whole, of all well-formed sequences, from ICU's encoding of every code point.
const std::set<std::string, std::less<>>& Beginnings() {
    static const auto beginnings = [] {
        std::set<std::string, std::less<>> found;
        for (std::uint32_t codePoint = 0x80; codePoint < 0x110000; ++codePoint) {
            if (codePoint >= 0xD800 && codePoint < 0xE000) {
                continue;
            }
            // All code points of one row of 64 have the same beginning.
            if (codePoint % 64 != 0) {
                continue;
            }
            const std::string bytes = IcuUTF8::Encode(IcuUTF8::Units(codePoint));
            for (std::size_t length = 1; length < bytes.size(); ++length) {
                found.insert(bytes.substr(0, length));
            }
        }
        return found;
    }();
    return beginnings;
}

// ASCII runs of lengths around the fast path's block size, then characters of all lengths, in every order.
const std::vector<std::string>& Texts() {
    static const std::vector<std::string> texts = {
        "",
        "A",
        "0123456",
        "01234567",
        "012345678",
        "0123456789abcdef0123456789abcdef",
        std::string("\0\0a\0bcdefghij\0", 14),
        "\xC2\x80",
        "\xDF\xBF"
        "A",
        "\xE0\xA0\x80\xED\x9F\xBF\xEE\x80\x80\xEF\xBF\xBF",
        "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF",
        "A\xC3\xA9"
        "B\xE3\x81\x82"
        "C\xF0\x9F\x98\x80"
        "D",
        "01234567\xF0\x9F\x98\x80"
        "01234567\xE3\x81\x82"
        "0123456\xC3\xA9",
    };
    return texts;
}

TEST(UTF8, EveryCodePointDecodesAndEncodesAsIcuHasIt) {
    for (std::uint32_t codePoint = 0; codePoint < 0x110000; ++codePoint) {
        if (codePoint >= 0xD800 && codePoint < 0xE000) {
            continue;
        }
        const WideString units = IcuUTF8::Units(codePoint);
        const std::string bytes = IcuUTF8::Encode(units);
        const Step decoded = Decode(bytes, units.size());
        ASSERT_EQ(decoded.units, units) << codePoint;
        ASSERT_EQ(decoded.result.stop, Stop::InputUsedUp) << codePoint;
        ASSERT_EQ(decoded.result.consumed, bytes.size()) << codePoint;
        const EncodeStep encoded = Encode(units, bytes.size());
        ASSERT_EQ(encoded.bytes, bytes) << codePoint;
        ASSERT_EQ(encoded.result.stop, Stop::InputUsedUp) << codePoint;
        ASSERT_EQ(encoded.result.consumed, units.size()) << codePoint;
        ASSERT_EQ(UTF8::SequenceLength(static_cast<unsigned char>(bytes[0])), bytes.size()) << codePoint;
    }
}

TEST(UTF8, AByteThatOpensNothingHasSequenceLengthOne) {
    for (unsigned byte = 0; byte < 0x100; ++byte) {
        const bool opens = Beginnings().contains(std::string(1, static_cast<char>(byte)));
        if (!opens) {
            EXPECT_EQ(UTF8::SequenceLength(static_cast<unsigned char>(byte)), 1u) << byte;
        }
    }
    EXPECT_EQ(UTF8::SequenceLength(0xC1), 1u);
    EXPECT_EQ(UTF8::SequenceLength(0xC2), 2u);
    EXPECT_EQ(UTF8::SequenceLength(0xE0), 3u);
    EXPECT_EQ(UTF8::SequenceLength(0xF4), 4u);
    EXPECT_EQ(UTF8::SequenceLength(0xF5), 1u);
}

TEST(UTF8, EverySurrogateInThreeBytesIsThreeIllFormedParts) {
    for (unsigned surrogate = 0xD800; surrogate < 0xE000; ++surrogate) {
        const char bytes[] = {'\xED', static_cast<char>(0x80 | (surrogate >> 6 & 0x3F)),
                              static_cast<char>(0x80 | (surrogate & 0x3F))};
        ASSERT_EQ(DecodeSubstituting(std::string_view(bytes, 3)), WideString(3, 0xFFFD)) << surrogate;
    }
}

TEST(UTF8, EveryTwoBytesDecodeAsIcuHasThem) {
    for (unsigned first = 0x80; first < 0x100; ++first) {
        for (unsigned second = 0; second < 0x100; ++second) {
            const char bytes[] = {static_cast<char>(first), static_cast<char>(second)};
            const std::string_view text(bytes, 2);
            ASSERT_EQ(DecodeSubstituting(text), IcuUTF8::Decode(text)) << first << ' ' << second;
        }
    }
}

// All third bytes behind one beginning are decoded in one text, each group followed by a letter.
TEST(UTF8, EveryThreeBytesDecodeAsIcuHasThem) {
    for (unsigned first = 0xC0; first < 0x100; ++first) {
        for (unsigned second = 0; second < 0x100; ++second) {
            std::string text;
            for (unsigned third = 0; third < 0x100; ++third) {
                text += {static_cast<char>(first), static_cast<char>(second), static_cast<char>(third), '.'};
            }
            ASSERT_EQ(DecodeSubstituting(text), IcuUTF8::Decode(text)) << first << ' ' << second;
        }
    }
}

TEST(UTF8, FourBytesAtEveryLimitDecodeAsIcuHasThem) {
    const unsigned char limits[] = {0x00, 0x41, 0x7F, 0x80, 0x8F, 0x90, 0x9F, 0xA0,
                                    0xBF, 0xC0, 0xC2, 0xE0, 0xED, 0xF0, 0xF4, 0xFF};
    for (unsigned first = 0xEF; first < 0xF8; ++first) {
        for (unsigned second = 0; second < 0x100; ++second) {
            std::string text;
            for (const unsigned char third : limits) {
                for (const unsigned char fourth : limits) {
                    text += {static_cast<char>(first), static_cast<char>(second), static_cast<char>(third),
                             static_cast<char>(fourth), '.'};
                }
            }
            ASSERT_EQ(DecodeSubstituting(text), IcuUTF8::Decode(text)) << first << ' ' << second;
        }
    }
}

TEST(UTF8, AnIllFormedPartIsTheLongestBeginningOfACharacterOrOneByte) {
    for (unsigned first = 0x80; first < 0x100; ++first) {
        for (unsigned second = 0; second < 0x100; ++second) {
            for (const unsigned third : {0x41u, 0x80u, 0xBFu, 0xC3u}) {
                const std::string bytes = {static_cast<char>(first), static_cast<char>(second),
                                           static_cast<char>(third), '.'};
                std::size_t expected = 1;
                while (Beginnings().contains(bytes.substr(0, expected + 1))) {
                    ++expected;
                }
                const Step step = Decode(bytes, 4);
                if (step.result.stop == Stop::IllFormed && step.result.consumed == 0) {
                    ASSERT_EQ(step.result.illFormedLength, expected)
                        << first << ' ' << second << ' ' << third;
                } else {
                    // A whole character of two or three bytes stands there.
                    ASSERT_NE(IcuUTF8::Decode(bytes)[0], 0xFFFD) << first << ' ' << second << ' ' << third;
                }
            }
        }
    }
}

TEST(UTF8, ABeginningAtTheEndOfTheInputIsCutOffAndNotTaken) {
    for (const std::string& beginning : Beginnings()) {
        const Step step = Decode("A" + beginning, 8);
        ASSERT_EQ(step.result.stop, Stop::CutOff);
        ASSERT_EQ(step.result.consumed, 1u);
        ASSERT_EQ(step.result.written, 1u);
        ASSERT_EQ(step.result.illFormedLength, beginning.size());
    }
    for (unsigned byte = 0x80; byte < 0x100; ++byte) {
        const std::string bytes(1, static_cast<char>(byte));
        const bool opens = Beginnings().contains(bytes);
        ASSERT_EQ(Decode(bytes, 8).result.stop, opens ? Stop::CutOff : Stop::IllFormed) << byte;
        ASSERT_EQ(Decode(bytes, 8).result.illFormedLength, 1u) << byte;
    }
}

TEST(UTF8, RandomHostileBytesDecodeAsIcuHasThem) {
    std::mt19937 random(20240607);
    const std::string pieces[] = {"A",
                                  "01234567",
                                  "\xC3\xA9",
                                  "\xE3\x81\x82",
                                  "\xF0\x9F\x98\x80",
                                  "\xF0\x9F\x98",
                                  "\xF4\x90",
                                  "\xE0\x80",
                                  "\xED\xA0\x80",
                                  "\xC0\xAF",
                                  "\xFF",
                                  "\x80",
                                  std::string(1, '\0')};
    for (int round = 0; round < 20000; ++round) {
        std::string bytes;
        for (auto count = random() % 12; count > 0; --count) {
            if (random() % 3 == 0) {
                bytes.push_back(static_cast<char>(random()));
            } else {
                bytes += pieces[random() % std::size(pieces)];
            }
        }
        ASSERT_EQ(DecodeSubstituting(bytes), IcuUTF8::Decode(bytes)) << "round " << round;
    }
}

TEST(UTF8, DecodingWithEveryCapacityTakesWholeCharactersAndContinuesWhereItStopped) {
    for (const std::string& text : Texts()) {
        const WideString whole = IcuUTF8::Decode(text);
        for (std::size_t capacity = 0; capacity <= whole.size() + 1; ++capacity) {
            const Step first = Decode(text, capacity);
            ASSERT_EQ(first.units, whole.substr(0, first.result.written)) << capacity;
            if (capacity >= whole.size()) {
                ASSERT_EQ(first.result.stop, Stop::InputUsedUp) << capacity;
                continue;
            }
            ASSERT_EQ(first.result.stop, Stop::OutputFull) << capacity;
            // Only half a pair of surrogates may be missing from a full output.
            const bool splitsPair =
                capacity > 0 && whole[capacity - 1] >= 0xD800 && whole[capacity - 1] < 0xDC00;
            ASSERT_EQ(first.result.written, splitsPair ? capacity - 1 : capacity) << capacity;
            const Step rest = Decode(std::string_view(text).substr(first.result.consumed), whole.size());
            ASSERT_EQ(first.units + rest.units, whole) << capacity;
        }
    }
}

TEST(UTF8, DecodingSplitAnywhereGivesTheWholeTextWhenTheCutOffPartIsGivenAgain) {
    for (const std::string& text : Texts()) {
        const WideString whole = IcuUTF8::Decode(text);
        for (std::size_t split = 0; split <= text.size(); ++split) {
            const Step first = Decode(std::string_view(text).substr(0, split), whole.size());
            ASSERT_NE(first.result.stop, Stop::OutputFull) << split;
            ASSERT_NE(first.result.stop, Stop::IllFormed) << split;
            ASSERT_EQ(first.result.stop == Stop::CutOff, first.result.consumed < split) << split;
            const Step rest = Decode(std::string_view(text).substr(first.result.consumed), whole.size());
            ASSERT_EQ(rest.result.stop, Stop::InputUsedUp) << split;
            ASSERT_EQ(first.units + rest.units, whole) << split;
        }
    }
}

TEST(UTF8, EncodingWithEveryCapacityTakesWholeCharactersAndContinuesWhereItStopped) {
    for (const std::string& text : Texts()) {
        const WideString units = IcuUTF8::Decode(text);
        for (std::size_t capacity = 0; capacity <= text.size() + 1; ++capacity) {
            const EncodeStep first = Encode(units, capacity);
            ASSERT_EQ(first.bytes, text.substr(0, first.result.written)) << capacity;
            if (capacity >= text.size()) {
                ASSERT_EQ(first.result.stop, Stop::InputUsedUp) << capacity;
                continue;
            }
            ASSERT_EQ(first.result.stop, Stop::OutputFull) << capacity;
            // Filled up to the last character boundary of the expected bytes.
            std::size_t boundary = capacity;
            while (boundary > 0 && (static_cast<unsigned char>(text[boundary]) & 0xC0) == 0x80) {
                --boundary;
            }
            ASSERT_EQ(first.result.written, boundary) << capacity;
            const EncodeStep rest = Encode(KBase::WideView(units).substr(first.result.consumed), text.size());
            ASSERT_EQ(first.bytes + rest.bytes, text) << capacity;
        }
    }
}

TEST(UTF8, EncodingSplitAnywhereGivesTheWholeTextWhenTheCutOffSurrogateIsGivenAgain) {
    for (const std::string& text : Texts()) {
        const WideString units = IcuUTF8::Decode(text);
        for (std::size_t split = 0; split <= units.size(); ++split) {
            const EncodeStep first = Encode(KBase::WideView(units).substr(0, split), text.size());
            const bool splitsPair = split > 0 && units[split - 1] >= 0xD800 && units[split - 1] < 0xDC00;
            ASSERT_EQ(first.result.stop, splitsPair ? Stop::CutOff : Stop::InputUsedUp) << split;
            ASSERT_EQ(first.result.consumed, splitsPair ? split - 1 : split) << split;
            const EncodeStep rest = Encode(KBase::WideView(units).substr(first.result.consumed), text.size());
            ASSERT_EQ(first.bytes + rest.bytes, text) << split;
        }
    }
}

TEST(UTF8, EveryUnpairedSurrogateStopsTheEncoder) {
    for (unsigned surrogate = 0xD800; surrogate < 0xE000; ++surrogate) {
        const bool leading = surrogate < 0xDC00;
        const auto unit = static_cast<KBase::wchar16>(surrogate);
        const EncodeStep last = Encode(WideString{'A', unit}, 8);
        ASSERT_EQ(last.result.stop, leading ? Stop::CutOff : Stop::IllFormed) << surrogate;
        ASSERT_EQ(last.result.consumed, 1u) << surrogate;
        ASSERT_EQ(last.result.illFormedLength, 1u) << surrogate;
        ASSERT_EQ(last.bytes, "A") << surrogate;
        for (const KBase::wchar16 behind : WideString{0x0041, 0xD800, 0xE000}) {
            const EncodeStep inside = Encode(WideString{unit, behind}, 8);
            ASSERT_EQ(inside.result.stop, Stop::IllFormed) << surrogate << ' ' << behind;
            ASSERT_EQ(inside.result.consumed, 0u) << surrogate << ' ' << behind;
            ASSERT_EQ(inside.result.illFormedLength, 1u) << surrogate << ' ' << behind;
        }
    }
}

} // namespace
