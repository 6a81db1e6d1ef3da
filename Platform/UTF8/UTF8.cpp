#include "UTF8/UTF8.h"

#include <cstdint>
#include <cstring>

namespace UTF8 {

namespace {

constexpr std::uint64_t nonASCIIBytes = 0x8080808080808080u;
constexpr std::uint64_t nonASCIIUnits = 0xFF80FF80FF80FF80u;

bool IsLeadingSurrogate(unsigned unit) noexcept {
    return (unit & 0xFC00u) == 0xD800u;
}

bool IsTrailingSurrogate(unsigned unit) noexcept {
    return (unit & 0xFC00u) == 0xDC00u;
}

// The second byte of a sequence has a narrower range after some first bytes, which excludes overlong forms,
// surrogates and everything above U+10FFFF (Unicode Standard, table 3-7).
bool IsSecondByte(unsigned first, unsigned second) noexcept {
    switch (first) {
    case 0xE0:
        return second >= 0xA0 && second <= 0xBF;
    case 0xED:
        return second >= 0x80 && second <= 0x9F;
    case 0xF0:
        return second >= 0x90 && second <= 0xBF;
    case 0xF4:
        return second >= 0x80 && second <= 0x8F;
    default:
        return second >= 0x80 && second <= 0xBF;
    }
}

} // namespace

unsigned SequenceLength(unsigned char byte) noexcept {
    if (byte >= 0xC2 && byte <= 0xDF) {
        return 2;
    }
    if (byte >= 0xE0 && byte <= 0xEF) {
        return 3;
    }
    if (byte >= 0xF0 && byte <= 0xF4) {
        return 4;
    }
    return 1;
}

Result Decode(const char* input, std::size_t length, wchar16* output, std::size_t capacity) noexcept {
    std::size_t in = 0;
    std::size_t out = 0;
    while (in < length) {
        while (length - in >= 8 && capacity - out >= 8) {
            std::uint64_t block = 0;
            std::memcpy(&block, input + in, 8);
            if ((block & nonASCIIBytes) != 0) {
                break;
            }
            for (std::size_t i = 0; i < 8; ++i) {
                output[out + i] = static_cast<unsigned char>(input[in + i]);
            }
            in += 8;
            out += 8;
        }
        if (in == length) {
            break;
        }
        if (out == capacity) {
            return {in, out, Stop::OutputFull, 0};
        }
        const unsigned first = static_cast<unsigned char>(input[in]);
        if (first < 0x80) {
            output[out++] = static_cast<wchar16>(first);
            ++in;
            continue;
        }
        const unsigned needed = SequenceLength(static_cast<unsigned char>(first));
        if (needed == 1) {
            return {in, out, Stop::IllFormed, 1};
        }
        std::uint32_t character = first & (0x7Fu >> needed);
        for (unsigned i = 1; i < needed; ++i) {
            if (in + i == length) {
                return {in, out, Stop::CutOff, i};
            }
            const unsigned byte = static_cast<unsigned char>(input[in + i]);
            if (i == 1 ? !IsSecondByte(first, byte) : (byte & 0xC0u) != 0x80u) {
                return {in, out, Stop::IllFormed, i};
            }
            character = (character << 6) | (byte & 0x3Fu);
        }
        if (character < 0x10000) {
            output[out++] = static_cast<wchar16>(character);
        } else {
            if (capacity - out < 2) {
                return {in, out, Stop::OutputFull, 0};
            }
            output[out++] = static_cast<wchar16>(0xD7C0u + (character >> 10));
            output[out++] = static_cast<wchar16>(0xDC00u | (character & 0x3FFu));
        }
        in += needed;
    }
    return {in, out, Stop::InputUsedUp, 0};
}

Result Encode(const wchar16* input, std::size_t length, char* output, std::size_t capacity) noexcept {
    std::size_t in = 0;
    std::size_t out = 0;
    const auto put = [&](std::uint32_t byte) {
        output[out++] = static_cast<char>(byte);
    };
    while (in < length) {
        while (length - in >= 4 && capacity - out >= 4) {
            std::uint64_t block = 0;
            std::memcpy(&block, input + in, 8);
            if ((block & nonASCIIUnits) != 0) {
                break;
            }
            for (std::size_t i = 0; i < 4; ++i) {
                output[out + i] = static_cast<char>(input[in + i]);
            }
            in += 4;
            out += 4;
        }
        if (in == length) {
            break;
        }
        std::uint32_t character = input[in];
        std::size_t units = 1;
        if (IsLeadingSurrogate(character)) {
            if (in + 1 == length) {
                return {in, out, Stop::CutOff, 1};
            }
            if (!IsTrailingSurrogate(input[in + 1])) {
                return {in, out, Stop::IllFormed, 1};
            }
            character = 0x10000u + ((character & 0x3FFu) << 10) + (input[in + 1] & 0x3FFu);
            units = 2;
        } else if (IsTrailingSurrogate(character)) {
            return {in, out, Stop::IllFormed, 1};
        }
        const std::size_t room = capacity - out;
        if (character < 0x80) {
            if (room < 1) {
                return {in, out, Stop::OutputFull, 0};
            }
            put(character);
        } else if (character < 0x800) {
            if (room < 2) {
                return {in, out, Stop::OutputFull, 0};
            }
            put(0xC0u | (character >> 6));
            put(0x80u | (character & 0x3Fu));
        } else if (character < 0x10000) {
            if (room < 3) {
                return {in, out, Stop::OutputFull, 0};
            }
            put(0xE0u | (character >> 12));
            put(0x80u | ((character >> 6) & 0x3Fu));
            put(0x80u | (character & 0x3Fu));
        } else {
            if (room < 4) {
                return {in, out, Stop::OutputFull, 0};
            }
            put(0xF0u | (character >> 18));
            put(0x80u | ((character >> 12) & 0x3Fu));
            put(0x80u | ((character >> 6) & 0x3Fu));
            put(0x80u | (character & 0x3Fu));
        }
        in += units;
    }
    return {in, out, Stop::InputUsedUp, 0};
}

} // namespace UTF8
