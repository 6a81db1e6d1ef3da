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

// Which of 16 bytes are outside two ranges, both from 80 on: as signed bytes they are in the same order.
class ByteRanges {
public:
    explicit ByteRanges(const unsigned char (&ranges)[2][2]) noexcept
        : first0(_mm_set1_epi8(static_cast<char>(ranges[0][0]))),
          last0(_mm_set1_epi8(static_cast<char>(ranges[0][1]))),
          first1(_mm_set1_epi8(static_cast<char>(ranges[1][0]))),
          last1(_mm_set1_epi8(static_cast<char>(ranges[1][1]))) {}

    __m128i OutsideFirst(__m128i bytes) const noexcept {
        return _mm_or_si128(_mm_cmplt_epi8(bytes, first0), _mm_cmpgt_epi8(bytes, last0));
    }
    __m128i OutsideSecond(__m128i bytes) const noexcept {
        return _mm_or_si128(_mm_cmplt_epi8(bytes, first1), _mm_cmpgt_epi8(bytes, last1));
    }

private:
    __m128i first0;
    __m128i last0;
    __m128i first1;
    __m128i last1;
};

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
