#include "Kernels/Kernels.h"

#include "KernelTables.h"
#include "UTF8/ExactBuffer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <limits>
#include <set>

namespace {

using namespace KernelTables;
using Kernels::Level;
using Kernels::Loops;
using Kernels::Run;

using Bytes = std::vector<unsigned char>;
using Units = std::vector<std::uint16_t>;

constexpr std::size_t longest = 200;

// What a loop made of a text.
template <class Output>
struct Result {
    std::size_t consumed = 0;
    std::vector<Output> output;

    friend bool operator==(const Result&, const Result&) = default;
};

// The loops of one level for one table, and what they have to give.
struct Decoder {
    using Input = unsigned char;
    using Output = std::uint16_t;
    static constexpr std::size_t mostOutput = 1; // for each unit of input

    const Decoding& decoding;

    static std::vector<Kernels::DecodeLoop*> LoopsFor(const Loops& loops, const Decoding& decoding) {
        std::vector<Kernels::DecodeLoop*> found = {loops.decodePairs};
        if (!decoding.table.hasPairs) {
            found.push_back(loops.decodeBytes);
        }
        return found;
    }

    // Character by character, from the slow table.
    Result<Output> Expected(const Bytes& input, std::size_t capacity) const {
        Result<Output> result;
        while (result.consumed < input.size() && result.output.size() < capacity) {
            const unsigned char first = input[result.consumed];
            const std::size_t size = decoding.slow.BytesOf(first);
            if (input.size() - result.consumed < size) {
                break;
            }
            const auto unit = size == 2 ? decoding.slow.Convert(first, input[result.consumed + 1])
                                        : decoding.slow.Convert(first);
            if (!unit) {
                break;
            }
            result.output.push_back(*unit);
            result.consumed += size;
        }
        return result;
    }
};

struct Encoder {
    using Input = std::uint16_t;
    using Output = unsigned char;
    static constexpr std::size_t mostOutput = 2;

    const Encoding& encoding;

    static std::vector<Kernels::EncodeLoop*> LoopsFor(const Loops& loops, const Encoding& encoding) {
        std::vector<Kernels::EncodeLoop*> found = {loops.encodePairs};
        if (!encoding.table.hasPairs) {
            found.push_back(loops.encodeBytes);
        }
        return found;
    }

    Result<Output> Expected(const Units& input, std::size_t capacity) const {
        Result<Output> result;
        for (const std::uint16_t unit : input) {
            const std::string bytes = encoding.slow.Convert(unit);
            if (bytes.empty() || capacity - result.output.size() < bytes.size()) {
                break;
            }
            result.output.insert(result.output.end(), bytes.begin(), bytes.end());
            ++result.consumed;
        }
        return result;
    }
};

// Runs a loop in blocks of exactly the sizes needed, both `inputOffset` and `outputOffset` units behind their
// beginnings.
template <class Loop, class Table, class Input, class Output>
Result<Output> RunLoop(Loop* loop, const Table& table, const std::vector<Input>& text, std::size_t capacity,
                       std::size_t inputOffset, std::size_t outputOffset, Output) {
    ExactBuffer<Input> input(inputOffset + text.size());
    std::copy(text.begin(), text.end(), input.Get() + inputOffset);
    ExactBuffer<Output> output(outputOffset + capacity);
    const Run run =
        loop(table, input.Get() + inputOffset, text.size(), output.Get() + outputOffset, capacity);
    EXPECT_LE(run.written, capacity);
    const Output* const begin = output.Get() + outputOffset;
    return {run.consumed, std::vector<Output>(begin, begin + std::min(run.written, capacity))};
}

// Texts of many kinds, each `longest` units long.
std::vector<Bytes> SampleBytes() {
    std::mt19937 random(3);
    std::vector<Bytes> texts;
    const auto add = [&](auto next) {
        Bytes text;
        while (text.size() < longest) {
            next(text);
        }
        text.resize(longest);
        texts.push_back(text);
    };
    const auto byte = [&](unsigned first, unsigned last) {
        return static_cast<unsigned char>(first + random() % (last - first + 1));
    };
    add([&](Bytes& text) { text.push_back(byte(0, 0xFF)); });
    add([&](Bytes& text) { text.push_back(byte(0, 0x7F)); });
    add([&](Bytes& text) { text.push_back(byte(0x80, 0xFF)); });
    for (const unsigned same : {0x00u, 0x41u, 0x80u, 0x81u, 0xA0u, 0xFEu, 0xFFu}) {
        add([&](Bytes& text) { text.push_back(byte(same, same)); });
    }
    for (const unsigned pairs : {2u, 8u, 40u}) { // words of so many pairs at most, with a space behind each
        add([&](Bytes& text) {
            for (auto i = random() % pairs + 1; i > 0; --i) {
                text.push_back(byte(0x81, 0x9F));
                text.push_back(byte(0x40, 0xFC));
            }
            text.push_back(' ');
        });
    }
    add([&](Bytes& text) { // mostly ASCII
        text.insert(text.end(), random() % 70, 'a');
        text.push_back(byte(0x80, 0xFF));
    });
    return texts;
}

std::vector<Units> SampleUnits() {
    std::mt19937 random(4);
    std::vector<Units> texts;
    const auto add = [&](auto next) {
        Units text;
        while (text.size() < longest) {
            next(text);
        }
        text.resize(longest);
        texts.push_back(text);
    };
    const auto unit = [&](unsigned first, unsigned last) {
        return static_cast<std::uint16_t>(first + random() % (last - first + 1));
    };
    add([&](Units& text) { text.push_back(unit(0, 0xFFFF)); });
    add([&](Units& text) { text.push_back(unit(0, 0x7F)); });
    add([&](Units& text) { text.push_back(unit(0, 0x200)); });
    add([&](Units& text) { text.push_back(unit(0x7F00, 0x8100)); });
    add([&](Units& text) { text.push_back(unit(0xFF00, 0xFFFF)); });
    for (const unsigned same : {0x0000u, 0x0041u, 0x0080u, 0x0436u, 0x7FFFu, 0x8000u, 0xAC00u, 0xFFFFu}) {
        add([&](Units& text) { text.push_back(unit(same, same)); });
    }
    add([&](Units& text) { // words
        for (auto i = random() % 8 + 1; i > 0; --i) {
            text.push_back(unit(0xAC00, 0xD7A3));
        }
        text.push_back(' ');
    });
    add([&](Units& text) { // mostly ASCII
        text.insert(text.end(), random() % 70, 'a');
        text.push_back(unit(0x80, 0xFFFF));
    });
    return texts;
}

template <class Text>
Text Beginning(const Text& text, std::size_t length) {
    return Text(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(length));
}

template <class Text>
Text End(const Text& text, std::size_t start) {
    return Text(text.begin() + static_cast<std::ptrdiff_t>(start), text.end());
}

// Calls `check` with each table that there is, what it has to give, and each loop that can run over it.
template <class Check>
void ForEveryLoop(Level level, Check check) {
    const Loops* const loops = Kernels::OfLevel(level);
    if (loops == nullptr) {
        GTEST_SKIP() << "this processor does not have it";
    }
    for (const auto& decoding : AllDecodings()) {
        SCOPED_TRACE(decoding->name);
        for (auto* const loop : Decoder::LoopsFor(*loops, *decoding)) {
            check(Decoder{*decoding}, loop, decoding->table, SampleBytes());
        }
    }
    for (const auto& encoding : AllEncodings()) {
        SCOPED_TRACE(encoding->name);
        for (auto* const loop : Encoder::LoopsFor(*loops, *encoding)) {
            check(Encoder{*encoding}, loop, encoding->table, SampleUnits());
        }
    }
}

class KernelsTest : public testing::TestWithParam<Level> {};

TEST_P(KernelsTest, EveryLengthGivesWhatTheSlowTableSays) {
    ForEveryLoop(GetParam(), [](const auto& coder, auto* loop, const auto& table, const auto& samples) {
        using Coder = std::remove_cvref_t<decltype(coder)>;
        for (std::size_t sample = 0; sample < samples.size(); ++sample) {
            for (std::size_t length = 0; length <= longest; ++length) {
                const auto text = Beginning(samples[sample], length);
                const std::size_t capacity = Coder::mostOutput * length;
                ASSERT_EQ(RunLoop(loop, table, text, capacity, 0, 0, typename Coder::Output{}),
                          coder.Expected(text, capacity))
                    << "sample " << sample << ", length " << length;
            }
        }
    });
}

TEST_P(KernelsTest, EveryCapacityGivesWhatTheSlowTableSays) {
    ForEveryLoop(GetParam(), [](const auto& coder, auto* loop, const auto& table, const auto& samples) {
        using Coder = std::remove_cvref_t<decltype(coder)>;
        for (std::size_t sample = 0; sample < samples.size(); ++sample) {
            for (std::size_t capacity = 0; capacity <= Coder::mostOutput * longest + 1; ++capacity) {
                ASSERT_EQ(RunLoop(loop, table, samples[sample], capacity, 0, 0, typename Coder::Output{}),
                          coder.Expected(samples[sample], capacity))
                    << "sample " << sample << ", capacity " << capacity;
            }
        }
    });
}

TEST_P(KernelsTest, EveryAlignmentGivesWhatTheSlowTableSays) {
    ForEveryLoop(GetParam(), [](const auto& coder, auto* loop, const auto& table, const auto& samples) {
        using Coder = std::remove_cvref_t<decltype(coder)>;
        for (std::size_t sample = 0; sample < samples.size(); ++sample) {
            const std::size_t capacity = Coder::mostOutput * longest;
            const auto expected = coder.Expected(samples[sample], capacity);
            for (std::size_t offset = 0; offset < 64; ++offset) {
                ASSERT_EQ(
                    RunLoop(loop, table, samples[sample], capacity, offset, 0, typename Coder::Output{}),
                    expected)
                    << "sample " << sample << ", input at " << offset;
                ASSERT_EQ(
                    RunLoop(loop, table, samples[sample], capacity, 0, offset, typename Coder::Output{}),
                    expected)
                    << "sample " << sample << ", output at " << offset;
            }
        }
    });
}

TEST_P(KernelsTest, EverySplitGivesTheSameAsTheWhole) {
    ForEveryLoop(GetParam(), [](const auto& coder, auto* loop, const auto& table, const auto& samples) {
        using Coder = std::remove_cvref_t<decltype(coder)>;
        for (std::size_t sample = 0; sample < samples.size(); ++sample) {
            const std::size_t capacity = Coder::mostOutput * longest;
            const auto expected = coder.Expected(samples[sample], capacity);
            for (std::size_t split = 0; split <= longest; ++split) {
                auto result = RunLoop(loop, table, Beginning(samples[sample], split), capacity, 0, 0,
                                      typename Coder::Output{});
                const auto rest = RunLoop(loop, table, End(samples[sample], result.consumed), capacity, 0, 0,
                                          typename Coder::Output{});
                result.consumed += rest.consumed;
                result.output.insert(result.output.end(), rest.output.begin(), rest.output.end());
                ASSERT_EQ(result, expected) << "sample " << sample << ", split at " << split;
            }
        }
    });
}

TEST_P(KernelsTest, NothingIsWrittenBehindTheCapacity) {
    ForEveryLoop(GetParam(), [](const auto& coder, auto* loop, const auto& table, const auto& samples) {
        using Output = typename std::remove_cvref_t<decltype(coder)>::Output;
        for (const auto& text : samples) {
            for (std::size_t capacity = 0; capacity <= longest; ++capacity) {
                std::vector<Output> output(capacity + 256, Output{0xA5});
                loop(table, text.data(), text.size(), output.data(), capacity);
                ASSERT_EQ(std::count(output.begin() + static_cast<std::ptrdiff_t>(capacity), output.end(),
                                     Output{0xA5}),
                          256)
                    << "capacity " << capacity;
            }
        }
    });
}

// The samples one after another: many blocks, and every change between kinds of text.
TEST_P(KernelsTest, LongTextsGiveWhatTheSlowTableSays) {
    ForEveryLoop(GetParam(), [](const auto& coder, auto* loop, const auto& table, const auto& samples) {
        using Coder = std::remove_cvref_t<decltype(coder)>;
        std::mt19937 random(5);
        std::vector<typename Coder::Input> text;
        for (int i = 0; i < 300; ++i) {
            const auto& sample = samples[random() % samples.size()];
            const std::size_t length = random() % (longest + 1);
            text.insert(text.end(), sample.begin(), sample.begin() + static_cast<std::ptrdiff_t>(length));
        }
        // From behind each character that is left to the caller, too.
        std::size_t start = 0;
        for (int stops = 0; start < text.size() && stops < 200; ++stops) {
            const auto rest = End(text, start);
            const std::size_t capacity = Coder::mostOutput * rest.size();
            const auto expected = coder.Expected(rest, capacity);
            ASSERT_EQ(RunLoop(loop, table, rest, capacity, 0, 0, typename Coder::Output{}), expected)
                << "from " << start;
            start += expected.consumed + 1;
        }
    });
}

// Loops take long texts of one kind in other steps, and may look at their end before they know that they get
// there. One unit is of no kind: left to the caller, or a pair, or the first half of one.
TEST_P(KernelsTest, LongTextsOfOneKindAreTakenUpToTheUnitThatIsNone) {
    ForEveryLoop(GetParam(), [](const auto& coder, auto* loop, const auto& table, const auto&) {
        using Coder = std::remove_cvref_t<decltype(coder)>;
        using Input = typename Coder::Input;
        std::mt19937 random(6);
        std::vector<Input> singles; // which become one unit of output each
        std::vector<Input> others;
        for (unsigned value = 0; value <= std::numeric_limits<Input>::max(); ++value) {
            const auto unit = static_cast<Input>(value);
            const auto alone = coder.Expected({unit}, 2);
            (alone.consumed == 1 && alone.output.size() == 1 ? singles : others).push_back(unit);
        }
        const auto firstBeyondASCII = std::lower_bound(singles.begin(), singles.end(), Input{0x80});
        const std::vector<Input> ascii(singles.begin(), firstBeyondASCII);
        for (const std::vector<Input>& kind : {ascii, singles}) {
            if (kind.empty()) {
                continue; // a table in which ASCII is not mapped
            }
            // Some are the last before, or the first behind, a whole number of a loop's larger steps.
            for (const std::size_t length :
                 {448u, 511u, 575u, 960u, 1024u, 1025u, 1087u, 1300u, 1472u, 1535u}) {
                std::vector<Input> text;
                std::generate_n(std::back_inserter(text), length,
                                [&] { return kind[random() % kind.size()]; });
                std::set<std::size_t> places = {length}; // there, nothing is changed
                for (std::size_t place = 0; place < length; place += 37) {
                    places.insert(place);
                    places.insert(length - 1 - place % 100);
                }
                for (const std::size_t place : places) {
                    auto changed = text;
                    if (place != length && !others.empty()) {
                        changed[place] = others[random() % others.size()];
                    }
                    const std::size_t most = Coder::mostOutput * length;
                    for (const std::size_t capacity : {most, most - random() % length}) {
                        ASSERT_EQ(RunLoop(loop, table, changed, capacity, random() % 64, random() % 64,
                                          typename Coder::Output{}),
                                  coder.Expected(changed, capacity))
                            << "length " << length << ", unit " << place << ", capacity " << capacity;
                    }
                }
            }
        }
    });
}

std::string NameOf(const testing::TestParamInfo<Level>& level) {
    constexpr const char* names[] = {"Plain", "Sse2", "Avx2", "Avx512"};
    return names[static_cast<int>(level.param)];
}

INSTANTIATE_TEST_SUITE_P(Levels, KernelsTest,
                         testing::Values(Level::Plain, Level::Sse2, Level::Avx2, Level::Avx512), NameOf);

TEST(KernelsLevelTest, ThePlainLevelIsThereAndEachLevelHasThoseBelow) {
    ASSERT_NE(Kernels::OfLevel(Level::Plain), nullptr);
    for (const Level level : {Level::Sse2, Level::Avx2, Level::Avx512}) {
        if (Kernels::OfLevel(level) != nullptr) {
            EXPECT_NE(Kernels::OfLevel(static_cast<Level>(static_cast<int>(level) - 1)), nullptr);
        }
    }
}

} // namespace
