// DecodeMap: the flat look-up of a MultiByteToUnicode table, compiled once when the table is filled, and the
// loop that runs over it.
//
// A code unit stands in the map for itself, but for `unmapped`: it marks what the loop leaves to the table's
// rows (no mapping, a character cut off by the end of the input, and U+FFFF itself, should a table map to
// it). Thread safety: immutable.

#pragma once

#include "CodePage/CODE_PAGE.h"
#include "CodePage/UnicodeCharacter.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace KCodePage {

class DecodeMap {
public:
    // `table` answers as MultiByteToUnicode does: GetNumberOfBytesInThisCharacter(text), Convert(byte) and
    // Convert(leadByte, secondByte).
    template <class Table>
    explicit DecodeMap(const Table& table) {
        single.fill(unmapped);
        rowOf.fill(noRow);
        for (unsigned value = 0; value < 256; ++value) {
            const auto byte = static_cast<unsigned char>(value);
            const char text = static_cast<char>(byte);
            if (table.GetNumberOfBytesInThisCharacter(&text) == 2) {
                for (unsigned second = 0; second < 256; ++second) {
                    pairs.push_back(UnitOf(table.Convert(byte, static_cast<unsigned char>(second))));
                }
                rowOf[byte] = static_cast<std::uint16_t>(pairs.size() / 256);
            } else {
                single[byte] = UnitOf(table.Convert(byte));
            }
        }
        pairs.shrink_to_fit();
        for (unsigned byte = 0; byte < 0x80; ++byte) {
            asciiStands = asciiStands && single[byte] == byte;
        }
    }

    struct Run {
        std::size_t consumed; // bytes
        std::size_t written;  // code units
    };

    // Converts characters from the start of `input` until the input is used up, the output is full, or a
    // character needs the table's rows.
    Run Convert(const char* input, std::size_t length, wchar16* output, std::size_t capacity) const noexcept;

private:
    static wchar16 UnitOf(const UnicodeCharacter& character) noexcept {
        return character.IsValid() ? character.Get() : unmapped;
    }

    static constexpr wchar16 unmapped = 0xFFFF;
    static constexpr std::uint16_t noRow = 0;

    std::array<wchar16, 256> single;      // by byte; `unmapped` for lead bytes
    std::array<std::uint16_t, 256> rowOf; // by byte: the row of a lead byte in `pairs`, counted from 1
    std::vector<wchar16> pairs;           // 256 for each row, by second byte
    bool asciiStands = true;              // bytes 00 to 7F map to the same code units
};

} // namespace KCodePage
