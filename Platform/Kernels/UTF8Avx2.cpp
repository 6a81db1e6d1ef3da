#include "Kernels/UTF8Block.h"

#include <immintrin.h>

namespace Kernels {

namespace {

// Shuffles that move together what stands with gaps.
struct Shuffles {
    // By mask: those of eight units that are kept.
    unsigned char units[256][16];
    // By the lengths of four words: bit i is set where word i has one byte, bit i + 4 where it has one or
    // two.
    unsigned char words[256][16];
};

constexpr Shuffles MakeShuffles() noexcept {
    Shuffles made{};
    for (unsigned mask = 0; mask < 256; ++mask) {
        unsigned count = 0;
        for (unsigned unit = 0; unit < 8; ++unit) {
            if ((mask >> unit & 1) != 0) {
                made.units[mask][count++] = static_cast<unsigned char>(2 * unit);
                made.units[mask][count++] = static_cast<unsigned char>(2 * unit + 1);
            }
        }
        count = 0;
        for (unsigned word = 0; word < 4; ++word) {
            const unsigned length = 3 - (mask >> word & 1) - (mask >> (word + 4) & 1);
            for (unsigned byte = 0; byte < length; ++byte) {
                made.words[mask][count++] = static_cast<unsigned char>(4 * word + byte);
            }
        }
    }
    return made;
}

alignas(64) constexpr Shuffles shuffles = MakeShuffles();

unsigned CountOf(unsigned mask) noexcept {
    return static_cast<unsigned>(_mm_popcnt_u32(mask));
}

std::size_t StoreWords(__m128i words, unsigned lengths, unsigned char* output) noexcept {
    Store(output, _mm_shuffle_epi8(words, Load(shuffles.words[lengths])));
    return 12 - CountOf(lengths);
}

struct Together {
    static std::size_t PutUnits(__m128i units, unsigned kept, std::uint16_t* output) noexcept {
        Store(output, _mm_shuffle_epi8(units, Load(shuffles.units[kept])));
        return CountOf(kept);
    }

    static constexpr std::ptrdiff_t encodedRoom = 28; // 16 bytes of each four characters

    static unsigned char* PutEncoded(const EncodedUnits& encoded, unsigned char* output) noexcept {
        const auto lengths =
            static_cast<unsigned>(_mm_movemask_epi8(_mm_packs_epi16(encoded.ascii, encoded.twoByte)));
        output += StoreWords(encoded.low, (lengths & 0x0F) | (lengths >> 4 & 0xF0), output);
        output += StoreWords(encoded.high, (lengths >> 4 & 0x0F) | (lengths >> 8 & 0xF0), output);
        // Of seven, the eighth is half of a pair, which is left to the next eight.
        return encoded.count == 7 ? output - 2 : output;
    }
};

} // namespace

constinit const UTF8Loops avx2UTF8Loops = {DecodeBlocks<Together>, EncodeBlocks<Together, false>,
                                           EncodeBlocks<Together, true>};

} // namespace Kernels
