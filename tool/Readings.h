// Reading: bytes of unknown encoding, decoded strictly as if they were in one character set.

#pragma once

#include "Decoders.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

class Reading {
public:
    // Requires: FindSource gave `charset`.
    explicit Reading(const Charset& charset);

    // The charset of ICU with this name. Throws KBase::Message for a name that is not known.
    explicit Reading(const std::string& icuName);

    // Decodes on, and keeps what comes out for Text. False for good as soon as something does not decode.
    bool Read(std::string_view bytes, bool end);

    // The same, keeping nothing.
    bool Check(std::string_view bytes, bool end);

    // Of the first byte that did not decode.
    std::uint64_t FailureOffset() const noexcept { return decoder->Position(); }

    const std::vector<KCodePage::wchar16>& Text() const noexcept { return text; }

private:
    bool Decode(std::string_view bytes, bool end, bool keep);

    std::unique_ptr<Decoder> decoder;
    std::vector<KCodePage::wchar16> room;
    std::vector<KCodePage::wchar16> text;
    bool valid = true;
};
