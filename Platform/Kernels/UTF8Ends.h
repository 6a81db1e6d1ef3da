// How the UTF-8 loops of all levels find the characters of a block. Each file that includes this gets a
// function of its own, compiled for its processor.

#pragma once

#include <cstdint>

namespace Kernels {

namespace {

// A block of UTF-8 that begins with a character, one bit for each byte.
struct UTF8Bytes {
    std::uint64_t continues = 0;  // 80 to BF
    std::uint64_t opens = 0;      // C0 to FF
    std::uint64_t opensThree = 0; // E0 to FF: opens a character of three bytes or more
    std::uint64_t opensFour = 0;  // F0 to FF
    std::uint64_t illFormed = 0;  // C0, C1, F5 to FF; the second byte of an overlong form or a surrogate
};

struct UnitEnds {
    std::uint64_t ends;      // by byte: whether a code unit comes of it and those before it
    std::uint64_t opensFour; // of these characters
};

// The bytes of a block that ends at `end` without those of a character that the end cuts off. Looked up by
// themselves, so that the next block need not wait until all is known of this one.
unsigned WholeCharacters(const unsigned char* end, unsigned size) noexcept {
    if (end[-3] >= 0xF0) {
        return size - 3;
    }
    if (end[-2] >= 0xE0) {
        return size - 2;
    }
    return end[-1] >= 0xC0 ? size - 1 : size;
}

constexpr std::uint64_t LowBits(unsigned count) noexcept {
    return count == 0 ? 0 : ~std::uint64_t{0} >> (64 - count);
}

// The whole characters of a block of `size` bytes, which make up `whole` of them; none where anything is
// ill-formed. A character of four bytes has its leading surrogate at the third and its trailing one at the
// fourth.
UnitEnds FindUnitEnds(const UTF8Bytes& bytes, unsigned size, unsigned whole) noexcept {
    const std::uint64_t expected = bytes.opens << 1 | bytes.opensThree << 2 | bytes.opensFour << 3;
    if ((((expected ^ bytes.continues) & LowBits(size)) | bytes.illFormed) != 0) {
        return {0, 0};
    }
    const std::uint64_t taken = LowBits(whole);
    return {(~(bytes.continues >> 1) | bytes.opensFour << 2) & taken, bytes.opensFour & taken};
}

// Makes surrogates of the low 16 bits of characters of four bytes, which come out as those of three do.
constexpr unsigned leadingSurrogateShift = 4; // of what the first three bytes give
constexpr unsigned leadingSurrogateBase = 0xD7C0;
constexpr unsigned trailingSurrogateBits = 0x3FF; // of what the last three bytes give
constexpr unsigned trailingSurrogateBase = 0xDC00;

} // namespace

} // namespace Kernels
