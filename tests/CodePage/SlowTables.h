// The conversions of the two tables once more, step by step and without regard for speed: what the fast ones
// are compared with. They are filled by hand, from the dumps, or from serialized bytes with a parser of their
// own; nothing of the library is used.

#pragma once

#include "KBase/WideString.h"

#include <algorithm>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace SlowTables {

// Takes little-endian values from bytes; sets `ended` where there are too few.
class Parser {
public:
    explicit Parser(std::string_view bytes) : left(bytes) {}

    std::uint32_t Take(std::size_t size) {
        std::uint32_t value = 0;
        if (ended || left.size() < size) {
            ended = true;
            return 0;
        }
        for (std::size_t i = 0; i < size; ++i) {
            value |= static_cast<std::uint32_t>(static_cast<unsigned char>(left[i])) << (8 * i);
        }
        left.remove_prefix(size);
        return value;
    }

    bool Ended() const { return ended; }

private:
    std::string_view left;
    bool ended = false;
};

struct Decoder {
    using Unit = std::optional<KBase::wchar16>;

    struct Row {
        unsigned numberOfBytes = 0;
        Unit value;
        std::vector<Unit> secondByteValues;
    };

    std::uint32_t windowsCodePage = 0;
    signed char substitution = '?';
    std::vector<Row> rows;

    // Nothing where the bytes end too early.
    static std::optional<Decoder> Parse(std::string_view bytes) {
        Parser parser(bytes);
        const auto unit = [&parser]() -> Unit {
            const bool valid = parser.Take(1) != 0;
            const auto value = static_cast<KBase::wchar16>(parser.Take(2));
            return valid ? Unit(value) : Unit();
        };
        Decoder decoder;
        decoder.windowsCodePage = parser.Take(4);
        decoder.substitution = static_cast<signed char>(parser.Take(1));
        for (std::uint32_t count = parser.Take(4); count > 0 && !parser.Ended(); --count) {
            Row row;
            row.numberOfBytes = parser.Take(1);
            row.value = unit();
            for (std::uint32_t seconds = parser.Take(4); seconds > 0 && !parser.Ended(); --seconds) {
                row.secondByteValues.push_back(unit());
            }
            decoder.rows.push_back(std::move(row));
        }
        return parser.Ended() ? std::optional<Decoder>() : decoder;
    }

    const Row* Maps(unsigned char byte) const {
        const bool maps =
            byte < rows.size() && (rows[byte].numberOfBytes == 1 || rows[byte].numberOfBytes == 2);
        return maps ? &rows[byte] : nullptr;
    }

    Unit Convert(unsigned char byte) const {
        const Row* const row = Maps(byte);
        return row != nullptr ? row->value : Unit();
    }

    Unit Convert(unsigned char lead, unsigned char second) const {
        const Row* const row = Maps(lead);
        return row != nullptr && second < row->secondByteValues.size() ? row->secondByteValues[second]
                                                                       : Unit();
    }

    unsigned BytesOf(unsigned char byte) const {
        const Row* const row = Maps(byte);
        return row != nullptr && row->numberOfBytes == 2 ? 2 : 1;
    }

    struct Result {
        KBase::WideString units;
        std::optional<KBase::wchar16> shown; // thrown: the character that the message shows

        friend bool operator==(const Result&, const Result&) = default;
    };

    Result Convert(std::string_view text, bool substitute) const {
        Result result;
        std::size_t p = 0;
        while (p < text.size()) {
            const auto byte = static_cast<unsigned char>(text[p]);
            Unit unit;
            if (BytesOf(byte) == 1) {
                unit = Convert(byte);
                p += 1;
            } else {
                if (p + 1 < text.size()) {
                    unit = Convert(byte, static_cast<unsigned char>(text[p + 1]));
                }
                p += 2;
            }
            if (!unit && !substitute) {
                result.units.clear();
                result.shown = p < text.size() ? static_cast<unsigned char>(text[p]) : KBase::wchar16{0};
                return result;
            }
            result.units.push_back(unit.value_or(static_cast<KBase::wchar16>(substitution)));
        }
        return result;
    }
};

struct Encoder {
    std::uint32_t windowsCodePage = 0;
    char substitution = '?';
    std::map<KBase::wchar16, std::string> entries; // one or two bytes for each mapped unit
    std::size_t entryCount = 0;                    // the highest unit named and one

    static std::optional<Encoder> Parse(std::string_view bytes) {
        Parser parser(bytes);
        Encoder encoder;
        encoder.windowsCodePage = parser.Take(4);
        encoder.substitution = static_cast<char>(parser.Take(1));
        for (std::uint32_t count = parser.Take(4); count > 0 && !parser.Ended(); --count) {
            const auto unit = static_cast<KBase::wchar16>(parser.Take(2));
            const bool valid = parser.Take(1) != 0;
            const bool single = parser.Take(1) != 0;
            std::string character(1, static_cast<char>(parser.Take(1)));
            character.push_back(static_cast<char>(parser.Take(1)));
            if (parser.Ended()) {
                break;
            }
            encoder.Set(unit, valid ? character.substr(0, single ? 1 : 2) : std::string());
        }
        return parser.Ended() ? std::optional<Encoder>() : encoder;
    }

    // No bytes: no mapping.
    void Set(KBase::wchar16 unit, const std::string& bytes) {
        entryCount = std::max<std::size_t>(entryCount, unit + std::size_t{1});
        if (bytes.empty()) {
            entries.erase(unit);
        } else {
            entries[unit] = bytes;
        }
    }

    // Empty for a unit without mapping.
    std::string Convert(KBase::wchar16 unit) const {
        const auto found = entries.find(unit);
        return found != entries.end() ? found->second : std::string();
    }

    struct Result {
        std::string bytes;
        unsigned converted = 0;
        std::optional<KBase::wchar16> shown; // thrown: the character that the message shows

        friend bool operator==(const Result&, const Result&) = default;
    };

    Result Convert(KBase::WideView text, unsigned blockSize, bool substitute) const {
        Result result;
        for (const KBase::wchar16 unit : text) {
            std::string character = Convert(unit);
            if (character.empty()) {
                if (!substitute) {
                    result.bytes.clear();
                    result.shown = unit;
                    return result;
                }
                character = std::string(1, substitution);
            }
            if (blockSize != 0 && result.bytes.size() + character.size() > blockSize) {
                break;
            }
            result.bytes += character;
            ++result.converted;
        }
        return result;
    }
};

} // namespace SlowTables
