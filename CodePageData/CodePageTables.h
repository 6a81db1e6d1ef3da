// The mappings of the Windows code pages as plain constant arrays, without pointers, so that they need no
// work when the library is loaded. The definitions are in generated/CodePageTables.cpp, which
// CodePageData/generate writes from CodePageData/sources.
//
// Decoding is a look-up. Encoding is stored as what the inverse of decoding does not give:
//
//   1. Each byte that is no lead byte encodes the unit that it decodes to; then each pair, in the order of
//      its bytes, encodes the unit that it decodes to, the default unit excepted. Where two give the same
//      unit the first one wins.
//   2. Each exception of the page then replaces what its unit has: best fit, the duplicates that Windows
//      prefers although they are not the first, and units that decode but do not encode.
//   3. A unit that has nothing after that is unmapped.

#pragma once

#include <cstdint>

namespace CodePageData {

// What a unit is encoded as, differing from the inverse of decoding.
struct Exception {
    std::uint16_t unit;
    std::uint16_t bytes; // one byte, lead byte * 256 + trail byte, or `unmapped`
};

// No character: FF is a lead byte in no page.
inline constexpr std::uint16_t unmapped = 0xFFFF;

struct Page {
    std::uint16_t number;
    std::uint16_t defaultUnit; // for a lead byte without trail byte and for pairs that are not defined

    // Bytes: units[bytes + byte]. A lead byte has the default unit there.
    std::uint32_t bytes;

    // Pairs: units[pairs + (row[lead] - 1) * trailCount + (trail - firstTrail)]. A second byte outside these
    // trail bytes gives the default unit.
    std::uint32_t pairs;
    std::uint16_t firstTrail;
    std::uint16_t trailCount; // 0 in a single-byte page

    // exceptions[firstException] and so on, in the order of the units
    std::uint16_t firstException;
    std::uint16_t exceptionCount;

    std::uint8_t row[0x100]; // by byte: 0 for one that is no lead byte, else the number of its row, from 1 on
};

inline constexpr unsigned pageCount = 13;

extern const Page pages[pageCount]; // in the order of their numbers
extern const std::uint16_t units[];
extern const Exception exceptions[];

// The page of that number, or null.
const Page* FindPage(std::uint32_t number) noexcept;

} // namespace CodePageData
