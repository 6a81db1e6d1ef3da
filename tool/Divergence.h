// Divergence: the bytes that a Windows code page reads otherwise than the ISO standard by whose name the
// catalogue calls it, and what of them a run has met.

#pragma once

#include "Charsets.h"
#include "CodePage/CODE_PAGE.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

class Divergence {
public:
    // None, where `charset` was not asked for by the name of a standard.
    explicit Divergence(const Charset& charset);

    // Counts those among `bytes`. Returns where the first one stands, if it is the first of all.
    std::size_t Count(std::string_view bytes);
    static constexpr std::size_t none = static_cast<std::size_t>(-1);

    // Says where the first one stands: the file, as messages name it, and the offset in it of the character.
    void SetFirst(const std::string& file, std::uint64_t offset, unsigned char byte);

    // One line of what was met; empty where there was nothing. `option` names the half of the conversion.
    std::string Line(std::string_view option) const;

private:
    using Units = std::array<std::optional<KCodePage::wchar16>, 256>; // by byte; none where it is undefined

    Charset charset;
    Units windows;
    Units standard;
    std::array<bool, 256> differs{};
    bool exists = false;

    std::uint64_t count = 0;
    std::string firstFile;
    std::uint64_t firstOffset = 0;
    unsigned char firstByte = 0;
};
