// The UTF-8 loops of each level: they convert what is simple, and leave the rest to their caller, the codec
// of UTF8/UTF8.h, which says what is right.
//
// No loop encodes surrogates. A loop converts whole, well-formed characters from the start of its input. It
// may stop after any of them: at the end of the input, near the end of the output, at anything ill-formed or
// rare. It reads nothing past the input and writes nothing past the output.

#pragma once

#include "Kernels/Kernels.h"

#include <cstddef>
#include <cstdint>

namespace Kernels {

using DecodeUTF8Loop = Run(const unsigned char* input, std::size_t length, std::uint16_t* output,
                           std::size_t capacity) noexcept;
using EncodeUTF8Loop = Run(const std::uint16_t* input, std::size_t length, unsigned char* output,
                           std::size_t capacity) noexcept;

struct UTF8Loops {
    DecodeUTF8Loop* decode;
    EncodeUTF8Loop* encode;
    EncodeUTF8Loop*
        encodeSingly; // the same, stopping at zero units too; all null where all is left to the caller
};

// Makes surrogates of the low 16 bits of characters of four bytes, which come out as those of three do.
inline constexpr unsigned leadingSurrogateShift = 4; // of what the first three bytes give
inline constexpr unsigned leadingSurrogateBase = 0xD7C0;
inline constexpr unsigned trailingSurrogateBits = 0x3FF; // of what the last three bytes give
inline constexpr unsigned trailingSurrogateBase = 0xDC00;

// The loops of the level that Chosen() has, and those of any level, or null where the processor does not have
// it.
const UTF8Loops& ChosenUTF8() noexcept;
const UTF8Loops* UTF8OfLevel(Level level) noexcept;

// CMakeLists.txt says for which processors there is more.
#ifdef KCODEPAGE_KERNELS_X86_64
extern const UTF8Loops sse2UTF8Loops;
extern const UTF8Loops avx2UTF8Loops;
extern const UTF8Loops avx512UTF8Loops;
#endif

} // namespace Kernels
