#include "Kernels/Levels.h"

#include <algorithm>
#include <cstring>
#include <emmintrin.h>

namespace Kernels {

namespace {

__m128i Load(const void* place) noexcept {
    return _mm_loadu_si128(static_cast<const __m128i*>(place));
}

void Store(void* place, __m128i value) noexcept {
    _mm_storeu_si128(static_cast<__m128i*>(place), value);
}

// Widens 16 bytes.
void StoreWide(std::uint16_t* output, __m128i bytes) noexcept {
    Store(output, _mm_unpacklo_epi8(bytes, _mm_setzero_si128()));
    Store(output + 8, _mm_unpackhi_epi8(bytes, _mm_setzero_si128()));
}

} // namespace

Run Sse2DecodeBytes(const DecodeTable& table, const unsigned char* input, std::size_t length,
                    std::uint16_t* output, std::size_t capacity) noexcept {
    const std::size_t count = std::min(length, capacity);
    std::size_t i = 0;
    for (; count - i >= 64; i += 64) {
        const __m128i a = Load(input + i);
        const __m128i b = Load(input + i + 16);
        const __m128i c = Load(input + i + 32);
        const __m128i d = Load(input + i + 48);
        if (table.asciiStands &&
            _mm_movemask_epi8(_mm_or_si128(_mm_or_si128(a, b), _mm_or_si128(c, d))) == 0) {
            StoreWide(output + i, a);
            StoreWide(output + i + 16, b);
            StoreWide(output + i + 32, c);
            StoreWide(output + i + 48, d);
        } else if (table.unitsOfTwo != nullptr) {
            // One look-up for two bytes: look-ups are what limits this loop.
#pragma GCC unroll 32
            for (std::size_t k = i; k < i + 64; k += 2) {
                std::uint16_t two = 0;
                std::memcpy(&two, input + k, sizeof two);
                std::memcpy(output + k, table.unitsOfTwo + two, sizeof *table.unitsOfTwo);
            }
        } else {
            break;
        }
    }
    const Run rest = PlainDecode(table, input + i, count - i, output + i, count - i);
    return {i + rest.consumed, i + rest.written};
}

constinit const Loops sse2Loops = {Sse2DecodeBytes, PlainDecode, true};

} // namespace Kernels
