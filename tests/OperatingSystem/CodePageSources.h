// What the dumps in CodePageData/sources say, read with a parser of the tests' own, so that a mistake of the
// generator shows. The working directory has to be the root of the repository.

#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

namespace CodePageSources {

inline constexpr std::array<unsigned, 13> numbers = {874,  932,  936,  949,  950,  1250, 1252,
                                                     1253, 1254, 1255, 1256, 1257, 20866};

struct PairUnits {
    unsigned count = 0; // 1 or 2; 0 for a pair whose first byte is no lead byte
    std::array<std::uint16_t, 2> units = {};
};

struct CodePage {
    unsigned number = 0;
    std::array<bool, 0x100> isLeadByte = {};
    std::array<std::uint16_t, 0x100> byteUnits = {}; // a lead byte alone gives the default unit

    std::vector<PairUnits> pairs;                      // 65,536, by lead byte * 256 + second byte
    std::vector<std::optional<std::uint16_t>> encoded; // 65,536, by unit: one byte or lead byte * 256 + trail

    bool IsDoubleByte() const; // has lead bytes
};

struct ShiftJisToJis {
    std::vector<std::uint16_t> jis;      // 65,536, by character; with code page 932
    std::vector<int> unchangedCodePages; // for which every character comes back unchanged
};

// The dump of a page; read once. Throws std::runtime_error, with the file and line, where the file is missing
// or is not as it should be.
const CodePage& Get(unsigned number);

ShiftJisToJis ReadShiftJisToJis();

} // namespace CodePageSources
