// Numbers for the names of files that must not exist yet.

#pragma once

#include <cstdint>

namespace OperatingSystem::Posix {

// Another one each time, never 0; hard to foresee is not promised.
std::uint32_t NextUniqueNumber() noexcept;

} // namespace OperatingSystem::Posix
