// Table: what every translation table can do.
// Thread safety: filling a table takes no lock, so it must not be filled while other threads use it; a filled
// table is only read and may be used by any number of threads at once.

#pragma once

#include "CodePage/CODE_PAGE.h"
#include "KBase/Export.h"

namespace KCodePage {

class KCODEPAGE_EXPORT Table {
public:
    Table() {}
    Table(const Table&) {}
    Table& operator=(const Table&) { return *this; }

    // Fills the table from a translation file. Throws CodePageConversionException when the file cannot be
    // opened or read, and KBase::Message when its contents are damaged.
    virtual void ReadFromFile(const wchar16* fileName) = 0;

    // Fills the table from the operating system's conversion services. Where they refuse the code page,
    // nothing has a mapping.
    virtual void ReadFromWindowsAPI() = 0;

    // Writes the table to a translation file. Throws CodePageConversionException; the file may then be left
    // partly written.
    virtual void WriteToFile(const wchar16* fileName) const = 0;

    // The extension of this kind's translation files, zero-terminated, without a dot.
    virtual const wchar16* GetFileExtension() const = 0;

    virtual ~Table();
};

} // namespace KCodePage
