#include "Kernels/UTF8Block.h"
#include "Kernels/UTF8Loops.h"

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

template <unsigned size>
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
        const unsigned ends = found.ends >> at & 0xFF;
        Store(output, MoveTogether(Load(units + at), moves[ends]));
        output += moves[ends].count;
    }
    input += whole;
    return true;
}

Run Decode(const unsigned char* input, std::size_t length, std::uint16_t* output,
           std::size_t capacity) noexcept {
    const unsigned char* in = input;
    const unsigned char* const end = input + length;
    std::uint16_t* out = output;
    std::uint16_t* const full = output + capacity;
    while (end - in >= 64 && full - out >= 64 && DecodeBlock<64>(in, out)) {
    }
    while (end - in >= 16 && full - out >= 16 && DecodeBlock<16>(in, out)) {
    }
    return {static_cast<std::size_t>(in - input), static_cast<std::size_t>(out - output)};
}

template <bool singly>
Run Encode(const std::uint16_t* input, std::size_t length, unsigned char* output,
           std::size_t capacity) noexcept {
    std::size_t in = EncodeASCIIBeginning<singly>(input, length, output, capacity);
    std::size_t out = in;
    while (length - in >= 8 && capacity - out >= 25) { // four bytes are written of each character
        const std::size_t ascii = EncodeASCII<singly>(input + in, length - in, output + out, capacity - out);
        if (ascii != 0) {
            in += ascii;
            out += ascii;
            continue;
        }
        const EncodedUnits encoded = EncodeUnits<singly>(Load(input + in));
        if (encoded.count == 0) {
            break;
        }
        alignas(16) std::uint32_t words[8];
        alignas(16) std::int16_t lengths[8];
        Store(words, encoded.low);
        Store(words + 4, encoded.high);
        Store(lengths, _mm_add_epi16(EachUnit(3), _mm_add_epi16(encoded.ascii, encoded.twoByte)));
        for (unsigned i = 0; i < encoded.count; ++i) {
            std::memcpy(output + out, &words[i], 4);
            out += static_cast<std::size_t>(lengths[i]);
        }
        in += encoded.count;
    }
    return {in, out};
}

} // namespace

constinit const UTF8Loops sse2UTF8Loops = {Decode, Encode<false>, Encode<true>};

} // namespace Kernels
