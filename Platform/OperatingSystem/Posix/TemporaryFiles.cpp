#include "OperatingSystem/Directories.h"
#include "OperatingSystem/Posix/Environment.h"
#include "OperatingSystem/Posix/ErrorNumbers.h"
#include "OperatingSystem/Posix/Paths.h"
#include "OperatingSystem/Posix/UniqueNames.h"

#include <atomic>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace OperatingSystem {

using namespace Posix;

namespace Posix {

// The clock and the process make collisions rare, the counter makes the next attempt another one; that no
// file is taken twice is up to O_EXCL.
std::uint32_t NextUniqueNumber() noexcept {
    static std::atomic<std::uint32_t> counter{0};
    timespec now{};
    ::clock_gettime(CLOCK_REALTIME, &now);
    std::uint64_t mixed = static_cast<std::uint64_t>(now.tv_nsec) ^
                          (static_cast<std::uint64_t>(now.tv_sec) << 30) ^
                          (static_cast<std::uint64_t>(::getpid()) << 16);
    mixed += static_cast<std::uint64_t>(++counter) * 0x9E3779B97F4A7C15u;
    mixed ^= mixed >> 31;
    mixed *= 0xBF58476D1CE4E5B9u;
    const auto number = static_cast<std::uint32_t>(mixed >> 32);
    return number != 0 ? number : 1;
}

} // namespace Posix

std::uint32_t GetTempPathW(std::uint32_t capacity, wchar16* buffer) noexcept {
    const char* const variable = TrustedVariable("TMPDIR");
    char native[pathCapacity] = "/tmp/";
    if (variable != nullptr && variable[0] == '/') {
        const std::size_t length = std::strlen(variable);
        if (length + 2 > sizeof native) {
            Fail(ErrorFilenameTooLong);
            return 0;
        }
        std::memcpy(native, variable, length + 1);
        if (native[length - 1] != '/') {
            native[length] = '/';
            native[length + 1] = 0;
        }
        wchar16 converted[pathCapacity];
        if (ToDoorPath(native, converted, pathCapacity) == 0) {
            std::memcpy(native, "/tmp/", 6);
        }
    }
    return ToDoorPath(native, buffer, capacity);
}

std::uint32_t GetTempFileNameW(const wchar16* directory, const wchar16* prefix, std::uint32_t unique,
                               wchar16* name) noexcept {
    NativePath native;
    if (unique != 0) {
        Fail(ErrorInvalidParameter);
        return 0;
    }
    if (!native.Assign(directory)) {
        return 0;
    }
    if (!IsDirectory(native.Get())) {
        Fail(ErrorInvalidDirectory);
        return 0;
    }
    std::size_t length = 0;
    while (directory[length] != 0) {
        ++length;
    }
    std::size_t prefixLength = 0;
    while (prefix != nullptr && prefixLength < 3 && prefix[prefixLength] != 0) {
        ++prefixLength;
    }
    for (std::size_t i = 0; i < prefixLength; ++i) {
        if (prefix[i] == '\\' || prefix[i] == '/') {
            Fail(ErrorInvalidName); // the file would lie in another directory
            return 0;
        }
    }
    if (prefixLength == 3 && (prefix[2] & 0xFC00u) == 0xD800u && (prefix[3] & 0xFC00u) == 0xDC00u) {
        --prefixLength;
    }
    constexpr std::size_t digits = 8;
    if (length + 1 + prefixLength + digits + 4 + 1 > MaxPath) {
        Fail(ErrorFilenameTooLong);
        return 0;
    }
    std::memcpy(name, directory, length * sizeof(wchar16));
    if (name[length - 1] != '\\' && name[length - 1] != '/') {
        name[length++] = '\\';
    }
    if (prefixLength != 0) {
        std::memcpy(name + length, prefix, prefixLength * sizeof(wchar16));
        length += prefixLength;
    }
    for (int attempt = 0; attempt < 1000; ++attempt) {
        const std::uint32_t number = NextUniqueNumber();
        std::size_t end = length;
        for (unsigned shift = 32; shift != 0; shift -= 4) {
            name[end++] = static_cast<unsigned char>("0123456789abcdef"[(number >> (shift - 4)) & 0xFu]);
        }
        for (const char c : {'.', 't', 'm', 'p'}) {
            name[end++] = static_cast<unsigned char>(c);
        }
        name[end] = 0;
        if (!native.Assign(name)) {
            return 0;
        }
        const int descriptor = ::open(native.Get(), O_CREAT | O_EXCL | O_RDWR | O_CLOEXEC, 0600);
        if (descriptor >= 0) {
            ::close(descriptor);
            return number;
        }
        if (errno != EEXIST && errno != EINTR) {
            FailForPath(errno, native.Get());
            return 0;
        }
    }
    Fail(ErrorFileExists);
    return 0;
}

} // namespace OperatingSystem
