// What the UTF-8 loops of sse2 and avx2 share: all but the moving together of what stands with gaps. Each
// file that includes this gets functions of its own, compiled for its processor.

#pragma once

#include "Kernels/UTF8Loops.h"

#include <cstddef>
#include <cstdint>
#include <emmintrin.h>

namespace Kernels {

namespace {

__m128i Load(const void* place) noexcept {
    return _mm_loadu_si128(static_cast<const __m128i*>(place));
}

void Store(void* place, __m128i value) noexcept {
    _mm_storeu_si128(static_cast<__m128i*>(place), value);
}

__m128i EachByte(unsigned value) noexcept {
    return _mm_set1_epi8(static_cast<char>(value));
}

__m128i EachUnit(unsigned value) noexcept {
    return _mm_set1_epi16(static_cast<short>(value));
}

__m128i EachWord(unsigned value) noexcept {
    return _mm_set1_epi32(static_cast<int>(value));
}

bool IsASCII(const unsigned char* input, unsigned size) noexcept {
    __m128i all = Load(input);
    for (unsigned at = 16; at < size; at += 16) {
        all = _mm_or_si128(all, Load(input + at));
    }
    return _mm_movemask_epi8(all) == 0;
}

void Widen(const unsigned char* input, unsigned size, std::uint16_t* output) noexcept {
    for (unsigned at = 0; at < size; at += 16) {
        const __m128i bytes = Load(input + at);
        Store(output + at, _mm_unpacklo_epi8(bytes, _mm_setzero_si128()));
        Store(output + at + 8, _mm_unpackhi_epi8(bytes, _mm_setzero_si128()));
    }
}

// A block of UTF-8 that begins with a character, one bit for each byte.
struct UTF8Bytes {
    std::uint64_t continues = 0;  // 80 to BF
    std::uint64_t opens = 0;      // C0 to FF
    std::uint64_t opensThree = 0; // E0 to FF: opens a character of three bytes or more
    std::uint64_t opensFour = 0;  // F0 to FF
    std::uint64_t illFormed = 0;  // C0, C1, F5 to FF; the second byte of an overlong form or a surrogate
};

struct UnitEnds {
    std::uint64_t ends;      // by byte: whether a code unit comes of it and those before it
    std::uint64_t opensFour; // of these characters
};

// The bytes of a block that ends at `end` without those of a character that the end cuts off; of an
// ill-formed block anything. Looked up by themselves, so that the next block need not wait until all is known
// of this one, and added up, for a branch would be guessed wrongly.
unsigned WholeCharacters(const unsigned char* end, unsigned size) noexcept {
    return size - (end[-1] >= 0xC0 ? 1u : 0u) - (end[-2] >= 0xE0 ? 2u : 0u) - (end[-3] >= 0xF0 ? 3u : 0u);
}

constexpr std::uint64_t LowBits(unsigned count) noexcept {
    return count == 0 ? 0 : ~std::uint64_t{0} >> (64 - count);
}

// The whole characters of a block of `size` bytes, which make up `whole` of them; none where anything is
// ill-formed. A character of four bytes has its leading surrogate at the third and its trailing one at the
// fourth.
UnitEnds FindUnitEnds(const UTF8Bytes& bytes, unsigned size, unsigned whole) noexcept {
    const std::uint64_t expected = bytes.opens << 1 | bytes.opensThree << 2 | bytes.opensFour << 3;
    if ((((expected ^ bytes.continues) & LowBits(size)) | bytes.illFormed) != 0) {
        return {0, 0};
    }
    const std::uint64_t taken = LowBits(whole);
    return {(~(bytes.continues >> 1) | bytes.opensFour << 2) & taken, bytes.opensFour & taken};
}

// Looks at `size` bytes, 16 or 64, that begin with a character, of which `whole` are whole characters.
// `units` gets, by byte, the code unit that would end there.
template <unsigned size>
UnitEnds LookAtBytes(const unsigned char* input, unsigned whole, std::uint16_t* units) noexcept {
    UTF8Bytes seen;
    std::uint64_t beyondASCII = 0;
    for (unsigned at = 0; at < size; at += 16) {
        const __m128i bytes = Load(input + at);
        const __m128i before = at == 0 ? _mm_slli_si128(bytes, 1) : Load(input + at - 1);
        const __m128i twoBefore = at == 0 ? _mm_slli_si128(bytes, 2) : Load(input + at - 2);
        const auto add = [at](std::uint64_t& mask, __m128i where) {
            mask |= static_cast<std::uint64_t>(static_cast<unsigned>(_mm_movemask_epi8(where))) << at;
        };
        // As signed numbers, bytes 80 to FF are -128 to -1.
        const __m128i continues = _mm_cmplt_epi8(bytes, EachByte(0xC0));
        const __m128i fromA0 = _mm_cmpgt_epi8(bytes, EachByte(0x9F));
        add(beyondASCII, bytes);
        add(seen.continues, continues);
        add(seen.opensThree, _mm_cmpgt_epi8(bytes, EachByte(0xDF))); // or ASCII
        add(seen.opensFour, _mm_cmpgt_epi8(bytes, EachByte(0xEF)));  // or ASCII
        add(seen.illFormed,
            _mm_or_si128(_mm_or_si128(_mm_andnot_si128(fromA0, _mm_cmpeq_epi8(before, EachByte(0xE0))),
                                      _mm_and_si128(fromA0, _mm_cmpeq_epi8(before, EachByte(0xED)))),
                         _mm_cmpeq_epi8(_mm_and_si128(bytes, EachByte(0xFE)), EachByte(0xC0))));
        // The last byte has the low 6 or 7 bits; the one before it the next 5 or 6, if it belongs to the
        // character; the one before that the high 4.
        const __m128i second = _mm_and_si128(before, continues);
        const __m128i first =
            _mm_and_si128(_mm_and_si128(twoBefore, continues),
                          at == 0 ? _mm_slli_si128(continues, 1) : _mm_cmplt_epi8(before, EachByte(0xC0)));
        const __m128i low = _mm_or_si128(_mm_andnot_si128(_mm_and_si128(continues, EachByte(0x80)), bytes),
                                         _mm_and_si128(_mm_slli_epi16(second, 6), EachByte(0xC0)));
        const __m128i high = _mm_or_si128(_mm_and_si128(_mm_srli_epi16(second, 2), EachByte(0x0F)),
                                          _mm_and_si128(_mm_slli_epi16(first, 4), EachByte(0xF0)));
        Store(units + at, _mm_unpacklo_epi8(low, high));
        Store(units + at + 8, _mm_unpackhi_epi8(low, high));
    }
    seen.opens = beyondASCII & ~seen.continues;
    seen.opensThree &= beyondASCII;
    seen.opensFour &= beyondASCII;
    for (std::uint64_t left = seen.opensFour; left != 0; left &= left - 1) {
        const auto at = static_cast<unsigned>(__builtin_ctzll(left));
        const unsigned next = at + 1 < size ? input[at + 1] : 0x90; // else it is cut off
        if (input[at] > 0xF4 || (input[at] == 0xF0 && next < 0x90) || (input[at] == 0xF4 && next > 0x8F)) {
            return {0, 0};
        }
    }
    const UnitEnds found = FindUnitEnds(seen, size, whole);
    for (std::uint64_t left = found.opensFour; left != 0; left &= left - 1) {
        std::uint16_t* const pair = units + __builtin_ctzll(left) + 2;
        pair[0] = static_cast<std::uint16_t>((pair[0] >> leadingSurrogateShift) + leadingSurrogateBase);
        pair[1] = static_cast<std::uint16_t>((pair[1] & trailingSurrogateBits) | trailingSurrogateBase);
    }
    return found;
}

// Eight code units, encoded.
struct EncodedUnits {
    __m128i low;     // the bytes of units 0 to 3, in words of four bytes, from the lowest on
    __m128i high;    // of units 4 to 7
    __m128i ascii;   // by unit, all bits set: one byte
    __m128i twoByte; // by unit, all bits set: one byte or two
    unsigned count;  // units that were encoded; 0 where something is left to the caller
};

__m128i Choose(__m128i which, __m128i a, __m128i b) noexcept {
    return _mm_or_si128(_mm_and_si128(which, a), _mm_andnot_si128(which, b));
}

__m128i EncodeWords(__m128i units, __m128i ascii, __m128i twoByte) noexcept {
    const __m128i last = _mm_and_si128(units, EachWord(0x3F));
    const __m128i rest = _mm_srli_epi32(units, 6);
    const __m128i two = _mm_xor_si128(_mm_or_si128(_mm_slli_epi32(last, 8), rest), EachWord(0x80C0));
    const __m128i three = _mm_or_si128(
        _mm_or_si128(_mm_slli_epi32(last, 16), _mm_slli_epi32(_mm_and_si128(rest, EachWord(0x3F)), 8)),
        _mm_or_si128(_mm_srli_epi32(units, 12), EachWord(0x8080E0)));
    return Choose(ascii, units, Choose(twoByte, two, three));
}

__m128i AreSurrogates(__m128i units, unsigned first) noexcept {
    return _mm_cmpeq_epi16(_mm_and_si128(units, EachUnit(0xFC00)), EachUnit(first));
}

// `singly`: with surrogates or zeros all is left to the caller.
template <bool singly>
EncodedUnits EncodeUnits(__m128i units) noexcept {
    const __m128i zero = _mm_setzero_si128();
    const __m128i ascii = _mm_cmpeq_epi16(_mm_subs_epu16(units, EachUnit(0x7F)), zero);
    __m128i twoByte = _mm_cmpeq_epi16(_mm_subs_epu16(units, EachUnit(0x7FF)), zero);
    const __m128i surrogates = _mm_cmpeq_epi16(_mm_and_si128(units, EachUnit(0xF800)), EachUnit(0xD800));
    unsigned count = 8;
    if (singly) {
        const __m128i special = _mm_or_si128(surrogates, _mm_cmpeq_epi16(units, zero));
        count = _mm_movemask_epi8(special) != 0 ? 0 : 8;
    } else if (_mm_movemask_epi8(surrogates) != 0) {
        const __m128i leading = AreSurrogates(units, 0xD800);
        const __m128i trailing = AreSurrogates(units, 0xDC00);
        const __m128i behindLeading = _mm_slli_si128(leading, 2);
        if (_mm_movemask_epi8(_mm_cmpeq_epi16(trailing, behindLeading)) != 0xFFFF) {
            return {units, units, ascii, twoByte, 0};
        }
        // A pair whose second half is in the next eight is left to them.
        count = (_mm_movemask_epi8(leading) & 0x8000) != 0 ? 7 : 8;
        // Either half becomes two bytes. In their place stands what becomes the same as if it were a unit of
        // two: F0 to F4 and a continuation, or two continuations, for which bit 12 turns C0 into 80.
        const __m128i leadingUnits = _mm_or_si128(
            _mm_srli_epi16(_mm_add_epi16(_mm_and_si128(units, EachUnit(0x3FF)), EachUnit(0x40)), 2),
            EachUnit(0xC00));
        const __m128i lowBitsBefore =
            _mm_slli_epi16(_mm_and_si128(_mm_slli_si128(units, 2), EachUnit(3)), 10);
        const __m128i trailingUnits = _mm_or_si128(
            _mm_or_si128(_mm_and_si128(units, EachUnit(0x3FF)), lowBitsBefore), EachUnit(0x1000));
        units = Choose(leading, leadingUnits, Choose(trailing, trailingUnits, units));
        twoByte = _mm_or_si128(twoByte, surrogates);
    }
    return {EncodeWords(_mm_unpacklo_epi16(units, zero), _mm_unpacklo_epi16(ascii, ascii),
                        _mm_unpacklo_epi16(twoByte, twoByte)),
            EncodeWords(_mm_unpackhi_epi16(units, zero), _mm_unpackhi_epi16(ascii, ascii),
                        _mm_unpackhi_epi16(twoByte, twoByte)),
            ascii, twoByte, count};
}

// Narrows units to bytes, if all are ASCII; with `singly`, and none is zero.
template <bool singly, unsigned size>
bool EncodeASCIIBlock(const std::uint16_t* input, unsigned char* output) noexcept {
    __m128i bytes[size / 16];
    __m128i seen = _mm_setzero_si128();
    for (std::size_t i = 0; i < size / 16; ++i) {
        const __m128i low = Load(input + 16 * i);
        const __m128i high = Load(input + 16 * i + 8);
        seen = _mm_or_si128(seen, _mm_or_si128(low, high));
        bytes[i] = _mm_packus_epi16(low, high);
    }
    const __m128i zero = _mm_setzero_si128();
    if (_mm_movemask_epi8(_mm_cmpeq_epi16(_mm_and_si128(seen, EachUnit(0xFF80)), zero)) != 0xFFFF) {
        return false;
    }
    if (singly) {
        __m128i least = bytes[0];
        for (std::size_t i = 1; i < size / 16; ++i) {
            least = _mm_min_epu8(least, bytes[i]);
        }
        if (_mm_movemask_epi8(_mm_cmpeq_epi8(least, zero)) != 0) {
            return false;
        }
    }
    for (std::size_t i = 0; i < size / 16; ++i) {
        Store(output + 16 * i, bytes[i]);
    }
    return true;
}

// Narrows units as far as they are ASCII, but for a few at the end; with `singly`, up to a zero.
template <bool singly>
std::size_t EncodeASCII(const std::uint16_t* input, std::size_t length, unsigned char* output,
                        std::size_t capacity) noexcept {
    std::size_t done = 0;
    while (length - done >= 16 && capacity - done >= 16 &&
           EncodeASCIIBlock<singly, 16>(input + done, output + done)) {
        done += 16;
    }
    return done;
}

// The same for the beginning of a text, which may be all of it: in larger blocks, and to the end.
template <bool singly>
std::size_t EncodeASCIIBeginning(const std::uint16_t* input, std::size_t length, unsigned char* output,
                                 std::size_t capacity) noexcept {
    const std::size_t end = length < capacity ? length : capacity;
    std::size_t done = 0;
    while (end - done >= 64 && EncodeASCIIBlock<singly, 64>(input + done, output + done)) {
        done += 64;
    }
    if (done == 0 || end - done >= 64) {
        return done;
    }
    done += EncodeASCII<singly>(input + done, end - done, output + done, end - done);
    // The last ones, and some of those before them again.
    const bool all = end - done < 16 && EncodeASCIIBlock<singly, 16>(input + end - 16, output + end - 16);
    return all ? end : done;
}

// The loops. `Together` moves together what stands with gaps, as each level does it:
//   PutUnits(units, kept, output)  stores those of eight units that `kept` marks, and others behind them up
//   to
//                                  eight; returns how many are kept
//   PutEncoded(encoded, output)    stores the bytes of the units that were encoded, and others behind them;
//                                  returns where theirs end
//   encodedRoom                    bytes that PutEncoded may write
template <class Together, unsigned size>
bool DecodeBlock(const unsigned char*& input, std::uint16_t*& output) noexcept {
    if (IsASCII(input, size)) {
        Widen(input, size, output);
        input += size;
        output += size;
        return true;
    }
    const unsigned whole = WholeCharacters(input + size, size);
    alignas(16) std::uint16_t units[size];
    const UnitEnds found = LookAtBytes<size>(input, whole, units);
    if (found.ends == 0) {
        return false;
    }
    for (unsigned at = 0; at < size; at += 8) {
        output += Together::PutUnits(Load(units + at), found.ends >> at & 0xFF, output);
    }
    input += whole;
    return true;
}

template <class Together>
Run DecodeBlocks(const unsigned char* input, std::size_t length, std::uint16_t* output,
                 std::size_t capacity) noexcept {
    const unsigned char* in = input;
    const unsigned char* const end = input + length;
    std::uint16_t* out = output;
    std::uint16_t* const full = output + capacity;
    while (end - in >= 64 && full - out >= 64 && DecodeBlock<Together, 64>(in, out)) {
    }
    while (end - in >= 16 && full - out >= 16 && DecodeBlock<Together, 16>(in, out)) {
    }
    return {static_cast<std::size_t>(in - input), static_cast<std::size_t>(out - output)};
}

template <class Together, bool singly>
Run EncodeBlocks(const std::uint16_t* input, std::size_t length, unsigned char* output,
                 std::size_t capacity) noexcept {
    const std::uint16_t* in = input;
    const std::uint16_t* const end = input + length;
    unsigned char* out = output;
    unsigned char* const full = output + capacity;
    const auto takeASCII = [&](auto encode) {
        const std::size_t count =
            encode(in, static_cast<std::size_t>(end - in), out, static_cast<std::size_t>(full - out));
        in += count;
        out += count;
        return count != 0;
    };
    takeASCII(EncodeASCIIBeginning<singly>);
    while (end - in >= 8 && full - out >= Together::encodedRoom) {
        if (takeASCII(EncodeASCII<singly>)) {
            continue;
        }
        const EncodedUnits encoded = EncodeUnits<singly>(Load(in));
        if (encoded.count == 0) {
            break;
        }
        out = Together::PutEncoded(encoded, out);
        in += encoded.count;
    }
    return {static_cast<std::size_t>(in - input), static_cast<std::size_t>(out - output)};
}

} // namespace

} // namespace Kernels
