#include "CodeUnits.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>

using namespace KCodePage;

namespace {

constexpr std::size_t blockSize = 32;

// As wide as a unit, so that the compiler makes a vector loop of it.
std::uint16_t SurrogateMark(wchar16 unit) noexcept {
    return (unit & 0xF800u) == 0xD800u ? 1 : 0;
}

} // namespace

std::size_t CountBeforeSurrogate(std::span<const wchar16> units) noexcept {
    std::size_t count = 0;
    while (units.size() - count >= blockSize) {
        std::uint16_t found = 0;
        for (const wchar16 unit : units.subspan(count).first<blockSize>()) {
            found |= SurrogateMark(unit);
        }
        if (found != 0) {
            break;
        }
        count += blockSize;
    }
    while (count < units.size() && SurrogateMark(units[count]) == 0) {
        ++count;
    }
    return count;
}

void CopyUnits(const void* from, void* to, std::size_t count, bool bigEndian) noexcept {
    const auto* const in = static_cast<const char*>(from);
    auto* const out = static_cast<char*>(to);
    if (bigEndian == (std::endian::native == std::endian::big)) {
        std::copy_n(in, count * sizeof(wchar16), out);
        return;
    }
    for (std::size_t i = 0; i < count; ++i) {
        std::uint16_t unit = 0;
        std::memcpy(&unit, in + i * sizeof unit, sizeof unit);
        unit = static_cast<std::uint16_t>(unit << 8 | unit >> 8);
        std::memcpy(out + i * sizeof unit, &unit, sizeof unit);
    }
}
