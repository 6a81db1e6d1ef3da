#include "Kernels/Avx512Parts.h"
#include "Kernels/ShiftJisLoops.h"

#include <cstring>
#include <immintrin.h>

namespace Kernels {

namespace {

constexpr std::size_t blockSize = 64;

constexpr unsigned quarter = blockSize / 4;

constexpr std::size_t escapeLength = 3;

__m512i SwapBytes(__m512i units) noexcept {
    return _mm512_or_si512(_mm512_slli_epi16(units, 8), _mm512_srli_epi16(units, 8));
}

// The bytes that may be lead bytes, if the one before them is not: those of two stretches.
class Stretches {
public:
    explicit Stretches(const unsigned char (&ranges)[2][2]) noexcept
        : first0(EachByte512(ranges[0][0])),
          first1(EachByte512(ranges[1][0])),
          span0(EachByte512(ranges[0][1] - ranges[0][0])),
          span1(EachByte512(ranges[1][1] - ranges[1][0])) {}

    __mmask64 Of(__m512i bytes) const noexcept {
        return _mm512_cmple_epu8_mask(_mm512_sub_epi8(bytes, first0), span0) |
               _mm512_cmple_epu8_mask(_mm512_sub_epi8(bytes, first1), span1);
    }

private:
    __m512i first0;
    __m512i first1;
    __m512i span0;
    __m512i span1;
};

// Where the mode of a byte is not that of the one before.
std::uint64_t Changes(std::uint64_t ofPairs, bool inJIS) noexcept {
    return ofPairs ^ (ofPairs << 1 | (inJIS ? 1 : 0));
}

// A quarter of a block whose bytes each stand behind the escape sequence to their mode: four bytes for one.
// `modes`: what stands there between ESC and B.
__m512i WithEscapes(__m512i bytes, __m512i modes, unsigned begin) noexcept {
    const __m512i numbers = _mm512_set_epi32(15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0);
    const __m512i places = _mm512_add_epi32(numbers, _mm512_set1_epi32(static_cast<int>(begin)));
    // Of each four, the second is taken from the modes and the fourth from the bytes; the others stay.
    const __m512i sources =
        _mm512_or_si512(_mm512_set1_epi32(0x0042401B),
                        _mm512_or_si512(_mm512_slli_epi32(places, 24), _mm512_slli_epi32(places, 8)));
    return _mm512_mask2_permutex2var_epi8(bytes, sources, 0xAAAAAAAAAAAAAAAAu, modes);
}

// Of these, each byte, and the escape sequence where the mode changes.
std::uint64_t Kept(std::uint64_t changes, unsigned begin) noexcept {
    return 0x8888888888888888u + _pdep_u64(changes >> begin, 0x1111111111111111u) * 7;
}

// Bytes that the first `size` bytes of a block become.
std::size_t SizeWithEscapes(std::size_t size, std::uint64_t changes) noexcept {
    return size + escapeLength * CountOf(_bzhi_u64(changes, static_cast<unsigned>(size)));
}

// How many bytes of a block, whole characters, fit into `room` with their escape sequences. Requires: not all
// 64 do. Without branches, which would be guessed wrongly: each quarter has 16 bytes or those before the one
// that becomes the first byte without room. No quarter becomes 64 bytes, for a pair is two.
std::size_t SizeThatFits(std::size_t room, std::uint64_t leads, std::uint64_t changes) noexcept {
    std::size_t size = 0;
    for (unsigned begin = 0; begin < blockSize; begin += quarter) {
        const std::uint64_t kept = Kept(changes, begin);
        size += PlaceOf(Smaller(room, 63), kept) / 4;
        room -= Smaller(room, CountOf(kept));
    }
    return size > 0 ? size - (leads >> (size - 1) & 1) : 0;
}

// The bytes that may be lead bytes of Shift-JIS, if the one before them is not.
std::uint64_t MayLead(__m512i bytes) noexcept {
    // 81 to 9F and E0 to FC become 21 to 5C.
    return _mm512_cmple_epu8_mask(
        _mm512_sub_epi8(_mm512_xor_si512(bytes, EachByte512(0xA0)), EachByte512(0x21)),
        EachByte512(0x5C - 0x21));
}

// The bytes with the regular codes of their pairs, or what is none. `next`: the byte behind each. Requires:
// lead bytes of Shift-JIS.
__m512i RegularCodes(__m512i bytes, __m512i next, __mmask64 leads, __mmask64 seconds) noexcept {
    // Twice a lead byte, and where the row of 81 and that of E0 begin.
    const __m512i rows = _mm512_add_epi8(_mm512_and_si512(_mm512_add_epi8(bytes, bytes), EachByte512(0x7F)),
                                         EachByte512(0x1F));
    const __m512i toCells = _mm512_mask_mov_epi8(
        _mm512_mask_mov_epi8(EachByte512(0x1F), _mm512_movepi8_mask(bytes), EachByte512(0x20)),
        _mm512_cmpge_epu8_mask(bytes, EachByte512(0x9F)), EachByte512(0x7E));
    const __mmask64 inSecondRows = _mm512_mask_cmpge_epu8_mask(leads, next, EachByte512(0x9F));
    __m512i codes = _mm512_mask_sub_epi8(bytes, seconds, bytes, toCells);
    codes = _mm512_mask_mov_epi8(codes, leads, rows);
    return _mm512_mask_add_epi8(codes, inSecondRows, codes, EachByte512(1));
}

// Whether all pairs have a regular code: both bytes of it are 21 to 7E, and the second was not made of 7F.
bool AreRegular(__m512i bytes, __m512i codes, __mmask64 ofPairs, __mmask64 seconds) noexcept {
    const __mmask64 outside = _mm512_mask_cmpgt_epu8_mask(ofPairs, _mm512_sub_epi8(codes, EachByte512(0x21)),
                                                          EachByte512(0x7E - 0x21));
    return (outside | _mm512_mask_cmpeq_epi8_mask(seconds, bytes, EachByte512(0x7F))) == 0;
}

// Writes a block, each byte behind the escape sequence to its mode where that changes, and behind it changes
// the rest of a vector.
void Write(unsigned char* output, __m512i bytes, std::uint64_t ofPairs, std::uint64_t changes) noexcept {
    const __m512i modes = _mm512_mask_mov_epi8(EachByte512('('), ofPairs, EachByte512('$'));
    for (unsigned begin = 0; begin < blockSize; begin += quarter) {
        const std::uint64_t kept = Kept(changes, begin);
        _mm512_storeu_si512(output, _mm512_maskz_compress_epi8(kept, WithEscapes(bytes, modes, begin)));
        output += CountOf(kept);
    }
}

// Writes what the first `size` bytes of a block become, and changes nothing behind it: the whole block is
// written elsewhere.
void WriteFirst(std::size_t size, unsigned char* output, __m512i bytes, std::uint64_t ofPairs,
                std::uint64_t changes) noexcept {
    unsigned char whole[4 * blockSize];
    Write(whole, bytes, ofPairs, changes);
    std::memcpy(output, whole, SizeWithEscapes(size, changes));
}

// Adds the first `size` bytes of a block, whole characters, to a run.
void Take(std::size_t size, std::uint64_t seconds, std::uint64_t ofPairs, std::uint64_t changes,
          JisRun& run) noexcept {
    run.consumed += size;
    run.characters += size - CountOf(_bzhi_u64(seconds, static_cast<unsigned>(size)));
    run.written += SizeWithEscapes(size, changes);
    if (size != 0) {
        run.inJIS = (ofPairs >> (size - 1) & 1) != 0;
    }
}

struct Blocks {
    JisRun run;
    bool isFull; // the next character does not fit the output
};

// As far as nothing has to be looked up. Where a block begins does not wait for where the pairs of the one
// before are: its end may cut one apart. Of the last block goes what fits.
Blocks RegularBlocks(bool inJIS, const unsigned char* input, std::size_t length, unsigned char* output,
                     std::size_t capacity) noexcept {
    JisRun run = {0, 0, 0, inJIS};
    bool isFull = false;
    bool isCut = false;
    bool isCutAfterEscape = false;
    while (length - run.consumed > blockSize) {
        const std::size_t room = capacity - run.written;
        const unsigned char* const block = input + run.consumed;
        const __m512i bytes = _mm512_loadu_si512(block);
        // Less than two blocks of ASCII are not worth a branch: where texts are mixed it is a guess.
        if (length - run.consumed >= 2 * blockSize && room >= 2 * blockSize &&
            (_mm512_movepi8_mask(_mm512_or_si512(bytes, _mm512_loadu_si512(block + blockSize))) |
             (run.inJIS ? 1 : 0)) == 0) {
            _mm512_storeu_si512(output + run.written, bytes);
            _mm512_storeu_si512(output + run.written + blockSize, _mm512_loadu_si512(block + blockSize));
            run.consumed += 2 * blockSize;
            run.characters += 2 * blockSize;
            run.written += 2 * blockSize;
            continue;
        }
        const std::uint64_t first = isCut ? 1 : 0;
        const std::uint64_t leads = InRegister(EveryOther(InRegister(MayLead(bytes)) & ~first));
        const std::uint64_t seconds = leads << 1 | first;
        const std::uint64_t ofPairs = InRegister(leads | seconds);
        const std::uint64_t changes = Changes(ofPairs, run.inJIS);
        const __m512i codes = RegularCodes(bytes, _mm512_loadu_si512(block + 1), leads, seconds);
        if (!AreRegular(bytes, codes, ofPairs, seconds)) [[unlikely]] {
            break;
        }
        const std::size_t needed = SizeWithEscapes(blockSize, changes);
        if (needed > room) [[unlikely]] {
            isFull = true;
            if ((ofPairs | changes) == 0) { // single bytes alone
                _mm512_storeu_si512(output + run.written, bytes);
                Take(room, 0, 0, 0, run);
                break;
            }
            const std::size_t size = SizeThatFits(room, leads, changes);
            WriteFirst(size, output + run.written, codes, ofPairs, changes);
            Take(size, seconds, ofPairs, changes, run);
            isCut = isCut && size == 0;
            break;
        }
        Write(output + run.written, codes, ofPairs, changes);
        run.consumed += blockSize;
        run.characters += blockSize - CountOf(seconds);
        run.written += needed;
        isCut = leads >> (blockSize - 1) != 0;
        isCutAfterEscape = changes >> (blockSize - 1) != 0;
        run.inJIS = ofPairs >> (blockSize - 1) != 0;
    }
    if (isCut) { // its first half is taken back
        --run.consumed;
        --run.characters;
        run.written -= 1 + (isCutAfterEscape ? escapeLength : 0);
        run.inJIS = !isCutAfterEscape;
    }
    return {run, isFull};
}

// Whether RegularBlocks knows the lead bytes and the codes.
bool IsRegular(const JisTable& table) noexcept {
    constexpr unsigned char ranges[2][2] = {{0x81, 0x9F}, {0xE0, 0xFC}};
    return table.isRegular && std::memcmp(table.shiftJis->ranges, ranges, sizeof ranges) == 0;
}

// A block at a time, and none of its branches depends on where in it the pairs are.
JisRun Convert(const JisTable& table, bool inJIS, const unsigned char* input, std::size_t length,
               unsigned char* output, std::size_t capacity) noexcept {
    JisRun run = {0, 0, 0, inJIS};
    if (table.shiftJis->hasRanges) {
        const Stretches stretches(table.shiftJis->ranges);
        const bool isRegular = IsRegular(table);
        if (isRegular) {
            const Blocks blocks = RegularBlocks(inJIS, input, length, output, capacity);
            run = blocks.run;
            if (blocks.isFull) {
                return run;
            }
        }
        while (run.consumed < length) {
            const std::size_t inBlock = Smaller(blockSize, length - run.consumed);
            const __mmask64 all = FirstOf64(inBlock);
            const __m512i bytes = _mm512_maskz_loadu_epi8(all, input + run.consumed);
            if (!run.inJIS && _mm512_movepi8_mask(bytes) == 0) {
                const std::size_t size = Smaller(inBlock, capacity - run.written);
                _mm512_storeu_si512(output + run.written, bytes);
                run.consumed += size;
                run.characters += size;
                run.written += size;
                if (size < inBlock) {
                    return run;
                }
                continue;
            }
            std::uint64_t leads = EveryOther(stretches.Of(bytes) & all);
            // A pair that the block's end cuts apart is left to the next block.
            std::size_t size = inBlock - (leads >> (inBlock - 1));
            leads = _bzhi_u64(leads, static_cast<unsigned>(inBlock - 1));
            const std::uint64_t seconds = leads << 1;
            const std::uint64_t ofPairs = leads | seconds;

            __m512i jis;
            if (isRegular) {
                const __m512i next = _mm512_maskz_loadu_epi8(all >> 1, input + run.consumed + 1);
                jis = RegularCodes(bytes, next, leads, seconds);
                if (!AreRegular(bytes, jis, ofPairs, seconds)) {
                    break; // a pair without a code, up to which the other loop goes
                }
            } else {
                alignas(64) std::uint16_t indexes[32];
                _mm512_store_si512(indexes, SwapBytes(_mm512_maskz_compress_epi8(ofPairs, bytes)));
                const __m512i codes = LookUp32(table.codes, indexes);
                if (_bzhi_u32(_mm512_testn_epi16_mask(codes, codes), static_cast<unsigned>(CountOf(leads))) !=
                    0) {
                    break;
                }
                jis = _mm512_mask_expand_epi8(bytes, ofPairs, SwapBytes(codes));
            }

            const std::uint64_t changes = Changes(ofPairs, run.inJIS);
            const std::size_t room = capacity - run.written;
            const bool isLast = SizeWithEscapes(size, changes) > room;
            if (isLast) {
                size = SizeThatFits(room, leads, changes);
            }
            if (SizeWithEscapes(blockSize, changes) <= room) {
                Write(output + run.written, jis, ofPairs, changes);
            } else {
                WriteFirst(size, output + run.written, jis, ofPairs, changes);
            }
            Take(size, seconds, ofPairs, changes, run);
            if (isLast || size == 0) {
                return run;
            }
        }
    }
    const JisRun rest = sse2JisLoops.convert(table, run.inJIS, input + run.consumed, length - run.consumed,
                                             output + run.written, capacity - run.written);
    return {run.consumed + rest.consumed, run.characters + rest.characters, run.written + rest.written,
            rest.inJIS};
}

std::size_t BeforeEscape(const unsigned char* input, std::size_t length) noexcept {
    // With the controls between them, of which texts have none either, they take one comparison.
    std::size_t done = 0;
    for (; length - done >= 4 * blockSize; done += 4 * blockSize) {
        const auto above = [&](std::size_t block) {
            return _mm512_sub_epi8(_mm512_loadu_si512(input + done + block * blockSize), EachByte512(0x0E));
        };
        const __m512i least =
            _mm512_min_epu8(_mm512_min_epu8(above(0), above(1)), _mm512_min_epu8(above(2), above(3)));
        if (_mm512_cmple_epu8_mask(least, EachByte512(0x1B - 0x0E)) != 0) {
            break;
        }
    }
    for (; done < length; done += blockSize) {
        const __m512i bytes =
            _mm512_maskz_loadu_epi8(FirstOf64(Smaller(blockSize, length - done)), input + done);
        const __mmask64 shifts =
            _mm512_cmpeq_epi8_mask(_mm512_or_si512(bytes, EachByte512(1)), EachByte512(0x0F));
        if (const std::uint64_t found = shifts | _mm512_cmpeq_epi8_mask(bytes, EachByte512(0x1B));
            found != 0) {
            return done + _tzcnt_u64(found);
        }
    }
    return length;
}

} // namespace

constinit const JisLoops avx512JisLoops = {Convert, BeforeEscape};

} // namespace Kernels
