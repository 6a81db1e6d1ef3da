#include "OperatingSystem/LastError.h"

namespace OperatingSystem {

namespace {
thread_local ErrorNumber lastError = 0;
}

ErrorNumber GetLastError() noexcept {
    return lastError;
}

void SetLastError(ErrorNumber error) noexcept {
    lastError = error;
}

} // namespace OperatingSystem
