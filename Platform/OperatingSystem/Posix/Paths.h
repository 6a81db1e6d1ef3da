// The one place where the door's paths become the system's, and the system's become the door's.

#pragma once

#include "OperatingSystem/Types.h"

#include <climits>
#include <cstddef>

namespace OperatingSystem::Posix {

#ifdef PATH_MAX
inline constexpr std::size_t pathCapacity = PATH_MAX;
#else
inline constexpr std::size_t pathCapacity = 4096;
#endif

// A path as the system takes it: UTF-8, slashes, zero-terminated.
class NativePath {
public:
    NativePath() noexcept { bytes[0] = 0; }

    // False with the last error set: 3 for null or empty, 206 for too long, 1113 for an unpaired surrogate.
    bool Assign(const wchar16* path) noexcept;
    bool Assign(const wchar16* path, std::size_t length) noexcept;

    const char* Get() const noexcept { return bytes; }

private:
    char bytes[pathCapacity];
};

// Puts a path that the system gave into `buffer`, with backslashes in place of slashes. Returns its length
// without the zero; where `capacity` is too small, the capacity needed; 0 with error 1113 where it is not
// UTF-8 or holds a backslash, so that no door path names it.
std::uint32_t ToDoorPath(const char* path, wchar16* buffer, std::size_t capacity) noexcept;

// Puts the name of a directory entry into `name`, U+FFFD in place of each part that no path can hold. A name
// that does not fit is cut off.
void ToEntryName(const char* entry, wchar16* name, std::size_t capacity) noexcept;

// Whether the directory that the last part of `path` lies in exists.
bool ParentExists(const char* path) noexcept;

// Puts the directory that the last part of `path` lies in into `directory`, "." where the path has none,
// and returns the last part, without slashes at the end.
const char* SplitLastPart(const char* path, char (&directory)[pathCapacity],
                          std::size_t* lastLength) noexcept;

bool IsDirectory(const char* path) noexcept;

} // namespace OperatingSystem::Posix
