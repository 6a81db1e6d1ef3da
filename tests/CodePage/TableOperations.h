// Everything that can be done with a table that was read from bytes nobody can trust. What goes wrong shows
// as a std::logic_error, or to the sanitizers. Used by the tests of hostile files and by the fuzz targets.

#pragma once

#include "SerializedTables.h"
#include "SlowTables.h"
#include "TableResults.h"

#include <stdexcept>
#include <string>
#include <string_view>

namespace TableOperations {

using namespace KCodePage;

inline void Require(bool holds, const char* message) {
    if (!holds) {
        throw std::logic_error(message);
    }
}

// Converts in both modes; a code page that needs the Shift-JIS to JIS table may refuse.
inline void ConvertBothWays(MultiByteToUnicode& table, std::string_view text) {
    try {
        TableResults::Decode(table, text, true);
        TableResults::Decode(table, text, false);
    } catch (const UserErrorException&) {
    }
}

inline void ConvertBothWays(UnicodeToMultiByte& table, KBase::WideView text) {
    for (const unsigned blockSize : {0u, 1u, 2u, 3u, 7u, 64u, 0xFFFFFFFFu}) {
        try {
            TableResults::Encode(table, text, blockSize, true);
            TableResults::Encode(table, text, blockSize, false);
        } catch (const UserErrorException&) {
        }
    }
}

// The bytes and units that every table is asked about, besides the caller's own.
inline std::string SampleBytes(std::string_view more) {
    std::string text = "0123456789abcdef";
    for (unsigned byte = 0; byte < 0x100; ++byte) {
        text += {static_cast<char>(byte), static_cast<char>(byte ^ 0x5A), 'z'};
    }
    text += more;
    return text;
}

inline KBase::WideString SampleUnits(std::string_view more) {
    KBase::WideString text;
    for (unsigned unit = 0; unit < 0x180; ++unit) {
        text.push_back(static_cast<KBase::wchar16>(unit));
    }
    text += {0x3042, 0xD800, 0xDC00, 0xFFFE, 0xFFFF};
    for (std::size_t i = 0; i + 1 < more.size(); i += 2) {
        text.push_back(static_cast<KBase::wchar16>(static_cast<unsigned char>(more[i]) |
                                                   static_cast<unsigned char>(more[i + 1]) << 8));
    }
    return text;
}

// Single characters: all bytes, some pairs with each.
inline void AskSingles(MultiByteToUnicode& table, const SlowTables::Decoder* expected) {
    bool asks = true;
    for (unsigned byte = 0; byte < 0x100; ++byte) {
        const auto first = static_cast<unsigned char>(byte);
        const auto single = TableResults::ToOptional(table.Convert(first));
        Require(expected == nullptr || single == expected->Convert(first), "a byte differs");
        for (const unsigned second : {0u, 1u, 0x40u, 0x7Fu, 0x80u, 0xFEu, 0xFFu, byte}) {
            const auto trail = static_cast<unsigned char>(second);
            const auto pair = TableResults::ToOptional(table.Convert(first, trail));
            Require(expected == nullptr || pair == expected->Convert(first, trail), "a pair differs");
        }
        if (!asks) {
            continue;
        }
        const ExactBuffer<char> text(std::size_t{1}, static_cast<char>(byte));
        try {
            const unsigned count = table.GetNumberOfBytesInThisCharacter(text.Get());
            Require(expected == nullptr || count == expected->BytesOf(first), "a length differs");
            table.IsLeadingByte(first);
            table.IsEscapeSequence(text.Get());
            table.GetNumberOfBytesInThisEscapeSequence(text.Get());
        } catch (const UserErrorException&) {
            asks = false; // it refuses all
        }
    }
}

inline void AskSingles(UnicodeToMultiByte& table, const SlowTables::Encoder* expected) {
    for (unsigned unit = 0; unit < 0x10000; unit += unit < 0x200 || unit > 0xFFF0 ? 1 : 97) {
        const auto codeUnit = static_cast<KBase::wchar16>(unit);
        const std::string bytes = TableResults::ToBytes(table.Convert(codeUnit));
        Require(expected == nullptr || bytes == expected->Convert(codeUnit), "a unit differs");
    }
}

inline void CompareTexts(MultiByteToUnicode& table, const SlowTables::Decoder& expected,
                         std::string_view text) {
    for (const bool substitute : {true, false}) {
        Require(TableResults::Decode(table, text, substitute) == expected.Convert(text, substitute),
                "a decoded text differs");
    }
}

inline void CompareTexts(UnicodeToMultiByte& table, const SlowTables::Encoder& expected,
                         KBase::WideView text) {
    for (const bool substitute : {true, false}) {
        for (const unsigned blockSize : {0u, 1u, 2u, 100u}) {
            Require(TableResults::Encode(table, text, blockSize, substitute) ==
                        expected.Convert(text, blockSize, substitute),
                    "an encoded text differs");
        }
    }
}

template <class Table>
struct Traits;

template <>
struct Traits<MultiByteToUnicode> {
    using Slow = SlowTables::Decoder;
    static std::string Sample(std::string_view more) { return SampleBytes(more); }
};

template <>
struct Traits<UnicodeToMultiByte> {
    using Slow = SlowTables::Encoder;
    static KBase::WideString Sample(std::string_view more) { return SampleUnits(more); }
};

// The conversions of a table as it is.
template <class Table>
void Use(Table& table, std::string_view text) {
    AskSingles(table, nullptr);
    ConvertBothWays(table, Traits<Table>::Sample(text));
}

// Every operation on a table as it is, and on copies of it.
template <class Table>
void UseAll(Table& table, std::string_view text) {
    const auto sample = Traits<Table>::Sample(text);
    Use(table, text);
    const std::string written = SerializedTables::Written(table);
    const KBase::ReturnPtrI<Table> copy(new Table(table));
    ConvertBothWays(*copy, sample);
    Require(SerializedTables::Written(*copy) == written, "a copy writes something else");
    const KBase::ReturnPtrI<Table> assigned(new Table);
    *assigned = table;
    *assigned = *copy;
    AskSingles(*assigned, nullptr);
    Require(SerializedTables::Written(*assigned) == written, "an assigned table writes something else");
    const KBase::ReturnPtrI<Table> again(new Table);
    SerializedTables::Load(*again, written);
    Require(SerializedTables::Written(*again) == written, "what a table wrote reads back as something else");
}

// The kinds of object that bytes can be read into.
enum Kind { ByDefault, OfShiftJis, OfISO2022JP, KindCount };

// Reads `bytes` as a table, uses it whether that succeeds or not, and reads once more. Where it succeeds, the
// slow table says what every conversion has to give. True where the bytes were taken.
template <class Table>
bool ReadAndUseAs(Kind kind, std::string_view bytes, std::string_view text) {
    const auto slow = Traits<Table>::Slow::Parse(bytes);
    const KBase::ReturnPtrI<Table> table(
        kind == ByDefault ? new Table : new Table(kind == OfShiftJis ? SHIFT_JIS : ISO_2022_JP, 932, '?'));
    const bool accepted = SerializedTables::Accepts(*table, bytes);
    Require(accepted == slow.has_value(), "bytes are taken, or refused, that should not be");
    if (kind == ByDefault) {
        UseAll(*table, text);
    } else {
        Use(*table, text);
    }
    if (slow && kind != OfISO2022JP) {
        AskSingles(*table, &*slow);
        CompareTexts(*table, *slow, Traits<Table>::Sample(text));
    }
    Require(SerializedTables::Accepts(*table, bytes) == accepted, "the second reading differs");
    Use(*table, text);
    return accepted;
}

template <class Table>
bool ReadAndUse(std::string_view bytes, std::string_view text) {
    bool accepted = true;
    for (int kind = 0; kind < KindCount; ++kind) {
        accepted = ReadAndUseAs<Table>(static_cast<Kind>(kind), bytes, text) && accepted;
    }
    return accepted;
}

} // namespace TableOperations
