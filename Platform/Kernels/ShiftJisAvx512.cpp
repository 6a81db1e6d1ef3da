#include "Kernels/Avx512Parts.h"
#include "Kernels/ShiftJisLoops.h"

#include <cstring>
#include <immintrin.h>

namespace Kernels {

namespace {

constexpr std::size_t blockSize = 64;

constexpr unsigned quarter = blockSize / 4;

// What a block becomes at most: an escape sequence before each byte.
constexpr std::size_t blockRoom = 4 * blockSize;

__m512i SwapBytes(__m512i units) noexcept {
    return _mm512_or_si512(_mm512_slli_epi16(units, 8), _mm512_srli_epi16(units, 8));
}

} // namespace

// A block at a time, and none of its branches depends on where in it the pairs are.
JisRun Avx512ShiftJisToJis(const JisTable& table, bool inJIS, const unsigned char* input, std::size_t length,
                           unsigned char* output, std::size_t capacity) noexcept {
    const auto& ranges = table.shiftJis->ranges;
    const auto span = [&](unsigned i) {
        return _mm512_set1_epi8(static_cast<char>(ranges[i][1] - ranges[i][0]));
    };
    JisRun run = {0, 0, 0, inJIS};
    if (table.shiftJis->hasRanges) {
        const __m512i first0 = _mm512_set1_epi8(static_cast<char>(ranges[0][0]));
        const __m512i first1 = _mm512_set1_epi8(static_cast<char>(ranges[1][0]));
        const __m512i span0 = span(0);
        const __m512i span1 = span(1);
        // ESC ( B and a byte, and what makes it ESC $ B.
        const __m512i toASCII = _mm512_set1_epi32(0x0042281B);
        const __m512i toJIS = _mm512_set1_epi32(0x0042241B);
        while (run.consumed < length) {
            const std::size_t inBlock = Smaller(blockSize, length - run.consumed);
            const std::size_t room = capacity - run.written;
            const __mmask64 all = FirstOf64(inBlock);
            const __m512i bytes = _mm512_maskz_loadu_epi8(all, input + run.consumed);
            if (!run.inJIS && _mm512_movepi8_mask(bytes) == 0) {
                const std::size_t size = Smaller(inBlock, room);
                _mm512_mask_storeu_epi8(output + run.written, FirstOf64(size), bytes);
                run.consumed += size;
                run.characters += size;
                run.written += size;
                if (size < inBlock) {
                    return run;
                }
                continue;
            }
            const __mmask64 maybeLeads = _mm512_cmple_epu8_mask(_mm512_sub_epi8(bytes, first0), span0) |
                                         _mm512_cmple_epu8_mask(_mm512_sub_epi8(bytes, first1), span1);
            __mmask64 leads = EveryOther(maybeLeads & all);
            // A pair that the block's end cuts apart is left to the next block.
            std::size_t size = inBlock - (leads >> (inBlock - 1));
            leads = _bzhi_u64(leads, static_cast<unsigned>(inBlock - 1));
            const __mmask64 ofPairs = leads | leads << 1;

            alignas(64) std::uint16_t indexes[32];
            _mm512_store_si512(indexes, SwapBytes(_mm512_maskz_compress_epi8(ofPairs, bytes)));
            const __m512i codes = LookUp32(table.codes, indexes);
            if (_bzhi_u32(_mm512_testn_epi16_mask(codes, codes), static_cast<unsigned>(CountOf(leads))) !=
                0) {
                break; // a pair without a code, up to which the other loop goes
            }
            const __m512i jis = _mm512_mask_expand_epi8(bytes, ofPairs, SwapBytes(codes));

            // Each byte stands behind the escape sequence to its mode, which is kept where the mode changes.
            const std::uint64_t changes = ofPairs ^ (ofPairs << 1 | (run.inJIS ? 1 : 0));
            const auto keptFrom = [&](std::size_t begin) {
                const std::size_t count = size > begin ? Smaller(quarter, size - begin) : 0;
                return _bzhi_u64(0x8888888888888888u | _pdep_u64(changes >> begin, 0x1111111111111111u) * 7,
                                 static_cast<unsigned>(4 * count));
            };
            bool isLast = false;
            if (room < blockRoom) {
                // Up to the character for which there is no room, with the escape sequence before it.
                std::size_t left = room;
                for (std::size_t begin = 0; begin < size && !isLast; begin += quarter) {
                    const std::uint64_t kept = keptFrom(begin);
                    if (CountOf(kept) > left) {
                        size = begin + _tzcnt_u64(_pdep_u64(std::uint64_t{1} << left, kept)) / 4;
                        size -= size > 0 ? leads >> (size - 1) & 1 : 0;
                        isLast = true;
                    }
                    left -= CountOf(kept);
                }
            }
            const auto store = [&](unsigned begin, __m128i part) {
                const auto pairs = static_cast<__mmask16>(ofPairs >> begin);
                const __m512i escapes = _mm512_mask_mov_epi32(toASCII, pairs, toJIS);
                const __m512i wide =
                    _mm512_or_si512(escapes, _mm512_slli_epi32(_mm512_cvtepu8_epi32(part), 24));
                const std::uint64_t kept = keptFrom(begin);
                const __m512i together = _mm512_maskz_compress_epi8(kept, wide);
                const std::size_t count = CountOf(kept);
                if (room >= blockRoom) {
                    _mm512_storeu_si512(output + run.written, together);
                } else {
                    _mm512_mask_storeu_epi8(output + run.written, FirstOf64(count), together);
                }
                run.written += count;
            };
            store(0, _mm512_castsi512_si128(jis));
            store(quarter, _mm512_extracti32x4_epi32(jis, 1));
            store(2 * quarter, _mm512_extracti32x4_epi32(jis, 2));
            store(3 * quarter, _mm512_extracti32x4_epi32(jis, 3));
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
    const JisRun rest = Sse2ShiftJisToJis(table, run.inJIS, input + run.consumed, length - run.consumed,
                                          output + run.written, capacity - run.written);
    return {run.consumed + rest.consumed, run.characters + rest.characters, run.written + rest.written,
            rest.inJIS};
}

} // namespace Kernels
