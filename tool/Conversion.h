// Conversion: texts from one character set to another, in constant memory, with the place of everything that
// does not convert.

#pragma once

#include "Charsets.h"
#include "Decoders.h"
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

    // What was substituted so far, one line for each character set and kind.
    std::vector<std::string> Substitutions() const;

private:
    // A stretch of the text that begins and ends between two characters, and what it decodes to.
    struct Piece {
        std::uint64_t offset; // in the file
        std::string_view bytes;
        std::span<const KCodePage::wchar16> units;
    };

    void Encode(const Piece& piece, bool end, Output& output);
    void CountDecoded(const Piece& piece);
    void CountEncoded(const Piece& piece, const KCodePage::TextSubstitutions& before);
    Loss Decoded(const Piece& piece, const KCodePage::TextFailure& failure) const;
    Loss Encoded(const Piece& piece, const KCodePage::TextFailure& failure) const;
    std::string BestFitOf(const KCodePage::TextFailure& failure) const;

    Charset from;
    Charset to;
    Policy asked;
    KCodePage::TextPolicy policy;
    std::unique_ptr<Encoder> encoder;
    std::uint64_t unitsBefore = 0; // the piece, of all texts
    LossTally tally;
    std::vector<std::string> earlier; // what was substituted in texts of other character sets

    // Of the text that is being converted.
    std::unique_ptr<Decoder> decoder;
    std::string file;
    std::uint64_t lineFeeds = 0; // before the piece

    std::vector<char> bytes;
    std::vector<KCodePage::wchar16> units;
    std::vector<char> encoded;
};
