// WideStream: builds a UTF-16 text piece by piece. The standard wide streams cannot serve: over unsigned
// short they lose numbers silently.
// Thread safety: one thread at a time.

#pragma once

#include "KBase/WideString.h"

#include <concepts>
#include <string>
#include <string_view>
#include <utility>

namespace KBase {

class WideStream {
public:
    WideStream& operator<<(WideView more) {
        text.append(more);
        return *this;
    }

    // ASCII text, widened byte by byte.
    WideStream& operator<<(std::string_view ascii) {
        for (const char c : ascii) {
            text.push_back(static_cast<unsigned char>(c));
        }
        return *this;
    }

    // An integer in decimal. A code unit is an integer too: use Unit to append it as a character.
    template <std::integral Integer>
    WideStream& operator<<(Integer value) {
        return *this << std::string_view(std::to_string(value));
    }

    // An address: 0x and lower-case hexadecimal digits.
    WideStream& Pointer(std::uintptr_t address) {
        text.append({'0', 'x'});
        return Hexadecimal(address);
    }

    // Lower-case hexadecimal digits without prefix or padding.
    WideStream& Hexadecimal(std::uintmax_t value) {
        char digits[2 * sizeof value];
        std::size_t first = sizeof digits;
        do {
            digits[--first] = "0123456789abcdef"[value & 0xFu];
            value >>= 4;
        } while (value != 0);
        return *this << std::string_view(digits + first, sizeof digits - first);
    }

    // One code unit as a character.
    WideStream& Unit(wchar16 unit) {
        text.push_back(unit);
        return *this;
    }

    const WideString& Text() const noexcept { return text; }

private:
    WideString text;
};

} // namespace KBase
