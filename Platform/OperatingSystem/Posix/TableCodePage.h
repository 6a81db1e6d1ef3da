// Conversions of the code pages that are described by tables: all but UTF-8. Inline, for tables are read
// through them character by character.
//
// Thread safety: any thread may call anything at any time.

#pragma once

#include "CodePageData/CodePageTables.h"
#include "OperatingSystem/Types.h"

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace OperatingSystem {

// What a conversion came to. With a null target a conversion only counts, and everything fits.
struct Converted {
    std::size_t count; // units or bytes written or needed
    bool fits;         // false: the target is full before the end of the text
};

inline bool IsLeadByte(const CodePageData::Page& page, unsigned char byte) noexcept {
    return page.row[byte] != 0;
}

inline std::uint16_t DecodePair(const CodePageData::Page& page, unsigned row, unsigned second) noexcept {
    const unsigned column = second - page.firstTrail; // wraps around for a second byte before the first trail
    if (column >= page.trailCount) {
        return page.defaultUnit;
    }
    return CodePageData::units[page.pairs + (row - 1) * page.trailCount + column];
}

// Converts bytes to UTF-16. Every text has an answer.
inline Converted DecodeByTable(const CodePageData::Page& page, const char* text, std::size_t length,
                               wchar16* target, std::size_t capacity) noexcept {
    std::size_t count = 0;
    for (std::size_t i = 0; i < length; ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        std::uint16_t unit = CodePageData::units[page.bytes + byte]; // a lead byte has the default unit there
        if (page.row[byte] != 0 && i + 1 < length && text[i + 1] != 0) {
            // The second byte is taken even where it can be no trail byte; only a zero stands for itself.
            ++i;
            unit = DecodePair(page, page.row[byte], static_cast<unsigned char>(text[i]));
        }
        if (target != nullptr) {
            if (count == capacity) {
                return {count, false};
            }
            target[count] = unit;
        }
        ++count;
    }
    return {count, true};
}

// What each unit is encoded as, or `unmapped`. Encoding needs an answer for any of 65,536 units at once; the
// tables that are carried along hold only what cannot be derived, so a page's index is made when it is first
// encoded to. The storage is reserved from the start, of which the system provides what is touched: so there
// is no allocation that could fail, and nothing to release.
struct Index {
    std::uint16_t bytes[0x10000];
};

// By the place of the page.
extern Index indexes[CodePageData::pageCount];
extern constinit std::atomic<bool> indexIsMade[CodePageData::pageCount];

// Makes the index, unless another thread has made it.
void RequireIndex(std::size_t slot) noexcept;

inline const Index& IndexOf(const CodePageData::Page& page) noexcept {
    const auto slot = static_cast<std::size_t>(&page - CodePageData::pages);
    if (!indexIsMade[slot].load(std::memory_order_acquire)) [[unlikely]] {
        RequireIndex(slot);
    }
    return indexes[slot];
}

// Converts UTF-16 to bytes. A unit without mapping becomes `defaultBytes`, which is one byte or lead
// byte * 256 + trail byte, and sets `usedDefault`.
inline Converted EncodeByTable(const CodePageData::Page& page, const wchar16* text, std::size_t length,
                               char* target, std::size_t capacity, unsigned defaultBytes,
                               bool& usedDefault) noexcept {
    const Index& index = IndexOf(page);
    std::size_t count = 0;
    for (std::size_t i = 0; i < length; ++i) {
        unsigned bytes = index.bytes[text[i]];
        if (bytes == CodePageData::unmapped) {
            bytes = defaultBytes;
            usedDefault = true;
        }
        const std::size_t size = bytes > 0xFF ? 2 : 1;
        if (target != nullptr) {
            if (capacity - count < size) {
                return {count, false};
            }
            if (size == 2) {
                target[count] = static_cast<char>(bytes >> 8);
            }
            target[count + size - 1] = static_cast<char>(bytes & 0xFF);
        }
        count += size;
    }
    return {count, true};
}

} // namespace OperatingSystem
