// Types and error numbers of the operating-system door. The numbers are the Windows ones on every platform.
//
// The door has types, constants and declarations of its own and includes no system header, so that nothing
// above it can come to depend on the system it runs on.

#pragma once

#include <cstdint>

namespace OperatingSystem {

using wchar16 = unsigned short;    // one UTF-16 code unit
using Handle = std::intptr_t;      // an open file, search or the like
using ErrorNumber = std::uint32_t; // a Windows error number

inline constexpr Handle InvalidHandle = -1;

} // namespace OperatingSystem
