// TextStream: the one engine of TextDecoder and TextEncoder. A codec converts; the engine cuts the text into
// pieces, keeps what a cut splits, counts offsets and applies the policy.
//
// A codec has
//   Input, Output       the units that it reads and writes;
//   Run(in, n, out, capacity) -> {consumed, written}
//                       converts whole characters until one needs a Step or nothing more fits;
//   Step(in, n, end, out) -> TextStep
//                       looks at one character, n being at least 1, and converts it into `out`; with `end`,
//                       or textStepUnits units to look at, it never needs more;
//   Substitute(step, out) -> number of units
//                       puts the substitution for a step that failed into `out`;
//   Finish(out) -> number of units
//                       puts what closes a text into `out`; a codec without it needs nothing there.
// `out` of the last three has room for textStepOutput units.
// Thread safety: one stream belongs to one thread at a time.

#pragma once

#include "CodePage/TextConversion.h"

#include <algorithm>
#include <cstring>
#include <span>
#include <type_traits>
#include <utility>

namespace KCodePage {

inline constexpr std::size_t textStepUnits = 4;
inline constexpr std::size_t textStepOutput = 8;

// What a codec says of one character.
struct TextStep {
    enum class Kind : unsigned char {
        Converted, // `consumed` units of input became `written` units of output
        NeedsMore, // the input is the beginning of a character
        Failed     // `consumed` units of input have no exact counterpart, as `failure` says
    };
    Kind kind;
    std::size_t consumed = 0;
    std::size_t written = 0;
    TextFailureKind failure = TextFailureKind::Undefined;
};

template <class Codec>
class TextStream {
public:
    using Input = typename Codec::Input;
    using Output = typename Codec::Output;

    TextStream(Codec textCodec, const TextPolicy& textPolicy)
        : codec(std::move(textCodec)), substitute(textPolicy.substitute) {}

    TextResult Convert(std::span<const Input> input, std::span<Output> output, bool end) {
        TextResult result;
        for (;;) {
            result.written += Drain(output.subspan(result.written));
            const std::span<const Input> rest = input.subspan(result.consumed);
            if (pendingLength != 0) {
                result.stop = TextStop::OutputFull;
                return result;
            }
            if (failed) {
                result.stop = TextStop::Failure;
                result.failure = failure;
                return result;
            }
            if (rest.empty() && (keptLength == 0 || !end)) {
                if (!end || Finish() == 0) {
                    return result;
                }
                continue;
            }
            if (result.written == output.size()) {
                result.stop = TextStop::OutputFull; // nothing is taken ahead, so that the position is exact
                return result;
            }
            std::size_t simple = 0;
            if (keptLength == 0) {
                const auto run = codec.Run(rest.data(), rest.size(), output.data() + result.written,
                                           output.size() - result.written);
                simple = run.consumed;
                result.consumed += run.consumed;
                result.written += run.written;
                offset += run.consumed;
            }
            // What the run left is one character that needs a look, unless the output is full.
            if ((keptLength != 0 || simple < rest.size()) && result.written < output.size()) {
                result.consumed += OneCharacter(rest.subspan(simple), end);
            }
        }
    }

    std::uint64_t Position() const noexcept { return offset; }
    const TextSubstitutions& Substitutions() const noexcept { return substitutions; }

private:
    // Moves units that wait for room to the output.
    std::size_t Drain(std::span<Output> output) noexcept {
        const std::size_t count = std::min(pendingLength, output.size());
        std::copy_n(pending, count, output.data());
        std::move(pending + count, pending + pendingLength, pending);
        pendingLength -= count;
        return count;
    }

    // Takes the next character, which begins with what was kept, and puts its conversion into `pending`.
    // Returns the units taken from `rest`. A failure leaves `offset` at the character.
    std::size_t OneCharacter(std::span<const Input> rest, bool end) {
        Input character[2 * textStepUnits];
        const std::size_t added = std::min(rest.size(), textStepUnits);
        std::copy_n(kept, keptLength, character);
        std::copy_n(rest.data(), added, character + keptLength);
        const std::size_t length = keptLength + added;
        const TextStep step = codec.Step(character, length, end && added == rest.size(), pending);
        if (step.kind == TextStep::Kind::NeedsMore) {
            std::copy_n(character, length, kept);
            keptLength = length;
            return added;
        }
        if (step.kind == TextStep::Kind::Converted) {
            pendingLength = step.written;
            offset += step.consumed;
        } else {
            Fail(step, character);
        }
        const std::size_t taken = step.consumed - keptLength; // a step takes all that was kept
        keptLength = 0;
        return taken;
    }

    // Puts what closes the text into `pending`; returns how much that is.
    std::size_t Finish() noexcept {
        if constexpr (requires { codec.Finish(pending); }) {
            pendingLength = codec.Finish(pending);
        }
        return pendingLength;
    }

    void Fail(const TextStep& step, const Input* character) {
        TextFailure found;
        found.kind = step.failure;
        found.offset = offset;
        found.length = static_cast<unsigned>(step.consumed);
        std::transform(character, character + step.consumed, found.units.begin(), [](Input unit) {
            return static_cast<std::uint16_t>(static_cast<std::make_unsigned_t<Input>>(unit));
        });
        if (!substitute) {
            failed = true;
            failure = found;
            Finish(); // what came before stands as a text
            return;
        }
        substitutions.Add(found);
        pendingLength = codec.Substitute(step, pending);
        offset += step.consumed;
    }

    Codec codec;
    bool substitute;
    bool failed = false;
    TextFailure failure;
    TextSubstitutions substitutions;
    std::uint64_t offset = 0; // of the next character, from the start of the text
    Input kept[textStepUnits] = {};
    std::size_t keptLength = 0; // the beginning of a character that the input's end cut off
    Output pending[textStepOutput] = {};
    std::size_t pendingLength = 0; // output that waits for room
};

} // namespace KCodePage
