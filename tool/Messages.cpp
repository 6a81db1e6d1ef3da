#include "Messages.h"

#include "KBase/UTF8Routines.h"
#include "Streams.h"

#include <algorithm>
#include <cstdio>

namespace {

// Whether a line stays one line, and in order, with this code unit in it: no control character, no line or
// paragraph separator, nothing that is invisible or turns the direction of writing.
bool IsHarmless(KBase::wchar16 unit) {
    return unit >= 0x20 && (unit < 0x7F || unit > 0x9F) && (unit < 0x200B || unit > 0x200F) &&
           (unit < 0x2028 || unit > 0x202E) && (unit < 0x2060 || unit > 0x206F) && unit != 0xFEFF &&
           unit != 0xFFFD;
}

// The length of the character at the start of `text` if it may be shown as it is, else 0.
std::size_t ShownLength(std::string_view text) {
    const std::size_t length = std::min<std::size_t>(KBase::UTF8TotalBytes(text.front()), text.size());
    // What is not UTF-8 comes out as U+FFFD.
    const KBase::WideString units = KBase::UTF8ToWideCharUsingLength(text.data(), length, true);
    return std::all_of(units.begin(), units.end(), IsHarmless) ? length : 0;
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
