// The one table from errno to Windows error numbers, and setting the last error from it.

#pragma once

#include "OperatingSystem/LastError.h"

namespace OperatingSystem::Posix {

ErrorNumber FromErrno(int error) noexcept;

// Each sets the last error and returns false, so that a failing function can end with it.
bool Fail(ErrorNumber error) noexcept;
bool FailFromErrno(int error) noexcept;

// For a failure that concerns a path: ENOENT becomes 2 where the directory that the path's last part would
// lie in exists, else 3.
bool FailForPath(int error, const char* path) noexcept;

// For a failed move of a position by `offset`, which is before the start of the file only where that is
// negative.
bool FailForPosition(int error, std::int64_t offset) noexcept;

// For a failed read or write: a descriptor that is open, but not for that, is access denied and no invalid
// handle.
bool FailForAccess(int error, int descriptor) noexcept;

} // namespace OperatingSystem::Posix
