#include "Kernels/Avx512Parts.h"
#include "Kernels/ShiftJisLoops.h"

#include <cstring>
#include <immintrin.h>

namespace Kernels {

namespace {

constexpr std::size_t blockSize = 64;

constexpr unsigned quarter = blockSize / 4;

constexpr std::size_t escapeLength = 3;

__m512i Set(unsigned byte) noexcept {
    return _mm512_set1_epi8(static_cast<char>(byte));
}

__m512i SwapBytes(__m512i units) noexcept {
    return _mm512_or_si512(_mm512_slli_epi16(units, 8), _mm512_srli_epi16(units, 8));
}

// The bytes that may be lead bytes, if the one before them is not: those of two stretches.
class Stretches {
public:
    explicit Stretches(const unsigned char (&ranges)[2][2]) noexcept
        : first0(Set(ranges[0][0])),
          first1(Set(ranges[1][0])),
          span0(Set(ranges[0][1] - ranges[0][0])),
          span1(Set(ranges[1][1] - ranges[1][0])) {}

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
__m512i WithEscapes(__m512i bytes, std::uint64_t ofPairs, unsigned begin) noexcept {
    // ESC ( B and a byte, and what makes it ESC $ B.
    const __m512i toASCII = _mm512_set1_epi32(0x0042281B);
    const __m512i toJIS = _mm512_set1_epi32(0x0042241B);
    const __m512i numbers = _mm512_set_epi32(15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0);
    const __m512i places =
        _mm512_slli_epi32(_mm512_add_epi32(numbers, _mm512_set1_epi32(static_cast<int>(begin))), 24);
    const __m512i escapes = _mm512_mask_mov_epi32(toASCII, static_cast<__mmask16>(ofPairs >> begin), toJIS);
    return _mm512_mask_permutexvar_epi8(escapes, 0x8888888888888888u, places, bytes);
}

// Of these, each byte, and the escape sequence where the mode changes.
std::uint64_t Kept(std::uint64_t changes, unsigned begin) noexcept {
    return 0x8888888888888888u | _pdep_u64(changes >> begin, 0x1111111111111111u) * 7;
}

// Stores those of the bytes that are kept, and returns their number. What is behind them changes too.
std::size_t Store(unsigned char* output, __m512i bytes, std::uint64_t kept) noexcept {
    _mm512_storeu_si512(output, _mm512_maskz_compress_epi8(kept, bytes));
    return CountOf(kept);
}

// Those bytes of pairs that have no regular code. Requires: lead bytes of Shift-JIS.
__mmask64 OffGrid(__m512i bytes, __mmask64 leads, __mmask64 seconds) noexcept {
    const __mmask64 noSeconds = _mm512_cmpgt_epu8_mask(_mm512_sub_epi8(bytes, Set(0x40)), Set(0xFC - 0x40)) |
                                _mm512_cmpeq_epi8_mask(bytes, Set(0x7F));
    return (leads & _mm512_cmpge_epu8_mask(bytes, Set(0xF0))) | (seconds & noSeconds);
}

// The bytes with the regular codes of their pairs. `next`: the byte behind each. Requires: the pairs have
// some.
__m512i RegularCodes(__m512i bytes, __m512i next, __mmask64 leads, __mmask64 seconds) noexcept {
    // Twice a lead byte, and where the row of 81 and that of E0 begin.
    const __m512i rows =
        _mm512_add_epi8(_mm512_and_si512(_mm512_add_epi8(bytes, bytes), Set(0x7F)), Set(0x1F));
    const __m512i toCells =
        _mm512_mask_mov_epi8(_mm512_mask_mov_epi8(Set(0x1F), _mm512_movepi8_mask(bytes), Set(0x20)),
                             _mm512_cmpge_epu8_mask(bytes, Set(0x9F)), Set(0x7E));
    const __mmask64 inSecondRows = leads & _mm512_cmpge_epu8_mask(next, Set(0x9F));
    __m512i codes = _mm512_mask_sub_epi8(bytes, seconds, bytes, toCells);
    codes = _mm512_mask_mov_epi8(codes, leads, rows);
    return _mm512_mask_add_epi8(codes, inSecondRows, codes, Set(1));
}

// As far as nothing has to be looked up and there is room. Where a block begins does not wait for where the
// pairs of the one before are: its end may cut one apart.
JisRun RegularBlocks(const Stretches& stretches, bool inJIS, const unsigned char* input, std::size_t length,
                     unsigned char* output, std::size_t capacity) noexcept {
    JisRun run = {0, 0, 0, inJIS};
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
        const std::uint64_t leads = EveryOther(stretches.Of(bytes) & ~first);
        const std::uint64_t seconds = leads << 1 | first;
        const std::uint64_t ofPairs = leads | seconds;
        const std::uint64_t changes = Changes(ofPairs, run.inJIS);
        if (room < blockSize + escapeLength * CountOf(changes) || OffGrid(bytes, leads, seconds) != 0) {
            break;
        }
        const __m512i codes = RegularCodes(bytes, _mm512_loadu_si512(block + 1), leads, seconds);
        for (unsigned begin = 0; begin < blockSize; begin += quarter) {
            run.written +=
                Store(output + run.written, WithEscapes(codes, ofPairs, begin), Kept(changes, begin));
        }
        run.consumed += blockSize;
        run.characters += blockSize - CountOf(seconds);
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
    return run;
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
            run = RegularBlocks(stretches, inJIS, input, length, output, capacity);
        }
        while (run.consumed < length) {
            const std::size_t inBlock = Smaller(blockSize, length - run.consumed);
            const std::size_t room = capacity - run.written;
            const __mmask64 all = FirstOf64(inBlock);
            const __m512i bytes = _mm512_maskz_loadu_epi8(all, input + run.consumed);
            if (!run.inJIS && _mm512_movepi8_mask(bytes) == 0) {
                const std::size_t size = Smaller(inBlock, room);
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
            const std::uint64_t ofPairs = leads | leads << 1;

            __m512i jis;
            if (isRegular) {
                if (OffGrid(bytes, leads, leads << 1) != 0) {
                    break; // a pair without a code, up to which the other loop goes
                }
                const __m512i next = _mm512_maskz_loadu_epi8(all >> 1, input + run.consumed + 1);
                jis = RegularCodes(bytes, next, leads, leads << 1);
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
            const auto keptFrom = [&](unsigned begin) {
                const std::size_t count = size > begin ? Smaller(quarter, size - begin) : 0;
                return _bzhi_u64(Kept(changes, begin), static_cast<unsigned>(4 * count));
            };
            const std::size_t needed =
                size + escapeLength * CountOf(_bzhi_u64(changes, static_cast<unsigned>(size)));
            const bool isLast = needed > room;
            if (isLast) {
                // Up to the character for which there is no room, with the escape sequence before it.
                // Without branches, which would be guessed wrongly: each quarter has 16 characters or those
                // before the one of the first byte without room.
                std::size_t left = room;
                size = 0;
                for (unsigned begin = 0; begin < blockSize; begin += quarter) {
                    const std::uint64_t kept = Kept(changes, begin);
                    size += _tzcnt_u64(_pdep_u64(std::uint64_t{1} << Smaller(left, 63), kept)) / 4;
                    left -= Smaller(left, CountOf(kept));
                }
                size -= size > 0 ? leads >> (size - 1) & 1 : 0;
            }
            for (unsigned begin = 0; begin < blockSize; begin += quarter) {
                run.written += Store(output + run.written, WithEscapes(jis, ofPairs, begin), keptFrom(begin));
            }
            if (size != 0) {
                run.inJIS = (ofPairs >> (size - 1) & 1) != 0;
            }
            run.consumed += size;
            run.characters += size - CountOf(_bzhi_u64(leads, static_cast<unsigned>(size)));
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
            return _mm512_sub_epi8(_mm512_loadu_si512(input + done + block * blockSize), Set(0x0E));
        };
        const __m512i least =
            _mm512_min_epu8(_mm512_min_epu8(above(0), above(1)), _mm512_min_epu8(above(2), above(3)));
        if (_mm512_cmple_epu8_mask(least, Set(0x1B - 0x0E)) != 0) {
            break;
        }
    }
    for (; done < length; done += blockSize) {
        const __m512i bytes =
            _mm512_maskz_loadu_epi8(FirstOf64(Smaller(blockSize, length - done)), input + done);
        const __mmask64 shifts = _mm512_cmpeq_epi8_mask(_mm512_or_si512(bytes, Set(1)), Set(0x0F));
        if (const std::uint64_t found = shifts | _mm512_cmpeq_epi8_mask(bytes, Set(0x1B)); found != 0) {
            return done + _tzcnt_u64(found);
        }
    }
    return length;
}

} // namespace

constinit const JisLoops avx512JisLoops = {Convert, BeforeEscape};

} // namespace Kernels
