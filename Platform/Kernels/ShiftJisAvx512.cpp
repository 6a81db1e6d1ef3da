#include "Kernels/Pairs.h"
#include "Kernels/ShiftJisLoops.h"

#include <cstring>
#include <immintrin.h>

namespace Kernels {

namespace {

constexpr std::size_t blockSize = 64;

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
        while (length - run.consumed >= blockSize && capacity - run.written >= blockRoom) {
            const __m512i bytes = _mm512_loadu_si512(input + run.consumed);
            if (!run.inJIS && _mm512_movepi8_mask(bytes) == 0) {
                _mm512_storeu_si512(output + run.written, bytes);
                run.consumed += blockSize;
                run.characters += blockSize;
                run.written += blockSize;
                continue;
            }
            const __mmask64 maybeLeads = _mm512_cmple_epu8_mask(_mm512_sub_epi8(bytes, first0), span0) |
                                         _mm512_cmple_epu8_mask(_mm512_sub_epi8(bytes, first1), span1);
            __mmask64 leads = EveryOther(maybeLeads);
            // A pair that the block's end cuts apart is left to the next block.
            const std::size_t size = blockSize - (leads >> (blockSize - 1));
            leads = _bzhi_u64(leads, blockSize - 1);
            const __mmask64 ofPairs = leads | leads << 1;

            alignas(64) std::uint16_t indexes[32];
            _mm512_store_si512(indexes, SwapBytes(_mm512_maskz_compress_epi8(ofPairs, bytes)));
            __m512i codes = _mm512_castsi128_si512(LookUp8(table.codes, indexes));
            codes = _mm512_inserti32x4(codes, LookUp8(table.codes, indexes + 8), 1);
            codes = _mm512_inserti32x4(codes, LookUp8(table.codes, indexes + 16), 2);
            codes = _mm512_inserti32x4(codes, LookUp8(table.codes, indexes + 24), 3);
            const auto count = static_cast<unsigned>(_mm_popcnt_u64(leads));
            if (_bzhi_u32(_mm512_testn_epi16_mask(codes, codes), count) != 0) {
                break; // a pair without a code, up to which the other loop goes
            }
            const __m512i jis = _mm512_mask_expand_epi8(bytes, ofPairs, SwapBytes(codes));

            // Each byte behind the escape sequence to its mode, which is kept where the mode changes.
            const std::uint64_t changes = ofPairs ^ (ofPairs << 1 | (run.inJIS ? 1 : 0));
            const auto store = [&](unsigned begin, __m128i quarter) {
                const auto pairs = static_cast<__mmask16>(ofPairs >> begin);
                const __m512i escapes = _mm512_mask_mov_epi32(toASCII, pairs, toJIS);
                const __m512i wide =
                    _mm512_or_si512(escapes, _mm512_slli_epi32(_mm512_cvtepu8_epi32(quarter), 24));
                const auto inBlock = static_cast<unsigned>(begin + 16 < size ? 16 : size - begin);
                const std::uint64_t kept = _bzhi_u64(
                    0x8888888888888888u | _pdep_u64(changes >> begin, 0x1111111111111111u) * 7, 4 * inBlock);
                _mm512_storeu_si512(output + run.written, _mm512_maskz_compress_epi8(kept, wide));
                run.written += static_cast<std::size_t>(_mm_popcnt_u64(kept));
            };
            store(0, _mm512_castsi512_si128(jis));
            store(16, _mm512_extracti32x4_epi32(jis, 1));
            store(32, _mm512_extracti32x4_epi32(jis, 2));
            store(48, _mm512_extracti32x4_epi32(jis, 3));
            run.inJIS = (ofPairs >> (size - 1) & 1) != 0;
            run.consumed += size;
            run.characters += size - count;
        }
    }
    const JisRun rest = Sse2ShiftJisToJis(table, run.inJIS, input + run.consumed, length - run.consumed,
                                          output + run.written, capacity - run.written);
    return {run.consumed + rest.consumed, run.characters + rest.characters, run.written + rest.written,
            rest.inJIS};
}

} // namespace Kernels
