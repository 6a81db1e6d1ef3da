// ShiftJisToJis: the table from Shift-JIS to JIS X 0208, of which there is one in the process, and the
// conversion of Shift-JIS text to 7-bit JIS text with escape sequences (the ISO-2022-JP form).

#pragma once

#include "CodePage/MultiByteString.h"
#include "KBase/Export.h"
#include "KBase/ReferenceCounted.h"

namespace KCodePage {

// This build has no table: Instance() throws UserErrorException "The character set is not supported:
// iso-2022-jp", and with it everything that code page 12 does beyond Shift-JIS.
class KCODEPAGE_EXPORT ShiftJisToJis {
public:
    static ShiftJisToJis* Instance();
    static void Flush();

    KBase::ReturnPtrI<MultiByteString> ConvertObservingBlockSize(unsigned& count, unsigned blockSize,
                                                                 const MultiByteString* input);
    KBase::ReturnPtrI<MultiByteString> Convert(const MultiByteString* input);
    bool IsLeadingByte(char c) const;
    unsigned GetNumberOfBytesInThisCharacter(const char* p) const;
    bool IsEscapeSequence(const char* p) const;
    unsigned GetNumberOfBytesInThisEscapeSequence(const char* p) const;
};

} // namespace KCodePage
