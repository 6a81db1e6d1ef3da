// JisEncoding: the codec that encodes to iso-2022-jp exactly, piece by piece. The code page itself goes by
// way of Shift-JIS text, and lets bytes through that are no part of 7-bit JIS; here they have no counterpart.
// Thread safety: one thread at a time.

#pragma once

#include "CodePage/Private/Core/ExactTables.h"
#include "CodePage/Private/Tables/TextStream.h"
#include "CodePage/ShiftJisToJis.h"

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
    std::vector<std::uint16_t> codes; // by code unit: a byte, or a JIS code; noCode for neither
    bool inJIS = false;               // two-byte mode
};

} // namespace KCodePage
