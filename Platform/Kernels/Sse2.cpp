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

bool AreZero(__m128i value) noexcept {
    return _mm_movemask_epi8(_mm_cmpeq_epi8(value, _mm_setzero_si128())) == 0xFFFF;
}

// Each run of bits without its second, fourth and so on: of bytes that may be lead bytes, those that are.
std::uint64_t EveryOther(std::uint64_t runs) noexcept {
    constexpr std::uint64_t odd = 0xAAAAAAAAAAAAAAAAu;
    // The subtraction carries through the runs that begin at an even place.
    return ((((runs << 1) | odd) - runs) ^ odd) & runs;
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

// The bits of the bytes from `first` to `last`, both from 80 on: as signed bytes they are in the same order.
unsigned Between(__m128i bytes, unsigned char first, unsigned char last) noexcept {
    const __m128i below = _mm_cmplt_epi8(bytes, _mm_set1_epi8(static_cast<char>(first)));
    const __m128i above = _mm_cmpgt_epi8(bytes, _mm_set1_epi8(static_cast<char>(last)));
    return 0xFFFF & ~static_cast<unsigned>(_mm_movemask_epi8(_mm_or_si128(below, above)));
}

Run Sse2DecodePairs(const DecodeTable& table, const unsigned char* input, std::size_t length,
                    std::uint16_t* output, std::size_t capacity) noexcept {
    std::size_t read = 0;
    std::size_t written = 0;
    if (table.hasRanges && table.asciiStands) {
        while (length - read >= 64 && capacity - written >= 32) {
            const __m128i a = Load(input + read);
            const __m128i b = Load(input + read + 16);
            if (_mm_movemask_epi8(_mm_or_si128(a, b)) == 0) {
                StoreWide(output + written, a);
                StoreWide(output + written + 16, b);
                read += 32;
                written += 32;
                continue;
            }
            std::uint64_t maybeLeads = 0;
            for (unsigned k = 0; k < 64; k += 16) {
                const __m128i bytes = Load(input + read + k);
                const std::uint64_t here = Between(bytes, table.ranges[0][0], table.ranges[0][1]) |
                                           Between(bytes, table.ranges[1][0], table.ranges[1][1]);
                maybeLeads |= here << k;
            }
            const std::uint64_t leads = EveryOther(maybeLeads);
            std::uint64_t starts = ~(leads << 1);
            const unsigned char* const block = input + read;
#pragma GCC unroll 32
            for (unsigned k = 0; k < 32; ++k) {
                const auto start = static_cast<unsigned>(__builtin_ctzll(starts));
                starts &= starts - 1;
                const std::size_t row = table.rowOf[block[start]];
                const std::uint16_t unit = table.units[row * 256 + block[start + (row != 0 ? 1 : 0)]];
                if (unit == DecodeTable::unmapped) {
                    return {read + start, written + k};
                }
                output[written + k] = unit;
            }
            read += starts != 0 ? static_cast<unsigned>(__builtin_ctzll(starts)) : 64;
            written += 32;
        }
    }
    const Run rest = PlainDecode(table, input + read, length - read, output + written, capacity - written);
    return {read + rest.consumed, written + rest.written};
}

Run Sse2EncodeBytes(const EncodeTable& table, const std::uint16_t* input, std::size_t length,
                    unsigned char* output, std::size_t capacity) noexcept {
    const __m128i nonASCII = _mm_set1_epi16(static_cast<short>(0xFF80));
    const std::size_t count = std::min(length, capacity);
    std::size_t i = 0;
    for (; count - i >= 32; i += 32) {
        const __m128i a = Load(input + i);
        const __m128i b = Load(input + i + 8);
        const __m128i c = Load(input + i + 16);
        const __m128i d = Load(input + i + 24);
        const __m128i all = _mm_or_si128(_mm_or_si128(a, b), _mm_or_si128(c, d));
        if (table.asciiStands && AreZero(_mm_and_si128(all, nonASCII))) {
            Store(output + i, _mm_packus_epi16(a, b));
            Store(output + i + 16, _mm_packus_epi16(c, d));
            continue;
        }
        unsigned codes = 0;
#pragma GCC unroll 32
        for (std::size_t k = i; k < i + 32; ++k) {
            const unsigned code = table.codes[input[k]];
            codes |= code;
            output[k] = static_cast<unsigned char>(code);
        }
        if (codes > 0xFF) {
            break;
        }
    }
    const Run rest = PlainEncode(table, input + i, count - i, output + i, count - i);
    return {i + rest.consumed, i + rest.written};
}

Run Sse2EncodePairs(const EncodeTable& table, const std::uint16_t* input, std::size_t length,
                    unsigned char* output, std::size_t capacity) noexcept {
    const __m128i nonASCII = _mm_set1_epi16(static_cast<short>(0xFF80));
    std::size_t read = 0;
    std::size_t written = 0;
    while (length - read >= 16 && capacity - written >= 32) {
        const __m128i a = Load(input + read);
        const __m128i b = Load(input + read + 8);
        if (table.asciiStands && AreZero(_mm_and_si128(_mm_or_si128(a, b), nonASCII))) {
            Store(output + written, _mm_packus_epi16(a, b));
            read += 16;
            written += 16;
            continue;
        }
        // Two bytes are written for each unit, and the second is kept where there is one: no branch, which
        // would be mispredicted at every change between one-byte and two-byte characters.
        const std::size_t end = read + 16;
#pragma GCC unroll 16
        for (std::size_t k = 0; k < 16; ++k) {
            const std::uint16_t code = table.codes[input[read]];
            if (code == EncodeTable::unmapped) {
                return {read, written};
            }
            std::memcpy(output + written, &code, sizeof code);
            written += code > 0xFF ? 2 : 1;
            ++read;
        }
        read = end;
    }
    const Run rest = PlainEncode(table, input + read, length - read, output + written, capacity - written);
    return {read + rest.consumed, written + rest.written};
}

constinit const Loops sse2Loops = {Sse2DecodeBytes, Sse2DecodePairs, true, Sse2EncodeBytes, Sse2EncodePairs};

} // namespace Kernels
