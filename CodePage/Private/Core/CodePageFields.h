// CodePageFields: what a code page object holds: its row of the catalogue and its two tables, which belong
// together. An object is pointed at other fields as a whole; the fields themselves never change once an
// object points at them, and several objects may share them. Thread safety: the reference count is atomic,
// and the exact maps look after themselves; the rest is only read once it is shared.

#pragma once

#include "CodePage/CODE_PAGE.h"
#include "CodePage/MultiByteToUnicode.h"
#include "CodePage/Private/Core/ExactMaps.h"
#include "CodePage/UnicodeToMultiByte.h"
#include "KBase/ReferenceCounted.h"
#include "KBase/WideString.h"
#include "KSynch/AtomicLong.h"

#include <cstdint>
#include <string>

namespace KCodePage {

struct CodePageFields {
    std::string ianaName;
    KBase::WideString ianaNameWide;
    CODE_PAGE codePage = static_cast<CODE_PAGE>(-1);
    unsigned int windowsCodePage = 0;
    KBase::SmartPtrI<MultiByteToUnicode> multiByteToUnicode; // null for utf-8 and unicode-1-1
    KBase::SmartPtrI<UnicodeToMultiByte> unicodeToMultiByte;
    mutable ExactMaps exactMaps;

    // As for KBase::ReferenceCounted.
    void AddRef() const noexcept { ++referenceCount; }
    void Release() const noexcept {
        if (--referenceCount == 0) {
            delete this;
        }
    }

private:
    mutable KSynch::AtomicLong referenceCount;
};

} // namespace KCodePage
