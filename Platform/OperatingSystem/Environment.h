// The environment variables of the process.
//
// Thread safety: any thread, as long as none changes the environment at the same time.

#pragma once

#include "OperatingSystem/Types.h"

namespace OperatingSystem {

// The value of a variable, zero-terminated. Returns its length in code units without the zero; where
// `capacity` is too small, the capacity needed, with the zero; 0 for an empty value, which leaves the last
// error alone, and on failure:
//   203  there is no such variable, or the process has rights that its caller has not (as one started from a
//        set-user-id file has), so that the environment is not to be trusted;
//   1113 the value is not UTF-8.
// `name`: ASCII.
std::uint32_t GetEnvironmentVariableW(const char* name, wchar16* buffer, std::uint32_t capacity) noexcept;

} // namespace OperatingSystem
