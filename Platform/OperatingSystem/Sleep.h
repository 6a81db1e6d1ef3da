// Waiting. Thread safety: any thread.

#pragma once

namespace OperatingSystem {

// Pauses the calling thread for at least that long; 0 lets other threads run first.
void Sleep(unsigned int milliseconds) noexcept;

} // namespace OperatingSystem
