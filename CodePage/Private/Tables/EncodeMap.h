// EncodeMap: the flat look-up of a UnicodeToMultiByte table, compiled once when the table is filled, for the
// loops that run over it.
//
// A character stands in the map as EncodeTable says. What is unmapped there is left to the table's entries:
// no mapping, and two-byte characters with a byte 00. Thread safety: immutable.

#pragma once

#include "CodePage/CODE_PAGE.h"
#include "CodePage/MultiByteCharacter.h"
#include "Kernels/Kernels.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace KCodePage {

class EncodeMap {
public:
    // `source` answers as UnicodeToMultiByte does: Convert(codeUnit).
    template <class Table>
    explicit EncodeMap(const Table& source) : codes(0x10000, Kernels::EncodeTable::unmapped) {
        for (unsigned unit = 0; unit < 0x10000; ++unit) {
            const MultiByteCharacter character = source.Convert(static_cast<wchar16>(unit));
            if (character.IsValid()) {
                codes[unit] = CodeOf(character);
                maximumBytes = character.Length() > maximumBytes ? character.Length() : maximumBytes;
            }
        }
        Prepare();
    }

    EncodeMap(const EncodeMap& other);
    EncodeMap(EncodeMap&&) noexcept = default; // the elements of a moved vector stay where they are
    EncodeMap& operator=(const EncodeMap&) = delete;
    ~EncodeMap() = default;

    // Converts code units from the start of `input` until the input is used up, the next character does not
    // fit the output, or a unit needs the table's entries.
    Kernels::Run Convert(const wchar16* input, std::size_t length, char* output,
                         std::size_t capacity) const noexcept {
        return loop(table, input, length, reinterpret_cast<unsigned char*>(output), capacity);
    }

    // Whether the unit's character is here, and not left to the table's entries.
    bool Has(wchar16 unit) const noexcept { return codes[unit] != Kernels::EncodeTable::unmapped; }

    // The most bytes that one code unit can become.
    std::size_t MaximumBytes() const noexcept { return maximumBytes; }

private:
    static std::uint16_t CodeOf(const MultiByteCharacter& character) noexcept {
        const auto byte1 = static_cast<unsigned char>(character.GetByte1());
        const auto byte2 = static_cast<unsigned char>(character.GetByte2());
        if (character.Length() == 1) {
            return byte1;
        }
        return byte1 != 0 && byte2 != 0 ? static_cast<std::uint16_t>(byte1 | byte2 << 8)
                                        : Kernels::EncodeTable::unmapped;
    }

    void Prepare();

    std::vector<std::uint16_t> codes;
    std::size_t maximumBytes = 1;
    Kernels::EncodeTable table;
    Kernels::EncodeLoop* loop = nullptr;
};

} // namespace KCodePage
