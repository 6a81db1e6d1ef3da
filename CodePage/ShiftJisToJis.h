// ShiftJisToJis: the table from Shift-JIS to JIS X 0208, of which there is one in the process, and the
// conversion of Shift-JIS text to 7-bit JIS text with escape sequences (the ISO-2022-JP form). It also tells
// lead bytes and escape sequences in such text.
// Thread safety: as for every Table; the process's table may be asked for and flushed on any thread.

#pragma once

#include "CodePage/MultiByteCharacter.h"
#include "CodePage/MultiByteString.h"
#include "CodePage/Table.h"
#include "KBase/Export.h"
#include "KBase/ReferenceCounted.h"
#include "KBase/WideString.h"
#include "KSynch/AtomicLong.h"

#include <bitset>
#include <cstddef>
#include <cstdint>
#include <map>
#include <vector>

namespace KSerialization {
class ReadDataStream;
class WriteDataStream;
} // namespace KSerialization

namespace KCodePage {

class CodePage;
class MultiByteToUnicode;
class ShiftJisText;

class KCODEPAGE_EXPORT ShiftJisToJis : public virtual Table, public virtual KBase::ReferenceCounted {
public:
    // The process's table, made and filled if there is none. The process owns it. Requires: no flush
    // (FlushCodePageCaches, SetBasePath, Flush, end of the last Initializer) on another thread meanwhile;
    // where one may come, take InstanceReference instead. Throws what the constructor throws; there is no
    // table then.
    static ShiftJisToJis* Instance();

    // The same with a reference of the caller's own, taken in one step that no flush can split. A table that
    // was begun before a flush and finished after it serves this caller alone.
    static KBase::ReturnPtrI<ShiftJisToJis> InstanceReference();

    // Drops the process's table; it lives on where references are held. The next request makes a new one.
    static void Flush();

    // A table filled from the operating system where the base path is "UseWindowsAPI", else from the
    // translation file. Throws UserErrorException where no Initializer lives, and what filling throws.
    ShiftJisToJis();

    // Copies are deep. A copy's reference count starts at 0; assignment leaves the target's as it was.
    ShiftJisToJis(const ShiftJisToJis& other);
    ShiftJisToJis& operator=(const ShiftJisToJis& other);
    ~ShiftJisToJis() override;

    // The path of the translation file: the base path and "ShiftJisToJis.SJ2J".
    static KBase::ReturnWString CreateFileName();
    static const wchar16* GetFileExtensionStatic(); // "SJ2J"

    // Converts Shift-JIS text to JIS text: ESC $ B before each run of two-byte characters, ESC ( B behind it.
    // What the Shift-JIS code page does not call a lead byte is copied as it is, half-width katakana too.
    // `count` becomes the number of characters consumed. `blockSize`: bytes, 0 for no limit; the result stays
    // below it, ends in one-byte mode, and is empty where the next character would not fit.
    // Throws InvalidCharacterException for a pair that the table does not have (a lead byte at the end pairs
    // with 00), `count` being the number of characters before it; what GetCodePage(SHIFT_JIS) throws;
    // std::bad_alloc; std::length_error for a result beyond 2^32 - 1 bytes. Requires: `input` is not null.
    KBase::ReturnPtrI<MultiByteString> ConvertObservingBlockSize(unsigned& count, unsigned blockSize,
                                                                 const MultiByteString* input);
    KBase::ReturnPtrI<MultiByteString> Convert(const MultiByteString* input); // without a limit

    // Whether some character's JIS code begins with `c`. With the operating system's table: 21 to 7E.
    bool IsLeadingByte(char c) const;
    unsigned GetNumberOfBytesInThisCharacter(const char* p) const; // 1 or 2, from the first byte alone

    // Whether ESC $ B or ESC ( B stands at `p`. Reads up to three bytes, and none behind a zero byte.
    bool IsEscapeSequence(const char* p) const;
    unsigned GetNumberOfBytesInThisEscapeSequence(const char* p) const; // 3, or 0 for none

    void ReadFromFile(const wchar16* fileName) override;
    void ReadFromWindowsAPI() override;
    void WriteToFile(const wchar16* fileName) const override;
    const wchar16* GetFileExtension() const override; // "SJ2J"

    // The body of a translation file. DeSerialize adds the entries that the stream names and keeps those that
    // are there, of the same key too; the first bytes are those of the stream alone. It throws KBase::Message
    // for damaged data; the table then holds what was read.
    void Serialize(KSerialization::WriteDataStream& stream) const;
    void DeSerialize(KSerialization::ReadDataStream& stream);

    std::int32_t AddRef() const override;
    std::int32_t Release() const override;

private:
    friend class JisEncoding;        // looks single characters up
    friend class UnicodeToMultiByte; // has Shift-JIS text that is no string

    struct Leads;

    // ConvertObservingBlockSize of the process's table.
    static KBase::ReturnPtrI<MultiByteString> ConvertByInstance(unsigned& count, unsigned blockSize,
                                                                ShiftJisText& text);
    // `decoding` and `shiftJis`: the table of shift_jis, and the page itself, which is asked for the lead
    // bytes where the table has no map; null is allowed for what is not needed.
    KBase::ReturnPtrI<MultiByteString> Convert(unsigned& count, unsigned blockSize, ShiftJisText& text,
                                               const MultiByteToUnicode* decoding,
                                               const CodePage* shiftJis) const;

    void AddToFirstByteList(char c);
    void Insert(unsigned short shiftJis, const MultiByteCharacter& jis);
    MultiByteCharacter ConvertShiftJISToJISCharSeq(MultiByteCharacter sjis) const;
    MultiByteCharacter ConvertShiftJISToJISCharSeqUsingWindowsAPI(MultiByteCharacter sjis) const;

    static KBase::SmartPtrI<ShiftJisToJis> sShiftJisToJisPtr; // the process's table, guarded by a lock

    std::map<unsigned short, MultiByteCharacter> map; // by Shift-JIS code: lead byte * 256 + trail byte
    std::bitset<256> firstBytes;                      // of the JIS codes
    std::vector<std::uint16_t>
        codes;               // the map's flat look-up: 65,536 JIS codes, 0 for what is not 0100 to FFFE
    unsigned irregularCodes; // of these, those that are not as Kernels::RegularJisCode says
    mutable KSynch::AtomicLong referenceCount;
};

} // namespace KCodePage
