// ExactTables: the two tables of a code page, and what in them is exact. The tables alone do not tell: the
// operating system's services answer undefined pairs with a default unit, and characters that the code page
// does not have with a best fit.
// Thread safety: immutable.

#pragma once

#include "CodePage/Private/Core/CodePageFields.h"
#include "CodePage/TextConversion.h"
#include "KBase/ReferenceCounted.h"

namespace KCodePage {

class ExactTables {
public:
    // Takes the tables of `codePage` from the registry. Throws what GetCodePage throws, and
    // UserErrorException for a code page that has none or does not decode.
    ExactTables(CODE_PAGE codePage, const TextPolicy& policy);

    // The three questions of a DecodeMap. What stands for no character is invalid: a pair that decodes to the
    // default unit without being that unit's own bytes is undefined, and so is a lead byte with 00.
    unsigned GetNumberOfBytesInThisCharacter(const char* text) const;
    UnicodeCharacter Convert(unsigned char byte) const;
    UnicodeCharacter Convert(unsigned char leadByte, unsigned char secondByte) const;

    // The question of an EncodeMap. A best fit is invalid, unless the policy allows it.
    MultiByteCharacter Convert(unsigned short codeUnit) const;

    // What the code unit has for a best fit; invalid where it has a character of its own, or nothing.
    MultiByteCharacter BestFit(unsigned short codeUnit) const;

    // The flat look-ups of these questions, and the others that belong to the policy. They live as long as
    // this or a copy.
    const DecodeMap& DecodingMap() const;
    const EncodeMap& EncodingMap() const;
    BuiltOnce<EncodeMap>& EncodingMapToJis() const { return fields->exactMaps.encodingToJis[PolicyIndex()]; }

    const MultiByteToUnicode& Decoding() const { return *fields->multiByteToUnicode; }

private:
    std::size_t PolicyIndex() const noexcept { return (allowBestFit ? 1u : 0u) + (sevenBit ? 2u : 0u); }
    bool IsRoundTrip(unsigned short codeUnit, const MultiByteCharacter& character) const;

    KBase::SmartPtrI<const CodePageFields> fields;
    bool allowBestFit;
    bool sevenBit;
};

} // namespace KCodePage
