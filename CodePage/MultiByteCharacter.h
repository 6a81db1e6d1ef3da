// MultiByteCharacter: one character of a multi-byte code page, one or two bytes, or no character at all: an
// invalid value is how a table says that a code unit has no mapping.
// Thread safety: a value type.

#pragma once

#include "KBase/Export.h"

namespace KSerialization {
class ReadDataStream;
class WriteDataStream;
} // namespace KSerialization

namespace KCodePage {

class KCODEPAGE_EXPORT MultiByteCharacter final {
public:
    // Invalid; both bytes 0.
    MultiByteCharacter() noexcept = default;

    // A one-byte character.
    MultiByteCharacter(unsigned char byte) noexcept
        : valid(true), single(true), bytes{static_cast<char>(byte), 0, 0} {}

    // A two-byte character.
    MultiByteCharacter(unsigned char leadByte, unsigned char trailByte) noexcept
        : valid(true), bytes{static_cast<char>(leadByte), static_cast<char>(trailByte), 0} {}

    // A two-byte character given as lead byte * 256 + trail byte. The two floats are ignored: they only keep
    // this overload apart from the one of two bytes.
    MultiByteCharacter(unsigned short code, float, float) noexcept
        : MultiByteCharacter(static_cast<unsigned char>(code >> 8), static_cast<unsigned char>(code & 0xFF)) {
    }

    MultiByteCharacter(const MultiByteCharacter&) noexcept = default;
    MultiByteCharacter& operator=(const MultiByteCharacter&) noexcept = default;
    virtual ~MultiByteCharacter() = default;

    // The bytes, followed by a zero byte. Valid as long as this object.
    const char* Get() const noexcept { return bytes; }

    // Bytes: 1 or 2; 2 for the default, invalid value.
    unsigned Length() const noexcept { return single ? 1 : 2; }

    char GetByte1() const noexcept { return bytes[0]; }
    char GetByte2() const noexcept { return bytes[1]; }

    // byte1 * 256 + byte2. Kept: for a one-byte character too, so that b gives b * 256.
    unsigned short GetMBChar() const noexcept {
        return static_cast<unsigned short>(static_cast<unsigned char>(bytes[0]) << 8 |
                                           static_cast<unsigned char>(bytes[1]));
    }

    bool IsValid() const noexcept { return valid; }

    // Same length and same bytes. Kept: validity does not count, so all default values are equal, and
    // one-byte characters are equal whatever their second byte.
    bool operator==(const MultiByteCharacter& other) const noexcept {
        return single == other.single && bytes[0] == other.bytes[0] && (single || bytes[1] == other.bytes[1]);
    }

    // Four single bytes: valid, single, byte1, byte2. DeSerialize throws KBase::Message at the stream's end.
    void Serialize(KSerialization::WriteDataStream& stream) const;
    void DeSerialize(KSerialization::ReadDataStream& stream);

private:
    friend class EncodeMap; // keeps characters in the form that files have, invalid ones too

    MultiByteCharacter(bool isValid, bool isSingle, unsigned char byte1, unsigned char byte2) noexcept
        : valid(isValid), single(isSingle), bytes{static_cast<char>(byte1), static_cast<char>(byte2), 0} {}

    bool valid = false;
    bool single = false;
    char bytes[3] = {0, 0, 0}; // byte1, byte2, terminator: one array, so that Get() reads as one text
};

KCODEPAGE_EXPORT KSerialization::WriteDataStream& operator<<(KSerialization::WriteDataStream& stream,
                                                             const MultiByteCharacter& character);
KCODEPAGE_EXPORT KSerialization::ReadDataStream& operator>>(KSerialization::ReadDataStream& stream,
                                                            MultiByteCharacter& character);

} // namespace KCodePage
