#include "UTF8/UTF8.h"

#include <algorithm>
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

// Goes on decoding at `in` and `out` until at least `until`, plainly: this says what is right.
Result DecodePlainly(std::size_t in, std::size_t out, std::size_t until, const char* input,
                     std::size_t length, wchar16* output, std::size_t capacity) noexcept {
    while (in < until) {
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

template <bool singly>
Result EncodePlainly(std::size_t in, std::size_t out, std::size_t until, const wchar16* input,
                     std::size_t length, char* output, std::size_t capacity) noexcept {
    const auto put = [&](std::uint32_t byte) {
        output[out++] = static_cast<char>(byte);
    };
    while (in < until) {
        while (!singly && length - in >= 4 && capacity - out >= 4) {
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
        if (singly && (character == 0 || IsLeadingSurrogate(character))) {
            return {in, out, Stop::IllFormed, 1};
        }
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

// Units that are converted plainly where a loop stopped, before it is tried again.
constexpr std::size_t plainStretch = 16;

// Lets the loop and the plain conversion take turns.
template <class Loop, class Input, class Output, class Plainly, class LoopInput, class LoopOutput>
Result TakeTurns(Loop* loop, const LoopInput* loopInput, LoopOutput* loopOutput, Plainly plainly,
                 const Input* input, std::size_t length, Output* output, std::size_t capacity) noexcept {
    std::size_t in = 0;
    std::size_t out = 0;
    for (;;) {
        std::size_t until = length;
        if (loop != nullptr) {
            const Kernels::Run run = loop(loopInput + in, length - in, loopOutput + out, capacity - out);
            in += run.consumed;
            out += run.written;
            until = std::min(length, in + plainStretch);
        }
        const Result result = plainly(in, out, until, input, length, output, capacity);
        if (result.stop != Stop::InputUsedUp || result.consumed == length) {
            return result;
        }
        in = result.consumed;
        out = result.written;
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

Result Decode(const Kernels::UTF8Loops& loops, const char* input, std::size_t length, wchar16* output,
              std::size_t capacity) noexcept {
    return TakeTurns(loops.decode, reinterpret_cast<const unsigned char*>(input), output, DecodePlainly,
                     input, length, output, capacity);
}

Result Encode(const Kernels::UTF8Loops& loops, const wchar16* input, std::size_t length, char* output,
              std::size_t capacity) noexcept {
    return TakeTurns(loops.encode, input, reinterpret_cast<unsigned char*>(output), EncodePlainly<false>,
                     input, length, output, capacity);
}

Result EncodeSingly(const Kernels::UTF8Loops& loops, const wchar16* input, std::size_t length, char* output,
                    std::size_t capacity) noexcept {
    return TakeTurns(loops.encodeSingly, input, reinterpret_cast<unsigned char*>(output), EncodePlainly<true>,
                     input, length, output, capacity);
}

Result Decode(const char* input, std::size_t length, wchar16* output, std::size_t capacity) noexcept {
    return Decode(Kernels::ChosenUTF8(), input, length, output, capacity);
}

Result Encode(const wchar16* input, std::size_t length, char* output, std::size_t capacity) noexcept {
    return Encode(Kernels::ChosenUTF8(), input, length, output, capacity);
}

Result EncodeSingly(const wchar16* input, std::size_t length, char* output, std::size_t capacity) noexcept {
    return EncodeSingly(Kernels::ChosenUTF8(), input, length, output, capacity);
}

} // namespace UTF8
