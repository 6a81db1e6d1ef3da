// Tables for the tests of the kernels: every shape that matters to a loop, with the slow tables that say what
// they hold.

#pragma once

#include "CodePage/SlowTables.h"
#include "Kernels/Kernels.h"

#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace KernelTables {

using KBase::wchar16;

struct Decoding {
    std::string name;
    SlowTables::Decoder slow;
    std::vector<std::uint16_t> units;
    std::vector<std::uint32_t> unitsOfTwo;
    Kernels::DecodeTable table;

    // Fills the flat table from the slow one. `backwards`: the last lead byte has the first row.
    void Compile(bool backwards = false) {
        using Table = Kernels::DecodeTable;
        const auto flat = [](const SlowTables::Decoder::Unit& unit) {
            return unit.value_or(Table::unmapped);
        };
        units.assign(256, Table::unmapped);
        for (unsigned i = 0; i < 256; ++i) {
            const unsigned byte = backwards ? 255 - i : i;
            const auto& row = slow.rows[byte];
            table.rowOf[byte] = 0;
            if (row.numberOfBytes == 2) {
                table.rowOf[byte] = static_cast<std::uint16_t>(units.size() / 256);
                for (unsigned second = 0; second < 256; ++second) {
                    units.push_back(flat(row.secondByteValues[second]));
                }
            } else {
                units[byte] = flat(row.value);
            }
        }
        units.shrink_to_fit();
        table.units = units.data();
        Kernels::Prepare(table);
        if (table.mapsAllBytes) {
            unitsOfTwo.resize(Table::unitsOfTwoCount);
            Kernels::FillUnitsOfTwo(table, unitsOfTwo.data());
            table.unitsOfTwo = unitsOfTwo.data();
        }
    }
};

struct Encoding {
    std::string name;
    SlowTables::Encoder slow;
    std::vector<std::uint16_t> codes;
    Kernels::EncodeTable table;

    void Compile() {
        codes.assign(0x10000, Kernels::EncodeTable::unmapped);
        for (const auto& [unit, bytes] : slow.entries) {
            codes[unit] = static_cast<std::uint16_t>(
                static_cast<unsigned char>(bytes[0]) |
                (bytes.size() == 2 ? static_cast<unsigned char>(bytes[1]) << 8 : 0));
        }
        table.codes = codes.data();
        Kernels::Prepare(table);
    }
};

// `isLead` says what a byte is; one character in `unmappedIn` has no mapping, 0: all have one.
template <class IsLead>
std::unique_ptr<Decoding> MakeDecoding(const std::string& name, bool asciiStands, unsigned unmappedIn,
                                       IsLead isLead) {
    auto made = std::make_unique<Decoding>();
    made->name = name;
    std::mt19937 random(1);
    const auto unit = [&]() -> SlowTables::Decoder::Unit {
        if (unmappedIn != 0 && random() % unmappedIn == 0) {
            return {};
        }
        return static_cast<wchar16>(random() % 0xFFFF);
    };
    for (unsigned byte = 0; byte < 256; ++byte) {
        SlowTables::Decoder::Row row;
        if (isLead(byte)) {
            row.numberOfBytes = 2;
            for (unsigned second = 0; second < 256; ++second) {
                row.secondByteValues.push_back(unit());
            }
        } else {
            row.numberOfBytes = 1;
            row.value = asciiStands && byte < 0x80 ? static_cast<wchar16>(byte) : unit();
        }
        made->slow.rows.push_back(std::move(row));
    }
    made->Compile();
    return made;
}

inline std::vector<std::unique_ptr<Decoding>> AllDecodings() {
    const auto none = [](unsigned) {
        return false;
    };
    const auto japanese = [](unsigned byte) {
        return (byte > 0x80 && byte < 0xA0) || (byte > 0xDF && byte < 0xFD);
    };
    const auto korean = [](unsigned byte) {
        return byte > 0x80 && byte < 0xFF;
    };
    const auto scattered = [](unsigned byte) {
        return byte > 0x80 && byte % 3 == 0;
    };
    const auto low = [](unsigned byte) {
        return byte == 'A' || byte > 0xF0;
    };
    std::vector<std::unique_ptr<Decoding>> all;
    all.push_back(MakeDecoding("bytes", true, 0, none));
    all.push_back(MakeDecoding("bytes, some unmapped", true, 50, none));
    all.push_back(MakeDecoding("bytes, other ASCII", false, 0, none));
    all.push_back(MakeDecoding("bytes, other ASCII, some unmapped", false, 50, none));
    all.push_back(MakeDecoding("pairs of two stretches", true, 0, japanese));
    all.push_back(MakeDecoding("pairs of two stretches, some unmapped", true, 50, japanese));
    all.push_back(MakeDecoding("pairs of one stretch", true, 0, korean));
    all.push_back(MakeDecoding("pairs of one stretch, some unmapped", true, 100, korean));
    all.push_back(MakeDecoding("scattered pairs", true, 100, scattered));
    all.push_back(MakeDecoding("pairs of ASCII", true, 100, low));
    all.push_back(MakeDecoding("pairs, other ASCII", false, 100, korean));
    all.push_back(MakeDecoding("all upper bytes lead", true, 0, [](unsigned byte) { return byte > 0x7F; }));
    all.push_back(MakeDecoding("all bytes lead", true, 100, [](unsigned) { return true; }));
    all.push_back(MakeDecoding("pairs with rows backwards", true, 100, japanese));
    all.back()->Compile(true);
    return all;
}

// ASCII and one stretch of 128 units beyond.
inline std::unique_ptr<Encoding> MakeEncodingOfStretch(unsigned first) {
    auto made = std::make_unique<Encoding>();
    made->name = "bytes of " + std::to_string(first);
    for (unsigned byte = 0; byte < 0x80; ++byte) {
        made->slow.Set(static_cast<wchar16>(byte), std::string(1, static_cast<char>(byte)));
        made->slow.Set(static_cast<wchar16>(first + byte), std::string(1, static_cast<char>(0x80 + byte)));
    }
    made->Compile();
    return made;
}

// `pairs`: one character in so many has two bytes, 0: none; `unmappedIn`: one has no mapping, 0: all have
// one.
inline std::unique_ptr<Encoding> MakeEncoding(const std::string& name, bool asciiStands, unsigned pairs,
                                              unsigned unmappedIn) {
    auto made = std::make_unique<Encoding>();
    made->name = name;
    std::mt19937 random(2);
    for (unsigned unit = 0; unit < 0x10000; ++unit) {
        std::string bytes(1, static_cast<char>(asciiStands && unit < 0x80 ? unit : random()));
        if (!asciiStands || unit > 0x7F) {
            if (unmappedIn != 0 && random() % unmappedIn == 0) {
                continue;
            }
            if (pairs != 0 && random() % pairs == 0) {
                bytes = {static_cast<char>(1 + random() % 255), static_cast<char>(1 + random() % 255)};
            }
        }
        made->slow.Set(static_cast<wchar16>(unit), bytes);
    }
    made->Compile();
    return made;
}

inline std::vector<std::unique_ptr<Encoding>> AllEncodings() {
    std::vector<std::unique_ptr<Encoding>> all;
    all.push_back(MakeEncoding("bytes", true, 0, 0));
    all.push_back(MakeEncoding("bytes, some unmapped", true, 0, 50));
    all.push_back(MakeEncoding("bytes, most unmapped", true, 0, 2));
    all.push_back(MakeEncoding("bytes, other ASCII", false, 0, 50));
    all.push_back(MakeEncodingOfStretch(0x7F00)); // the last that has a number of its own
    all.push_back(MakeEncodingOfStretch(0x7F80));
    all.push_back(MakeEncoding("pairs", true, 1, 0));
    all.push_back(MakeEncoding("pairs and bytes", true, 2, 0));
    all.push_back(MakeEncoding("pairs and bytes, some unmapped", true, 2, 100));
    all.push_back(MakeEncoding("pairs and bytes, other ASCII", false, 2, 100));
    return all;
}

} // namespace KernelTables
