// Conversions of code page 65001. Ill-formed text is replaced, never refused.
//
// Thread safety: pure functions.

#pragma once

#include "TableCodePage.h"

namespace OperatingSystem {

// Each maximal ill-formed part becomes U+FFFD.
Converted DecodeUTF8(const char* text, std::size_t length, wchar16* target, std::size_t capacity) noexcept;

// Each unpaired surrogate becomes U+FFFD.
Converted EncodeUTF8(const wchar16* text, std::size_t length, char* target, std::size_t capacity) noexcept;

} // namespace OperatingSystem
