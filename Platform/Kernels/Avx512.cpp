#include "Kernels/Levels.h"

#include <immintrin.h>

namespace Kernels {

namespace {

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

__mmask64 FirstOf64(std::size_t count) noexcept {
    return count >= 64 ? ~__mmask64{0} : _bzhi_u64(~__mmask64{0}, static_cast<unsigned>(count));
}

__mmask32 FirstOf32(std::size_t count) noexcept {
    return static_cast<__mmask32>(FirstOf64(count));
}

std::size_t Smaller(std::size_t a, std::size_t b) noexcept {
    return a < b ? a : b;
}

// Bytes from 80 on are looked up in 128 low and 128 high halves of units, which are four registers.
Run DecodeBytes(const DecodeTable& table, const unsigned char* input, std::size_t length,
                std::uint16_t* output, std::size_t capacity) noexcept {
    if (!table.asciiStands) {
        return PlainDecode(table, input, length, output, capacity);
    }
    const __m512i low0 = _mm512_loadu_si512(table.lowHalves);
    const __m512i low1 = _mm512_loadu_si512(table.lowHalves + 64);
    const __m512i high0 = _mm512_loadu_si512(table.highHalves);
    const __m512i high1 = _mm512_loadu_si512(table.highHalves + 64);
    const __m512i interleaveFirst = _mm512_load_si512(interleaving.first);
    const __m512i interleaveSecond = _mm512_load_si512(interleaving.second);
    const __m512i ones = _mm512_set1_epi8(-1);
    const std::size_t count = Smaller(length, capacity);
    std::size_t i = 0;
    while (i < count) {
        const std::size_t block = Smaller(64, count - i);
        const __m512i bytes = _mm512_maskz_loadu_epi8(FirstOf64(block), input + i);
        const __mmask64 beyondASCII = _mm512_movepi8_mask(bytes);
        const __m512i low = _mm512_mask2_permutex2var_epi8(low0, bytes, beyondASCII, low1);
        const __m512i high = _mm512_maskz_permutex2var_epi8(beyondASCII, high0, bytes, high1);
        const __mmask64 left = _mm512_cmpeq_epi8_mask(_mm512_and_si512(low, high), ones);
        const std::size_t good = left == 0 ? block : Smaller(block, _tzcnt_u64(left));
        _mm512_mask_storeu_epi16(output + i, FirstOf32(good),
                                 _mm512_permutex2var_epi8(low, interleaveFirst, high));
        if (good > 32) {
            _mm512_mask_storeu_epi16(output + i + 32, FirstOf32(good - 32),
                                     _mm512_permutex2var_epi8(low, interleaveSecond, high));
        }
        i += good;
        if (good < block) {
            break;
        }
    }
    return {i, i};
}

} // namespace

constinit const Loops avx512Loops = {DecodeBytes, PlainDecode, false};

} // namespace Kernels
