#include "Kernels/ShiftJisLoops.h"

#include <algorithm>
#include <cstring>

namespace Kernels {

std::uint16_t RegularJisCode(unsigned char leadByte, unsigned char secondByte) noexcept {
    const unsigned lead = leadByte;
    const unsigned second = secondByte;
    const bool leads = (lead > 0x80 && lead < 0xA0) || (lead > 0xDF && lead < 0xF0);
    if (!leads || second < 0x40 || second == 0x7F || second > 0xFC) {
        return 0;
    }
    const bool isOddRow = second > 0x9E;
    const unsigned row = 2 * (lead - (lead < 0xA0 ? 0x81 : 0xC1)) + (isOddRow ? 1 : 0);
    const unsigned cell = isOddRow ? second - 0x9F : second - (second < 0x7F ? 0x40 : 0x41);
    return static_cast<std::uint16_t>((0x21 + row) << 8 | (0x21 + cell));
}

namespace {

JisRun Convert(const JisTable& table, bool inJIS, const unsigned char* input, std::size_t length,
               unsigned char* output, std::size_t capacity) noexcept {
    constexpr std::size_t escapeLength = 3;
    JisRun run = {0, 0, 0, inJIS};
    while (run.consumed < length) {
        const unsigned char* const character = input + run.consumed;
        const bool isPair = table.shiftJis->rowOf[*character] != 0;
        const std::size_t size = isPair ? 2 : 1;
        const bool changes = isPair != run.inJIS;
        if (length - run.consumed < size || capacity - run.written < size + (changes ? escapeLength : 0)) {
            break;
        }
        unsigned char bytes[2] = {character[0]};
        if (isPair) {
            const std::uint16_t code = table.codes[character[0] * 256u + character[1]];
            if (code == 0) {
                break;
            }
            bytes[0] = static_cast<unsigned char>(code >> 8);
            bytes[1] = static_cast<unsigned char>(code);
        }
        if (changes) {
            std::memcpy(output + run.written, isPair ? "\x1B$B" : "\x1B(B", escapeLength);
            run.written += escapeLength;
            run.inJIS = isPair;
        }
        std::memcpy(output + run.written, bytes, size);
        run.written += size;
        run.consumed += size;
        ++run.characters;
    }
    return run;
}

std::size_t BeforeEscape(const unsigned char* input, std::size_t length) noexcept {
    constexpr unsigned char shiftOut = 0x0E;
    constexpr unsigned char shiftIn = 0x0F;
    constexpr unsigned char escape = 0x1B;
    const unsigned char* const found = std::find_if(input, input + length, [](unsigned char byte) {
        return byte == shiftOut || byte == shiftIn || byte == escape;
    });
    return static_cast<std::size_t>(found - input);
}

} // namespace

constinit const JisLoops plainJisLoops = {Convert, BeforeEscape};

} // namespace Kernels
