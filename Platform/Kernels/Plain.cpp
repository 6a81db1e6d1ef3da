#include "Kernels/Levels.h"

#include <algorithm>
#include <cstring>

namespace Kernels {

Run PlainDecode(const DecodeTable& table, const unsigned char* input, std::size_t length,
                std::uint16_t* output, std::size_t capacity) noexcept {
    std::size_t read = 0;
    std::size_t written = 0;
    while (read < length && written < capacity) {
        const std::size_t row = table.rowOf[input[read]];
        const std::size_t size = row != 0 ? 2 : 1;
        if (length - read < size) {
            break;
        }
        const std::uint16_t unit = table.units[row * 256 + input[read + size - 1]];
        if (unit == DecodeTable::unmapped) {
            break;
        }
        output[written++] = unit;
        read += size;
    }
    return {read, written};
}

namespace {

// Notes the stretches of lead bytes. False where there are more than two, lead bytes below 80, or rows in
// another order.
bool FindRanges(DecodeTable& table) noexcept {
    unsigned count = 0;
    for (unsigned byte = 0; byte < 256; ++byte) {
        if (table.rowOf[byte] == 0) {
            continue;
        }
        const bool continues = byte > 0 && table.rowOf[byte - 1] != 0;
        if (byte < 0x80 || (continues ? table.rowOf[byte] != table.rowOf[byte - 1] + 1 : count == 2)) {
            return false;
        }
        if (!continues) {
            table.ranges[count++][0] = static_cast<unsigned char>(byte);
        }
        table.ranges[count - 1][1] = static_cast<unsigned char>(byte);
    }
    if (count == 1) {
        table.ranges[1][0] = table.ranges[0][0];
        table.ranges[1][1] = table.ranges[0][1];
    }
    return count != 0;
}

} // namespace

void Prepare(DecodeTable& table) noexcept {
    table.unitsOfTwo = nullptr;
    table.hasPairs = false;
    table.asciiStands = true;
    table.mapsAllBytes = true;
    for (unsigned byte = 0; byte < 256; ++byte) {
        const std::uint16_t unit = table.units[byte];
        table.hasPairs = table.hasPairs || table.rowOf[byte] != 0;
        table.mapsAllBytes = table.mapsAllBytes && unit != DecodeTable::unmapped;
        if (byte < 0x80) {
            table.asciiStands = table.asciiStands && table.rowOf[byte] == 0 && unit == byte;
        } else {
            table.lowHalves[byte - 0x80] = static_cast<unsigned char>(unit);
            table.highRows[byte - 0x80] = static_cast<unsigned char>(table.rowOf[byte]);
            table.highHalves[byte - 0x80] = static_cast<unsigned char>(unit >> 8);
        }
    }
    table.hasRanges = FindRanges(table);
}

void FillUnitsOfTwo(const DecodeTable& table, std::uint32_t* unitsOfTwo) noexcept {
    // In the order in which the bytes and units lie in memory.
    for (std::uint32_t index = 0; index < DecodeTable::unitsOfTwoCount; ++index) {
        unsigned char bytes[2];
        const auto two = static_cast<std::uint16_t>(index);
        std::memcpy(bytes, &two, sizeof two);
        const std::uint16_t units[2] = {table.units[bytes[0]], table.units[bytes[1]]};
        std::memcpy(unitsOfTwo + index, units, sizeof units);
    }
}

Run PlainEncode(const EncodeTable& table, const std::uint16_t* input, std::size_t length,
                unsigned char* output, std::size_t capacity) noexcept {
    std::size_t read = 0;
    std::size_t written = 0;
    for (; read < length; ++read) {
        const std::uint16_t code = table.codes[input[read]];
        const std::size_t size = code > 0xFF ? 2 : 1;
        if (code == EncodeTable::unmapped || capacity - written < size) {
            break;
        }
        output[written] = static_cast<unsigned char>(code);
        if (size == 2) {
            output[written + 1] = static_cast<unsigned char>(code >> 8);
        }
        written += size;
    }
    return {read, written};
}

void Prepare(EncodeTable& table) noexcept {
    table.asciiStands = true;
    for (unsigned unit = 0; unit < 0x80; ++unit) {
        table.asciiStands = table.asciiStands && table.codes[unit] == unit;
    }
    // The units of each stretch whose bytes are not ASCII: those are the code page's own. What is left out is
    // the beginning, which stands, and the end, whose number does not tell it from what is behind.
    constexpr unsigned count = 0xFF;
    unsigned own[count] = {};
    table.hasPairs = false;
    for (unsigned stretch = 0; stretch < 0x200; ++stretch) {
        unsigned singles = 0;
        unsigned pairs = 0;
        for (unsigned unit = stretch * 0x80; unit < (stretch + 1) * 0x80; ++unit) {
            const unsigned code = table.codes[unit];
            singles += code - 0x80 < 0x80 ? 1 : 0;
            pairs += code > 0xFF && code != EncodeTable::unmapped ? 1 : 0;
        }
        table.hasPairs = table.hasPairs || pairs != 0;
        if (stretch > 0 && stretch < count) {
            own[stretch] = singles;
        }
    }
    for (unsigned i = 0; i < EncodeTable::stretchCount; ++i) {
        const unsigned* const most = std::max_element(own, own + count);
        const bool needed = *most != 0;
        const auto stretch = static_cast<unsigned>(most - own);
        own[stretch] = 0;
        table.stretches[i] = static_cast<unsigned char>(needed ? stretch : 0);
        for (unsigned k = 0; k < 0x80; ++k) {
            const unsigned code = table.codes[table.stretches[i] * 0x80u + k];
            table.bytes[i][k] = static_cast<unsigned char>(code <= 0xFF ? code : 0);
        }
    }
}

constinit const Loops plainLoops = {PlainDecode, PlainDecode, false, PlainEncode, PlainEncode};

} // namespace Kernels
