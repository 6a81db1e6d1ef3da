// EncodeMap: the flat look-up of a UnicodeToMultiByte table, compiled once when the table is filled, and the
// loop that runs over it.
//
// A one-byte character stands in the map as its byte, a two-byte character as lead byte * 256 + trail byte.
// `unmapped` marks what the loop leaves to the table's entries: no mapping, the byte 00, and two-byte
// characters whose lead byte is 00.
// Thread safety: immutable.

#pragma once

#include "CodePage/CODE_PAGE.h"
#include "CodePage/MultiByteCharacter.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace KCodePage {

class EncodeMap {
public:
    // `table` answers as UnicodeToMultiByte does: Convert(codeUnit).
    template <class Table>
    explicit EncodeMap(const Table& table) : codes(0x10000, unmapped) {
        for (unsigned unit = 0; unit < 0x10000; ++unit) {
            const MultiByteCharacter character = table.Convert(static_cast<wchar16>(unit));
            if (!character.IsValid()) {
                continue;
            }
            if (character.Length() == 1) {
                codes[unit] = static_cast<unsigned char>(character.GetByte1());
            } else {
                maximumBytes = 2;
                codes[unit] = character.GetByte1() != 0 ? character.GetMBChar() : unmapped;
            }
        }
        // A run of ASCII may hold zero units too.
        const MultiByteCharacter zero = table.Convert(wchar16{0});
        asciiStands = zero.IsValid() && zero == MultiByteCharacter(static_cast<unsigned char>(0));
        for (unsigned unit = 1; unit < 0x80; ++unit) {
            asciiStands = asciiStands && codes[unit] == unit;
        }
    }

    struct Run {
        std::size_t consumed; // code units
        std::size_t written;  // bytes
    };

    // Converts code units from the start of `input` until the input is used up, the next character does not
    // fit the output, or a unit needs the table's entries.
    Run Convert(const wchar16* input, std::size_t length, char* output, std::size_t capacity) const noexcept;

    // The most bytes that one code unit can become.
    std::size_t MaximumBytes() const noexcept { return maximumBytes; }

private:
    static constexpr std::uint16_t unmapped = 0;

    std::vector<std::uint16_t> codes; // 65,536, by code unit
    std::size_t maximumBytes = 1;
    bool asciiStands = false; // code units 00 to 7F map to the same bytes
};

} // namespace KCodePage
