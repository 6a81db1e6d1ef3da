// CodePage: one character set of the catalogue. It names the set, answers questions about its bytes and
// converts text between it and UTF-16.
// Thread safety: any thread may call anything at any time on one object.

#pragma once

#include "CodePage/CODE_PAGE.h"
#include "CodePage/MultiByteString.h"
#include "CodePage/UnicodeString.h"
#include "KBase/Export.h"
#include "KBase/ReferenceCounted.h"
#include "KSerialization/SerializableObject.h"

namespace KCodePage {

class KCODEPAGE_EXPORT CodePage : public virtual KSerialization::SerializableObject,
                                  public virtual KSerialization::PolymorphicSerializableObject,
                                  public virtual KBase::ReferenceCounted {
public:
    // What a conversion does with a character that has no mapping. Every value but 0 throws.
    enum USE_SUBSTITUTION_CHARACTER : int {
        SUBSTITUTE = 0,             // put the table's substitution character in its place
        THROW_INVALID_CHARACTER = 1 // throw InvalidCharacterException
    };

    // The IANA name, zero-terminated; valid until the object is deserialized into or destroyed.
    virtual const wchar16* GetIANAName() const = 0;
    virtual const char* GetIANANameASCII() const = 0;

    // Converts `length` bytes of `text` to UTF-16.
    //
    // UTF-8 ignores `length` and reads up to the first zero byte. Requires there: zero-terminated.
    // Throws InvalidCharacterException (see USE_SUBSTITUTION_CHARACTER); KBase::Message for ill-formed UTF-8;
    // UserErrorException for iso-2022-jp and unicode-1-1, which do not decode; std::bad_alloc,
    // std::length_error.
    virtual KBase::ReturnPtrI<UnicodeString> ConvertToUnicode(const char* text, unsigned int length,
                                                              USE_SUBSTITUTION_CHARACTER substitution) = 0;

    // Whether `byte` opens a character of two or more bytes.
    virtual bool IsLeadingByte(char byte) const = 0;

    // The number of bytes of the character that opens at `text`, told from its first byte alone.
    virtual unsigned int GetNumberOfBytesInThisCharacter(const char* text) const = 0;

    // Whether an escape sequence stands at `text`, and how many bytes it has (0 for none). Only iso-2022-jp
    // has any. Requires: zero-terminated, or three bytes readable.
    virtual bool IsEscapeSequence(const char* text) const = 0;
    virtual unsigned int GetNumberOfBytesInThisEscapeSequence(const char* text) const = 0;

    // Converts `length` code units of `text` to bytes. Throws as ConvertToUnicode does. iso-2022-jp encodes
    // to Shift-JIS, which CodePage/ShiftJisToJis.h turns into JIS. Kept: a Shift-JIS character that has no
    // JIS code throws InvalidCharacterException, whatever `substitution` says.
    virtual KBase::ReturnPtrI<MultiByteString>
    ConvertToMultiByte(const wchar16* text, unsigned int length, USE_SUBSTITUTION_CHARACTER substitution) = 0;

    // Converts as many leading code units of `text` as fit a block, and sets `consumed` to their number
    // (for iso-2022-jp: to the number of Shift-JIS characters).
    //
    // `blockSize`: bytes, 0 for no limit. Tables fill up to `blockSize` bytes and never split a character.
    // Kept: UTF-8 and iso-2022-jp stay below `blockSize`. A block too small for the next character gives an
    // empty string and `consumed` 0. With no limit, UTF-8 leaves `consumed` 0.
    virtual KBase::ReturnPtrI<MultiByteString>
    ConvertToMultiByteObservingBlockSize(unsigned int& consumed, unsigned int blockSize, const wchar16* text,
                                         unsigned int length, USE_SUBSTITUTION_CHARACTER substitution) = 0;
};

} // namespace KCodePage
