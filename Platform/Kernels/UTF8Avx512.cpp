#include "Kernels/Avx512Parts.h"
#include "Kernels/UTF8Loops.h"

#include <immintrin.h>

namespace Kernels {

namespace {

// Indexes of bytes in two vectors, the first at 0 to 63 and the second at 64 to 127.
struct ByteIndexes {
    unsigned char one[64]; // by byte of the first, the one before it; the second comes before the first
    unsigned char two[64]; // the one before that
};

constexpr ByteIndexes MakeByteIndexes() noexcept {
    ByteIndexes made{};
    for (unsigned i = 0; i < 64; ++i) {
        made.one[i] = static_cast<unsigned char>((i + 127) % 128);
        made.two[i] = static_cast<unsigned char>((i + 126) % 128);
    }
    return made;
}

alignas(64) constexpr ByteIndexes byteIndexes = MakeByteIndexes();

// By unit, the index of the one before it.
struct UnitsBehind {
    std::uint16_t index[32];
};

constexpr UnitsBehind MakeUnitsBehind() noexcept {
    UnitsBehind made{};
    for (unsigned i = 0; i < 32; ++i) {
        made.index[i] = static_cast<std::uint16_t>(i - 1);
    }
    return made;
}

alignas(64) constexpr UnitsBehind unitsBehind = MakeUnitsBehind();

__m512i EachWord512(unsigned value) noexcept {
    return _mm512_set1_epi32(static_cast<int>(value));
}

__m512i EachUnit512(unsigned value) noexcept {
    return _mm512_set1_epi16(static_cast<short>(value));
}

// Writes `count` units, and others behind them where there is room. Of more than 32, the first.
void StoreUnits(std::uint16_t* output, __m512i units, std::size_t count, std::size_t room) noexcept {
    if (room >= 32) {
        _mm512_storeu_si512(output, units);
    } else {
        _mm512_mask_storeu_epi16(output, FirstOf32(count), units);
    }
}

// Which bytes of a block open a character, one bit for each.
struct Opening {
    std::uint64_t any = 0;   // C0 to FF
    std::uint64_t three = 0; // E0 to FF: of three bytes or more
    std::uint64_t four = 0;  // F0 to FF
};

// Blocks stand at fixed places and may cut a character apart, else each would wait for the one before: a code
// unit comes of the block in which its last byte is. Nothing branches on where the characters are.
Run Decode(const unsigned char* input, std::size_t length, std::uint16_t* output,
           std::size_t capacity) noexcept {
    const __m512i one = _mm512_load_si512(byteIndexes.one);
    const __m512i two = _mm512_load_si512(byteIndexes.two);
    std::size_t in = 0;
    std::size_t out = 0;
    Opening previous; // of the block before, which was full
    __m512i previousBytes = _mm512_setzero_si512();
    while (in < length) {
        const std::size_t size = Smaller(64, length - in);
        const std::uint64_t taken = FirstOf64(size);
        const __m512i bytes =
            size == 64 ? _mm512_loadu_si512(input + in) : _mm512_maskz_loadu_epi8(taken, input + in);
        const std::size_t room = capacity - out;
        const std::uint64_t beyondASCII = InRegister(_mm512_movepi8_mask(bytes));
        if ((beyondASCII | previous.any >> 63 | previous.three >> 62 | previous.four >> 61) == 0) {
            if (room < size) {
                break;
            }
            StoreUnits(output + out, _mm512_cvtepu8_epi16(_mm512_castsi512_si256(bytes)), size, room);
            if (size > 32) {
                StoreUnits(output + out + 32, _mm512_cvtepu8_epi16(_mm512_extracti64x4_epi64(bytes, 1)),
                           size - 32, room - 32);
            }
            in += size;
            out += size;
            continue; // what was complete before the block is so behind it
        }
        const __m512i before = _mm512_permutex2var_epi8(bytes, one, previousBytes);
        const __m512i twoBefore = _mm512_permutex2var_epi8(bytes, two, previousBytes);
        const __mmask64 continuing = _mm512_cmplt_epi8_mask(bytes, EachByte512(0xC0));
        const std::uint64_t continues = InRegister(continuing);
        const Opening opening = {beyondASCII & ~continues,
                                 InRegister(_mm512_cmpge_epu8_mask(bytes, EachByte512(0xE0))),
                                 InRegister(_mm512_cmpge_epu8_mask(bytes, EachByte512(0xF0)))};
        // By byte, whether it has to be the second of a character, the third and the fourth.
        const std::uint64_t seconds = opening.any << 1 | previous.any >> 63;
        const std::uint64_t thirds = opening.three << 2 | previous.three >> 62;
        const std::uint64_t fourths = opening.four << 3 | previous.four >> 61;
        const std::uint64_t fromA0 = InRegister(_mm512_cmpgt_epi8_mask(bytes, EachByte512(0x9F)));
        std::uint64_t illFormed =
            ((seconds | thirds | fourths) ^ continues) |
            (InRegister(_mm512_cmpeq_epi8_mask(before, EachByte512(0xE0))) & ~fromA0) |
            (InRegister(_mm512_cmpeq_epi8_mask(before, EachByte512(0xED))) & fromA0) |
            (opening.any & InRegister(_mm512_cmplt_epu8_mask(bytes, EachByte512(0xC2))));
        std::uint64_t thirdsOfFour = 0;
        if ((opening.four | previous.four >> 61) != 0) {
            const std::uint64_t from90 = InRegister(_mm512_cmpge_epu8_mask(bytes, EachByte512(0x90)));
            illFormed |= (InRegister(_mm512_cmpeq_epi8_mask(before, EachByte512(0xF0))) & ~from90) |
                         (InRegister(_mm512_cmpeq_epi8_mask(before, EachByte512(0xF4))) & from90) |
                         InRegister(_mm512_cmpge_epu8_mask(bytes, EachByte512(0xF5)));
            thirdsOfFour = opening.four << 2 | previous.four >> 62;
        }
        // A unit comes of the last byte of each character, and of the third of four, the leading surrogate.
        const std::uint64_t ends = ~(opening.any | opening.three << 1 | previous.three >> 63) & taken;
        const std::size_t count = CountOf(ends);
        if ((illFormed & taken) != 0 || room < count) {
            break;
        }
        // By byte, the two bytes of the unit that would end there: 7 bits of the byte itself or 6 that
        // continue, 5 or 6 of the byte before, and 4 of the one before that, if it opens a character of three
        // or more.
        const __m512i second = _mm512_maskz_mov_epi8(continuing, before);
        const __m512i first = _mm512_subs_epu8(twoBefore, EachByte512(0xE0));
        const __m512i low =
            _mm512_or_si512(_mm512_and_si512(bytes, EachByte512(0x7F)),
                            _mm512_and_si512(_mm512_slli_epi16(second, 6), EachByte512(0xC0)));
        const __m512i high =
            _mm512_or_si512(_mm512_and_si512(_mm512_srli_epi16(second, 2), EachByte512(0x0F)),
                            _mm512_and_si512(_mm512_slli_epi16(first, 4), EachByte512(0xF0)));
        const __m512i lowBytes = _mm512_maskz_compress_epi8(ends, low);
        const __m512i highBytes = _mm512_maskz_compress_epi8(ends, high);
        const auto store = [&](std::size_t at, const unsigned char* indexes) {
            __m512i units = _mm512_permutex2var_epi8(lowBytes, _mm512_load_si512(indexes), highBytes);
            if ((thirdsOfFour | fourths) != 0) {
                const auto leading = static_cast<__mmask32>(_pext_u64(thirdsOfFour, ends) >> at);
                const auto trailing = static_cast<__mmask32>(_pext_u64(fourths, ends) >> at);
                const __m512i leadingUnits = _mm512_add_epi16(_mm512_srli_epi16(units, leadingSurrogateShift),
                                                              EachUnit512(leadingSurrogateBase));
                const __m512i trailingUnits =
                    _mm512_or_si512(_mm512_and_si512(units, EachUnit512(trailingSurrogateBits)),
                                    EachUnit512(trailingSurrogateBase));
                units = _mm512_mask_mov_epi16(_mm512_mask_mov_epi16(units, leading, leadingUnits), trailing,
                                              trailingUnits);
            }
            StoreUnits(output + out + at, units, count - at, room - at);
        };
        store(0, interleaving.first);
        if (room >= 64 || count > 32) {
            store(32, interleaving.second);
        }
        previous = opening;
        previousBytes = bytes;
        in += size;
        out += count;
    }
    // A character that is cut off is left; of one of four bytes without its last the leading surrogate too.
    if (in >= 1 && input[in - 1] >= 0xC0) {
        return {in - 1, out};
    }
    if (in >= 2 && input[in - 2] >= 0xE0) {
        return {in - 2, out};
    }
    if (in >= 3 && input[in - 3] >= 0xF0) {
        return {in - 3, out - 1};
    }
    return {in, out};
}

// Writes the bytes that `kept` marks, and others behind them where there is room. Returns how many are
// marked.
std::size_t StoreKept(unsigned char* output, std::uint64_t kept, __m512i bytes, std::size_t room) noexcept {
    const __m512i together = _mm512_maskz_compress_epi8(kept, bytes);
    const std::size_t count = CountOf(kept);
    if (room >= 64) {
        _mm512_storeu_si512(output, together);
    } else {
        _mm512_mask_storeu_epi8(output, FirstOf64(count), together);
    }
    return count;
}

// Encodes those of 32 units that `taken` marks, the first ones, of which no pair is split and no surrogate
// alone. Returns the number of bytes. Inlined, so that its constants stay in registers.
//
// `mixedBlocks`, 0 at the beginning: for how many more blocks ASCII goes the way of two-byte characters.
// Where a text has both, which of them a block has is guessed wrongly, and that costs more than the shorter
// way saves.
[[gnu::always_inline]] inline std::size_t EncodeUnits(__m512i units, std::uint32_t taken,
                                                      unsigned char* output, std::size_t room,
                                                      unsigned& mixedBlocks) noexcept {
    constexpr std::uint64_t firstOfFour = 0x1111111111111111u;
    constexpr std::uint64_t firstOfTwo = 0x5555555555555555u;
    const std::uint32_t beyondASCII = InRegister(_mm512_cmpge_epu16_mask(units, EachUnit512(0x80)));
    if ((beyondASCII | mixedBlocks) == 0) {
        const __m256i bytes = _mm512_cvtepi16_epi8(units);
        if (room >= 32) {
            _mm256_storeu_si256(reinterpret_cast<__m256i*>(output), bytes);
        } else {
            _mm256_mask_storeu_epi8(output, taken, bytes);
        }
        return CountOf(taken);
    }
    const std::uint32_t threeBytes = InRegister(_mm512_cmpge_epu16_mask(units, EachUnit512(0x800)));
    if (threeBytes == 0) {
        mixedBlocks = beyondASCII != 0 ? 3 : mixedBlocks - 1; // at least 1 where all is ASCII
        const __m512i two =
            _mm512_or_si512(_mm512_or_si512(_mm512_srli_epi16(units, 6),
                                            _mm512_slli_epi16(_mm512_and_si512(units, EachUnit512(0x3F)), 8)),
                            EachUnit512(0x80C0));
        // A single byte stands in the place of the second of two.
        const __m512i bytes = _mm512_mask_mov_epi16(_mm512_slli_epi16(units, 8), beyondASCII, two);
        return StoreKept(output,
                         _pdep_u64(beyondASCII & taken, firstOfTwo) | _pdep_u64(taken, firstOfTwo << 1),
                         bytes, room);
    }
    mixedBlocks = 0;
    const __m512i kinds = _mm512_and_si512(units, EachUnit512(0xFC00));
    const std::uint32_t leading = InRegister(_mm512_cmpeq_epi16_mask(kinds, EachUnit512(0xD800)));
    const std::uint32_t trailing = leading << 1;
    if (leading != 0) {
        // Either half becomes two bytes. In their place stands what becomes the same as if it were another
        // unit: F0 to F4 and a continuation like C0 to DF, two continuations like the last two of three.
        const __m512i ten = _mm512_and_si512(units, EachUnit512(0x3FF));
        const __m512i before = _mm512_permutexvar_epi16(_mm512_load_si512(unitsBehind.index), units);
        const __m512i leadingUnits = _mm512_or_si512(
            _mm512_srli_epi16(_mm512_add_epi16(ten, EachUnit512(0x40)), 2), EachUnit512(0xC00));
        const __m512i trailingUnits =
            _mm512_or_si512(ten, _mm512_slli_epi16(_mm512_and_si512(before, EachUnit512(3)), 10));
        units = _mm512_mask_mov_epi16(_mm512_mask_mov_epi16(units, leading, leadingUnits), trailing,
                                      trailingUnits);
    }
    std::size_t written = 0;
    const auto encode = [&](__m256i half, unsigned shift) {
        const auto two = static_cast<__mmask16>(beyondASCII >> shift);
        const auto continued = static_cast<__mmask16>((threeBytes & ~leading) >> shift);
        const __m512i words = _mm512_cvtepu16_epi32(half);
        // The last byte always stands in the third place, what comes before it in the two before.
        const __m512i third = _mm512_slli_epi32(
            _mm512_mask_or_epi32(words, two, _mm512_and_si512(words, EachWord512(0x3F)), EachWord512(0x80)),
            16);
        const __m512i second =
            _mm512_or_si512(_mm512_and_si512(_mm512_slli_epi32(words, 2), EachWord512(0x3F00)),
                            _mm512_mask_mov_epi32(EachWord512(0xC000), continued, EachWord512(0x8000)));
        const __m512i first = _mm512_or_si512(_mm512_srli_epi32(words, 12), EachWord512(0xE0));
        const std::uint64_t places =
            _pdep_u64((taken & threeBytes & ~leading & ~trailing) >> shift, firstOfFour) |
            _pdep_u64((taken & beyondASCII) >> shift, firstOfFour << 1) |
            _pdep_u64(taken >> shift, firstOfFour << 2);
        written += StoreKept(output + written, places, _mm512_or_si512(third, _mm512_or_si512(second, first)),
                             room - written);
    };
    encode(_mm512_castsi512_si256(units), 0);
    encode(_mm512_extracti64x4_epi64(units, 1), 16);
    return written;
}

// The units before which to stop, of those that `taken` marks: what is half of no pair, a leading surrogate
// at the end; with `singly` all surrogates and zeros.
template <bool singly>
std::uint32_t FindStops(__m512i units, std::uint32_t taken) noexcept {
    const __mmask32 surrogates =
        _mm512_cmpeq_epi16_mask(_mm512_and_si512(units, EachUnit512(0xF800)), EachUnit512(0xD800));
    if (singly) {
        return surrogates | _mm512_mask_testn_epi16_mask(taken, units, units);
    }
    if (surrogates == 0) {
        return 0;
    }
    const std::uint32_t trailing = surrogates & _mm512_test_epi16_mask(units, EachUnit512(0x400));
    const std::uint32_t leading = surrogates & ~trailing;
    return (trailing & ~(leading << 1)) | (leading & ~(trailing >> 1));
}

// How many bytes the first `count` units become; half a pair becomes two.
struct EncodedSizes {
    std::uint32_t beyondASCII;
    std::uint32_t withFirst; // three bytes
    std::uint32_t leading;

    explicit EncodedSizes(__m512i units) noexcept
        : beyondASCII(InRegister(_mm512_cmpge_epu16_mask(units, EachUnit512(0x80)))),
          withFirst(InRegister(_mm512_cmpge_epu16_mask(units, EachUnit512(0x800)))),
          leading(InRegister(
              _mm512_cmpeq_epi16_mask(_mm512_and_si512(units, EachUnit512(0xFC00)), EachUnit512(0xD800)))) {
        withFirst &= ~(leading | leading << 1);
    }

    std::size_t Of(unsigned count) const noexcept {
        return count + CountOf(_bzhi_u32(beyondASCII, count)) + CountOf(_bzhi_u32(withFirst, count));
    }

    // How many units fit into `room` bytes, without splitting a pair. Requires: not all 32 do. Without
    // branches, which would be guessed wrongly.
    unsigned FitInto(std::size_t room) const noexcept {
        // A bit for each byte, in four places for each of 16 units.
        constexpr std::uint64_t places = 0x1111111111111111u;
        const auto bytesFrom = [&](unsigned unit) {
            return places << 2 | _pdep_u64(beyondASCII >> unit, places << 1) |
                   _pdep_u64(withFirst >> unit, places);
        };
        // The unit of the first byte for which there is no room: 16 where it is none of these.
        const auto unitOf = [](std::size_t byte, std::uint64_t bytes) {
            return static_cast<unsigned>(PlaceOf(byte, bytes)) / 4;
        };
        const std::uint64_t first = bytesFrom(0);
        const unsigned fitting =
            unitOf(Smaller(room, 63), first) + unitOf(room - Smaller(room, CountOf(first)), bytesFrom(16));
        return fitting - (fitting != 0 ? leading >> (fitting - 1) & 1 : 0);
    }
};

// A function of its own, for the compiler lays the loop out worse beside another.
template <bool singly>
[[gnu::noinline]] Run EncodeMixed(const std::uint16_t* input, std::size_t length, unsigned char* output,
                                  std::size_t capacity) noexcept {
    std::size_t in = 0;
    std::size_t out = 0;
    unsigned mixedBlocks = 0;
    for (;;) {
        while (length - in >= 32 && capacity - out >= 96) {
            const __m512i units = _mm512_loadu_si512(input + in);
            if (FindStops<singly>(units, 0xFFFFFFFFu) != 0) {
                break;
            }
            out += EncodeUnits(units, 0xFFFFFFFFu, output + out, capacity - out, mixedBlocks);
            in += 32;
        }
        const std::size_t room = capacity - out;
        if (room == 0) {
            return {in, out};
        }
        auto count = static_cast<unsigned>(Smaller(32, length - in));
        const std::uint32_t taken = FirstOf32(count);
        const __m512i units = _mm512_maskz_loadu_epi16(taken, input + in);
        if (const std::uint32_t stops = FindStops<singly>(units, taken)) {
            count = _tzcnt_u32(stops);
        }
        if (const EncodedSizes sizes(units); sizes.Of(count) > room) {
            count = sizes.FitInto(room);
        }
        if (count == 0) {
            return {in, out};
        }
        out += EncodeUnits(units, FirstOf32(count), output + out, room, mixedBlocks);
        in += count;
    }
}

// Encodes the ASCII that a text begins with, as far as 64 units in a row are nothing else, and not much of it
// near its end; with `singly` up to a zero. In turns of four, for the end of a loop of many short turns is
// guessed wrongly. Returns how many units it encoded.
template <bool singly>
[[gnu::noinline]] std::size_t EncodeASCII(const std::uint16_t* input, unsigned char* output,
                                          std::size_t count) noexcept {
    std::size_t i = 0;
    const auto step = [&] {
        const __m512i first = _mm512_loadu_si512(input + i);
        const __m512i second = _mm512_loadu_si512(input + i + 32);
        const __m512i least = _mm512_min_epu16(first, second);
        if (_mm512_test_epi16_mask(_mm512_or_si512(first, second), EachUnit512(0xFF80)) != 0 ||
            (singly && _mm512_testn_epi16_mask(least, least) != 0)) {
            return false;
        }
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(output + i), _mm512_cvtepi16_epi8(first));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(output + i + 32), _mm512_cvtepi16_epi8(second));
        i += 64;
        return true;
    };
    while (count - i >= 256 && step() && step() && step() && step()) {
    }
    return i;
}

template <bool singly>
Run Encode(const std::uint16_t* input, std::size_t length, unsigned char* output,
           std::size_t capacity) noexcept {
    const std::size_t count = Smaller(length, capacity);
    if (count < 256) {
        return EncodeMixed<singly>(input, length, output, capacity);
    }
    const std::size_t ascii = EncodeASCII<singly>(input, output, count);
    const Run rest = EncodeMixed<singly>(input + ascii, length - ascii, output + ascii, capacity - ascii);
    return {ascii + rest.consumed, ascii + rest.written};
}

} // namespace

constinit const UTF8Loops avx512UTF8Loops = {Decode, Encode<false>, Encode<true>};

} // namespace Kernels
