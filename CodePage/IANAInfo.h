// IANAInfo: the fixed list that relates CODE_PAGE values to IANA charset names and Windows code page numbers.
// Thread safety: immutable; any thread may ask at any time while an Initializer lives.

#pragma once

#include "CodePage/CODE_PAGE.h"
#include "KBase/Export.h"
#include "KBase/ReferenceCounted.h"

namespace KCodePage {

class KCODEPAGE_EXPORT IANAInfo : public virtual KBase::ReferenceCounted {
public:
    // The UTF-16 and the 8-bit name, zero-terminated, or null for a value without a row. Valid as long as the
    // list.
    virtual const unsigned short* GetIANAName(CODE_PAGE codePage) const = 0;
    virtual const char* GetIANANameASCII(CODE_PAGE codePage) const = 0;

    // The Windows number; 0 for a value without a row. Kept: "us-ascii" has the number 0 too.
    virtual unsigned GetWindowsCodePage(CODE_PAGE codePage) const = 0;

    // The value of the row with exactly this name, code unit by code unit; -1 where there is none.
    // Requires: `name` is zero-terminated.
    virtual CODE_PAGE FindCodePage(const unsigned short* name) const = 0;
};

// The module's list, without a reference of the caller's own. Null where no Initializer lives.
KCODEPAGE_EXPORT IANAInfo* GetIANAInfo();

} // namespace KCodePage
