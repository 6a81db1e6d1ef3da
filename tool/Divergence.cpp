#include "Divergence.h"

#include "Decoders.h"
#include "Messages.h"

#include <algorithm>

using namespace KCodePage;

namespace {

std::optional<wchar16> UnitOf(const Charset& charset, unsigned char byte) {
    const char text = static_cast<char>(byte);
    std::array<wchar16, 4> units{};
    const TextResult result = MakeDecoder(charset, {})->Convert({&text, 1}, units, true);
    return result.stop == TextStop::InputUsedUp ? std::optional(units[0]) : std::nullopt;
}

std::string Shown(std::optional<wchar16> unit) {
    return unit ? CodePoint({&*unit, 1}) : "undefined";
}

} // namespace

Divergence::Divergence(const Charset& asked) : charset(asked), exists(!asked.standard.empty()) {
    if (!exists) {
        return;
    }
    const Charset isoCharset = StandardOf(charset);
    for (unsigned value = 0; value < 256; ++value) {
        const auto byte = static_cast<unsigned char>(value);
        windows[byte] = UnitOf(charset, byte);
        standard[byte] = UnitOf(isoCharset, byte);
        differs[byte] = windows[byte] != standard[byte];
    }
}

std::size_t Divergence::Count(std::string_view bytes) {
    if (!exists) {
        return none;
    }
    const auto isOne = [this](char byte) {
        return differs[static_cast<unsigned char>(byte)];
    };
    const bool isFirst = count == 0;
    count += static_cast<std::uint64_t>(std::count_if(bytes.begin(), bytes.end(), isOne));
    if (!isFirst || count == 0) {
        return none;
    }
    return static_cast<std::size_t>(std::find_if(bytes.begin(), bytes.end(), isOne) - bytes.begin());
}

void Divergence::SetFirst(const std::string& file, std::uint64_t offset, unsigned char byte) {
    firstFile = file;
    firstOffset = offset;
    firstByte = byte;
}

std::string Divergence::Line(std::string_view option) const {
    if (count == 0) {
        return {};
    }
    const std::string page = WindowsNameOf(charset);
    const std::uint16_t shown[] = {firstByte};
    std::string line = firstFile + ": byte offset " + std::to_string(firstOffset) + ": " + charset.standard +
                       " is converted as " + page + ": there the byte " + Hexadecimal(shown) + " is " +
                       Shown(windows[firstByte]) + ", in the ISO standard " + Shown(standard[firstByte]) +
                       "; " + std::to_string(count) +
                       (count == 1 ? " such byte in all; " : " such bytes in all; ");
    if (option == "--from") {
        line += "--standard decodes by the standard, ";
    }
    return line + std::string(option) + " " + page + " says that this is meant";
}
