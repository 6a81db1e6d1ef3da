#include "Conversion.h"

#include "Failure.h"
#include "Messages.h"

#include <algorithm>
#include <array>
#include <utility>

using namespace KCodePage;

namespace {

constexpr std::size_t chunkSize = 65536;
constexpr std::size_t longestCharacter = 8;

// What one unit becomes at most, but for escape sequences: most chunks are one write, which costs the system
// less than several.
constexpr std::size_t bytesOfUnit = 3;

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

// Stretch by stretch, in a counter as wide as a unit: so the compiler compares and counts whole vectors.
std::uint64_t CountLineFeeds(std::span<const wchar16> units) {
    std::uint64_t count = 0;
    while (!units.empty()) {
        const std::span<const wchar16> stretch = units.first(std::min<std::size_t>(units.size(), 0xFFFF));
        std::uint16_t ofStretch = 0;
        for (const wchar16 unit : stretch) {
            ofStretch = static_cast<std::uint16_t>(ofStretch + (unit == '\n' ? 1 : 0));
        }
        count += ofStretch;
        units = units.subspan(stretch.size());
    }
    return count;
}

} // namespace

Conversion::Conversion(Charset source, Charset target, const Policy& textPolicy)
    : from(std::move(source)),
      to(std::move(target)),
      asked(textPolicy),
      policy(PolicyFor(from, to, textPolicy)),
      encoder(MakeEncoder(to, PolicyFor(to, to, textPolicy))),
      sourceDivergence(from),
      targetDivergence(to),
      decoder(MakeDecoder(from, policy)), // made anew for each text; here so that a refusal comes first
      units(longestCharacter + chunkSize),
      encoded(bytesOfUnit * units.size()) {}

void Conversion::ReadFrom(const Charset& charset) {
    if (charset.name == from.name && charset.form == from.form && charset.standard == from.standard) {
        return;
    }
    for (std::string& line : tally.Lines(Side::Decoding, from, to)) {
        earlier.push_back(std::move(line));
    }
    tally.Forget(Side::Decoding);
    if (std::string line = sourceDivergence.Line("--from"); !line.empty()) {
        earlier.push_back(std::move(line));
    }
    from = charset;
    sourceDivergence = Divergence(from);
    policy = PolicyFor(from, to, asked);
}

void Conversion::Convert(Input& input, Output& output) {
    decoder = MakeDecoder(from, policy);
    file = input.Name();
    lineFeeds = 0;
    std::uint64_t taken = 0; // bytes that the decoder has taken
    std::size_t kept = 0;    // the last of them, of a character that it did not see whole; they lead `bytes`
    for (bool end = false; !end;) {
        bytes.resize(kept + chunkSize);
        const std::size_t count = input.Read({bytes.data() + kept, chunkSize});
        end = count == 0;
        std::size_t next = kept;
        const std::size_t limit = kept + count;
        TextResult result;
        do {
            const std::unique_ptr<Decoder> before = decoder->Clone();
            result = decoder->Convert({bytes.data() + next, limit - next}, units, end);
            const Piece piece{*before,
                              {bytes.data() + next - kept, kept + result.consumed},
                              kept,
                              {units.data(), result.written}};
            Take(piece, result, end, output);
            next += result.consumed;
            taken += result.consumed;
            kept = static_cast<std::size_t>(taken - decoder->Position());
        } while (result.stop == TextStop::OutputFull);
        std::copy_n(bytes.begin() + static_cast<std::ptrdiff_t>(limit - kept), kept, bytes.begin());
    }
    // The next text counts anew.
    for (std::size_t kind = 0; kind < textFailureKinds; ++kind) {
        const TextSubstitutions::Count& counted = decoder->Substitutions().ofKind[kind];
        tally.Of(Side::Decoding, static_cast<TextFailureKind>(kind)).count += counted.count;
    }
}

void Conversion::Take(const Piece& piece, const TextResult& result, bool end, Output& output) {
    // What comes before a failure stands as a text, so that no two-byte mode is left open.
    const bool failed = result.stop == TextStop::Failure;
    Encode(piece, failed || (end && result.stop == TextStop::InputUsedUp), output);
    if (failed) {
        throw Failure(Describe(Decoded(piece, result.failure), from, to));
    }
    CountDecoded(piece);
    lineFeeds += CountLineFeeds(piece.units);
    unitsBefore += piece.units.size();
}

void Conversion::Encode(const Piece& piece, bool end, Output& output) {
    const TextSubstitutions before = encoder->Substitutions();
    std::span<const wchar16> rest = piece.units;
    TextResult result;
    do {
        result = encoder->Convert(rest, encoded, end);
        rest = rest.subspan(result.consumed);
        output.Write({encoded.data(), result.written});
        CountTargetDivergence(piece, {encoded.data(), result.written});
        written += result.written;
    } while (result.stop == TextStop::OutputFull);
    if (result.stop == TextStop::Failure) {
        const Loss loss = Encoded(piece, result.failure);
        CountSourceDivergence(piece, loss.offset);
        throw Failure(Describe(loss, from, to));
    }
    CountSourceDivergence(piece, piece.before.Position() + piece.bytes.size());
    CountEncoded(piece, before);
}

// Up to the offset `end`. Where bytes can diverge, each is a character.
void Conversion::CountSourceDivergence(const Piece& piece, std::uint64_t end) {
    const std::uint64_t start = piece.before.Position();
    const std::string_view read = piece.bytes.substr(0, static_cast<std::size_t>(end - start));
    if (const std::size_t first = sourceDivergence.Count(read); first != Divergence::none) {
        sourceDivergence.SetFirst(file, start + first, static_cast<unsigned char>(read[first]));
    }
}

// Where bytes can diverge, each unit became one; of a pair that two pieces share, the first half did so late.
void Conversion::CountTargetDivergence(const Piece& piece, std::string_view more) {
    if (const std::size_t first = targetDivergence.Count(more); first != Divergence::none) {
        const Place place = PlaceOf(piece, static_cast<std::size_t>(written + first - unitsBefore), 1);
        targetDivergence.SetFirst(file, place.offset, static_cast<unsigned char>(more[first]));
    }
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

// The piece decoded once more, byte by byte, until the units of the character come out. What comes between
// two characters (an escape sequence) belongs to neither.
Conversion::Place Conversion::PlaceOf(const Piece& piece, std::size_t index, std::size_t count) const {
    const std::unique_ptr<Decoder> again = piece.before.Clone();
    const std::uint64_t start = again->Position();
    std::array<wchar16, 32> more{};
    Place place;
    place.offset = start;
    place.line = lineFeeds + CountLineFeeds(piece.units.first(index)) + 1;
    std::size_t seen = 0;
    for (std::size_t i = piece.kept; i <= piece.bytes.size() && seen < index + count; ++i) {
        // The end of the input may bring out what a decoder held back.
        const std::string_view byte = piece.bytes.substr(i, 1);
        if (seen <= index) {
            place.offset = again->Position();
        }
        seen += again->Convert({byte.data(), byte.size()}, more, byte.empty()).written;
    }
    place.bytes = piece.bytes.substr(static_cast<std::size_t>(place.offset - start),
                                     static_cast<std::size_t>(again->Position() - place.offset));
    return place;
}

// The line: the piece decoded once more as far as the failure, with nothing kept of it.
Loss Conversion::Decoded(const Piece& piece, const TextFailure& failure) const {
    Loss loss{Side::Decoding, failure, file, 0, failure.offset, {}, {}};
    const std::span<const std::uint16_t> known = failure.FirstUnits();
    loss.bytes.assign(known.begin(), known.end());
    const std::uint64_t begin = piece.before.Position() + piece.kept;
    const std::string_view read =
        piece.bytes.substr(piece.kept, static_cast<std::size_t>(std::max(failure.offset, begin) - begin));
    std::vector<wchar16> before(piece.units.size());
    const TextResult result = piece.before.Clone()->Convert({read.data(), read.size()}, before, false);
    loss.line = lineFeeds + CountLineFeeds({before.data(), result.written}) + 1;
    return loss;
}

Loss Conversion::Encoded(const Piece& piece, const TextFailure& failure) const {
    // A table that maps to halves of a surrogate pair may leave one of them waiting before the piece.
    const std::size_t index =
        static_cast<std::size_t>(failure.offset - std::min(failure.offset, unitsBefore));
    const Place place = PlaceOf(piece, index, failure.length);
    Loss loss{Side::Encoding, failure, file, place.line, place.offset, {}, {}};
    for (const char byte : place.bytes) {
        loss.bytes.push_back(static_cast<unsigned char>(byte));
    }
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

std::vector<std::string> Conversion::Remarks() const {
    std::vector<std::string> remarks = earlier;
    for (const Side side : {Side::Decoding, Side::Encoding}) {
        for (std::string& line : tally.Lines(side, from, to)) {
            remarks.push_back(std::move(line));
        }
    }
    for (std::string line : {sourceDivergence.Line("--from"), targetDivergence.Line("--to")}) {
        if (!line.empty()) {
            remarks.push_back(std::move(line));
        }
    }
    return remarks;
}
