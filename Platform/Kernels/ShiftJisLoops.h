// The loops of each level from Shift-JIS to JIS text: single bytes as they are, and runs of pairs, as their
// JIS codes, between escape sequences.
//
// The plain loop says what is right; the others give the same results to the last byte. No loop reads
// anything past the input, and none changes anything past the output and the slack behind it.

#pragma once

#include "Kernels/Kernels.h"

#include <cstddef>
#include <cstdint>

namespace Kernels {

struct JisTable {
    const DecodeTable* shiftJis; // tells the lead bytes
    // 65,536, by lead byte * 256 + second byte: first byte * 256 + second byte of the JIS code; 0 for what a
    // loop leaves to its caller.
    const std::uint16_t* codes;
    bool isRegular; // each of them is what RegularJisCode says, so that some loops need not look
};

// The code of a pair by the rule that the two encodings have in common: the grid of 94 rows of 94, of which
// two go to each lead byte of 81 to 9F and E0 to EF. 0 outside the grid.
std::uint16_t RegularJisCode(unsigned char leadByte, unsigned char secondByte) noexcept;

struct JisRun {
    std::size_t consumed;   // bytes of Shift-JIS
    std::size_t characters; // in them
    std::size_t written;    // bytes of JIS
    bool inJIS;             // an escape sequence to JIS is open
};

// Bytes behind the capacity that are there too, and that a loop may change.
inline constexpr std::size_t jisSlack = 64;

// Converts whole characters until the input is used up, the next character with the escape sequence before it
// does not fit the output, a pair has no code, or a lead byte is the last of the input. `inJIS`: as the loop
// before left it, false at the beginning.
using JisLoop = JisRun(const JisTable& table, bool inJIS, const unsigned char* input, std::size_t length,
                       unsigned char* output, std::size_t capacity) noexcept;

// How many bytes of Shift-JIS text come before the first SO, SI or ESC, which announce another character set.
// Second bytes are none of them, but in a table from a hostile file, where one ends the search too.
using BeforeEscapeLoop = std::size_t(const unsigned char* input, std::size_t length) noexcept;

struct JisLoops {
    JisLoop* convert;
    BeforeEscapeLoop* beforeEscape;
};

// The loops of the level that Chosen() has, and those of any level, or null where the processor does not have
// it.
const JisLoops& ChosenJis() noexcept;
const JisLoops* JisOfLevel(Level level) noexcept;

extern const JisLoops plainJisLoops;
// CMakeLists.txt says for which processors there is more.
#ifdef KCODEPAGE_KERNELS_X86_64
extern const JisLoops sse2JisLoops;
extern const JisLoops avx512JisLoops;
#endif

} // namespace Kernels
