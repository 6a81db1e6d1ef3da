// Code units: runs of UTF-16 that hold no surrogates, between memory and bytes in either order.

#pragma once

#include "CodePage/CODE_PAGE.h"

#include <cstddef>
#include <span>

// How many units come before the first surrogate.
std::size_t CountBeforeSurrogate(std::span<const KCodePage::wchar16> units) noexcept;

// Copies `count` units of two bytes each, from bytes to memory or from memory to bytes, which lie in the
// given order. The two do not overlap.
void CopyUnits(const void* from, void* to, std::size_t count, bool bigEndian) noexcept;
