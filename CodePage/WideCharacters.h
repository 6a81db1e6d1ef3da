// Text between this library's UTF-16 code units and the platform's 16-bit wide characters, and bytes widened
// to units and back without a code page.
// Thread safety: no state is kept here.

#pragma once

#include "KBase/Export.h"
#include "KBase/WideString.h"
#include "KDataType/Binary.h"

namespace KCodePage {

// A new block, which the caller owns, of the units of `text` as platform wide characters, 2 bytes each,
// without a terminating zero unit. `length`: units; 0 for up to the first zero unit. A null text gives an
// empty block. Throws std::bad_alloc.
KCODEPAGE_EXPORT KDataType::Binary* ConvertToWindowsWideChar(const unsigned short* text, unsigned length);

// The `length` units of `text`, zero units too; with 0, up to the first zero unit. A null text gives an empty
// one. Throws std::bad_alloc.
KCODEPAGE_EXPORT KBase::ReturnWString ConvertFromWindowsWideChar(const unsigned short* text, unsigned length);

// Each byte of the zero-terminated `text` as one unit, 00 to FF. A null text gives an empty one. Throws
// std::bad_alloc.
KCODEPAGE_EXPORT KBase::ReturnWString SimplyAddZerosToMakeWide(const char* text);

// Keeps the low byte of each little-endian unit of the block, unchecked, and the odd last byte, if there is
// one: the visible size shrinks by half of it, rounded down. A null block stays as it is.
KCODEPAGE_EXPORT void SimplyRemoveZerosToMakeMBCSInPlace(KDataType::Binary* block);

} // namespace KCodePage
