// DecodeMap: the flat look-up of a MultiByteToUnicode table, compiled once when the table is filled, for the
// loops that run over it.
//
// A code unit stands in the map for itself, but for DecodeTable::unmapped: it marks what the loops leave to
// the table's rows (no mapping, a character cut off by the end of the input, and U+FFFF itself, should a
// table map to it). Thread safety: immutable.

#pragma once

#include "CodePage/CODE_PAGE.h"
#include "CodePage/UnicodeCharacter.h"
#include "Kernels/Kernels.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace KCodePage {

class MultiByteToUnicode;

class DecodeMap {
public:
    // `source` answers as MultiByteToUnicode does: GetNumberOfBytesInThisCharacter(text), Convert(byte) and
    // Convert(leadByte, secondByte).
    template <class Source>
    explicit DecodeMap(const Source& source) {
        std::uint16_t rows = 1;
        for (unsigned byte = 0; byte < 256; ++byte) {
            const char text = static_cast<char>(byte);
            table.rowOf[byte] =
                source.GetNumberOfBytesInThisCharacter(&text) == 2 ? rows++ : std::uint16_t{0};
        }
        units.assign(rows * std::size_t{256}, Kernels::DecodeTable::unmapped);
        for (unsigned value = 0; value < 256; ++value) {
            const auto byte = static_cast<unsigned char>(value);
            if (table.rowOf[byte] == 0) {
                units[byte] = UnitOf(source.Convert(byte));
                continue;
            }
            std::uint16_t* const row = units.data() + table.rowOf[byte] * std::size_t{256};
            for (unsigned second = 0; second < 256; ++second) {
                row[second] = UnitOf(source.Convert(byte, static_cast<unsigned char>(second)));
            }
        }
        Prepare();
    }

    DecodeMap(const DecodeMap& other);
    DecodeMap(DecodeMap&&) noexcept = default; // the elements of moved vectors stay where they are
    DecodeMap& operator=(const DecodeMap&) = delete;
    ~DecodeMap() = default;

    // Converts characters from the start of `input` until the input is used up, the output is full, or a
    // character needs the table's rows.
    Kernels::Run Convert(const char* input, std::size_t length, wchar16* output,
                         std::size_t capacity) const noexcept {
        return loop(table, reinterpret_cast<const unsigned char*>(input), length, output, capacity);
    }

    const Kernels::DecodeTable& Table() const noexcept { return table; }

    // The map of a table; null where it has none.
    static const DecodeMap* Of(const MultiByteToUnicode& owner) noexcept;

private:
    static wchar16 UnitOf(const UnicodeCharacter& character) noexcept {
        return character.IsValid() ? character.Get() : Kernels::DecodeTable::unmapped;
    }

    void Prepare();

    std::vector<std::uint16_t> units;
    std::vector<std::uint32_t> unitsOfTwo;
    Kernels::DecodeTable table;
    Kernels::DecodeLoop* loop = nullptr;
};

} // namespace KCodePage
