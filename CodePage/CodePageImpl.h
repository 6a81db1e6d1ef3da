// CodePageImpl: the code page object behind CodePage. It holds the catalogue row of its code page and the two
// translation tables, filled from translation files or from the operating system.
// Thread safety: any thread may call anything at any time. The object's lock is held only while fields are
// read or written, never while text is converted; a thread that converts with one object again and again
// takes no lock and writes nothing that other threads read (CodePage/Private/Core/ThreadFields.h).

#pragma once

#include "CodePage/CodePage.h"
#include "CodePage/MultiByteToUnicode.h"
#include "CodePage/UnicodeToMultiByte.h"
#include "KBase/Export.h"
#include "KSynch/AtomicLong.h"
#include "KSynch/Locks.h"

#include <atomic>
#include <string>

namespace KCodePage {

struct CodePageFields;

class KCODEPAGE_EXPORT CodePageImpl : public CodePage {
public:
    // An object for code page -1 without tables: usable once it has been deserialized. Until then, what needs
    // a table throws UserErrorException.
    CodePageImpl();

    // Takes the row of `codePage` from the catalogue and fills its tables. Throws UserErrorException for a
    // value without a row, and what filling the tables throws (Table).
    explicit CodePageImpl(CODE_PAGE codePage);

    // Shared by reference; two objects with one lock's worth of fields each would only drift apart.
    CodePageImpl(const CodePageImpl&) = delete;
    CodePageImpl& operator=(const CodePageImpl&) = delete;
    ~CodePageImpl() override;

    // Fills the three outputs from the catalogue row of `codePage`, replacing what they held. Throws
    // UserErrorException for a value without a row.
    static void GetIANAInfo(CODE_PAGE codePage, std::string& ianaName, KBase::WideString& ianaNameWide,
                            unsigned int& windowsCodePage);

    // The path of the translation file of `table` for `codePage`: base path, IANA name, a dot and the table's
    // extension. Throws UserErrorException for a value without a row. Requires: `table` is not null.
    static KBase::ReturnWString CreateFileName(CODE_PAGE codePage, Table* table);

    const wchar16* GetIANAName() const override;
    const char* GetIANANameASCII() const override;
    KBase::ReturnPtrI<UnicodeString> ConvertToUnicode(const char* text, unsigned int length,
                                                      USE_SUBSTITUTION_CHARACTER substitution) override;
    bool IsLeadingByte(char byte) const override;
    unsigned int GetNumberOfBytesInThisCharacter(const char* text) const override;
    bool IsEscapeSequence(const char* text) const override;
    unsigned int GetNumberOfBytesInThisEscapeSequence(const char* text) const override;
    KBase::ReturnPtrI<MultiByteString> ConvertToMultiByte(const wchar16* text, unsigned int length,
                                                          USE_SUBSTITUTION_CHARACTER substitution) override;
    KBase::ReturnPtrI<MultiByteString>
    ConvertToMultiByteObservingBlockSize(unsigned int& consumed, unsigned int blockSize, const wchar16* text,
                                         unsigned int length,
                                         USE_SUBSTITUTION_CHARACTER substitution) override;

    // The CODE_PAGE value, -1 for an object that was never initialised.
    int GetType() const override;

    // The Windows number of the catalogue row.
    unsigned int GetWindowsAPICodePage() const;

    // A code page is serialized as its number alone. DeSerialize shares the names and tables of the
    // registry's object for the number read, and throws what GetCodePage throws, the object unchanged.
    void Serialize(KSerialization::WriteDataStream& stream) const override;
    void DeSerialize(KSerialization::ReadDataStream& stream) override;

    std::int32_t AddRef() const override;
    std::int32_t Release() const override;

private:
    friend class CodePageImplTestAccess; // reaches the operating system's routes, which have no public caller
    friend class ExactTables;            // holds the fields
    friend KBase::SmartPtrI<const MultiByteToUnicode> GetDecodingTable(const CodePage& codePage);

    using Fields = KBase::SmartPtrI<const CodePageFields>;
    class Route;

    void Initialize(CODE_PAGE codePage);
    Fields GetFields() const;
    void Replace(Fields replacement);

    // The operating system's own conversions. The library's callers convert through the tables.
    KBase::ReturnPtrI<UnicodeString> ConvertToUnicodeWindowsAPI(const char* text, unsigned int length);
    KBase::ReturnPtrI<MultiByteString> ConvertToMultiByteWindowsAPI(const wchar16* text, unsigned int length);

    // Read and replaced as one. Guarded by `lock`; their address may be asked for without it.
    Fields fields;
    std::atomic<const CodePageFields*> address;
    KBase::ReturnPtr<KSynch::RWLock> lock;
    mutable KSynch::AtomicLong referenceCount;
};

} // namespace KCodePage
