// The last error of the calling thread. A service that fails sets it; one that succeeds leaves it alone.
// Thread safety: each thread has a value of its own.

#pragma once

#include "OperatingSystem/Types.h"

namespace OperatingSystem {

ErrorNumber GetLastError() noexcept;
void SetLastError(ErrorNumber error) noexcept;

inline constexpr ErrorNumber ErrorFileNotFound = 2;
inline constexpr ErrorNumber ErrorPathNotFound = 3;
inline constexpr ErrorNumber ErrorAccessDenied = 5;
inline constexpr ErrorNumber ErrorInvalidHandle = 6;
inline constexpr ErrorNumber ErrorNotEnoughMemory = 8;
inline constexpr ErrorNumber ErrorNotSameDevice = 17;
inline constexpr ErrorNumber ErrorNoMoreFiles = 18;
inline constexpr ErrorNumber ErrorLockViolation = 33;
inline constexpr ErrorNumber ErrorFileExists = 80;
inline constexpr ErrorNumber ErrorInvalidParameter = 87;
inline constexpr ErrorNumber ErrorInsufficientBuffer = 122;
inline constexpr ErrorNumber ErrorInvalidName = 123;
inline constexpr ErrorNumber ErrorNegativeSeek = 131;
inline constexpr ErrorNumber ErrorAlreadyExists = 183;
inline constexpr ErrorNumber ErrorEnvironmentVariableNotFound = 203;
inline constexpr ErrorNumber ErrorFilenameTooLong = 206;
inline constexpr ErrorNumber ErrorInvalidDirectory = 267;
inline constexpr ErrorNumber ErrorInvalidFlags = 1004;
inline constexpr ErrorNumber ErrorNoUnicodeTranslation = 1113;

} // namespace OperatingSystem
