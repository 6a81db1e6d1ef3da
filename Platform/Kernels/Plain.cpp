#include "Kernels/Levels.h"

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
            table.highHalves[byte - 0x80] = static_cast<unsigned char>(unit >> 8);
        }
    }
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

constinit const Loops plainLoops = {PlainDecode, PlainDecode, false};

} // namespace Kernels
