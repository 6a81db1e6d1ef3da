// What the door's handles and its C runtime descriptors share: a handle is a descriptor here.
// Each fails with the last error set.

#pragma once

#include <cstddef>
#include <cstdint>

namespace OperatingSystem::Posix {

// One read or write, begun again when a signal interrupts it. The number of bytes, or -1.
long long ReadDescriptor(int descriptor, void* buffer, std::size_t count) noexcept;
long long WriteDescriptor(int descriptor, const void* data, std::size_t count) noexcept;

// To the disk; true for what has no disk behind it.
bool CommitDescriptor(int descriptor) noexcept;

bool ResizeDescriptor(int descriptor, std::int64_t size) noexcept;

// The new position, or -1. `origin`: one of the door's.
std::int64_t SeekDescriptor(int descriptor, std::int64_t offset, int origin) noexcept;

// The system's number of one of the door's origins; false for another.
bool NativeOrigin(int origin, int* whence) noexcept;

bool CloseDescriptor(int descriptor) noexcept;

} // namespace OperatingSystem::Posix
