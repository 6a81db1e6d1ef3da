// Serialized tables put together by hand, value by value, as docs/translation-files.md has them, and the ways
// to read them into a table and to see what a table writes.

#pragma once

#include "KBase/Message.h"
#include "KBase/WideString.h"
#include "KSerialization/Streams.h"

#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace SerializedTables {

// Little-endian values.
inline void Put(std::string& bytes, std::uint64_t value, int count) {
    for (int i = 0; i < count; ++i) {
        bytes.push_back(static_cast<char>(value >> (8 * i) & 0xFF));
    }
}
inline std::string Byte(unsigned value) {
    return std::string(1, static_cast<char>(value & 0xFF));
}
inline std::string Unsigned32(std::uint64_t value) {
    std::string bytes;
    Put(bytes, value, 4);
    return bytes;
}

// What stands before the rows or records of both kinds of table.
inline std::string Head(unsigned windowsCodePage, char substitution, std::uint64_t count) {
    std::string head = Unsigned32(windowsCodePage);
    head.push_back(substitution);
    Put(head, count, 4);
    return head;
}

// A code unit, or none.
using Unit = std::optional<unsigned>;

inline std::string Value(Unit unit) {
    std::string value = Byte(unit ? 1 : 0);
    Put(value, unit.value_or(0), 2);
    return value;
}

inline std::string Row(unsigned numberOfBytes, Unit unit, const std::vector<Unit>& secondBytes = {}) {
    std::string row = Byte(numberOfBytes);
    row += Value(unit);
    Put(row, secondBytes.size(), 4);
    for (const Unit& second : secondBytes) {
        row += Value(second);
    }
    return row;
}

// A table of 256 one-byte rows: bytes below 80 map to the same unit, the others to none. Single rows are
// replaced with Set.
class Rows {
public:
    Rows() : rows(256) {
        for (unsigned byte = 0; byte < 256; ++byte) {
            Set(byte, Row(1, byte < 0x80 ? Unit(byte) : Unit()));
        }
    }

    Rows& Set(unsigned byte, std::string row) {
        rows[byte] = std::move(row);
        return *this;
    }

    // The byte leads two-byte characters: second byte s means `first` + s, for s from `from` to `to`.
    Rows& SetLead(unsigned byte, unsigned first, unsigned from = 0x40, unsigned to = 0x7E) {
        std::vector<Unit> seconds(256);
        for (unsigned second = from; second <= to; ++second) {
            seconds[second] = first + second;
        }
        return Set(byte, Row(2, {}, seconds));
    }

    std::string File(unsigned windowsCodePage = 932, char substitution = '?') const {
        std::string file = Head(windowsCodePage, substitution, rows.size());
        for (const std::string& row : rows) {
            file += row;
        }
        return file;
    }

private:
    std::vector<std::string> rows;
};

// One record of the other table; `bytes` of length 0 is an entry without mapping.
inline std::string Record(unsigned unit, std::string_view bytes) {
    std::string record;
    Put(record, unit, 2);
    Put(record, bytes.empty() ? 0 : 1, 1);
    Put(record, bytes.size() == 1 ? 1 : 0, 1);
    record += bytes;
    record.resize(6);
    return record;
}

inline std::string Records(const std::vector<std::string>& records, unsigned windowsCodePage = 932,
                           char substitution = '?') {
    std::string file = Head(windowsCodePage, substitution, records.size());
    for (const std::string& record : records) {
        file += record;
    }
    return file;
}

// A read stream over a block of exactly these bytes.
inline KBase::ReturnPtr<KSerialization::ReadDataStream> Reading(std::string_view bytes) {
    auto binary = KDataType::CreateBinary(bytes.size(), nullptr);
    if (!bytes.empty()) {
        std::memcpy(binary->GetData(), bytes.data(), bytes.size());
    }
    return KSerialization::ConvertBinary2ReadDataStream(std::move(binary), nullptr);
}

template <class Object>
void Load(Object& object, std::string_view bytes) {
    object.DeSerialize(*Reading(bytes));
}

// False where the data was refused with a KBase::Message.
template <class Object>
bool Accepts(Object& object, std::string_view bytes) {
    try {
        Load(object, bytes);
        return true;
    } catch (const KBase::Message&) {
        return false;
    }
}

// What an object serializes.
template <class Object>
std::string Written(const Object& object) {
    const auto stream = KSerialization::CreateWriteDataStream(nullptr, 1);
    object.Serialize(*stream);
    const auto contents = stream->GetContents();
    return std::string(contents->GetData(), contents->GetSize());
}

} // namespace SerializedTables
