#include "Kernels/UTF8Block.h"

#include <cstring>

namespace Kernels {

namespace {

// How to move those of eight units together that are kept: what moves by one, by two and by four places.
struct Move {
    unsigned char kept[8]; // by unit, FF or 0, as those below
    unsigned char byOne[8];
    unsigned char byTwo[8];
    unsigned char byFour[8];
    unsigned count;
};

struct Moves {
    Move of[256]; // by mask
    constexpr const Move& operator[](unsigned mask) const noexcept { return of[mask]; }
};

constexpr Moves MakeMoves() noexcept {
    Moves made{};
    for (unsigned mask = 0; mask < 256; ++mask) {
        Move& move = made.of[mask];
        for (unsigned unit = 0; unit < 8; ++unit) {
            if ((mask >> unit & 1) == 0) {
                continue;
            }
            const unsigned distance = unit - move.count++;
            move.kept[unit] = 0xFF;
            move.byOne[unit] = (distance & 1) != 0 ? 0xFF : 0;
            move.byTwo[unit - (distance & 1)] = (distance & 2) != 0 ? 0xFF : 0;
            move.byFour[unit - (distance & 3)] = (distance & 4) != 0 ? 0xFF : 0;
        }
    }
    return made;
}

alignas(64) constexpr Moves moves = MakeMoves();

__m128i MoveTogether(__m128i units, const Move& move) noexcept {
    const __m128i keptAndByOne = Load(move.kept);
    const __m128i byTwoAndFour = Load(move.byTwo);
    units = _mm_and_si128(units, _mm_unpacklo_epi8(keptAndByOne, keptAndByOne));
    const __m128i one = _mm_and_si128(units, _mm_unpackhi_epi8(keptAndByOne, keptAndByOne));
    units = _mm_or_si128(_mm_xor_si128(units, one), _mm_srli_si128(one, 2));
    const __m128i two = _mm_and_si128(units, _mm_unpacklo_epi8(byTwoAndFour, byTwoAndFour));
    units = _mm_or_si128(_mm_xor_si128(units, two), _mm_srli_si128(two, 4));
    const __m128i four = _mm_and_si128(units, _mm_unpackhi_epi8(byTwoAndFour, byTwoAndFour));
    return _mm_or_si128(_mm_xor_si128(units, four), _mm_srli_si128(four, 8));
}

struct Together {
    static std::size_t PutUnits(__m128i units, unsigned kept, std::uint16_t* output) noexcept {
        Store(output, MoveTogether(units, moves[kept]));
        return moves[kept].count;
    }

    static constexpr std::ptrdiff_t encodedRoom = 25; // four bytes of each character

    static unsigned char* PutEncoded(const EncodedUnits& encoded, unsigned char* output) noexcept {
        alignas(16) std::uint32_t words[8];
        alignas(16) std::int16_t lengths[8];
        Store(words, encoded.low);
        Store(words + 4, encoded.high);
        Store(lengths, _mm_add_epi16(EachUnit(3), _mm_add_epi16(encoded.ascii, encoded.twoByte)));
        for (unsigned i = 0; i < encoded.count; ++i) {
            std::memcpy(output, &words[i], 4);
            output += lengths[i];
        }
        return output;
    }
};

} // namespace

constinit const UTF8Loops sse2UTF8Loops = {DecodeBlocks<Together>, EncodeBlocks<Together, false>,
                                           EncodeBlocks<Together, true>};

} // namespace Kernels
