#include "Messages.h"

#include "Streams.h"

#include <algorithm>
#include <cstdio>

namespace {

// The length of the UTF-8 sequence at the start of `text` that may be shown as it is; 0 where none is there.
std::size_t ShownLength(std::string_view text) {
    const auto byte = [&](std::size_t index) {
        return index < text.size() ? static_cast<unsigned char>(text[index]) : 0u;
    };
    const auto continues = [&](std::size_t index) {
        return (byte(index) & 0xC0u) == 0x80;
    };
    const unsigned first = byte(0);
    if (first < 0x80) {
        return first >= 0x20 && first != 0x7F ? 1 : 0;
    }
    if (first >= 0xC2 && first <= 0xDF && continues(1)) {
        return first == 0xC2 && byte(1) < 0xA0 ? 0 : 2; // U+0080 to U+009F are control characters too
    }
    if (first >= 0xE0 && first <= 0xEF && continues(1) && continues(2)) {
        const bool overlong = first == 0xE0 && byte(1) < 0xA0;
        const bool surrogate = first == 0xED && byte(1) > 0x9F;
        return overlong || surrogate ? 0 : 3;
    }
    if (first >= 0xF0 && first <= 0xF4 && continues(1) && continues(2) && continues(3)) {
        const bool overlong = first == 0xF0 && byte(1) < 0x90;
        const bool beyond = first == 0xF4 && byte(1) > 0x8F;
        return overlong || beyond ? 0 : 4;
    }
    return 0;
}

std::string Format(const char* format, unsigned value) {
    char text[16];
    std::snprintf(text, sizeof text, format, value);
    return text;
}

} // namespace

std::string Printable(std::string_view text) {
    std::string shown;
    while (!text.empty()) {
        const std::size_t length = ShownLength(text);
        if (length == 0) {
            shown += Format("\\x%02X", static_cast<unsigned char>(text.front()));
        } else {
            shown += text.substr(0, length);
        }
        text.remove_prefix(std::max<std::size_t>(length, 1));
    }
    return shown;
}

std::string Quoted(std::string_view name) {
    std::string quoted("'");
    quoted += Printable(name);
    quoted += '\'';
    return quoted;
}

std::string Hexadecimal(std::span<const std::uint16_t> bytes) {
    std::string text;
    for (const std::uint16_t byte : bytes) {
        text += Format(text.empty() ? "%02X" : " %02X", byte & 0xFFu);
    }
    return text;
}

std::string CodePoint(std::span<const std::uint16_t> units) {
    const unsigned value = units.size() == 2 ? 0x10000u + ((units[0] & 0x3FFu) << 10) + (units[1] & 0x3FFu)
                                             : static_cast<unsigned>(units[0]);
    return Format("U+%04X", value);
}

void Report(std::string_view what) {
    // The library's messages have line feeds between their parts.
    std::string line(what);
    std::replace(line.begin(), line.end(), '\n', ' ');
    WriteToStandardError("kcodepage: " + Printable(line) + "\n");
}
