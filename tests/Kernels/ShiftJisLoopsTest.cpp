#include "Kernels/ShiftJisLoops.h"

#include "KernelTables.h"
#include "OperatingSystem/CodePageSources.h"
#include "UTF8/ExactBuffer.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace {

using namespace std::string_view_literals;
using Kernels::JisRun;
using Kernels::Level;

constexpr std::size_t longest = 200;

struct Result {
    std::size_t consumed = 0;
    std::size_t characters = 0;
    bool inJIS = false;
    std::string output;

    friend bool operator==(const Result&, const Result&) = default;
};

std::ostream& operator<<(std::ostream& stream, const Result& result) {
    return stream << result.consumed << " bytes, " << result.characters << " characters, " << result.inJIS
                  << ": " << testing::PrintToString(result.output);
}

// Codes of no order. Some pairs have none.
std::vector<std::uint16_t> RandomCodes() {
    std::vector<std::uint16_t> codes(0x10000);
    std::mt19937 random(5);
    for (auto& code : codes) {
        code = static_cast<std::uint16_t>(random() % 300 == 0 ? 0 : 1 + random() % 0xFFFF);
    }
    return codes;
}

// Those of the operating system.
const std::vector<std::uint16_t>& DumpedCodes() {
    static const std::vector<std::uint16_t> codes = CodePageSources::ReadShiftJisToJis().jis;
    return codes;
}

class Table {
public:
    Table(const KernelTables::Decoding& leads, std::vector<std::uint16_t> jis, bool isRegular)
        : decoding(leads), codes(std::move(jis)), table{&decoding.table, codes.data(), isRegular} {}

    const Kernels::JisTable& Get() const { return table; }

    // Character by character.
    Result Expected(std::string_view text, bool inJIS, std::size_t capacity) const {
        Result result;
        result.inJIS = inJIS;
        while (result.consumed < text.size()) {
            const auto first = static_cast<unsigned char>(text[result.consumed]);
            std::string next;
            const bool isPair = decoding.slow.BytesOf(first) == 2;
            if (isPair != result.inJIS) {
                next = isPair ? "\x1B$B" : "\x1B(B";
            }
            if (!isPair) {
                next += text[result.consumed];
            } else if (result.consumed + 1 < text.size()) {
                const unsigned code =
                    codes[first * 256u + static_cast<unsigned char>(text[result.consumed + 1])];
                if (code == 0) {
                    break;
                }
                next += static_cast<char>(code / 256);
                next += static_cast<char>(code % 256);
            } else {
                break;
            }
            if (capacity - result.output.size() < next.size()) {
                break;
            }
            result.output += next;
            result.inJIS = isPair;
            result.consumed += isPair ? 2 : 1;
            ++result.characters;
        }
        return result;
    }

private:
    const KernelTables::Decoding& decoding;
    std::vector<std::uint16_t> codes;
    Kernels::JisTable table;
};

// In blocks of exactly the sizes allowed, both so many bytes behind their beginnings.
Result RunLoop(Kernels::JisLoop* loop, const Table& table, std::string_view text, bool inJIS,
               std::size_t capacity, std::size_t inputOffset = 0, std::size_t outputOffset = 0) {
    ExactBuffer<unsigned char> input(inputOffset + text.size());
    std::copy(text.begin(), text.end(), input.Get() + inputOffset);
    ExactBuffer<unsigned char> output(outputOffset + capacity + Kernels::jisSlack);
    unsigned char* const place = output.Get() + outputOffset;
    const JisRun run = loop(table.Get(), inJIS, input.Get() + inputOffset, text.size(), place, capacity);
    EXPECT_LE(run.written, capacity);
    return {run.consumed, run.characters, run.inJIS,
            std::string(place, place + std::min(run.written, capacity))};
}

// Runs of pairs and of single bytes, each of up to so many characters.
std::string Runs(std::size_t size, unsigned mostPairs, unsigned mostSingles) {
    std::mt19937 random(6);
    std::string text;
    while (text.size() < size) {
        for (auto i = random() % (mostPairs + 1); i > 0; --i) {
            // Beside the grid now and then.
            const bool isAny = random() % 60 == 0;
            const auto trail = static_cast<unsigned>(random() % 0xBC);
            text += static_cast<char>(random() % 2 == 0 ? 0x81 + random() % 0x1F
                                                        : 0xE0 + random() % (isAny ? 0x1D : 0x10));
            text += static_cast<char>(isAny ? random() : trail + (trail < 0x3F ? 0x40 : 0x41));
        }
        for (auto i = random() % (mostSingles + 1); i > 0; --i) {
            text += static_cast<char>(random() % 20 == 0 ? 0xA1 + random() % 0x3F : random() % 0x80);
        }
    }
    text.resize(size);
    return text;
}

// `begin` and the unit behind it as often as there is room.
std::string Repeated(std::string_view unit, std::string_view begin) {
    std::string text(begin);
    while (text.size() < longest) {
        text += unit;
    }
    return text.substr(0, longest);
}

std::vector<std::string> Samples() {
    std::vector<std::string> samples;
    for (const unsigned pairs : {0u, 1u, 3u, 8u, 40u, 100u}) {
        for (const unsigned singles : {0u, 1u, 3u, 40u}) {
            if (pairs + singles != 0) {
                samples.push_back(Runs(longest, pairs, singles));
            }
        }
    }
    std::mt19937 random(7);
    std::string any;
    std::string high;
    for (std::size_t i = 0; i < longest; ++i) {
        any += static_cast<char>(random());
        high += static_cast<char>(0x80 | random());
    }
    samples.push_back(Repeated("a\x82\xA0", "")); // as many escape sequences as there can be
    samples.push_back(Repeated("\x82\xA0", "a")); // pairs that blocks cut apart, one after the other
    samples.push_back(Repeated("\x82\xA0", ""));
    samples.push_back(any);
    samples.push_back(high);
    return samples;
}

class ShiftJisLoopsTest : public testing::TestWithParam<Level> {
protected:
    void SetUp() override {
        if (Kernels::JisOfLevel(GetParam()) == nullptr) {
            GTEST_SKIP() << "this processor does not have it";
        }
    }

    // Calls `check(loop, table, text)` with every table and sample.
    template <class Check>
    void ForEverySample(Check check) {
        for (const auto& decoding : KernelTables::AllDecodings()) {
            SCOPED_TRACE(decoding->name);
            const Table irregular(*decoding, RandomCodes(), false);
            const Table regular(*decoding, DumpedCodes(), true);
            for (const std::string& sample : Samples()) {
                for (const Table* const table : {&irregular, &regular}) {
                    check(Kernels::JisOfLevel(GetParam())->convert, *table, std::string_view(sample));
                }
            }
        }
    }

    static constexpr std::size_t room = 3 * longest + 8; // for anything
};

TEST_P(ShiftJisLoopsTest, EveryLengthGivesWhatTheSlowTableSays) {
    ForEverySample([](auto* loop, const Table& table, std::string_view text) {
        for (std::size_t length = 0; length <= longest; ++length) {
            for (const bool inJIS : {false, true}) {
                ASSERT_EQ(RunLoop(loop, table, text.substr(0, length), inJIS, room),
                          table.Expected(text.substr(0, length), inJIS, room))
                    << length;
            }
        }
    });
}

TEST_P(ShiftJisLoopsTest, EveryCapacityGivesWhatTheSlowTableSays) {
    ForEverySample([](auto* loop, const Table& table, std::string_view text) {
        for (const bool inJIS : {false, true}) {
            const std::size_t enough = table.Expected(text, inJIS, room).output.size();
            for (std::size_t capacity = 0; capacity <= enough + 70; ++capacity) { // a vector more
                ASSERT_EQ(RunLoop(loop, table, text, inJIS, capacity), table.Expected(text, inJIS, capacity))
                    << capacity;
            }
        }
    });
}

TEST_P(ShiftJisLoopsTest, EveryAlignmentGivesWhatTheSlowTableSays) {
    ForEverySample([](auto* loop, const Table& table, std::string_view text) {
        const Result expected = table.Expected(text, false, room);
        for (std::size_t offset = 0; offset < 64; ++offset) {
            ASSERT_EQ(RunLoop(loop, table, text, false, room, offset, 0), expected) << "input at " << offset;
            ASSERT_EQ(RunLoop(loop, table, text, false, room, 0, offset), expected) << "output at " << offset;
        }
    });
}

TEST_P(ShiftJisLoopsTest, EveryStartAndModeGivesWhatTheSlowTableSays) {
    ForEverySample([](auto* loop, const Table& table, std::string_view text) {
        for (std::size_t start = 0; start <= longest; ++start) {
            ASSERT_EQ(RunLoop(loop, table, text.substr(start), start % 2 != 0, room),
                      table.Expected(text.substr(start), start % 2 != 0, room))
                << start;
        }
    });
}

TEST_P(ShiftJisLoopsTest, NothingIsWrittenBehindTheSlack) {
    ForEverySample([](auto* loop, const Table& table, std::string_view text) {
        const auto* const input = reinterpret_cast<const unsigned char*>(text.data());
        for (std::size_t capacity = 0; capacity <= longest; ++capacity) {
            std::string output(capacity + Kernels::jisSlack + 256, '\xA5');
            loop(table.Get(), false, input, text.size(), reinterpret_cast<unsigned char*>(output.data()),
                 capacity);
            ASSERT_EQ(output.find_first_not_of('\xA5', capacity + Kernels::jisSlack), std::string::npos)
                << capacity;
        }
    });
}

TEST_P(ShiftJisLoopsTest, AnEscapeSequenceIsWrittenOnlyWithTheCharacterBehindIt) {
    const auto decoding = KernelTables::MakeDecoding("", true, 0, [](unsigned byte) { return byte > 0x80; });
    std::vector<std::uint16_t> codes(0x10000, 0x2122);
    codes[0x8181] = 0;
    const Kernels::JisTable table = {&decoding->table, codes.data(), false};
    const Kernels::JisLoops* const loops = Kernels::JisOfLevel(GetParam());
    for (std::size_t singles = 0; singles < 70; ++singles) {
        const std::string before(singles, 'a');
        const std::string text = before + "\x81\x81" + std::string(70, 'b');
        std::string output(200, '\0');
        const JisRun run =
            loops->convert(table, false, reinterpret_cast<const unsigned char*>(text.data()), text.size(),
                           reinterpret_cast<unsigned char*>(output.data()), output.size());
        EXPECT_EQ(output.substr(0, run.written), before);
        EXPECT_EQ(run.consumed, singles);
        EXPECT_FALSE(run.inJIS);
    }
}

TEST_P(ShiftJisLoopsTest, TheFirstByteThatAnnouncesAnotherCharacterSetIsFound) {
    Kernels::BeforeEscapeLoop* const beforeEscape = Kernels::JisOfLevel(GetParam())->beforeEscape;
    std::mt19937 random(9);
    for (std::size_t length = 0; length <= longest; ++length) {
        for (std::size_t alignment = 0; alignment < 3; ++alignment) {
            ExactBuffer<unsigned char> text(alignment + length);
            unsigned char* const begin = text.Get() + alignment;
            for (std::size_t i = 0; i < length; ++i) {
                const auto byte = static_cast<unsigned char>(random());
                // Controls between them too, but rarely.
                begin[i] = byte == 0x0E || byte == 0x0F || byte == 0x1B ? 0x8E : byte;
                begin[i] = byte < 0x20 && random() % 8 != 0 ? 'a' : begin[i];
            }
            ASSERT_EQ(beforeEscape(begin, length), length);
            for (std::size_t place = 0; place < length; ++place) {
                const unsigned char before = begin[place];
                begin[place] = static_cast<unsigned char>("\x0E\x0F\x1B"[place % 3]);
                ASSERT_EQ(beforeEscape(begin, length), place) << length;
                begin[place] = before;
            }
        }
    }
}

// Longer than the largest steps of a loop.
TEST_P(ShiftJisLoopsTest, TheFirstByteThatAnnouncesAnotherCharacterSetIsFoundInALongText) {
    constexpr std::size_t length = 700;
    Kernels::BeforeEscapeLoop* const beforeEscape = Kernels::JisOfLevel(GetParam())->beforeEscape;
    ExactBuffer<unsigned char> text(length, 'a');
    EXPECT_EQ(beforeEscape(text.Get(), length), length);
    for (std::size_t place = length; place-- > 0;) { // those behind it stay
        for (const char byte : {'\x0E', '\x0F', '\x1B'}) {
            text[place] = static_cast<unsigned char>(byte);
            ASSERT_EQ(beforeEscape(text.Get(), length), place);
        }
        if (place % 5 != 0) {
            for (const char byte : {'\x0D', '\x10', '\x1A', '\x1C', '\x8E', '\x9B'}) {
                text[place] = static_cast<unsigned char>(byte);
                ASSERT_GT(beforeEscape(text.Get(), length), place);
            }
        }
    }
}

// Each pair among others, so that it comes to stand wherever a loop may look at it.
TEST_P(ShiftJisLoopsTest, EveryPairOfTheGridAndAroundItHasTheDumpsCode) {
    for (const auto& decoding : KernelTables::AllDecodings()) {
        if (!decoding->table.hasRanges) {
            continue;
        }
        SCOPED_TRACE(decoding->name);
        const Table table(*decoding, DumpedCodes(), true);
        std::mt19937 random(8);
        for (unsigned pair = 0x8000; pair < 0x10000; ++pair) {
            const auto place = random() % 130;
            std::string text = (place % 2 != 0 ? "a" : "") + std::string(place / 2 * 2, '\xE0');
            text += static_cast<char>(pair >> 8);
            text += static_cast<char>(pair);
            text += std::string(random() % 130, '\x9F');
            ASSERT_EQ(RunLoop(Kernels::JisOfLevel(GetParam())->convert, table, text, false, room),
                      table.Expected(text, false, room))
                << testing::PrintToString(text);
        }
    }
}

TEST(RegularJisCodeTest, TheRuleGivesExactlyTheDumpsCodes) {
    for (unsigned pair = 0; pair < 0x10000; ++pair) {
        ASSERT_EQ(
            Kernels::RegularJisCode(static_cast<unsigned char>(pair >> 8), static_cast<unsigned char>(pair)),
            DumpedCodes()[pair])
            << pair;
    }
}

INSTANTIATE_TEST_SUITE_P(Levels, ShiftJisLoopsTest,
                         testing::Values(Level::Plain, Level::Sse2, Level::Avx2, Level::Avx512));

} // namespace
