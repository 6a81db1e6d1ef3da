#include "OperatingSystem/Environment.h"

#include "OperatingSystem/Posix/Environment.h"
#include "OperatingSystem/Posix/ErrorNumbers.h"
#include "UTF8/UTF8.h"

#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <unistd.h>

namespace OperatingSystem {

using namespace Posix;

namespace Posix {

const char* TrustedVariable(const char* name) noexcept {
#ifdef __GLIBC__
    return ::secure_getenv(name);
#else
    return ::geteuid() != ::getuid() || ::getegid() != ::getgid() ? nullptr : std::getenv(name);
#endif
}

} // namespace Posix

std::uint32_t GetEnvironmentVariableW(const char* name, wchar16* buffer, std::uint32_t capacity) noexcept {
    const char* const value = TrustedVariable(name);
    if (value == nullptr) {
        Fail(ErrorEnvironmentVariableNotFound);
        return 0;
    }
    const std::size_t length = std::strlen(value);
    const std::unique_ptr<wchar16[]> wide(new (std::nothrow) wchar16[length + 1]);
    if (!wide) {
        Fail(ErrorNotEnoughMemory);
        return 0;
    }
    const UTF8::Result result = UTF8::Decode(value, length, wide.get(), length);
    if (result.stop != UTF8::Stop::InputUsedUp) {
        Fail(ErrorNoUnicodeTranslation);
        return 0;
    }
    wide[result.written] = 0;
    if (buffer == nullptr || result.written >= capacity) {
        return static_cast<std::uint32_t>(result.written + 1);
    }
    std::memcpy(buffer, wide.get(), (result.written + 1) * sizeof(wchar16));
    return static_cast<std::uint32_t>(result.written);
}

} // namespace OperatingSystem
