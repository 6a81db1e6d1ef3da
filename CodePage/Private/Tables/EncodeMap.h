// EncodeMap: the characters of a table by code unit, as a flat look-up for the loops that run over it.
//
// A character stands in the look-up as EncodeTable says. What it has not is left to the map's owner: no
// mapping, and two-byte characters with a byte 00. Only a map of which one entry is odd, as a file may have
// it, keeps all entries beside the look-up. Thread safety: none while it is filled, then immutable.

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
    // What a MultiByteCharacter holds, in a quarter of the memory.
    struct Entry {
        bool valid = false;
        bool single = false;
        unsigned char byte1 = 0;
        unsigned char byte2 = 0;

        static Entry Of(const MultiByteCharacter& character) noexcept {
            return {character.IsValid(), character.Length() == 1,
                    static_cast<unsigned char>(character.GetByte1()),
                    static_cast<unsigned char>(character.GetByte2())};
        }
    };

    // Nothing is mapped.
    EncodeMap() : codes(unitCount, Kernels::EncodeTable::unmapped) {}

    // `source` answers as UnicodeToMultiByte does: Convert(codeUnit).
    template <class Table>
    explicit EncodeMap(const Table& source) : EncodeMap() {
        for (unsigned unit = 0; unit < unitCount; ++unit) {
            const auto codeUnit = static_cast<wchar16>(unit);
            Set(codeUnit, Entry::Of(source.Convert(codeUnit)));
        }
        Prepare();
    }

    EncodeMap(const EncodeMap& other);
    EncodeMap(EncodeMap&&) noexcept = default; // the elements of a moved vector stay where they are
    EncodeMap& operator=(const EncodeMap&) = delete;
    ~EncodeMap() = default;

    // Says what `unit` becomes. Behind the last change and before the first Convert comes Prepare.
    void Set(wchar16 unit, const Entry& entry) {
        if (!entries.empty() || !IsPlain(entry)) [[unlikely]] {
            SetOdd(unit, entry);
        }
        codes[unit] = CodeOf(entry);
        size = unit >= size ? unit + std::size_t{1} : size;
        maximumBytes = entry.valid && !entry.single ? 2 : maximumBytes;
    }
    void Prepare();

    // The character of `unit`, as it was set; invalid where none was.
    MultiByteCharacter Get(wchar16 unit) const noexcept;

    // Code units up to the last that was set.
    std::size_t Size() const noexcept { return size; }

    // Converts code units from the start of `input` until the input is used up, the next character does not
    // fit the output, or a unit is none of the look-up's.
    Kernels::Run Convert(const wchar16* input, std::size_t length, char* output,
                         std::size_t capacity) const noexcept {
        return loop(table, input, length, reinterpret_cast<unsigned char*>(output), capacity);
    }

    // Whether the look-up has `unit`. At such a one, Convert stops for want of room alone.
    bool Maps(wchar16 unit) const noexcept { return codes[unit] != Kernels::EncodeTable::unmapped; }

    // The most bytes that one code unit can become.
    std::size_t MaximumBytes() const noexcept { return maximumBytes; }

private:
    static constexpr std::size_t unitCount = 0x10000;

    // Whether a code says all of it.
    static bool IsPlain(const Entry& entry) noexcept {
        if (!entry.valid) {
            return !entry.single && entry.byte1 == 0 && entry.byte2 == 0;
        }
        return entry.single ? entry.byte2 == 0 : entry.byte1 != 0 && entry.byte2 != 0;
    }

    static std::uint16_t CodeOf(const Entry& entry) noexcept {
        if (entry.valid && entry.single) {
            return entry.byte1;
        }
        return entry.valid && entry.byte1 != 0 && entry.byte2 != 0
                   ? static_cast<std::uint16_t>(entry.byte1 | entry.byte2 << 8)
                   : Kernels::EncodeTable::unmapped;
    }

    void SetOdd(wchar16 unit, const Entry& entry);

    std::vector<std::uint16_t> codes;
    std::vector<Entry> entries; // all, where one of them is odd; else none
    std::size_t size = 0;
    std::size_t maximumBytes = 1;
    Kernels::EncodeTable table;
    Kernels::EncodeLoop* loop = nullptr;
};

} // namespace KCodePage
