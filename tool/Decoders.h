// Decoder: bytes of a character set to UTF-16, piece by piece, whatever the character set is.

#pragma once

#include "Charsets.h"
#include "CodePage/TextConversion.h"

#include <cstdint>
#include <memory>
#include <span>

class Decoder {
public:
    virtual ~Decoder() = default;

    // As KCodePage::TextDecoder has it, but for room: an output that is full in the middle of a surrogate
    // pair may stay one unit short.
    virtual KCodePage::TextResult Convert(std::span<const char> input, std::span<KCodePage::wchar16> output,
                                          bool end) = 0;

    // The offset, from the start of the text, of the first byte that was not converted.
    virtual std::uint64_t Position() const noexcept = 0;

    virtual const KCodePage::TextSubstitutions& Substitutions() const noexcept = 0;

    // A decoder that goes on from the same place, on its own.
    virtual std::unique_ptr<Decoder> Clone() const = 0;
};

// A decoder for one text in `charset`, which FindSource gave.
std::unique_ptr<Decoder> MakeDecoder(const Charset& charset, const KCodePage::TextPolicy& policy);
