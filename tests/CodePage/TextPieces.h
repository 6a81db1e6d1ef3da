// A text through a TextDecoder or TextEncoder in pieces, and all that came of it in a form to compare.

#pragma once

#include "CodePage/TextConversion.h"
#include "UTF8/ExactBuffer.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <ostream>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

namespace TextPieces {

using KCodePage::TextFailure;
using KCodePage::TextResult;
using KCodePage::TextStop;
using KCodePage::TextSubstitutions;

inline std::string Shown(const TextFailure& failure) {
    static constexpr const char* kinds[] = {"undefined", "cut off",  "ill-formed",
                                            "unpaired",  "unmapped", "best fit"};
    std::string text = std::string(kinds[static_cast<std::size_t>(failure.kind)]) + " at " +
                       std::to_string(failure.offset) + ":";
    for (const unsigned known : failure.FirstUnits()) {
        char unit[16];
        std::snprintf(unit, sizeof unit, " %02X", known);
        text += unit;
    }
    const std::size_t others = failure.length - failure.FirstUnits().size();
    return text + (others != 0 ? " and " + std::to_string(others) + " more" : "");
}

// "2 x undefined at 3: 85 40; ..."
inline std::string Shown(const TextSubstitutions& substitutions) {
    std::string text;
    for (const TextSubstitutions::Count& count : substitutions.ofKind) {
        if (count.count != 0) {
            text += (text.empty() ? "" : "; ") + std::to_string(count.count) + " x " + Shown(count.first);
        }
    }
    return text;
}

template <class Output>
struct Outcome {
    std::vector<Output> output;
    std::size_t consumed = 0;
    std::string failure; // empty where the text was used up
    std::string substitutions;

    friend bool operator==(const Outcome&, const Outcome&) = default;
    friend std::ostream& operator<<(std::ostream& stream, const Outcome& outcome) {
        stream << outcome.output.size() << " units";
        for (std::size_t i = 0; i < outcome.output.size() && i < 40; ++i) {
            stream << ' ' << std::hex << (static_cast<unsigned>(outcome.output[i]) & 0xFFFFu) << std::dec;
        }
        return stream << ", consumed " << outcome.consumed << ", failure \"" << outcome.failure << "\", \""
                      << outcome.substitutions << '"';
    }
};

// Feeds one text and collects what comes of it.
template <class Converter, class Input, class Output>
class Feeder {
public:
    Feeder(Converter& textConverter, std::size_t outputCapacity)
        : converter(textConverter), room(outputCapacity) {}

    // False after a failure.
    bool Feed(std::span<const Input> piece, bool end) {
        for (;;) {
            const TextResult result = converter.Convert(piece, {room.Get(), room.Size()}, end);
            outcome.consumed += result.consumed;
            outcome.output.insert(outcome.output.end(), room.Get(), room.Get() + result.written);
            piece = piece.subspan(result.consumed);
            if (result.stop == TextStop::Failure) {
                outcome.failure = Shown(result.failure);
                return false;
            }
            if (result.stop == TextStop::InputUsedUp) {
                if (!piece.empty()) {
                    throw std::logic_error("input is left that was said to be used up");
                }
                return true;
            }
            if (result.written != room.Size()) {
                throw std::logic_error("the output was said to be full");
            }
        }
    }

    Outcome<Output> Finish() {
        outcome.substitutions = Shown(converter.Substitutions());
        return outcome;
    }

private:
    Converter& converter;
    ExactBuffer<Output> room;
    Outcome<Output> outcome;
};

// The whole text in pieces of `size` units. `endApart`: the end comes with an empty piece.
template <class Output, class Converter, class Input>
Outcome<Output> Convert(Converter converter, const std::vector<Input>& text, std::size_t size,
                        std::size_t capacity, bool endApart = false) {
    Feeder<Converter, Input, Output> feeder(converter, capacity);
    const std::span<const Input> all(text);
    std::size_t begin = 0;
    bool goesOn = true;
    while (goesOn && begin < all.size()) {
        const std::size_t length = std::min(size, all.size() - begin);
        const bool last = begin + length == all.size();
        goesOn = feeder.Feed(all.subspan(begin, length), last && !endApart);
        begin += length;
    }
    if (goesOn && (endApart || all.empty())) {
        feeder.Feed({}, true);
    }
    return feeder.Finish();
}

template <class Output, class Converter, class Input>
Outcome<Output> ConvertAtOnce(Converter converter, const std::vector<Input>& text) {
    return Convert<Output>(std::move(converter), text, text.size() + 1, 4 * text.size() + 4);
}

// The text in three pieces, each in a block of exactly its size.
template <class Output, class Converter, class Input>
Outcome<Output> ConvertThirds(Converter converter, const std::vector<Input>& text, std::size_t first,
                              std::size_t second, std::size_t capacity) {
    Feeder<Converter, Input, Output> feeder(converter, capacity);
    const std::size_t cuts[] = {0, first, second, text.size()};
    for (std::size_t i = 0; i < 3; ++i) {
        const ExactBuffer<Input> piece(std::span<const Input>(text).subspan(cuts[i], cuts[i + 1] - cuts[i]));
        if (!feeder.Feed({piece.Get(), piece.Size()}, i == 2)) {
            break;
        }
    }
    return feeder.Finish();
}

} // namespace TextPieces
