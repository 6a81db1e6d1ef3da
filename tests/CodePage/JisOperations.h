// Everything that can be done with a Shift-JIS to JIS table that was read from bytes nobody can trust. What
// goes wrong shows as a std::logic_error, or to the sanitizers. Used by the tests and by the fuzz targets.

#pragma once

#include "JisTables.h"

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace JisOperations {

using namespace JisTables;
using KCodePage::ShiftJisToJis;
using LeadBytes = std::array<bool, 0x100>;

inline void Require(bool holds, const char* message) {
    if (!holds) {
        throw std::logic_error(message);
    }
}

// How the order of a file is described: by a function that calls itself.
inline void Level(std::vector<std::vector<std::size_t>>& levels, std::ptrdiff_t low, std::ptrdiff_t high,
                  std::size_t depth) {
    while (low <= high) {
        const std::ptrdiff_t middle = (low + high) / 2;
        if (levels.size() <= depth) {
            levels.resize(depth + 1);
        }
        levels[depth].push_back(static_cast<std::size_t>(middle));
        Level(levels, low, middle - 1, depth + 1);
        low = middle + 1;
        ++depth;
    }
}

inline Entries InFileOrder(const Entries& sorted) {
    std::vector<std::vector<std::size_t>> levels;
    Level(levels, 0, static_cast<std::ptrdiff_t>(sorted.size()) - 1, 0);
    Entries ordered;
    for (const auto& level : levels) {
        for (const std::size_t position : level) {
            ordered.push_back(sorted[position]);
        }
    }
    return ordered;
}

// Questions and conversions, as the slow table has them.
inline void Use(ShiftJisToJis& table, const Slow& slow, std::string_view text) {
    for (unsigned byte = 0; byte < 0x100; ++byte) {
        const ExactBuffer<char> exact(std::size_t{1}, static_cast<char>(byte));
        Require(table.IsLeadingByte(static_cast<char>(byte)) == slow.isFirstByte[byte],
                "a lead byte differs");
        Require(table.GetNumberOfBytesInThisCharacter(exact.Get()) == (slow.isFirstByte[byte] ? 2u : 1u),
                "a length differs");
    }
    std::string known = "a";
    for (const auto& [key, character] : slow.map) {
        const char pair[] = {static_cast<char>(key >> 8), static_cast<char>(key)};
        Require(Convert(table, {pair, 2}, 0) == slow.Convert({pair, 2}, 0), "a character differs");
        if (character.valid != 0 && known.size() < 500) {
            known.append(pair, 2);
        }
    }
    for (const std::string& one : {known, known + std::string(text), std::string(text)}) {
        for (const unsigned blockSize : {0u, 1u, 8u, 9u, 15u, 0xFFFFFFFFu}) {
            Require(Convert(table, one, blockSize) == slow.Convert(one, blockSize), "a text differs");
        }
    }
}

// Reads `bytes` into a copy of `empty`, an empty table, and uses it, whether they are taken or not; then once
// more. True where the bytes were taken.
inline bool ReadAndUse(const ShiftJisToJis& empty, const LeadBytes& leadBytes, const std::string& bytes,
                       std::string_view text) {
    const auto entries = Parse(bytes);
    const KBase::ReturnPtrI<ShiftJisToJis> table(new ShiftJisToJis(empty));
    for (int reading = 0; reading < 2; ++reading) {
        const bool accepted = SerializedTables::Accepts(*table, bytes);
        Require(accepted == entries.has_value(), "bytes are taken, or refused, that should not be");
        const auto held = Parse(SerializedTables::Written(*table));
        Require(held.has_value(), "what a table wrote cannot be read");
        Slow slow;
        slow.isLeadByte = leadBytes;
        slow.Read(entries ? *entries : *held);
        if (!entries) { // what was read before the end counts
            for (unsigned byte = 0; byte < 0x100; ++byte) {
                slow.isFirstByte[byte] = table->IsLeadingByte(static_cast<char>(byte));
            }
        }
        Require(*held == InFileOrder(Entries(slow.map.begin(), slow.map.end())), "the order differs");
        Use(*table, slow, text);
    }
    return entries.has_value();
}

} // namespace JisOperations
