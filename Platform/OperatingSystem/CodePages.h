// The operating system's code page services, one set of declarations for every platform.
//
// Code pages known everywhere: 0 (the system's own: 1252 where the system has none), 874, 932, 936, 949,
// 950, 1250, 1252 to 1257, 20866 and 65001 (UTF-8). Any other number is refused with error 87.
//
// Thread safety: any thread may call anything at any time. Nothing here throws.

#pragma once

#include "OperatingSystem/Types.h"

namespace OperatingSystem {

// Converts `length` bytes of `text` to UTF-16.
//
// `length`: bytes, or negative for a text that ends with its first zero byte, which is converted too.
// `capacity`: code units that `target` holds; 0 asks for the number needed (then `target` is not used).
// Returns the number of code units written or needed; 0 on failure, with the last error set:
//   87   length 0, an unknown code page, a null `text`, a null `target` with a capacity above 0, a negative
//        capacity;
//   122  the text does not fit (what fits has been written), or what it needs is more than an int holds;
//   1004 flags other than 0.
// Success leaves the last error untouched. Nothing is refused for what the text says: input without a mapping
// becomes the code page's default unit, U+30FB for 932 and U+003F for the other pages. So does a lead byte
// at the end of the text or before a zero byte, and that zero byte stands for itself; any other second byte
// belongs to the pair. In 65001 each maximal ill-formed part becomes U+FFFD.
int MultiByteToWideChar(std::uint32_t codePage, std::uint32_t flags, const char* text, int length,
                        wchar16* target, int capacity) noexcept;

// Converts `length` code units of `text` to bytes of the code page, best fit included.
//
// `length`, `capacity`, the result and the errors are as above, in bytes; a two-byte character is never
// half written. `defaultCharacter`: one byte, or both bytes of a two-byte character, zero-terminated, put out
// for a unit without mapping (a single-byte page takes the first byte only); null means "?". Each half of a
// surrogate pair is such a unit. `*usedDefault` (where not null) is set to whether that happened, up to the
// place where the target was full if it was too small; it is untouched when the arguments are refused. Best
// fit and a unit whose own bytes are the default character do not count.
// With 65001, an unpaired surrogate becomes U+FFFD, and a default character or a place for `usedDefault` is
// refused with error 87.
int WideCharToMultiByte(std::uint32_t codePage, std::uint32_t flags, const wchar16* text, int length,
                        char* target, int capacity, const char* defaultCharacter, int* usedDefault) noexcept;

// Whether `byte` opens a two-byte character. An unknown code page gives false and error 87.
bool IsDBCSLeadByteEx(std::uint32_t codePage, unsigned char byte) noexcept;

// The multi-byte code page of the C runtime, 0 at first. Held per thread, so that one thread's use of
// _mbcjmstojis does not depend on what another sets.
int _getmbcp() noexcept;

// Sets it; returns 0, or -1 for a code page that is not known, which changes nothing.
int _setmbcp(int codePage) noexcept;

// The JIS X 0208 code of a two-byte Shift-JIS character (lead byte * 256 + trail byte; what is above that is
// ignored): 0 where there is none. Pure arithmetic over rows of 188 trail bytes, so undefined pairs convert
// too. With a code page other than 932 set, the input comes back unchanged.
unsigned int _mbcjmstojis(unsigned int character) noexcept;

} // namespace OperatingSystem
