// UnicodeToMultiByte: the table that turns UTF-16 text into one multi-byte code page.
// Thread safety: as for every Table; the reference count is atomic.

#pragma once

#include "CodePage/CodePage.h"
#include "CodePage/MultiByteCharacter.h"
#include "CodePage/Table.h"
#include "KBase/Export.h"
#include "KBase/ReferenceCounted.h"
#include "KSynch/AtomicLong.h"

#include <cstddef>
#include <memory>

namespace KCodePage {

class EncodeMap;

class KCODEPAGE_EXPORT UnicodeToMultiByte : public virtual Table, public virtual KBase::ReferenceCounted {
public:
    // An empty table for code page -1 with the substitution character '?'.
    UnicodeToMultiByte();

    // An unfilled table. `windowsCodePage`: the number that the operating system knows the code page by.
    // `substitutionCharacter`: put out for what has no mapping, and the operating system's default character
    // while the table is filled from there.
    UnicodeToMultiByte(CODE_PAGE codePage, unsigned int windowsCodePage, char substitutionCharacter);

    // Copies are deep. A copy's reference count starts at 0; assignment leaves the target's as it was.
    UnicodeToMultiByte(const UnicodeToMultiByte& other);
    UnicodeToMultiByte& operator=(const UnicodeToMultiByte& other);
    ~UnicodeToMultiByte() override;

    // The bytes of one code unit; invalid where it has no mapping.
    MultiByteCharacter Convert(unsigned short codeUnit) const;

    // Converts `length` code units. Surrogates are looked up one by one, like any other unit. A unit without
    // mapping gives the substitution character, or InvalidCharacterException, as `mode` says.
    KBase::ReturnPtrI<MultiByteString> Convert(const unsigned short* input, unsigned int length,
                                               CodePage::USE_SUBSTITUTION_CHARACTER mode) const;

    // Converts as many leading code units as fit `blockSize` bytes (0: no limit) and sets `converted` to
    // their number. A two-byte character never straddles a block.
    KBase::ReturnPtrI<MultiByteString>
    ConvertObservingBlockSize(unsigned int& converted, unsigned int blockSize, const unsigned short* input,
                              unsigned int length, CodePage::USE_SUBSTITUTION_CHARACTER mode) const;

    void ReadFromFile(const wchar16* fileName) override;
    void ReadFromWindowsAPI() override;
    void WriteToFile(const wchar16* fileName) const override;
    const wchar16* GetFileExtension() const override; // "U2M"

    // The body of a translation file. DeSerialize stores the entries that the stream names and keeps the
    // others; the code page stays. It throws KBase::Message for damaged data; the table then holds what was
    // read.
    void Serialize(KSerialization::WriteDataStream& stream) const;
    void DeSerialize(KSerialization::ReadDataStream& stream);

    std::int32_t AddRef() const override;
    std::int32_t Release() const override;

private:
    KBase::ReturnPtrI<MultiByteString> ConvertToJIS(std::size_t capacity, unsigned int& converted,
                                                    unsigned int blockSize, const unsigned short* input,
                                                    unsigned int length,
                                                    CodePage::USE_SUBSTITUTION_CHARACTER mode) const;

    std::unique_ptr<EncodeMap> CopyOfMap() const; // an empty one where there is none

    CODE_PAGE codePage = static_cast<CODE_PAGE>(-1);
    unsigned int windowsCodePage = 0;
    char substitutionCharacter = '?';
    std::unique_ptr<const EncodeMap> map; // the characters; null while nothing has filled the table
    mutable KSynch::AtomicLong referenceCount;
};

} // namespace KCodePage
