// UnicodeCharacterMultiByte: one row of the table from bytes to UTF-16, for one first byte: the code unit of
// the byte, or of every two-byte character that it leads.
// Thread safety: a value type.

#pragma once

#include "CodePage/UnicodeCharacter.h"
#include "KBase/Export.h"

#include <cstdint>
#include <vector>

namespace KCodePage {

class KCODEPAGE_EXPORT UnicodeCharacterMultiByte {
public:
    // Number of bytes 0, nothing mapped.
    UnicodeCharacterMultiByte();

    // The row of `byte` in a Windows code page, from the operating system's services. What these refuse has
    // no mapping.
    UnicodeCharacterMultiByte(unsigned int windowsCodePage, unsigned char byte);

    UnicodeCharacterMultiByte(const UnicodeCharacterMultiByte&);
    UnicodeCharacterMultiByte& operator=(const UnicodeCharacterMultiByte&);
    virtual ~UnicodeCharacterMultiByte();

    bool IsLeadingByte() const noexcept { return numberOfBytes > 1; }
    unsigned int GetNumberOfBytes() const noexcept { return numberOfBytes; }
    UnicodeCharacter GetValue() const noexcept { return value; }

    // Invalid for a second byte that the row does not have.
    UnicodeCharacter GetValue(unsigned char secondByte) const noexcept {
        return secondByte < secondByteValues.size() ? secondByteValues[secondByte].Character()
                                                    : UnicodeCharacter();
    }

    // DeSerialize throws KBase::Message for data that end too early or hold an impossible count; the row then
    // holds what was read.
    void Serialize(KSerialization::WriteDataStream& stream) const;
    void DeSerialize(KSerialization::ReadDataStream& stream);

    // The least number of bytes that a serialized row takes.
    static constexpr unsigned int minimumSerializedSize = 8;

private:
    // What a UnicodeCharacter holds, in a quarter of the memory.
    struct Value {
        std::uint16_t codeUnit = 0;
        bool valid = false;

        UnicodeCharacter Character() const noexcept { return {codeUnit, valid}; }
    };

    UnicodeCharacter GetUnicodeUsingWindowsAPI(unsigned int windowsCodePage, const char* bytes,
                                               unsigned int length);

    std::uint8_t numberOfBytes = 0;      // 1: a whole character; 2: a lead byte; what a file says
    UnicodeCharacter value;              // of a one-byte row
    std::vector<Value> secondByteValues; // of a lead byte's row: 256, indexed by the second byte
};

} // namespace KCodePage
