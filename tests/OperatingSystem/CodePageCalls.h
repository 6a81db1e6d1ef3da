// The code page services as the tests call them: the texts and targets are exactly as large as they say,
// every call is made for the size first, and success has to leave the last error alone.

#pragma once

#include "OperatingSystem/CodePages.h"
#include "OperatingSystem/LastError.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <memory>
#include <numeric>
#include <ostream>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace CodePageCalls {

using OperatingSystem::GetLastError;
using OperatingSystem::SetLastError;
using OperatingSystem::wchar16;

using Units = std::vector<wchar16>;

inline constexpr OperatingSystem::ErrorNumber untouched = 4242;
inline constexpr unsigned singleBytePages[] = {874, 1250, 1252, 1253, 1254, 1255, 1256, 1257, 20866};
inline constexpr unsigned doubleBytePages[] = {932, 936, 949, 950};

// A copy on the heap without a single element more, so that AddressSanitizer notices what is read or written
// beyond it.
template <class Element>
class Exact {
public:
    explicit Exact(std::size_t size, Element fill = Element{})
        : elements_(std::make_unique<Element[]>(size)), size_(size) {
        std::fill_n(elements_.get(), size, fill);
    }
    template <class Container>
    requires requires(const Container& container) { container.data(); }
    explicit Exact(const Container& container) : Exact(container.size()) {
        std::copy(container.begin(), container.end(), elements_.get());
    }

    Element* get() { return elements_.get(); }
    int size() const { return static_cast<int>(size_); }
    template <class Container>
    Container To(int count) const {
        return Container(elements_.get(), elements_.get() + count);
    }

private:
    std::unique_ptr<Element[]> elements_;
    std::size_t size_;
};

inline std::string PrintedBytes(std::string_view bytes) {
    std::string text;
    for (const char byte : bytes) {
        char digits[4];
        std::snprintf(digits, sizeof digits, "%02X", static_cast<unsigned>(static_cast<unsigned char>(byte)));
        text += digits;
    }
    return text;
}

inline std::string BytesOf(unsigned number) {
    std::string bytes;
    if (number > 0xFF) {
        bytes += static_cast<char>(number >> 8);
    }
    return bytes + static_cast<char>(number & 0xFF);
}

inline unsigned NumberOf(std::string_view bytes) {
    return std::accumulate(bytes.begin(), bytes.end(), 0U, [](unsigned number, char byte) {
        return number << 8 | static_cast<unsigned char>(byte);
    });
}

// Decodes into a target of just the size asked for; success has to leave the last error alone.
inline Units Decoded(unsigned page, std::string_view bytes) {
    Exact<char> text(bytes);
    SetLastError(untouched);
    const int needed = OperatingSystem::MultiByteToWideChar(page, 0, text.get(), text.size(), nullptr, 0);
    Exact<wchar16> target(static_cast<std::size_t>(needed));
    EXPECT_EQ(OperatingSystem::MultiByteToWideChar(page, 0, text.get(), text.size(), target.get(), needed),
              needed);
    EXPECT_EQ(GetLastError(), untouched);
    return target.To<Units>(needed);
}

struct EncodedText {
    std::string bytes;
    bool usedDefault;

    bool operator==(const EncodedText&) const = default;
};

inline void PrintTo(const EncodedText& text, std::ostream* stream) {
    *stream << PrintedBytes(text.bytes) << (text.usedDefault ? " with" : " without") << " the default";
}

inline EncodedText Encoded(unsigned page, const Units& units, const char* defaultCharacter = nullptr) {
    Exact<wchar16> text(units);
    SetLastError(untouched);
    int used = 2;
    const int needed = OperatingSystem::WideCharToMultiByte(page, 0, text.get(), text.size(), nullptr, 0,
                                                            defaultCharacter, &used);
    const int usedWhenCounting = used;
    Exact<char> target(static_cast<std::size_t>(needed));
    EXPECT_EQ(OperatingSystem::WideCharToMultiByte(page, 0, text.get(), text.size(), target.get(), needed,
                                                   defaultCharacter, &used),
              needed);
    EXPECT_EQ(used, usedWhenCounting);
    EXPECT_TRUE(used == 0 || used == 1);
    EXPECT_EQ(GetLastError(), untouched);
    return {target.To<std::string>(needed), used == 1};
}

inline wchar16 DecodedByte(unsigned page, unsigned byte) {
    const Units units = Decoded(page, BytesOf(byte));
    EXPECT_EQ(units.size(), 1U) << page << " " << byte;
    return units.at(0);
}

// The bytes of a unit as a number; -1 for an unmapped one.
inline int EncodedUnit(unsigned page, unsigned unit) {
    const EncodedText text = Encoded(page, {static_cast<wchar16>(unit)});
    return text.usedDefault ? -1 : static_cast<int>(NumberOf(text.bytes));
}

inline bool IsLead(unsigned page, unsigned byte) {
    return OperatingSystem::IsDBCSLeadByteEx(page, static_cast<unsigned char>(byte));
}

// "A1>21 C0-C6>41" as pairs of numbers; of a range, each number of it has the same answer.
inline std::map<unsigned, unsigned> Mappings(const std::string& text) {
    std::map<unsigned, unsigned> mappings;
    std::istringstream stream(text);
    for (std::string word; stream >> word;) {
        const std::size_t arrow = word.find('>');
        const std::size_t dash = word.find('-');
        const auto number = [](const std::string& digits) {
            return static_cast<unsigned>(std::stoul(digits, nullptr, 16));
        };
        const unsigned first = number(word.substr(0, std::min(arrow, dash)));
        const unsigned last = dash < arrow ? number(word.substr(dash + 1, arrow - dash - 1)) : first;
        for (unsigned from = first; from <= last; ++from) {
            mappings[from] = number(word.substr(arrow + 1));
        }
    }
    return mappings;
}

} // namespace CodePageCalls
