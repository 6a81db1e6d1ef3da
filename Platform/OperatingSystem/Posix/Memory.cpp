#include "OperatingSystem/Memory.h"

#include <cerrno>
#include <cstdint>
#include <sys/mman.h>
#include <unistd.h>

namespace OperatingSystem {

void WillFill([[maybe_unused]] void* memory, [[maybe_unused]] std::size_t size) noexcept {
#ifdef MADV_POPULATE_WRITE
    constexpr std::size_t leastPages = 16; // below, asking costs more than it saves
    const auto pageSize = static_cast<std::uintptr_t>(::sysconf(_SC_PAGESIZE));
    const auto begin = reinterpret_cast<std::uintptr_t>(memory);
    const std::uintptr_t firstPage = (begin + pageSize - 1) / pageSize;
    const std::uintptr_t endPage = (begin + size) / pageSize;
    if (endPage < firstPage + leastPages) {
        return;
    }
    const int error = errno;
    ::madvise(reinterpret_cast<void*>(firstPage * pageSize), (endPage - firstPage) * pageSize,
              MADV_POPULATE_WRITE);
    errno = error;
#endif
}

} // namespace OperatingSystem
