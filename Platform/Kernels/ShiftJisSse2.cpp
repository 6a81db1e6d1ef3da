#include "Kernels/Pairs.h"
#include "Kernels/ShiftJisLoops.h"

#include <cstring>
#include <emmintrin.h>

namespace Kernels {

namespace {

constexpr std::size_t blockSize = 16;
constexpr std::size_t escapeLength = 3;

// The bits of those of 16 bytes that are no lead bytes.
unsigned Outside(const ByteRanges& leadBytes, __m128i bytes) noexcept {
    return static_cast<unsigned>(
        _mm_movemask_epi8(_mm_and_si128(leadBytes.OutsideFirst(bytes), leadBytes.OutsideSecond(bytes))));
}

__m128i SwapBytes(__m128i units) noexcept {
    return _mm_or_si128(_mm_slli_epi16(units, 8), _mm_srli_epi16(units, 8));
}

// The codes of eight pairs; any two bytes are a pair here.
[[gnu::always_inline]] inline __m128i LookUp8Pairs(const std::uint16_t* codes,
                                                   const unsigned char* pairs) noexcept {
    std::uint64_t first = 0;
    std::uint64_t second = 0;
    std::memcpy(&first, pairs, sizeof first);
    std::memcpy(&second, pairs + sizeof first, sizeof second);
    first = __builtin_bswap64(first);
    second = __builtin_bswap64(second);
    __m128i a = _mm_cvtsi32_si128(codes[first >> 48]);
    __m128i b = _mm_cvtsi32_si128(codes[second >> 48]);
    a = _mm_insert_epi16(a, codes[first >> 32 & 0xFFFF], 1);
    b = _mm_insert_epi16(b, codes[second >> 32 & 0xFFFF], 1);
    a = _mm_insert_epi16(a, codes[first >> 16 & 0xFFFF], 2);
    b = _mm_insert_epi16(b, codes[second >> 16 & 0xFFFF], 2);
    a = _mm_insert_epi16(a, codes[first & 0xFFFF], 3);
    b = _mm_insert_epi16(b, codes[second & 0xFFFF], 3);
    return _mm_unpacklo_epi64(a, b);
}

// A run at a time, 16 bytes of it in one step: what is behind the run's end is written over by the next.
JisRun Convert(const JisTable& table, bool inJIS, const unsigned char* input, std::size_t length,
               unsigned char* output, std::size_t capacity) noexcept {
    constexpr unsigned firstBytes = 0x5555;
    constexpr unsigned end = 1u << blockSize;
    JisRun run = {0, 0, 0, inJIS};
    const auto escape = [&](const char(&sequence)[escapeLength + 1]) {
        std::memcpy(output + run.written, sequence, sizeof sequence); // with a zero, to be one store
        run.written += escapeLength;
    };
    if (table.shiftJis->hasRanges) {
        const ByteRanges leadBytes(table.shiftJis->ranges);
        const auto load = [&] {
            return _mm_loadu_si128(reinterpret_cast<const __m128i*>(input + run.consumed));
        };
        const auto store = [&](__m128i bytes) {
            _mm_storeu_si128(reinterpret_cast<__m128i*>(output + run.written), bytes);
        };
        const auto pairs = [&](unsigned size) {
            run.consumed += size;
            run.characters += size / 2;
            run.written += size;
        };
        while (length - run.consumed >= 2 * blockSize &&
               capacity - run.written >= 2 * (escapeLength + blockSize)) {
            const __m128i bytes = load();
            if (const auto singles = static_cast<unsigned>(__builtin_ctz(~Outside(leadBytes, bytes)));
                singles != 0) {
                if (run.inJIS) {
                    escape("\x1B(B");
                    run.inJIS = false;
                }
                store(bytes);
                run.consumed += singles;
                run.characters += singles;
                run.written += singles;
                if (singles == blockSize) {
                    continue;
                }
            }
            const JisRun before = run;
            if (!run.inJIS) {
                escape("\x1B$B");
                run.inJIS = true;
            }
            for (;;) {
                const unsigned others = (Outside(leadBytes, load()) & firstBytes) | end;
                const __m128i codes = LookUp8Pairs(table.codes, input + run.consumed);
                const auto unmapped =
                    static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi16(codes, _mm_setzero_si128())));
                store(SwapBytes(codes));
                // How far it goes does not wait for the look-ups: in a run, what is unmapped is rare.
                if (const unsigned inRun = unmapped & (others - 1) & ~others; inRun != 0) {
                    pairs(static_cast<unsigned>(__builtin_ctz(inRun)));
                    return run.consumed != before.consumed ? run : before;
                }
                if (others != end) {
                    pairs(static_cast<unsigned>(__builtin_ctz(others)));
                    break;
                }
                pairs(blockSize);
                if (length - run.consumed < blockSize || capacity - run.written < blockSize) {
                    break;
                }
            }
        }
    }
    const JisRun rest = plainJisLoops.convert(table, run.inJIS, input + run.consumed, length - run.consumed,
                                              output + run.written, capacity - run.written);
    return {run.consumed + rest.consumed, run.characters + rest.characters, run.written + rest.written,
            rest.inJIS};
}

std::size_t BeforeEscape(const unsigned char* input, std::size_t length) noexcept {
    // With the controls between them, of which texts have none either, they take one comparison.
    const __m128i shiftOut = _mm_set1_epi8(0x0E);
    const __m128i span = _mm_set1_epi8(0x1B - 0x0E);
    std::size_t done = 0;
    for (; length - done >= 4 * blockSize; done += 4 * blockSize) {
        const auto above = [&](std::size_t block) {
            return _mm_sub_epi8(
                _mm_loadu_si128(reinterpret_cast<const __m128i*>(input + done + block * blockSize)),
                shiftOut);
        };
        const __m128i least =
            _mm_min_epu8(_mm_min_epu8(above(0), above(1)), _mm_min_epu8(above(2), above(3)));
        if (_mm_movemask_epi8(_mm_cmpeq_epi8(_mm_min_epu8(least, span), least)) != 0) {
            break;
        }
    }
    return done + plainJisLoops.beforeEscape(input + done, length - done);
}

} // namespace

constinit const JisLoops sse2JisLoops = {Convert, BeforeEscape};

} // namespace Kernels
