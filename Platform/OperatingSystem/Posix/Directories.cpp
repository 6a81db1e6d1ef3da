#include "OperatingSystem/Directories.h"

#include "OperatingSystem/Posix/ErrorNumbers.h"
#include "OperatingSystem/Posix/Paths.h"

#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <limits>
#include <new>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

namespace OperatingSystem {

using namespace Posix;

namespace {

struct Search {
    DIR* directory;
    wchar16 pattern[pathCapacity]; // the last part of the path

    ~Search() { ::closedir(directory); }
};

bool IsSeparator(wchar16 unit) noexcept {
    return unit == '\\' || unit == '/';
}

// Whether a name matches. Where a "*" was met, a mismatch lets that "*" take one unit more: earlier ones
// need never be tried again, so the time is at most the product of the lengths.
bool Matches(const wchar16* pattern, const wchar16* name) noexcept {
    const wchar16* afterStar = nullptr;
    const wchar16* starEnd = nullptr;
    while (*name != 0) {
        if (*pattern == '*') {
            afterStar = ++pattern;
            starEnd = name;
        } else if (*pattern != 0 && (*pattern == '?' || *pattern == *name)) {
            ++pattern;
            ++name;
        } else if (afterStar != nullptr) {
            pattern = afterStar;
            name = ++starEnd;
        } else {
            return false;
        }
    }
    while (*pattern == '*') {
        ++pattern;
    }
    return *pattern == 0;
}

// 1 for an entry, 0 at the end, -1 on failure.
int NextMatch(Search& search, FindData* data) noexcept {
    for (;;) {
        errno = 0;
        const dirent* const entry = ::readdir(search.directory);
        if (entry == nullptr) {
            if (errno == 0) {
                return 0;
            }
            if (errno != EINTR) {
                FailFromErrno(errno);
                return -1;
            }
            continue;
        }
        ToEntryName(entry->d_name, data->name, MaxPath);
        if (Matches(search.pattern, data->name)) {
            return 1;
        }
    }
}

// The time in units of 100 ns since 1601, or 2^64 - 1 where it is before that or too late.
std::uint64_t ToFileTime(const timespec& time) noexcept {
    constexpr std::int64_t secondsFrom1601To1970 = 11644473600;
    constexpr std::int64_t unitsPerSecond = 10000000;
    constexpr std::int64_t latest = std::numeric_limits<std::int64_t>::max() / unitsPerSecond - 1;
    const std::int64_t seconds = time.tv_sec;
    if (seconds < -secondsFrom1601To1970 || seconds > latest - secondsFrom1601To1970) {
        return std::numeric_limits<std::uint64_t>::max();
    }
    return static_cast<std::uint64_t>((seconds + secondsFrom1601To1970) * unitsPerSecond +
                                      time.tv_nsec / 100);
}

bool GetStatus(const char* path, struct stat* status) noexcept {
    return ::stat(path, status) == 0 || FailForPath(errno, path);
}

} // namespace

Handle FindFirstFileW(const wchar16* pattern, FindData* data) noexcept {
    if (pattern == nullptr || *pattern == 0) {
        Fail(ErrorPathNotFound);
        return InvalidHandle;
    }
    std::size_t length = 0;
    std::size_t lastPart = 0;
    while (pattern[length] != 0) {
        if (++length >= pathCapacity) {
            Fail(ErrorFilenameTooLong);
            return InvalidHandle;
        }
        if (IsSeparator(pattern[length - 1])) {
            lastPart = length;
        }
    }
    const wchar16 here = '.';
    NativePath directory;
    if (lastPart == 0 ? !directory.Assign(&here, 1) : !directory.Assign(pattern, lastPart)) {
        return InvalidHandle;
    }
    // Only the name part of the pattern is never opened: check that it could be.
    NativePath name;
    if (lastPart == length) {
        Fail(ErrorFileNotFound);
        return InvalidHandle;
    }
    if (!name.Assign(pattern + lastPart, length - lastPart)) {
        return InvalidHandle;
    }
    Search* const search = new (std::nothrow) Search;
    if (search == nullptr) {
        Fail(ErrorNotEnoughMemory);
        return InvalidHandle;
    }
    search->directory = ::opendir(directory.Get());
    if (search->directory == nullptr) {
        const int error = errno;
        ::operator delete(search);
        if (error == ENOENT) {
            Fail(ErrorPathNotFound);
        } else if (error == ENOTDIR) {
            char parent[pathCapacity];
            std::size_t lastLength = 0;
            SplitLastPart(directory.Get(), parent, &lastLength);
            Fail(IsDirectory(parent) ? ErrorInvalidDirectory : ErrorPathNotFound);
        } else {
            FailFromErrno(error);
        }
        return InvalidHandle;
    }
    std::memcpy(search->pattern, pattern + lastPart, (length - lastPart + 1) * sizeof(wchar16));
    const wchar16* const part = search->pattern;
    if (part[0] == '*' && part[1] == '.' && part[2] == '*' && part[3] == 0) {
        search->pattern[1] = 0;
    }
    const int found = NextMatch(*search, data);
    if (found == 1) {
        return reinterpret_cast<Handle>(search);
    }
    delete search;
    if (found == 0) {
        Fail(ErrorFileNotFound);
    }
    return InvalidHandle;
}

bool FindNextFileW(Handle handle, FindData* data) noexcept {
    if (handle == InvalidHandle || handle == 0) {
        return Fail(ErrorInvalidHandle);
    }
    const int found = NextMatch(*reinterpret_cast<Search*>(handle), data);
    return found == 1 || (found == 0 && Fail(ErrorNoMoreFiles));
}

bool FindClose(Handle handle) noexcept {
    if (handle == InvalidHandle || handle == 0) {
        return Fail(ErrorInvalidHandle);
    }
    delete reinterpret_cast<Search*>(handle);
    return true;
}

std::uint32_t GetCurrentDirectoryW(std::uint32_t capacity, wchar16* buffer) noexcept {
    char native[pathCapacity];
    if (::getcwd(native, sizeof native) == nullptr) {
        FailFromErrno(errno == ERANGE ? ENAMETOOLONG : errno);
        return 0;
    }
    return ToDoorPath(native, buffer, capacity);
}

bool SetCurrentDirectoryW(const wchar16* path) noexcept {
    NativePath native;
    if (!native.Assign(path)) {
        return false;
    }
    if (::chdir(native.Get()) == 0) {
        return true;
    }
    if (errno == ENOTDIR && ParentExists(native.Get())) {
        return Fail(ErrorInvalidDirectory);
    }
    return FailForPath(errno, native.Get());
}

bool GetDiskFreeSpaceExW(const wchar16* path, std::uint64_t* freeForCaller, std::uint64_t* total,
                         std::uint64_t* free) noexcept {
    NativePath native;
    if (!native.Assign(path)) {
        return false;
    }
    struct statvfs status {};
    while (::statvfs(native.Get(), &status) != 0) {
        if (errno != EINTR) {
            return FailForPath(errno, native.Get());
        }
    }
    const std::uint64_t unit = status.f_frsize;
    if (freeForCaller != nullptr) {
        *freeForCaller = status.f_bavail * unit;
    }
    if (total != nullptr) {
        *total = status.f_blocks * unit;
    }
    if (free != nullptr) {
        *free = status.f_bfree * unit;
    }
    return true;
}

bool GetFileAttributesExW(const wchar16* path, FileAttributeData* data) noexcept {
    NativePath native;
    struct stat status {};
    if (!native.Assign(path) || !GetStatus(native.Get(), &status)) {
        return false;
    }
    std::uint32_t attributes = 0;
    if (S_ISDIR(status.st_mode)) {
        attributes |= FileAttributeDirectory;
    }
    if ((status.st_mode & (S_IWUSR | S_IWGRP | S_IWOTH)) == 0) {
        attributes |= FileAttributeReadOnly;
    }
    data->fileAttributes = attributes != 0 ? attributes : 0x80;
    data->lastWriteTime = ToFileTime(status.st_mtim);
    const std::uint64_t size = S_ISREG(status.st_mode) ? static_cast<std::uint64_t>(status.st_size) : 0;
    data->fileSizeHigh = static_cast<std::uint32_t>(size >> 32);
    data->fileSizeLow = static_cast<std::uint32_t>(size & 0xFFFFFFFFu);
    return true;
}

bool SetFileAttributesW(const wchar16* path, std::uint32_t attributes) noexcept {
    NativePath native;
    struct stat status {};
    if (!native.Assign(path) || !GetStatus(native.Get(), &status)) {
        return false;
    }
    const mode_t mode = status.st_mode & 07777;
    const mode_t write = S_IWUSR | S_IWGRP | S_IWOTH;
    mode_t changed = mode;
    if ((attributes & FileAttributeReadOnly) != 0) {
        changed = mode & ~write;
    } else if ((mode & write) == 0) {
        changed = mode | S_IWUSR;
    }
    if (S_ISDIR(status.st_mode) || changed == mode) {
        return true;
    }
    return ::chmod(native.Get(), changed) == 0 || FailForPath(errno, native.Get());
}

} // namespace OperatingSystem
