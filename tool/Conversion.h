// Conversion: texts from one character set to another, in constant memory, with the place of everything that
// does not convert.

#pragma once

#include "Charsets.h"
#include "Decoders.h"
#include "Divergence.h"
#include "Encoders.h"
#include "Losses.h"
#include "Streams.h"

#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

class Conversion {
public:
    struct Policy {
        bool allowBestFit = false;
        bool substitute = false;
    };

    // Requires: FindSource gave `from`, FindTarget `to`.
    Conversion(Charset from, Charset to, const Policy& policy);

    // From now on converts texts in `charset`, which FindSource gave.
    void ReadFrom(const Charset& charset);

    // Converts one text, from its start to its end. Throws Failure at the first character without an exact
    // counterpart, when all before it has been written.
    void Convert(Input& input, Output& output);

    // What is to be said of what was converted so far, a line each: what was substituted, for each
    // character set and kind, and what a standard reads otherwise.
    std::vector<std::string> Remarks() const;

private:
    // What was read and decoded at once. Where it begins inside a character, `bytes` has the character's
    // beginning too.
    struct Piece {
        const Decoder& before;  // as it was when the piece was read
        std::string_view bytes; // up to the end of the piece
        std::size_t kept;       // how many of them were read before
        std::span<const KCodePage::wchar16> units;
    };

    // Where in the file a character stands.
    struct Place {
        std::uint64_t offset = 0;
        std::uint64_t line = 0;
        std::string_view bytes;
    };

    void Take(const Piece& piece, const KCodePage::TextResult& result, bool end, Output& output);
    void Encode(const Piece& piece, bool end, Output& output);
    void CountDecoded(const Piece& piece);
    void CountEncoded(const Piece& piece, const KCodePage::TextSubstitutions& counted);
    void CountSourceDivergence(const Piece& piece, std::uint64_t end);
    void CountTargetDivergence(const Piece& piece, std::string_view more);
    Place PlaceOf(const Piece& piece, std::size_t index, std::size_t count) const;
    Loss Decoded(const Piece& piece, const KCodePage::TextFailure& failure) const;
    Loss Encoded(const Piece& piece, const KCodePage::TextFailure& failure) const;
    std::string BestFitOf(const KCodePage::TextFailure& failure) const;

    Charset from;
    Charset to;
    Policy asked;
    KCodePage::TextPolicy policy;
    std::unique_ptr<Encoder> encoder;
    std::uint64_t unitsBefore = 0; // the piece, of all texts
    std::uint64_t written = 0;     // bytes, of all texts
    LossTally tally;
    std::vector<std::string> earlier; // what was substituted in texts of other character sets
    Divergence sourceDivergence;
    Divergence targetDivergence;

    // Of the text that is being converted.
    std::unique_ptr<Decoder> decoder;
    std::string file;
    std::uint64_t lineFeeds = 0; // before the piece

    std::vector<char> bytes;
    std::vector<KCodePage::wchar16> units;
    std::vector<char> encoded;
};
