// UTF-16 text: the code unit, the string and view types over it, and literals.
//
// wchar16 is unsigned short on every platform. It does not alias char16_t or wchar_t, so text is never
// reinterpreted from them: literals are converted unit by unit at compile time (u"..."_w).
// Thread safety: value types.

#pragma once

#include <cstddef>
#include <cstdint>
#include <cwchar>
#include <ios>
#include <string>
#include <string_view>

namespace KBase {

using wchar16 = unsigned short; // one UTF-16 code unit

// Character traits of UTF-16 code units. std::char_traits<unsigned short> is an extension of one standard
// library; these stand on every one.
struct WideCharTraits {
    using char_type = wchar16;
    using int_type = std::uint_least32_t;
    using off_type = std::streamoff;
    using pos_type = std::streampos;
    using state_type = std::mbstate_t;
    using comparison_category = std::strong_ordering;

    static constexpr void assign(char_type& to, const char_type& from) noexcept { to = from; }
    static constexpr bool eq(char_type a, char_type b) noexcept { return a == b; }
    static constexpr bool lt(char_type a, char_type b) noexcept { return a < b; }

    static constexpr int compare(const char_type* a, const char_type* b, std::size_t count) noexcept {
        for (std::size_t i = 0; i < count; ++i) {
            if (a[i] != b[i]) {
                return a[i] < b[i] ? -1 : 1;
            }
        }
        return 0;
    }

    static constexpr std::size_t length(const char_type* text) noexcept {
        std::size_t count = 0;
        while (text[count] != 0) {
            ++count;
        }
        return count;
    }

    static constexpr const char_type* find(const char_type* text, std::size_t count,
                                           const char_type& wanted) noexcept {
        for (std::size_t i = 0; i < count; ++i) {
            if (text[i] == wanted) {
                return text + i;
            }
        }
        return nullptr;
    }

    static constexpr char_type* move(char_type* to, const char_type* from, std::size_t count) noexcept {
        if (to < from) {
            return copy(to, from, count);
        }
        for (std::size_t i = count; i > 0; --i) {
            to[i - 1] = from[i - 1];
        }
        return to;
    }

    static constexpr char_type* copy(char_type* to, const char_type* from, std::size_t count) noexcept {
        for (std::size_t i = 0; i < count; ++i) {
            to[i] = from[i];
        }
        return to;
    }

    static constexpr char_type* assign(char_type* to, std::size_t count, char_type value) noexcept {
        for (std::size_t i = 0; i < count; ++i) {
            to[i] = value;
        }
        return to;
    }

    static constexpr int_type not_eof(int_type value) noexcept { return value == eof() ? 0 : value; }
    static constexpr char_type to_char_type(int_type value) noexcept { return static_cast<char_type>(value); }
    static constexpr int_type to_int_type(char_type value) noexcept { return value; }
    static constexpr bool eq_int_type(int_type a, int_type b) noexcept { return a == b; }
    static constexpr int_type eof() noexcept { return 0xFFFFFFFFu; }
};

using WideString = std::basic_string<wchar16, WideCharTraits>;
using WideView = std::basic_string_view<wchar16, WideCharTraits>;

// What functions return that hand an owned text to their caller.
using ReturnWString = WideString;
using ReturnString = std::string;

// A literal of N - 1 code units and a terminating zero, converted at compile time.
template <std::size_t N>
struct WideLiteral {
    wchar16 units[N]{};

    consteval WideLiteral(const char16_t (&text)[N]) {
        for (std::size_t i = 0; i < N; ++i) {
            units[i] = static_cast<wchar16>(text[i]);
        }
    }

    constexpr const wchar16* Get() const noexcept { return units; }
    constexpr std::size_t Length() const noexcept { return N - 1; }
    constexpr operator const wchar16*() const noexcept { return units; }
    constexpr operator WideView() const noexcept { return WideView(units, N - 1); }
    operator WideString() const { return WideString(units, N - 1); }
};

inline namespace Literals {

// u"..."_w: a UTF-16 literal in static storage, usable as const wchar16*, WideView and WideString.
template <WideLiteral literal>
constexpr const auto& operator""_w() noexcept {
    return literal;
}

} // namespace Literals

} // namespace KBase
