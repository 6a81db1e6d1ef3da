#include "Kernels/UTF8Block.h"
#include "Kernels/UTF8Loops.h"

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
        Store(output, _mm_shuffle_epi8(Load(units + at), Load(shuffles.units[ends])));
        output += CountOf(ends);
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

std::size_t StoreWords(__m128i words, unsigned lengths, unsigned char* output) noexcept {
    Store(output, _mm_shuffle_epi8(words, Load(shuffles.words[lengths])));
    return 12 - CountOf(lengths);
}

template <bool singly>
Run Encode(const std::uint16_t* input, std::size_t length, unsigned char* output,
           std::size_t capacity) noexcept {
    std::size_t in = EncodeASCIIBeginning<singly>(input, length, output, capacity);
    std::size_t out = in;
    while (length - in >= 8 && capacity - out >= 28) { // 16 bytes are written of each four characters
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
        const auto lengths =
            static_cast<unsigned>(_mm_movemask_epi8(_mm_packs_epi16(encoded.ascii, encoded.twoByte)));
        out += StoreWords(encoded.low, (lengths & 0x0F) | (lengths >> 4 & 0xF0), output + out);
        out += StoreWords(encoded.high, (lengths >> 4 & 0x0F) | (lengths >> 8 & 0xF0), output + out);
        in += encoded.count;
        if (encoded.count == 7) {
            out -= 2; // the half of a pair, which is left to the next eight
        }
    }
    return {in, out};
}

} // namespace

constinit const UTF8Loops avx2UTF8Loops = {Decode, Encode<false>, Encode<true>};

} // namespace Kernels
