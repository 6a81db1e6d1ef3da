#include "OperatingSystem/Directories.h"
#include "OperatingSystem/Posix/Descriptors.h"
#include "OperatingSystem/Posix/ErrorNumbers.h"
#include "OperatingSystem/Posix/Paths.h"
#include "OperatingSystem/Posix/UniqueNames.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace OperatingSystem {

using namespace Posix;

namespace {

// A descriptor that is closed when it goes out of scope.
struct OwnedDescriptor {
    int descriptor;

    explicit OwnedDescriptor(int opened) noexcept : descriptor(opened) {}
    OwnedDescriptor(const OwnedDescriptor&) = delete;
    OwnedDescriptor& operator=(const OwnedDescriptor&) = delete;
    ~OwnedDescriptor() {
        if (descriptor >= 0) {
            ::close(descriptor);
        }
    }
};

int OpenAgain(const char* path, int flags, mode_t mode) noexcept {
    for (;;) {
        const int descriptor = ::open(path, flags | O_CLOEXEC, mode);
        if (descriptor >= 0 || errno != EINTR) {
            return descriptor;
        }
    }
}

// Whether two paths name one entry of one directory, and not only one file.
bool SameEntry(const char* a, const char* b) noexcept {
    char directoryA[pathCapacity];
    char directoryB[pathCapacity];
    std::size_t lengthA = 0;
    std::size_t lengthB = 0;
    const char* const nameA = SplitLastPart(a, directoryA, &lengthA);
    const char* const nameB = SplitLastPart(b, directoryB, &lengthB);
    struct stat statusA {};
    struct stat statusB {};
    return lengthA == lengthB && std::memcmp(nameA, nameB, lengthA) == 0 &&
           ::stat(directoryA, &statusA) == 0 && ::stat(directoryB, &statusB) == 0 &&
           statusA.st_dev == statusB.st_dev && statusA.st_ino == statusB.st_ino;
}

// Renames without ever replacing anything: 0, or an errno. A file system that has no such call gets a second
// name for a file, and for a directory an empty one that claims the name and is then replaced by the rename.
int RenameWithoutReplacing(const char* source, const char* target, bool isDirectory) noexcept {
#if defined(__linux__)
    if (::renameat2(AT_FDCWD, source, AT_FDCWD, target, RENAME_NOREPLACE) == 0) {
        return 0;
    }
    if (errno != EINVAL && errno != ENOSYS && errno != ENOTSUP) {
        return errno;
    }
#endif
    if (isDirectory) {
        if (::mkdir(target, 0700) != 0) {
            return errno;
        }
        if (::rename(source, target) != 0) {
            const int error = errno;
            ::rmdir(target);
            return error;
        }
        return 0;
    }
    if (::linkat(AT_FDCWD, source, AT_FDCWD, target, 0) != 0) {
        return errno;
    }
    if (::unlink(source) != 0) {
        const int error = errno;
        ::unlink(target);
        return error;
    }
    return 0;
}

// Puts the entry `source` at `target`, both on one file system: 0, or an errno.
int RenameEntry(const char* source, const char* target, bool replace, bool isDirectory) noexcept {
    if (!replace) {
        return RenameWithoutReplacing(source, target, isDirectory);
    }
    return ::rename(source, target) == 0 ? 0 : errno;
}

bool SyncPath(const char* path, int flags) noexcept {
    const OwnedDescriptor opened(OpenAgain(path, flags | O_RDONLY | O_NONBLOCK, 0));
    // What may not be opened for reading cannot be asked for: the rename itself needs no such right.
    return opened.descriptor < 0 || CommitDescriptor(opened.descriptor);
}

bool SyncDirectoryOf(const char* path) noexcept {
    char directory[pathCapacity];
    std::size_t lastLength = 0;
    SplitLastPart(path, directory, &lastLength);
    return SyncPath(directory, O_DIRECTORY);
}

bool CopyContents(int source, int target) noexcept {
    char buffer[65536];
    for (;;) {
        const long long got = ReadDescriptor(source, buffer, sizeof buffer);
        if (got <= 0) {
            return got == 0;
        }
        for (long long written = 0; written < got;) {
            const long long put =
                WriteDescriptor(target, buffer + written, static_cast<std::size_t>(got - written));
            if (put < 0) {
                return false;
            }
            written += put;
        }
    }
}

// Whether the failure to set rights or times only tells that the file system has no such thing.
bool CannotHold(int error) noexcept {
    return error == EPERM || error == ENOTSUP || error == ENOSYS;
}

// Copies a file or a symbolic link to the new file `copy`; false with the last error set.
bool CopyEntry(const char* source, const char* copy, const struct stat& status, bool* exists) noexcept {
    *exists = false;
    if (S_ISLNK(status.st_mode)) {
        char link[pathCapacity];
        const ssize_t length = ::readlink(source, link, sizeof link - 1);
        if (length < 0) {
            return FailFromErrno(errno);
        }
        link[length] = 0;
        if (::symlink(link, copy) != 0) {
            *exists = errno == EEXIST;
            return FailForPath(errno, copy);
        }
        return true;
    }
    const OwnedDescriptor from(OpenAgain(source, O_RDONLY | O_NOFOLLOW | O_NONBLOCK, 0));
    if (from.descriptor < 0) {
        return FailForPath(errno, source);
    }
    OwnedDescriptor to(OpenAgain(copy, O_WRONLY | O_CREAT | O_EXCL, 0600));
    if (to.descriptor < 0) {
        *exists = errno == EEXIST;
        return FailForPath(errno, copy);
    }
    const timespec times[2] = {status.st_atim, status.st_mtim};
    bool done = CopyContents(from.descriptor, to.descriptor);
    if (done) {
        // The owner first, since changing it takes rights away; a caller without the right to keeps its own.
        const bool owned = ::fchown(to.descriptor, status.st_uid, status.st_gid) == 0;
        const mode_t rights = status.st_mode & (owned ? 07777u : 0777u);
        done = (::fchmod(to.descriptor, rights) == 0 || CannotHold(errno)) &&
               (::futimens(to.descriptor, times) == 0 || CannotHold(errno));
        done = done || FailFromErrno(errno);
    }
    // The source is deleted afterwards: the copy must be on its disk before.
    done = done && CommitDescriptor(to.descriptor);
    if (done) {
        const int descriptor = to.descriptor;
        to.descriptor = -1;
        done = CloseDescriptor(descriptor);
    }
    if (!done) {
        ::unlink(copy);
    }
    return done;
}

// Moves across file systems: a copy beside the target, which then takes the target's name.
bool MoveByCopy(const char* source, const char* target, const struct stat& status, bool replace) noexcept {
    char copy[pathCapacity];
    char directory[pathCapacity];
    std::size_t lastLength = 0;
    SplitLastPart(target, directory, &lastLength);
    bool exists = false;
    for (int attempt = 0; attempt < 100; ++attempt) {
        const int length = std::snprintf(copy, sizeof copy, "%s/%08x.tmp", directory,
                                         static_cast<unsigned>(NextUniqueNumber()));
        if (length < 0 || static_cast<std::size_t>(length) >= sizeof copy) {
            return Fail(ErrorFilenameTooLong);
        }
        if (CopyEntry(source, copy, status, &exists)) {
            const int error = RenameEntry(copy, target, replace, false);
            if (error != 0) {
                ::unlink(copy);
                return error == EEXIST ? Fail(ErrorAlreadyExists) : FailForPath(error, target);
            }
            // Where the source may not be deleted it stays; the file is at its target all the same.
            ::unlink(source);
            return true;
        }
        if (!exists) {
            return false;
        }
    }
    return Fail(ErrorFileExists);
}

} // namespace

bool MoveFileExW(const wchar16* sourcePath, const wchar16* targetPath, std::uint32_t flags) noexcept {
    NativePath sourceNative;
    NativePath targetNative;
    if (!sourceNative.Assign(sourcePath) || !targetNative.Assign(targetPath)) {
        return false;
    }
    const char* const source = sourceNative.Get();
    const char* const target = targetNative.Get();
    const bool replace = (flags & MoveFileReplaceExisting) != 0;
    const bool writeThrough = (flags & MoveFileWriteThrough) != 0;
    struct stat sourceStatus {};
    struct stat targetStatus {};
    if (::lstat(source, &sourceStatus) != 0) {
        return FailForPath(errno, source);
    }
    const bool isDirectory = S_ISDIR(sourceStatus.st_mode);
    bool sameFile = false;
    if (::lstat(target, &targetStatus) == 0) {
        if (SameEntry(source, target)) {
            return true;
        }
        if (!replace) {
            return Fail(ErrorAlreadyExists);
        }
        if (isDirectory || S_ISDIR(targetStatus.st_mode)) {
            return Fail(ErrorAccessDenied);
        }
        sameFile = sourceStatus.st_dev == targetStatus.st_dev && sourceStatus.st_ino == targetStatus.st_ino;
    }
    if (writeThrough && S_ISREG(sourceStatus.st_mode) && !SyncPath(source, O_NOFOLLOW)) {
        return false;
    }
    int error = RenameEntry(source, target, replace, isDirectory);
    if (error == 0 && sameFile && ::unlink(source) != 0 && errno != ENOENT) {
        error = errno; // two names of one file: the rename leaves both
    }
    if (error == EXDEV && (flags & MoveFileCopyAllowed) != 0 &&
        (S_ISREG(sourceStatus.st_mode) || S_ISLNK(sourceStatus.st_mode))) {
        if (!MoveByCopy(source, target, sourceStatus, replace)) {
            return false;
        }
    } else if (error == EEXIST) {
        return Fail(replace ? ErrorFileExists : ErrorAlreadyExists);
    } else if (error != 0) {
        return FailForPath(error, target);
    }
    return !writeThrough || (SyncDirectoryOf(target) && SyncDirectoryOf(source));
}

bool DeleteFileW(const wchar16* path) noexcept {
    NativePath native;
    if (!native.Assign(path)) {
        return false;
    }
    return ::unlink(native.Get()) == 0 || FailForPath(errno, native.Get());
}

} // namespace OperatingSystem
