// The platform's UTF-8 routines.
//
// `substitute`: true puts U+FFFD in place of what is ill-formed (decoding: one per maximal subpart of an
// ill-formed sequence; encoding: EF BF BD per unpaired surrogate). False throws ExceptionImpl<Message>, whose
// text names the offset of the first offending byte or code unit.
// Thread safety: pure functions.

#pragma once

#include "KBase/Export.h"
#include "KBase/WideString.h"

#include <cstddef>

namespace KBase {

// Decodes a zero-terminated UTF-8 text.
KCODEPAGE_EXPORT ReturnWString UTF8ToWideChar(const char* text, bool substitute);

// Decodes `length` bytes, zero bytes included.
KCODEPAGE_EXPORT ReturnWString UTF8ToWideCharUsingLength(const char* text, std::size_t length,
                                                         bool substitute);

// Encodes a zero-terminated UTF-16 text.
KCODEPAGE_EXPORT ReturnString WideCharToUTF8(const wchar16* text, bool substitute);

// Encodes `length` code units, zero units included.
KCODEPAGE_EXPORT ReturnString WideCharToUTF8UsingLength(const wchar16* text, std::size_t length,
                                                        bool substitute);

// The same into a buffer of the caller's. Return the number of units written.
// Requires: room for `length` code units, and for 3 * `length` bytes.
KCODEPAGE_EXPORT std::size_t UTF8ToWideCharInto(const char* text, std::size_t length, wchar16* output,
                                                bool substitute);
KCODEPAGE_EXPORT std::size_t WideCharToUTF8Into(const wchar16* text, std::size_t length, char* output,
                                                bool substitute);

// Whether `byte` opens a sequence of two or more bytes.
KCODEPAGE_EXPORT bool UTF8IsLeadingByte(char byte) noexcept;

// The number of bytes of the sequence that `byte` opens, 1 to 4; 1 for a byte that opens nothing.
KCODEPAGE_EXPORT unsigned int UTF8TotalBytes(char byte) noexcept;

} // namespace KBase
