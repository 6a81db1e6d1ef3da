// Memory: hints about memory that the heap gave. Thread safety: any thread.

#pragma once

#include <cstddef>

namespace OperatingSystem {

// Says that all `size` bytes of a new block will be written soon. The system then provides the block's pages
// together, which costs less than one by one, when each is written first. A hint: contents stay, and where
// the system does not take it, nothing happens.
void WillFill(void* memory, std::size_t size) noexcept;

} // namespace OperatingSystem
