// Conversions of the code pages that are described by tables: all but UTF-8.
//
// Thread safety: any thread may call anything at any time.

#pragma once

#include "CodePageData/CodePageTables.h"
#include "OperatingSystem/Types.h"

#include <cstddef>

namespace OperatingSystem {

// What a conversion came to. With a null target a conversion only counts, and everything fits.
struct Converted {
    std::size_t count; // units or bytes written or needed
    bool fits;         // false: the target is full before the end of the text
};

// Converts bytes to UTF-16. Every text has an answer.
Converted DecodeByTable(const CodePageData::Page& page, const char* text, std::size_t length, wchar16* target,
                        std::size_t capacity) noexcept;

// Converts UTF-16 to bytes. A unit without mapping becomes `defaultBytes`, which is one byte or lead
// byte * 256 + trail byte, and sets `usedDefault`.
Converted EncodeByTable(const CodePageData::Page& page, const wchar16* text, std::size_t length, char* target,
                        std::size_t capacity, unsigned defaultBytes, bool& usedDefault) noexcept;

inline bool IsLeadByte(const CodePageData::Page& page, unsigned char byte) noexcept {
    return page.row[byte] != 0;
}

} // namespace OperatingSystem
