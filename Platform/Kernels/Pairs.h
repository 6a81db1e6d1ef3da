// What the levels have in common for double-byte text. Each file that includes this has it for itself,
// compiled for its processor.

#pragma once

#include <cstdint>
#include <cstring>
#include <immintrin.h>

namespace Kernels {

namespace {

// Each run of bits without its second, fourth and so on: of bytes that may be lead bytes, those that are.
inline std::uint64_t EveryOther(std::uint64_t runs) noexcept {
    constexpr std::uint64_t odd = 0xAAAAAAAAAAAAAAAAu;
    // The subtraction carries through the runs that begin at an even place.
    return ((((runs << 1) | odd) - runs) ^ odd) & runs;
}

// Eight look-ups. A load and an insertion for each are faster than a gather. Inlined, so that those of
// several go on at the same time.
[[gnu::always_inline]] inline __m128i LookUp8(const std::uint16_t* table,
                                              const std::uint16_t* indexes) noexcept {
    std::uint64_t first = 0;
    std::uint64_t second = 0;
    std::memcpy(&first, indexes, sizeof first);
    std::memcpy(&second, indexes + 4, sizeof second);
    __m128i a = _mm_cvtsi32_si128(table[first & 0xFFFF]);
    __m128i b = _mm_cvtsi32_si128(table[second & 0xFFFF]);
    a = _mm_insert_epi16(a, table[first >> 16 & 0xFFFF], 1);
    b = _mm_insert_epi16(b, table[second >> 16 & 0xFFFF], 1);
    a = _mm_insert_epi16(a, table[first >> 32 & 0xFFFF], 2);
    b = _mm_insert_epi16(b, table[second >> 32 & 0xFFFF], 2);
    a = _mm_insert_epi16(a, table[first >> 48], 3);
    b = _mm_insert_epi16(b, table[second >> 48], 3);
    return _mm_unpacklo_epi64(a, b);
}

} // namespace

} // namespace Kernels
