// The one UTF-8 codec of the project: stateless kernels that convert between UTF-8 and UTF-16 until the
// input is used up, the output is full, or something is ill-formed. What to do then (substitute, throw,
// report) is the caller's policy.
//
// Used by the operating-system door (paths, code page 65001) and by KBase (the platform's UTF-8 routines).
// Thread safety: pure functions.

#pragma once

#include "Kernels/UTF8Loops.h"

#include <cstddef>
#include <string_view>

namespace UTF8 {

using wchar16 = unsigned short;

enum class Stop {
    InputUsedUp, // everything was converted
    OutputFull,  // the next character does not fit; it was not taken
    IllFormed,   // the input at `consumed` is ill-formed; it was not taken
    CutOff       // the input ends inside a sequence that is well-formed so far; it was not taken
};

struct Result {
    std::size_t consumed; // input units taken (bytes when decoding, code units when encoding)
    std::size_t written;  // output units written
    Stop stop;
    // For IllFormed and CutOff: how many input units from `consumed` on make up the maximal subpart of the
    // ill-formed sequence (Unicode Standard, section 3.9), that is, what one U+FFFD stands for. At least 1.
    std::size_t illFormedLength;
};

// Decodes UTF-8 to UTF-16. A supplementary character needs two units of room and is never split.
Result Decode(const char* input, std::size_t length, wchar16* output, std::size_t capacity) noexcept;

// Encodes UTF-16 as UTF-8. An unpaired surrogate stops it: CutOff for a leading surrogate that is the last
// unit, else IllFormed.
Result Encode(const wchar16* input, std::size_t length, char* output, std::size_t capacity) noexcept;

// Encodes each unit for itself: stops, IllFormed, at every surrogate, paired or not, and at every zero unit,
// also where there is no more room.
Result EncodeSingly(const wchar16* input, std::size_t length, char* output, std::size_t capacity) noexcept;

// The same with the loops of one level. What comes out does not depend on them.
Result Decode(const Kernels::UTF8Loops& loops, const char* input, std::size_t length, wchar16* output,
              std::size_t capacity) noexcept;
Result Encode(const Kernels::UTF8Loops& loops, const wchar16* input, std::size_t length, char* output,
              std::size_t capacity) noexcept;
Result EncodeSingly(const Kernels::UTF8Loops& loops, const wchar16* input, std::size_t length, char* output,
                    std::size_t capacity) noexcept;

// The number of bytes of the sequence that `byte` opens: 1 to 4; 1 for a byte that opens nothing.
unsigned SequenceLength(unsigned char byte) noexcept;

inline constexpr wchar16 replacementCharacter = 0xFFFD;
inline constexpr std::string_view encodedReplacementCharacter = "\xEF\xBF\xBD";

} // namespace UTF8
