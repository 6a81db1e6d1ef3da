// The loops of every level that the processor has, beside the plain conversion: the same results to the last
// byte and unit, nothing read past the input, nothing written past the output.

#include "UTF8/UTF8.h"

#include "ExactBuffer.h"
#include "KBase/WideString.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <random>
#include <string>
#include <vector>

namespace {

using KBase::wchar16;
using Kernels::Level;
using Units = KBase::WideString;

const Kernels::UTF8Loops& Plain() {
    return *Kernels::UTF8OfLevel(Level::Plain);
}

// What comes out, and what stands behind the room that was given.
template <class Unit>
struct Outcome {
    UTF8::Result result;
    std::vector<Unit> written;
    bool staysInside;

    bool operator==(const Outcome& other) const {
        return result.consumed == other.result.consumed && result.written == other.result.written &&
               result.stop == other.result.stop && result.illFormedLength == other.result.illFormedLength &&
               written == other.written && staysInside && other.staysInside;
    }
};

// Converts from an exactly sized block at `alignment` from its start into room with a margin, or, where the
// address sanitizer shall look, without.
template <class In, class Out, class Convert, class Text>
Outcome<Out> Run(Convert convert, const Text& text, std::size_t capacity, std::size_t alignment) {
    constexpr Out guard = 0x5A;
    const std::size_t margin = alignment % 2 == 0 ? 64 : 0;
    ExactBuffer<In> input(alignment + text.size());
    std::copy(text.begin(), text.end(), input.Get() + alignment);
    ExactBuffer<Out> output(alignment + capacity + margin, guard);
    Outcome<Out> outcome;
    outcome.result = convert(input.Get() + alignment, text.size(), output.Get() + alignment, capacity);
    const Out* const begin = output.Get() + alignment;
    outcome.staysInside =
        std::all_of(begin - alignment, begin, [](Out unit) { return unit == guard; }) &&
        std::all_of(begin + capacity, begin + capacity + margin, [](Out unit) { return unit == guard; });
    outcome.written.assign(begin, begin + std::min(outcome.result.written, capacity));
    return outcome;
}

Outcome<wchar16> Decode(const Kernels::UTF8Loops& loops, const std::string& text, std::size_t capacity,
                        std::size_t alignment = 0) {
    return Run<char, wchar16>([&](auto... all) { return UTF8::Decode(loops, all...); }, text, capacity,
                              alignment);
}

Outcome<char> Encode(const Kernels::UTF8Loops& loops, const Units& text, std::size_t capacity,
                     std::size_t alignment = 0) {
    return Run<wchar16, char>([&](auto... all) { return UTF8::Encode(loops, all...); }, text, capacity,
                              alignment);
}

Outcome<char> EncodeSingly(const Kernels::UTF8Loops& loops, const Units& text, std::size_t capacity,
                           std::size_t alignment = 0) {
    return Run<wchar16, char>([&](auto... all) { return UTF8::EncodeSingly(loops, all...); }, text, capacity,
                              alignment);
}

// Texts that look like those of a language, or like an attack.
enum Kind { Ascii, Latin, Cyrillic, Kana, Emoji, Mixed, Limits, Hostile, Random, kinds };

Units MakeUnits(int kind, std::size_t length, std::mt19937& random) {
    const auto below = [&](unsigned limit) {
        return static_cast<unsigned>(random() % limit);
    };
    Units text;
    while (text.size() < length) {
        switch (kind == Mixed || kind == Hostile ? static_cast<int>(below(Mixed)) : kind) {
        case Ascii:
            text.push_back(static_cast<wchar16>(below(40) == 0 ? 0 : 0x20 + below(0x60)));
            break;
        case Latin:
            text.push_back(static_cast<wchar16>(below(9) == 0 ? 0xC0 + below(0x140) : 0x61 + below(26)));
            break;
        case Cyrillic:
            text.push_back(static_cast<wchar16>(below(7) == 0 ? 0x20 : 0x410 + below(64)));
            break;
        case Kana:
            text.push_back(static_cast<wchar16>(below(20) == 0 ? 0x0A : 0x3040 + below(0x6000)));
            break;
        case Emoji:
            text.push_back(static_cast<wchar16>(0xD800 + below(0x400)));
            text.push_back(static_cast<wchar16>(0xDC00 + below(0x400)));
            break;
        case Limits: {
            constexpr wchar16 limits[] = {0x00,   0x01,   0x7F,   0x80,   0x7FF,  0x800, 0xFFF,
                                          0x1000, 0xCFFF, 0xD7FF, 0xE000, 0xEFFF, 0xFFFF};
            text.push_back(limits[below(std::size(limits))]);
            break;
        }
        default:
            text.push_back(static_cast<wchar16>(random()));
        }
        if (kind == Hostile && below(30) == 0) {
            text.push_back(static_cast<wchar16>(0xD800 + below(0x800)));
        }
    }
    text.resize(length);
    return text;
}

std::string MakeBytes(int kind, std::size_t length, std::mt19937& random) {
    std::string text;
    if (kind == Random) {
        while (text.size() < length) {
            text.push_back(static_cast<char>(random()));
        }
        return text;
    }
    const Units units = MakeUnits(kind, length, random);
    std::string room(3 * length, '\0');
    for (std::size_t in = 0; in < units.size() && text.size() < length;) {
        const UTF8::Result run =
            UTF8::Encode(Plain(), units.data() + in, units.size() - in, room.data(), room.size());
        text += room.substr(0, run.written);
        in += run.consumed + run.illFormedLength;
    }
    text.resize(length); // may cut a character off
    if (kind == Hostile && length != 0) {
        constexpr unsigned char bytes[] = {0x80, 0x8F, 0x90, 0x9F, 0xA0, 0xBF, 0xC0, 0xC1, 0xC2, 0xDF, 0xE0,
                                           0xED, 0xEF, 0xF0, 0xF1, 0xF3, 0xF4, 0xF5, 0xF8, 0xFF, 0x00, 0x41};
        for (std::size_t flaws = random() % 3; flaws > 0; --flaws) {
            text[random() % length] = static_cast<char>(bytes[random() % std::size(bytes)]);
        }
    }
    return text;
}

class UTF8LevelsTest : public testing::TestWithParam<Level> {
protected:
    void SetUp() override {
        loops = Kernels::UTF8OfLevel(GetParam());
        if (loops == nullptr) {
            GTEST_SKIP() << "the processor does not have this level";
        }
    }

    void ExpectLikePlain(const std::string& text, std::size_t capacity, std::size_t alignment = 0) {
        ASSERT_EQ(Decode(*loops, text, capacity, alignment), Decode(Plain(), text, capacity))
            << "capacity " << capacity << ", alignment " << alignment << ": " << testing::PrintToString(text);
    }

    void ExpectLikePlain(const Units& text, std::size_t capacity, std::size_t alignment = 0) {
        ASSERT_EQ(Encode(*loops, text, capacity, alignment), Encode(Plain(), text, capacity))
            << "capacity " << capacity << ", alignment " << alignment << ": " << testing::PrintToString(text);
        ASSERT_EQ(EncodeSingly(*loops, text, capacity, alignment), EncodeSingly(Plain(), text, capacity))
            << "singly, capacity " << capacity << ", alignment " << alignment << ": "
            << testing::PrintToString(text);
    }

    const Kernels::UTF8Loops* loops = nullptr;
    std::mt19937 random{20240611};
};

TEST_P(UTF8LevelsTest, EveryKindOfTextOfEveryLengthAtEveryAlignment) {
    for (int kind = 0; kind < kinds; ++kind) {
        for (std::size_t length = 0; length <= 200; ++length) {
            for (std::size_t alignment = 0; alignment < 16; ++alignment) {
                const std::string bytes = MakeBytes(kind, length, random);
                ASSERT_NO_FATAL_FAILURE(ExpectLikePlain(bytes, length, alignment));
                ASSERT_NO_FATAL_FAILURE(ExpectLikePlain(bytes, random() % (length + 1), alignment));
                const Units units = MakeUnits(kind, length, random);
                ASSERT_NO_FATAL_FAILURE(ExpectLikePlain(units, 3 * length, alignment));
                ASSERT_NO_FATAL_FAILURE(ExpectLikePlain(units, random() % (3 * length + 1), alignment));
            }
        }
    }
}

TEST_P(UTF8LevelsTest, EveryCapacity) {
    for (int kind = 0; kind < kinds; ++kind) {
        const std::string bytes = MakeBytes(kind, 200, random);
        const Units units = MakeUnits(kind, 200, random);
        for (std::size_t capacity = 0; capacity <= 601; ++capacity) {
            ASSERT_NO_FATAL_FAILURE(ExpectLikePlain(bytes, capacity, capacity % 3));
            ASSERT_NO_FATAL_FAILURE(ExpectLikePlain(units, capacity, capacity % 3));
        }
    }
}

TEST_P(UTF8LevelsTest, EverySplit) {
    for (int kind = 0; kind < kinds; ++kind) {
        const std::string bytes = MakeBytes(kind, 200, random);
        const Units units = MakeUnits(kind, 200, random);
        for (std::size_t split = 0; split <= 200; ++split) {
            ASSERT_NO_FATAL_FAILURE(ExpectLikePlain(bytes.substr(0, split), 200));
            ASSERT_NO_FATAL_FAILURE(ExpectLikePlain(bytes.substr(split), 200));
            ASSERT_NO_FATAL_FAILURE(ExpectLikePlain(units.substr(0, split), 600));
            ASSERT_NO_FATAL_FAILURE(ExpectLikePlain(units.substr(split), 600));
        }
    }
}

TEST_P(UTF8LevelsTest, EveryByteAndEveryTwoBytesAtEveryPlaceOfABlock) {
    for (const int kind : {Ascii, Cyrillic, Kana, Emoji}) {
        const std::string text = MakeBytes(kind, 100, random);
        for (std::size_t place = 0; place < 80; ++place) {
            std::string flawed = text;
            for (unsigned byte = 0; byte < 0x100; ++byte) {
                flawed[place] = static_cast<char>(byte);
                ASSERT_NO_FATAL_FAILURE(ExpectLikePlain(flawed, 100));
            }
        }
    }
    for (const std::size_t place : {0u, 13u, 14u, 15u, 31u, 62u, 63u, 64u}) {
        std::string flawed = std::string(80, 'a') + "\x80\x80\x80";
        for (unsigned pair = 0xC000; pair < 0x10000; ++pair) { // the others open nothing
            flawed[place] = static_cast<char>(pair >> 8);
            flawed[place + 1] = static_cast<char>(pair);
            flawed[place + 2] = '\x80';
            flawed[place + 3] = '\x80';
            ASSERT_NO_FATAL_FAILURE(ExpectLikePlain(flawed, 100));
        }
    }
}

TEST_P(UTF8LevelsTest, EveryUnitAtThePlacesOfABlock) {
    for (const int kind : {Ascii, Cyrillic, Kana, Emoji}) {
        Units text = MakeUnits(kind, 50, random);
        for (const std::size_t place : {0u, 6u, 7u, 8u, 15u, 30u, 31u, 32u, 49u}) {
            const wchar16 before = text[place];
            for (unsigned unit = 0; unit < 0x10000; unit += unit < 0x900 || (unit >> 11) == 0x1B ? 1u : 13u) {
                text[place] = static_cast<wchar16>(unit);
                ASSERT_NO_FATAL_FAILURE(ExpectLikePlain(text, 150));
            }
            text[place] = before;
        }
    }
}

// ASCII goes in larger blocks than other text.
TEST_P(UTF8LevelsTest, OneUnitAtEveryPlaceOfAnASCIIText) {
    for (const std::size_t length : {64u, 79u, 130u, 200u, 256u, 448u, 511u, 600u}) {
        Units text(length, 'a');
        for (std::size_t place = 0; place < length; ++place) {
            for (const wchar16 unit : Units{0, 0x80, 0xE9, 0xFF, 0x100, 0x7FF, 0x800, 0xD83D, 0xFF80}) {
                text[place] = unit;
                ASSERT_NO_FATAL_FAILURE(ExpectLikePlain(text, 3 * length)) << place;
                ASSERT_NO_FATAL_FAILURE(ExpectLikePlain(text, length)) << place;
            }
            text[place] = 'a';
        }
    }
}

// Loops look at a block of ASCII more briefly than at others.
TEST_P(UTF8LevelsTest, ACharacterThatASCIICutsOffIsIllFormedAtEveryPlace) {
    for (const std::string beginning : {"\xC3", "\xE3", "\xE3\x81", "\xF0", "\xF0\x9F", "\xF0\x9F\x98"}) {
        for (std::size_t place = 0; place < 130; ++place) {
            for (const std::size_t behind : {1u, 40u, 64u, 200u}) {
                const std::string text = std::string(place, 'a') + beginning + std::string(behind, 'b');
                ASSERT_NO_FATAL_FAILURE(ExpectLikePlain(text, text.size())) << place;
            }
        }
    }
}

TEST_P(UTF8LevelsTest, LongTexts) {
    for (int kind = 0; kind < kinds; ++kind) {
        for (int round = 0; round < 20; ++round) {
            const std::size_t length = 3000 + random() % 3000;
            ASSERT_NO_FATAL_FAILURE(ExpectLikePlain(MakeBytes(kind, length, random), length));
            ASSERT_NO_FATAL_FAILURE(ExpectLikePlain(MakeUnits(kind, length, random), 3 * length));
            ASSERT_NO_FATAL_FAILURE(ExpectLikePlain(MakeUnits(kind, length, random), length));
        }
    }
}

std::string NameOf(const testing::TestParamInfo<Level>& level) {
    constexpr const char* levelNames[] = {"plain", "sse2", "avx2", "avx512"};
    return levelNames[static_cast<int>(level.param)];
}

INSTANTIATE_TEST_SUITE_P(Levels, UTF8LevelsTest,
                         testing::Values(Level::Plain, Level::Sse2, Level::Avx2, Level::Avx512), NameOf);

} // namespace
