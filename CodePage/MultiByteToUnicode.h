// MultiByteToUnicode: the table that turns text of one multi-byte code page into UTF-16.
// Thread safety: as for every Table; the reference count is atomic.

#pragma once

#include "CodePage/CodePage.h"
#include "CodePage/Table.h"
#include "CodePage/UnicodeCharacterMultiByte.h"
#include "KBase/Export.h"
#include "KBase/ReferenceCounted.h"
#include "KSynch/AtomicLong.h"

#include <memory>
#include <vector>

namespace KCodePage {

class DecodeMap;

class KCODEPAGE_EXPORT MultiByteToUnicode : public virtual Table, public virtual KBase::ReferenceCounted {
public:
    // An empty table for code page -1 with the substitution character '?'.
    MultiByteToUnicode();

    // An unfilled table. `windowsCodePage`: the number that the operating system knows the code page by.
    // `substitutionCharacter`: put out for what has no mapping.
    MultiByteToUnicode(CODE_PAGE codePage, unsigned int windowsCodePage, char substitutionCharacter);

    // Copies are deep. A copy's reference count starts at 0; assignment leaves the target's as it was.
    MultiByteToUnicode(const MultiByteToUnicode& other);
    MultiByteToUnicode& operator=(const MultiByteToUnicode& other);
    ~MultiByteToUnicode() override;

    bool IsLeadingByte(unsigned char byte) const;
    unsigned int GetNumberOfBytesInThisCharacter(const char* text) const; // 1 or 2
    bool IsEscapeSequence(const char* text) const;
    unsigned int GetNumberOfBytesInThisEscapeSequence(const char* text) const;

    // The code unit of a single byte, or of a lead byte with its second byte; invalid where there is none.
    UnicodeCharacter Convert(unsigned char byte) const;
    UnicodeCharacter Convert(unsigned char leadByte, unsigned char secondByte) const;

    // Converts `length` bytes. A byte, pair, or lead byte at the very end without mapping gives the
    // substitution character, or InvalidCharacterException, as `mode` says.
    // Kept: the exception shows the byte behind the offending character (a zero byte at the end of the
    // input), and a substitution character of 80 or above becomes a code unit of FF80 to FFFF.
    KBase::ReturnPtrI<UnicodeString> Convert(const char* input, unsigned int length,
                                             CodePage::USE_SUBSTITUTION_CHARACTER mode) const;

    void ReadFromFile(const wchar16* fileName) override;
    void ReadFromWindowsAPI() override;
    void WriteToFile(const wchar16* fileName) const override;
    const wchar16* GetFileExtension() const override; // "M2U"

    // The body of a translation file. DeSerialize replaces the rows; the code page stays. It throws
    // KBase::Message for damaged data; the table then holds what was read.
    void Serialize(KSerialization::WriteDataStream& stream) const;
    void DeSerialize(KSerialization::ReadDataStream& stream);

    std::int32_t AddRef() const override;
    std::int32_t Release() const override;

private:
    friend class DecodeMap; // hands `map` out

    const UnicodeCharacterMultiByte* Row(unsigned char byte) const noexcept;
    void CompileMap();

    CODE_PAGE codePage = static_cast<CODE_PAGE>(-1);
    unsigned int windowsCodePage = 0;
    char substitutionCharacter = '?';
    std::vector<std::unique_ptr<UnicodeCharacterMultiByte>> rows; // one for each first byte, 256 once filled
    std::unique_ptr<const DecodeMap> map; // flat look-up of the rows; null while they change, and for page 12
    mutable KSynch::AtomicLong referenceCount;
};

} // namespace KCodePage
