// JisEncoding: the codec that encodes to iso-2022-jp exactly, piece by piece. Like the code page itself it
// goes by way of Shift-JIS text; but that lets bytes through that are no part of 7-bit JIS, and here they
// have no counterpart. Thread safety: one thread at a time.

#pragma once

#include "CodePage/Private/Core/ExactTables.h"
#include "CodePage/Private/Tables/TextStream.h"
#include "CodePage/ShiftJisToJis.h"
#include "Kernels/ShiftJisLoops.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace KCodePage {

// A codec as TextStream wants it.
class JisEncoding {
public:
    using Input = wchar16;
    using Output = char;

    struct Progress {
        std::size_t consumed; // code units
        std::size_t written;  // bytes
    };

    // Takes the tables of shift_jis and the process's Shift-JIS to JIS table. Throws what these throw.
    explicit JisEncoding(const TextPolicy& policy);

    Progress Run(const wchar16* in, std::size_t n, char* out, std::size_t capacity) noexcept;
    TextStep Step(const wchar16* in, std::size_t n, bool end, char* out);
    std::size_t Substitute(const TextStep& step, char* out) noexcept;
    std::size_t Finish(char* out) noexcept; // a text ends in one-byte mode

private:
    std::uint16_t CodeOf(const MultiByteCharacter& shiftJis) const;
    std::size_t Put(std::uint16_t code, char* out) noexcept;

    ExactTables tables; // of shift_jis
    KBase::SmartPtrI<ShiftJisToJis> shiftJisToJis;
    char substitution;
    const EncodeMap* map = nullptr; // to Shift-JIS; null where all goes character by character
    std::vector<char> between;      // Shift-JIS text, a stretch of it
    std::size_t stretch = 0;        // bytes of it that are made at once
    bool inJIS = false;             // two-byte mode
};

} // namespace KCodePage
