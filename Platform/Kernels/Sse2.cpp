#include "Kernels/Levels.h"
#include "Kernels/Pairs.h"

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

// Widens 16 bytes.
void StoreWide(std::uint16_t* output, __m128i bytes) noexcept {
    Store(output, _mm_unpacklo_epi8(bytes, _mm_setzero_si128()));
    Store(output + 8, _mm_unpackhi_epi8(bytes, _mm_setzero_si128()));
}

// Eight bytes, all of which are mapped. One look-up for two: look-ups are what limits this.
void Decode8(const std::uint32_t* unitsOfTwo, const unsigned char* input, std::uint16_t* output) noexcept {
    std::uint64_t eight = 0;
    std::memcpy(&eight, input, sizeof eight);
    const __m128i first = _mm_loadu_si32(unitsOfTwo + (eight & 0xFFFF));
    const __m128i second = _mm_loadu_si32(unitsOfTwo + (eight >> 16 & 0xFFFF));
    const __m128i third = _mm_loadu_si32(unitsOfTwo + (eight >> 32 & 0xFFFF));
    const __m128i fourth = _mm_loadu_si32(unitsOfTwo + (eight >> 48));
    Store(output, _mm_unpacklo_epi64(_mm_unpacklo_epi32(first, second), _mm_unpacklo_epi32(third, fourth)));
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
            for (std::size_t k = i; k < i + 64; k += 8) {
                Decode8(table.unitsOfTwo, input + k, output + k);
            }
        } else {
            break;
        }
    }
    if (table.unitsOfTwo != nullptr && count >= 8) {
        // Few sizes of blocks, of which the last two overlap: a loop over small ones would be left at another
        // time for each line.
        const auto decode = [&](std::size_t place, std::size_t size) {
            for (std::size_t k = place; k < place + size; k += 8) {
                Decode8(table.unitsOfTwo, input + k, output + k);
            }
        };
        if (count >= 32) {
            for (; count - i > 32; i += 32) {
                decode(i, 32);
            }
            decode(count - 32, 32);
        } else if (count >= 16) {
            decode(0, 16);
            decode(count - 16, 16);
        } else {
            decode(0, 8);
            decode(count - 8, 8);
        }
        return {count, count};
    }
    const Run rest = PlainDecode(table, input + i, count - i, output + i, count - i);
    return {i + rest.consumed, i + rest.written};
}

// The lead bytes of a table with ranges, and which row is whose.
class LeadBytes {
public:
    explicit LeadBytes(const DecodeTable& table) noexcept
        : ranges(table.ranges),
          toRow0(Each(table.ranges[0][0] - table.rowOf[table.ranges[0][0]])),
          toRow1(Each(table.ranges[1][0] - table.rowOf[table.ranges[1][0]])) {}

    // The bits of those of 16 bytes that may be lead bytes. Puts for each byte the index of the unit of the
    // character that begins with it, if one does. `next`: the bytes behind them.
    std::uint64_t Index(__m128i bytes, __m128i next, std::uint16_t* indexes) const noexcept {
        const __m128i outside0 = ranges.OutsideFirst(bytes);
        const __m128i outside1 = ranges.OutsideSecond(bytes);
        const __m128i single = _mm_and_si128(outside0, outside1);
        const __m128i row = _mm_or_si128(_mm_andnot_si128(outside0, _mm_sub_epi8(bytes, toRow0)),
                                         _mm_andnot_si128(outside1, _mm_sub_epi8(bytes, toRow1)));
        const __m128i place = _mm_or_si128(_mm_and_si128(single, bytes), _mm_andnot_si128(single, next));
        Store(indexes, _mm_unpacklo_epi8(place, row));
        Store(indexes + 8, _mm_unpackhi_epi8(place, row));
        return 0xFFFF & ~static_cast<unsigned>(_mm_movemask_epi8(single));
    }

private:
    static __m128i Each(int byte) noexcept { return _mm_set1_epi8(static_cast<char>(byte)); }

    ByteRanges ranges;
    __m128i toRow0;
    __m128i toRow1;
};

// The first, third and so on of the bits that are set.
std::uint64_t EverySecond(std::uint64_t bits) noexcept {
    std::uint64_t odd = bits;
    for (unsigned k = 1; k < 64; k *= 2) {
        odd ^= odd << k;
    }
    return bits & odd;
}

Run Sse2DecodePairs(const DecodeTable& table, const unsigned char* input, std::size_t length,
                    std::uint16_t* output, std::size_t capacity) noexcept {
    std::size_t read = 0;
    std::size_t written = 0;
    if (table.hasRanges && table.asciiStands) {
        const LeadBytes leadBytes(table);
        while (length - read > 64 && capacity - written >= 32) {
            const __m128i a = Load(input + read);
            const __m128i b = Load(input + read + 16);
            if (_mm_movemask_epi8(_mm_or_si128(a, b)) == 0) {
                StoreWide(output + written, a);
                StoreWide(output + written + 16, b);
                read += 32;
                written += 32;
                continue;
            }
            alignas(16) std::uint16_t indexes[64];
            std::uint64_t maybeLeads = 0;
            for (unsigned k = 0; k < 64; k += 16) {
                maybeLeads |= leadBytes.Index(Load(input + read + k), Load(input + read + k + 1), indexes + k)
                              << k;
            }
            const std::uint64_t leads = EveryOther(maybeLeads);
            // 32 characters, taken from two sets by turns: each is found by clearing the one before.
            const std::uint64_t starts = ~(leads << 1);
            std::uint64_t even = EverySecond(starts);
            std::uint64_t odd = starts & ~even;
#pragma GCC unroll 32
            for (unsigned k = 0; k < 32; ++k) {
                std::uint64_t& left = k % 2 == 0 ? even : odd;
                const auto start = static_cast<unsigned>(__builtin_ctzll(left));
                left &= left - 1;
                const std::uint16_t unit = table.units[indexes[start]];
                if (unit == DecodeTable::unmapped) {
                    return {read + start, written + k};
                }
                output[written + k] = unit;
            }
            read += even != 0 ? static_cast<unsigned>(__builtin_ctzll(even)) : 64;
            written += 32;
        }
        while (length - read >= 16 && capacity - written >= 16 &&
               _mm_movemask_epi8(Load(input + read)) == 0) {
            StoreWide(output + written, Load(input + read));
            read += 16;
            written += 16;
        }
        // The last bytes, and all of a short text: up to 64, but for the last in 16s that overlap.
        const std::size_t left = std::min<std::size_t>(length - read, 64);
        if (left > 16) {
            const unsigned char* const block = input + read;
            const std::size_t last = left - 1;
            alignas(16) std::uint16_t indexes[64];
            std::uint64_t maybeLeads = 0;
            for (std::size_t k = 0; k < 64; k += 16) {
                const std::size_t place = std::min(k, last - 16);
                maybeLeads |= leadBytes.Index(Load(block + place), Load(block + place + 1), indexes + place)
                              << place;
            }
            indexes[last] = block[last]; // unmapped for a lead byte, whose second byte is not here
            maybeLeads |= (table.rowOf[block[last]] != 0 ? std::uint64_t{1} : 0) << last;
            const std::uint64_t leads = EveryOther(maybeLeads);
            std::uint64_t starts = ~(leads << 1) & ~std::uint64_t{0} >> (64 - left);
            for (; starts != 0 && written < capacity; starts &= starts - 1) {
                const std::uint16_t unit = table.units[indexes[__builtin_ctzll(starts)]];
                if (unit == DecodeTable::unmapped) {
                    break;
                }
                output[written++] = unit;
            }
            read += starts != 0 ? static_cast<unsigned>(__builtin_ctzll(starts)) : left;
        }
    }
    const Run rest = PlainDecode(table, input + read, length - read, output + written, capacity - written);
    return {read + rest.consumed, written + rest.written};
}

namespace {

// Encodes 16 units of one byte each and returns codes that hold all bits of theirs. What is not of one byte
// becomes any byte.
__m128i Encode16(const EncodeTable& table, const std::uint16_t* input, unsigned char* output) noexcept {
    const __m128i a = LookUp8(table.codes, input);
    const __m128i b = LookUp8(table.codes, input + 8);
    Store(output, _mm_packus_epi16(a, b));
    return _mm_or_si128(a, b);
}

// Encodes 64 units, or returns false where they are not of one byte each. Not inline, so that the loop of
// its caller stays small.
[[gnu::noinline]] bool Encode64(const EncodeTable& table, const std::uint16_t* input,
                                unsigned char* output) noexcept {
    __m128i codes = _mm_setzero_si128();
    for (std::size_t k = 0; k < 64; k += 16) {
        codes = _mm_or_si128(codes, Encode16(table, input + k, output + k));
    }
    return AreZero(_mm_srli_epi16(codes, 8));
}

} // namespace

Run Sse2EncodeBytes(const EncodeTable& table, const std::uint16_t* input, std::size_t length,
                    unsigned char* output, std::size_t capacity) noexcept {
    const __m128i nonASCII = _mm_set1_epi16(static_cast<short>(0xFF80));
    const std::size_t count = std::min(length, capacity);
    std::size_t i = 0;
    const bool asciiStands = table.asciiStands;
    // Takes 64 units if they are ASCII.
    const auto takeASCII = [&](std::size_t place) {
        __m128i units[8]; // once, for a store might change what is read again
        for (std::size_t k = 0; k < 8; ++k) {
            units[k] = Load(input + place + 8 * k);
        }
        __m128i all = units[0];
        for (std::size_t k = 1; k < 8; ++k) {
            all = _mm_or_si128(all, units[k]);
        }
        if (!asciiStands || !AreZero(_mm_and_si128(all, nonASCII))) [[unlikely]] {
            return false;
        }
        for (std::size_t k = 0; k < 8; k += 2) {
            Store(output + place + 8 * k, _mm_packus_epi16(units[k], units[k + 1]));
        }
        return true;
    };
    const auto step = [&] {
        const bool isASCII = takeASCII(i);
        i += isASCII ? 64 : 0;
        return isASCII;
    };
    // ASCII alone in long turns: the end of a loop of many short ones is guessed wrongly.
    while (count - i >= 512 && step() && step() && step() && step() && step() && step() && step() && step()) {
    }
    // Blocks that are not so small that a text with a few letters beyond ASCII changes between them all the
    // time.
    while (count - i >= 64 && (takeASCII(i) || Encode64(table, input + i, output + i))) {
        i += 64;
    }
    // In a line this would be a guess.
    if (count - i < 64 && count >= 1024 && (i == count || takeASCII(count - 64))) {
        return {count, count};
    }
    if (count - i < 64 && count >= 16) {
        std::size_t place = i;
        __m128i codes = _mm_setzero_si128();
        for (; count - place > 16; place += 16) {
            codes = _mm_or_si128(codes, Encode16(table, input + place, output + place));
        }
        // Some of them again.
        codes = _mm_or_si128(codes, Encode16(table, input + count - 16, output + count - 16));
        if (AreZero(_mm_srli_epi16(codes, 8))) {
            return {count, count};
        }
    }
    const Run rest = PlainEncode(table, input + i, count - i, output + i, count - i);
    return {i + rest.consumed, i + rest.written};
}

namespace {

// Encodes `count` units from `run` on, for which there is room whatever they become. False where one is not
// mapped, before which it stops.
//
// Two bytes are written for each unit, and the second is kept where there is one: no branch, which would be
// mispredicted at every change between one-byte and two-byte characters.
template <unsigned count>
[[gnu::always_inline]] inline bool EncodeEach(const EncodeTable& table, const std::uint16_t* input,
                                              unsigned char* output, Run& run) noexcept {
#pragma GCC unroll 16
    for (unsigned k = 0; k < count; ++k) {
        const std::uint16_t code = table.codes[input[run.consumed]];
        if (code == EncodeTable::unmapped) {
            return false;
        }
        std::memcpy(output + run.written, &code, sizeof code);
        run.written += code > 0xFF ? 2 : 1;
        ++run.consumed;
    }
    return true;
}

} // namespace

Run Sse2EncodePairs(const EncodeTable& table, const std::uint16_t* input, std::size_t length,
                    unsigned char* output, std::size_t capacity) noexcept {
    const __m128i nonASCII = _mm_set1_epi16(static_cast<short>(0xFF80));
    Run run = {0, 0};
    while (length - run.consumed >= 16 && capacity - run.written >= 32) {
        const __m128i a = Load(input + run.consumed);
        const __m128i b = Load(input + run.consumed + 8);
        if (table.asciiStands && AreZero(_mm_and_si128(_mm_or_si128(a, b), nonASCII))) {
            Store(output + run.written, _mm_packus_epi16(a, b));
            run.consumed += 16;
            run.written += 16;
        } else if (!EncodeEach<16>(table, input, output, run)) {
            return run;
        }
    }
    // What is near one of the ends.
    while (length - run.consumed >= 8 && capacity - run.written >= 16) {
        if (!EncodeEach<8>(table, input, output, run)) {
            return run;
        }
    }
    while (length != run.consumed && capacity - run.written >= 2) {
        if (!EncodeEach<1>(table, input, output, run)) {
            return run;
        }
    }
    const Run rest = PlainEncode(table, input + run.consumed, length - run.consumed, output + run.written,
                                 capacity - run.written);
    return {run.consumed + rest.consumed, run.written + rest.written};
}

constinit const Loops sse2Loops = {Sse2DecodeBytes, Sse2DecodePairs, true, Sse2EncodeBytes, Sse2EncodePairs};

} // namespace Kernels
