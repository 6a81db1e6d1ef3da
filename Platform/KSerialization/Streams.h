// ReadDataStream and WriteDataStream: the platform's serialized form of values. Every value is little-endian
// and of fixed width, without padding, header or type mark (docs/translation-files.md has the grammar).
// Thread safety: one thread at a time.

#pragma once

#include "KBase/Export.h"
#include "KBase/ReturnPtr.h"
#include "KDataType/Binary.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace KBase {
class MemoryContract; // where a caller's memory comes from; the library brings none
}

namespace KSerialization {

// Reads values in the order in which they were written. A read past the end throws KBase::Message and takes
// nothing.
class KCODEPAGE_EXPORT ReadDataStream {
public:
    // Takes the block over; reading starts at its first byte.
    explicit ReadDataStream(KBase::ReturnPtr<KDataType::Binary> binary) noexcept;
    virtual ~ReadDataStream();
    ReadDataStream(const ReadDataStream&) = delete; // owns its block
    ReadDataStream& operator=(const ReadDataStream&) = delete;

    std::uint8_t ReadByte() { return *Take(1); }

    std::uint16_t ReadUnsigned16() {
        const unsigned char* bytes = Take(2);
        return static_cast<std::uint16_t>(bytes[0] | bytes[1] << 8);
    }

    std::uint32_t ReadUnsigned32() {
        const unsigned char* bytes = Take(4);
        return static_cast<std::uint32_t>(bytes[0]) | static_cast<std::uint32_t>(bytes[1]) << 8 |
               static_cast<std::uint32_t>(bytes[2]) << 16 | static_cast<std::uint32_t>(bytes[3]) << 24;
    }

    std::int32_t ReadInteger32() { return static_cast<std::int32_t>(ReadUnsigned32()); }

    // The next `count` bytes, valid as long as the stream.
    const unsigned char* ReadBytes(std::size_t count) { return Take(count); }

    // Reads a count of elements of at least `elementSize` bytes each. A count that the rest of the stream
    // cannot hold throws KBase::Message, so that what is reserved for it stays in proportion to the input.
    std::size_t ReadCount(std::size_t elementSize);

private:
    const unsigned char* Take(std::size_t count) {
        if (count > static_cast<std::size_t>(end - next)) {
            ThrowEnd(count);
        }
        const unsigned char* taken = next;
        next += count;
        return taken;
    }

    [[noreturn]] void ThrowEnd(std::size_t count) const;

    KBase::ReturnPtr<KDataType::Binary> binary;
    const unsigned char* next;
    const unsigned char* end;
};

class KCODEPAGE_EXPORT WriteDataStream {
public:
    WriteDataStream() = default;
    virtual ~WriteDataStream();
    WriteDataStream(const WriteDataStream&) = delete; // one writer, one text
    WriteDataStream& operator=(const WriteDataStream&) = delete;

    void WriteByte(std::uint8_t value) { bytes.push_back(static_cast<char>(value)); }

    void WriteUnsigned16(std::uint16_t value) {
        WriteByte(static_cast<std::uint8_t>(value));
        WriteByte(static_cast<std::uint8_t>(value >> 8));
    }

    void WriteUnsigned32(std::uint32_t value) {
        WriteUnsigned16(static_cast<std::uint16_t>(value));
        WriteUnsigned16(static_cast<std::uint16_t>(value >> 16));
    }

    void WriteInteger32(std::int32_t value) { WriteUnsigned32(static_cast<std::uint32_t>(value)); }

    // A copy of what was written so far.
    KBase::ReturnPtr<KDataType::Binary> GetContents() const;

private:
    std::string bytes;
};

// Makes a read stream positioned at the start of `binary`, which it takes over. `contract`: null.
KCODEPAGE_EXPORT KBase::ReturnPtr<ReadDataStream>
ConvertBinary2ReadDataStream(KBase::ReturnPtr<KDataType::Binary> binary, KBase::MemoryContract* contract);

// Makes an empty write stream. `contract`: null; `option`: 1.
KCODEPAGE_EXPORT KBase::ReturnPtr<WriteDataStream> CreateWriteDataStream(KBase::MemoryContract* contract,
                                                                         unsigned short option);

} // namespace KSerialization
