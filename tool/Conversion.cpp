#include "Conversion.h"

#include "Failure.h"
#include "Messages.h"

#include <algorithm>
#include <array>
#include <utility>

using namespace KCodePage;

namespace {

constexpr std::size_t chunkSize = 65536;
constexpr std::size_t longestCharacter = 4;

// The policy of the half that works in `charset`.
TextPolicy PolicyFor(const Charset& charset, const Charset& to, const Conversion::Policy& policy) {
    TextPolicy result;
    result.allowBestFit = policy.allowBestFit;
    result.substitute = policy.substitute;
    result.sevenBit = charset.form == Charset::Form::CodePage && charset.codePage == US_ASCII;
    // Decoded to the final substitution at once, so that nothing is replaced and counted twice.
    result.decoded = to.IsUnicode() ? 0xFFFD : '?';
    return result;
}

std::uint64_t CountLineFeeds(std::span<const wchar16> units) {
    return static_cast<std::uint64_t>(std::count(units.begin(), units.end(), wchar16{'\n'}));
}

} // namespace

Conversion::Conversion(Charset source, Charset target, const Policy& textPolicy)
    : from(std::move(source)),
      to(std::move(target)),
      asked(textPolicy),
      policy(PolicyFor(from, to, textPolicy)),
      encoder(MakeEncoder(to, PolicyFor(to, to, textPolicy))),
      decoder(MakeDecoder(from, policy)), // made anew for each text; here so that a refusal comes first
      bytes(longestCharacter + chunkSize),
      units(longestCharacter + chunkSize),
      encoded(chunkSize) {}

void Conversion::ReadFrom(const Charset& charset) {
    if (charset.name == from.name) {
        return;
    }
    for (std::string& line : tally.Lines(Side::Decoding, from, to)) {
        earlier.push_back(std::move(line));
    }
    tally.Forget(Side::Decoding);
    from = charset;
    policy = PolicyFor(from, to, asked);
}

std::vector<std::string> Conversion::Substitutions() const {
    std::vector<std::string> lines = earlier;
    for (const Side side : {Side::Decoding, Side::Encoding}) {
        for (std::string& line : tally.Lines(side, from, to)) {
            lines.push_back(std::move(line));
        }
    }
    return lines;
}

void Conversion::Convert(Input& input, Output& output) {
    decoder = MakeDecoder(from, policy);
    file = input.Name();
    lineFeeds = 0;
    std::size_t kept = 0; // the beginning of a character, at the start of `bytes`
    for (bool end = false; !end;) {
        const std::size_t count = input.Read({bytes.data() + kept, chunkSize});
        end = count == 0;
        const std::uint64_t start = decoder->Position();
        // No byte gives more than one unit: the room always suffices, and no surrogate pair is split.
        const TextResult result = decoder->Convert({bytes.data() + kept, count}, units, end);
        const std::size_t converted = static_cast<std::size_t>(decoder->Position() - start);
        const Piece piece{start, {bytes.data(), kept + count}, {units.data(), result.written}};
        Encode(piece, end && result.stop != TextStop::Failure, output);
        if (result.stop == TextStop::Failure) {
            throw Failure(Describe(Decoded(piece, result.failure), from, to));
        }
        CountDecoded(piece);
        lineFeeds += CountLineFeeds(piece.units);
        unitsBefore += piece.units.size();
        std::copy(piece.bytes.begin() + static_cast<std::ptrdiff_t>(converted), piece.bytes.end(),
                  bytes.begin());
        kept = piece.bytes.size() - converted;
    }
    // The next text counts anew.
    for (std::size_t kind = 0; kind < textFailureKinds; ++kind) {
        const TextSubstitutions::Count& counted = decoder->Substitutions().ofKind[kind];
        tally.Of(Side::Decoding, static_cast<TextFailureKind>(kind)).count += counted.count;
    }
}

void Conversion::Encode(const Piece& piece, bool end, Output& output) {
    const TextSubstitutions before = encoder->Substitutions();
    std::span<const wchar16> rest = piece.units;
    TextResult result;
    do {
        result = encoder->Convert(rest, encoded, end);
        rest = rest.subspan(result.consumed);
        output.Write({encoded.data(), result.written});
    } while (result.stop == TextStop::OutputFull);
    if (result.stop == TextStop::Failure) {
        throw Failure(Describe(Encoded(piece, result.failure), from, to));
    }
    CountEncoded(piece, before);
}

// A kind that has been counted for the first time was met in this piece.
void Conversion::CountDecoded(const Piece& piece) {
    for (std::size_t kind = 0; kind < textFailureKinds; ++kind) {
        const TextSubstitutions::Count& counted = decoder->Substitutions().ofKind[kind];
        LossTally::Entry& entry = tally.Of(Side::Decoding, static_cast<TextFailureKind>(kind));
        if (counted.count != 0 && entry.first.file.empty()) {
            entry.first = Decoded(piece, counted.first);
        }
    }
}

void Conversion::CountEncoded(const Piece& piece, const TextSubstitutions& before) {
    for (std::size_t kind = 0; kind < textFailureKinds; ++kind) {
        const TextSubstitutions::Count& counted = encoder->Substitutions().ofKind[kind];
        LossTally::Entry& entry = tally.Of(Side::Encoding, static_cast<TextFailureKind>(kind));
        if (counted.count != 0 && before.ofKind[kind].count == 0) {
            entry.first = Encoded(piece, counted.first);
        }
        entry.count = counted.count;
    }
}

// The line: the piece decoded once more as far as the failure, with nothing kept of it.
Loss Conversion::Decoded(const Piece& piece, const TextFailure& failure) const {
    Loss loss{Side::Decoding, failure, file, 0, failure.offset, {}, {}};
    loss.bytes.assign(failure.FirstUnits().begin(), failure.FirstUnits().end());
    std::vector<wchar16> before(piece.bytes.size());
    const std::size_t length = static_cast<std::size_t>(failure.offset - piece.offset);
    const TextResult result =
        decoder->From(piece.offset)->Convert({piece.bytes.data(), length}, before, false);
    loss.line = lineFeeds + CountLineFeeds({before.data(), result.written}) + 1;
    return loss;
}

// The encoder counts units. The bytes are found by decoding the piece once more into exactly the units
// before, and then into those of the character.
Loss Conversion::Encoded(const Piece& piece, const TextFailure& failure) const {
    // A table that maps to halves of a surrogate pair may leave one of them waiting before the piece.
    const std::size_t index =
        static_cast<std::size_t>(failure.offset - std::min(failure.offset, unitsBefore));
    const std::unique_ptr<Decoder> again = decoder->From(piece.offset);
    std::vector<wchar16> before(index);
    std::size_t taken = again->Convert({piece.bytes.data(), piece.bytes.size()}, before, false).consumed;
    const std::uint64_t start = again->Position();
    std::array<wchar16, 2> character{};
    again->Convert({piece.bytes.data() + taken, piece.bytes.size() - taken},
                   std::span(character).first(failure.length), false);
    const std::string_view found = piece.bytes.substr(static_cast<std::size_t>(start - piece.offset),
                                                      static_cast<std::size_t>(again->Position() - start));

    Loss loss{Side::Encoding, failure, file, 0, start, {}, {}};
    for (const char byte : found) {
        loss.bytes.push_back(static_cast<unsigned char>(byte));
    }
    loss.line = lineFeeds + CountLineFeeds(before) + 1;
    if (failure.kind == TextFailureKind::BestFit) {
        loss.bestFit = BestFitOf(failure);
    }
    return loss;
}

std::string Conversion::BestFitOf(const TextFailure& failure) const {
    TextPolicy allowing;
    allowing.allowBestFit = true;
    std::array<char, longestCharacter> fit{};
    const TextResult result = MakeEncoder(to, allowing)->Convert(failure.FirstUnits(), fit, true);
    std::vector<std::uint16_t> shown;
    for (std::size_t i = 0; i < result.written; ++i) {
        shown.push_back(static_cast<unsigned char>(fit[i]));
    }
    return Hexadecimal(shown);
}
