// What the loops of AVX-512 have in common. Each file that includes this has it for itself, compiled for its
// processor.

#pragma once

#include "Kernels/Pairs.h"

#include <cstddef>
#include <cstdint>
#include <immintrin.h>

namespace Kernels {

namespace {

inline std::size_t Smaller(std::size_t a, std::size_t b) noexcept {
    return a < b ? a : b;
}

// Requires: `count` is 255 at most. From 64 on it stands for all, and for FirstOf32 from 32 on.
inline __mmask64 FirstOf64(std::size_t count) noexcept {
    return _bzhi_u64(~__mmask64{0}, static_cast<unsigned>(count));
}

inline __mmask32 FirstOf32(std::size_t count) noexcept {
    return _bzhi_u32(~__mmask32{0}, static_cast<unsigned>(count));
}

inline std::size_t CountOf(std::uint64_t mask) noexcept {
    return static_cast<std::size_t>(_mm_popcnt_u64(mask));
}

// The place of a set bit by its number from 0 on; 64 where there are not so many. Requires: below 64.
inline std::size_t PlaceOf(std::size_t number, std::uint64_t mask) noexcept {
    return _tzcnt_u64(_pdep_u64(std::uint64_t{1} << number, mask));
}

// The indexes that interleave the first or the second halves of two registers of bytes.
struct Interleaving {
    unsigned char first[64];
    unsigned char second[64];
};

constexpr Interleaving MakeInterleaving() noexcept {
    Interleaving indexes{};
    for (unsigned i = 0; i < 64; ++i) {
        indexes.first[i] = static_cast<unsigned char>(i / 2 + (i % 2) * 64);
        indexes.second[i] = static_cast<unsigned char>(32 + i / 2 + (i % 2) * 64);
    }
    return indexes;
}

alignas(64) constexpr Interleaving interleaving = MakeInterleaving();

inline __m512i EachByte512(unsigned value) noexcept {
    return _mm512_set1_epi8(static_cast<char>(value));
}

// Masks are worked on in general registers: the compiler would use mask registers, which take four times as
// long.
template <class Mask>
Mask InRegister(Mask mask) noexcept {
    __asm__("" : "+r"(mask));
    return mask;
}

inline __m512i LookUp32(const std::uint16_t* table, const std::uint16_t* indexes) noexcept {
    __m512i found = _mm512_castsi128_si512(LookUp8(table, indexes));
    found = _mm512_inserti32x4(found, LookUp8(table, indexes + 8), 1);
    found = _mm512_inserti32x4(found, LookUp8(table, indexes + 16), 2);
    return _mm512_inserti32x4(found, LookUp8(table, indexes + 24), 3);
}

} // namespace

} // namespace Kernels
