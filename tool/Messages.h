// Text that is fit to be shown: one line, without control bytes, whatever a file or an argument was called.

#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

// `text` with \xNN in place of control characters and of bytes that are not UTF-8.
std::string Printable(std::string_view text);

// A name between quotes, printable.
std::string Quoted(std::string_view name);

// "85 40"; the units' low bytes.
std::string Hexadecimal(std::span<const std::uint16_t> bytes);

// "U+00E9", for one UTF-16 code unit or a surrogate pair.
std::string CodePoint(std::span<const std::uint16_t> units);

// Writes "kcodepage: " and what follows as one line to standard error.
void Report(std::string_view what);
