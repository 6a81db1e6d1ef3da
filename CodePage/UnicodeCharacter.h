// UnicodeCharacter: one UTF-16 code unit, or no character at all: an invalid value is how a table says that
// bytes have no mapping.
// Thread safety: a value type.

#pragma once

#include "KBase/Export.h"

namespace KSerialization {
class ReadDataStream;
class WriteDataStream;
} // namespace KSerialization

namespace KCodePage {

class KCODEPAGE_EXPORT UnicodeCharacter final {
public:
    // Invalid, value 0.
    UnicodeCharacter() noexcept = default;
    UnicodeCharacter(unsigned short codeUnit) noexcept : valid(true), value(codeUnit) {}

    UnicodeCharacter(const UnicodeCharacter&) noexcept = default;
    UnicodeCharacter& operator=(const UnicodeCharacter&) noexcept = default;
    virtual ~UnicodeCharacter() = default;

    void Invalidate() noexcept { *this = UnicodeCharacter(); }
    bool IsValid() const noexcept { return valid; }
    unsigned short Get() const noexcept { return value; }

    // A single byte (valid), then an unsigned 16-bit value. DeSerialize throws KBase::Message at the stream's
    // end.
    void Serialize(KSerialization::WriteDataStream& stream) const;
    void DeSerialize(KSerialization::ReadDataStream& stream);

private:
    friend class UnicodeCharacterMultiByte; // keeps characters in a smaller form, invalid ones too

    UnicodeCharacter(unsigned short codeUnit, bool isValid) noexcept : valid(isValid), value(codeUnit) {}

    bool valid = false;
    unsigned short value = 0;
};

} // namespace KCodePage
