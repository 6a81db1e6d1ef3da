// Encoder: UTF-16 to bytes of a character set, piece by piece, whatever the character set is.

#pragma once

#include "Charsets.h"
#include "CodePage/TextConversion.h"

#include <memory>
#include <span>

class Encoder {
public:
    virtual ~Encoder() = default;

    // As KCodePage::TextEncoder has it, but for room: there must be some for four bytes.
    virtual KCodePage::TextResult Convert(std::span<const KCodePage::wchar16> input, std::span<char> output,
                                          bool end) = 0;

    virtual const KCodePage::TextSubstitutions& Substitutions() const noexcept = 0;
};

// An encoder for all texts of a run into `charset`, which FindTarget gave.
std::unique_ptr<Encoder> MakeEncoder(const Charset& charset, const KCodePage::TextPolicy& policy);
