// Environment variables as the system holds them.

#pragma once

namespace OperatingSystem::Posix {

// The value, or null where there is none or the process has rights that its caller has not.
const char* TrustedVariable(const char* name) noexcept;

} // namespace OperatingSystem::Posix
