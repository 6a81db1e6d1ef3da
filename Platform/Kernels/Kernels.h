// Kernels: the loops that convert text through flat tables, for every kind of processor.
//
// The plain loops say what is right; those of the other levels give the same results to the last byte and
// unit, and read nothing past the input and write nothing past the output. The level is chosen once, when the
// first text is converted: the highest that the processor has, or a lower one that the environment variable
// KCODEPAGE_KERNELS names (plain, sse2, avx2 or avx512; anything else is as good as nothing).
//
// Only plain data and pointers here: files that are compiled for a newer processor include this header, and
// no inline function of theirs may end up in the rest of the library.
// Thread safety: any thread may call anything at any time.

#pragma once

#include <cstddef>
#include <cstdint>

namespace Kernels {

// How far a loop came.
struct Run {
    std::size_t consumed; // units of input
    std::size_t written;  // units of output
};

// Bytes to UTF-16. The owner sets the members of the first group, and Prepare the others. What `units` points
// to must stay.
struct DecodeTable {
    static constexpr std::uint16_t unmapped = 0xFFFF;

    // Rows of 256 units, in which `unmapped` marks what a loop leaves to its caller. Row 0 is indexed by a
    // whole character of one byte and has nothing mapped for lead bytes, the others by the second byte.
    const std::uint16_t* units;
    std::uint16_t rowOf[256]; // by byte: the row of a lead byte, 0 for any other

    // May be set after Prepare, where no byte is unmapped: the units of each two bytes, as FillUnitsOfTwo
    // makes them. Without them some loops are slower.
    static constexpr std::size_t unitsOfTwoCount = 0x10000;
    const std::uint32_t* unitsOfTwo;

    bool asciiStands;  // bytes 00 to 7F are whole characters and map to the same units
    bool mapsAllBytes; // each byte is a whole character that is mapped
    bool hasPairs;     // there are lead bytes
    // The lead bytes, where they are from 80 on and in two stretches at most, in each of which one row
    // follows the other: the first and the last of each.
    bool hasRanges;
    unsigned char ranges[2][2];
    unsigned char highRows[128];  // rowOf from 80 on; where asciiStands there are not more rows
    unsigned char lowHalves[128]; // of the units of row 0 from 80 on
    unsigned char highHalves[128];
};
void Prepare(DecodeTable& table) noexcept;
void FillUnitsOfTwo(const DecodeTable& table, std::uint32_t* unitsOfTwo) noexcept;

// Converts whole characters until the input is used up, the output is full, or a character is left to the
// caller: one that is not mapped, or a lead byte that is the last of the input.
using DecodeLoop = Run(const DecodeTable& table, const unsigned char* input, std::size_t length,
                       std::uint16_t* output, std::size_t capacity) noexcept;

// UTF-16 to bytes. The owner sets `codes`, and Prepare the others. What `codes` points to must stay.
struct EncodeTable {
    // No character: its first byte would be 00 and its second FF.
    static constexpr std::uint16_t unmapped = 0xFF00;

    // 65,536, by code unit: the byte of a one-byte character, or first byte + second byte * 256, neither of
    // them 00; `unmapped` for what a loop leaves to its caller.
    const std::uint16_t* codes;

    bool asciiStands; // units 00 to 7F map to the same bytes
    bool hasPairs;    // there are two-byte characters

    // Without pairs: the bytes of those stretches of 128 units that a text in the code page is made of, 00
    // where there is none. Stretch n begins with unit n * 128. A stretch that is not needed is number 0, with
    // its own bytes.
    static constexpr unsigned stretchCount = 5;
    unsigned char stretches[stretchCount];
    unsigned char bytes[stretchCount][128];
};
void Prepare(EncodeTable& table) noexcept;

// Converts code units until the input is used up, the next character does not fit the output, or a unit is
// not mapped.
using EncodeLoop = Run(const EncodeTable& table, const std::uint16_t* input, std::size_t length,
                       unsigned char* output, std::size_t capacity) noexcept;

struct Loops {
    DecodeLoop* decodeBytes; // for tables without lead bytes
    DecodeLoop* decodePairs; // for any table
    bool usesUnitsOfTwo;     // decodeBytes is slower without them
    EncodeLoop* encodeBytes; // for tables without two-byte characters
    EncodeLoop* encodePairs; // for any table
};

// From the lowest to the highest. Each has what those before it have.
enum class Level { Plain, Sse2, Avx2, Avx512 };

// The chosen loops.
const Loops& Chosen() noexcept;

// The loops of a level, or null where the processor does not have it.
const Loops* OfLevel(Level level) noexcept;

} // namespace Kernels
