#include "OperatingSystem/Files.h"

#include "OperatingSystem/Posix/Descriptors.h"
#include "OperatingSystem/Posix/ErrorNumbers.h"
#include "OperatingSystem/Posix/Paths.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace OperatingSystem {

using namespace Posix;

static_assert(sizeof(off_t) == 8, "files of 2 GiB and more need 64-bit positions");

namespace {

// A handle is a descriptor.
int Descriptor(Handle file) noexcept {
    return file < 0 || file > INT_MAX ? -1 : static_cast<int>(file);
}

bool OpenFlags(std::uint32_t access, std::uint32_t disposition, int* flags) noexcept {
    switch (access) {
    case GenericRead:
        *flags = O_RDONLY;
        break;
    case GenericWrite:
        *flags = O_WRONLY;
        break;
    case GenericRead | GenericWrite:
        *flags = O_RDWR;
        break;
    default:
        return false;
    }
    switch (disposition) {
    case CreateNew:
        *flags |= O_CREAT | O_EXCL;
        return true;
    case CreateAlways:
        *flags |= O_CREAT | O_TRUNC;
        return true;
    case OpenExisting:
        return true;
    case OpenAlways:
        *flags |= O_CREAT;
        return true;
    case TruncateExisting:
        *flags |= O_TRUNC;
        return (access & GenericWrite) != 0;
    default:
        return false;
    }
}

} // namespace

namespace Posix {

long long ReadDescriptor(int descriptor, void* buffer, std::size_t count) noexcept {
    for (;;) {
        const ssize_t result = ::read(descriptor, buffer, count);
        if (result >= 0) {
            return result;
        }
        if (errno != EINTR) {
            FailForAccess(errno, descriptor);
            return -1;
        }
    }
}

long long WriteDescriptor(int descriptor, const void* data, std::size_t count) noexcept {
    for (;;) {
        const ssize_t result = ::write(descriptor, data, count);
        if (result >= 0) {
            return result;
        }
        if (errno != EINTR) {
            FailForAccess(errno, descriptor);
            return -1;
        }
    }
}

bool CommitDescriptor(int descriptor) noexcept {
    while (::fsync(descriptor) != 0) {
        switch (errno) {
        case EINTR:
            continue;
        case EINVAL:
        case ENOTSUP:
        case EROFS:
            return true; // a pipe, a terminal or the like: nothing is kept back
        default:
            return FailFromErrno(errno);
        }
    }
    return true;
}

bool ResizeDescriptor(int descriptor, std::int64_t size) noexcept {
    if (size < 0) {
        return Fail(ErrorInvalidParameter);
    }
    while (::ftruncate(descriptor, size) != 0) {
        if (errno == EINTR) {
            continue;
        }
        const int error = errno;
        if (error == EINVAL) {
            const int flags = ::fcntl(descriptor, F_GETFL);
            if (flags != -1 && (flags & O_ACCMODE) == O_RDONLY) {
                return Fail(ErrorAccessDenied);
            }
        }
        return FailFromErrno(error);
    }
    return true;
}

std::int64_t SeekDescriptor(int descriptor, std::int64_t offset, int origin) noexcept {
    int whence = 0;
    if (!NativeOrigin(origin, &whence)) {
        Fail(ErrorInvalidParameter);
        return -1;
    }
    const off_t position = ::lseek(descriptor, offset, whence);
    if (position < 0) {
        FailForPosition(errno, offset);
    }
    return position;
}

bool NativeOrigin(int origin, int* whence) noexcept {
    switch (origin) {
    case FileBegin:
        *whence = SEEK_SET;
        return true;
    case FileCurrent:
        *whence = SEEK_CUR;
        return true;
    case FileEnd:
        *whence = SEEK_END;
        return true;
    default:
        return false;
    }
}

// Where close is interrupted the descriptor is gone all the same on the systems that this runs on: a second
// attempt could hit a descriptor that another thread has just opened.
bool CloseDescriptor(int descriptor) noexcept {
    if (::close(descriptor) != 0 && errno != EINTR) {
        return FailFromErrno(errno);
    }
    return true;
}

} // namespace Posix

Handle CreateFileW(const wchar16* path, std::uint32_t access, std::uint32_t, std::uint32_t disposition,
                   std::uint32_t flagsAndAttributes) noexcept {
    int flags = 0;
    if (!OpenFlags(access, disposition, &flags)) {
        Fail(ErrorInvalidParameter);
        return InvalidHandle;
    }
    NativePath native;
    if (!native.Assign(path)) {
        return InvalidHandle;
    }
    int descriptor = -1;
    do {
        descriptor = ::open(native.Get(), flags | O_CLOEXEC | O_NONBLOCK | O_NOCTTY, 0666);
    } while (descriptor < 0 && errno == EINTR);
    if (descriptor < 0) {
        FailForPath(errno, native.Get());
        return InvalidHandle;
    }
    struct stat status {};
    if (::fstat(descriptor, &status) != 0) {
        const int error = errno;
        ::close(descriptor);
        FailFromErrno(error);
        return InvalidHandle;
    }
    if (S_ISDIR(status.st_mode)) {
        ::close(descriptor);
        Fail(ErrorAccessDenied);
        return InvalidHandle;
    }
    if (!S_ISREG(status.st_mode)) {
        // Only the opening must not wait: reading from a pipe does.
        const int opened = ::fcntl(descriptor, F_GETFL);
        if (opened != -1) {
            ::fcntl(descriptor, F_SETFL, opened & ~O_NONBLOCK);
        }
    }
#ifdef POSIX_FADV_SEQUENTIAL
    if ((flagsAndAttributes & FileFlagSequentialScan) != 0 && S_ISREG(status.st_mode)) {
        ::posix_fadvise(descriptor, 0, 0, POSIX_FADV_SEQUENTIAL);
    }
#else
    static_cast<void>(flagsAndAttributes);
#endif
    return descriptor;
}

bool CloseHandle(Handle file) noexcept {
    return CloseDescriptor(Descriptor(file));
}

bool ReadFile(Handle file, void* buffer, std::uint32_t count, std::uint32_t* done) noexcept {
    const int descriptor = Descriptor(file);
    std::uint32_t total = 0;
    *done = 0;
    do {
        const long long result =
            ReadDescriptor(descriptor, static_cast<char*>(buffer) + total, count - total);
        if (result < 0) {
            return false;
        }
        total += static_cast<std::uint32_t>(result);
        *done = total;
        if (result == 0 || total == count) {
            break;
        }
        // A regular file may come in pieces on a network; whether it ends here only the next read tells.
        struct stat status {};
        if (::fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) {
            break;
        }
    } while (true);
    return true;
}

bool WriteFile(Handle file, const void* data, std::uint32_t count, std::uint32_t* done) noexcept {
    const int descriptor = Descriptor(file);
    *done = 0;
    do {
        const long long result =
            WriteDescriptor(descriptor, static_cast<const char*>(data) + *done, count - *done);
        if (result < 0) {
            return false;
        }
        *done += static_cast<std::uint32_t>(result);
        if (result == 0) {
            break;
        }
    } while (*done < count);
    return true;
}

bool FlushFileBuffers(Handle file) noexcept {
    return CommitDescriptor(Descriptor(file));
}

bool GetFileSizeEx(Handle file, std::uint64_t* size) noexcept {
    struct stat status {};
    if (::fstat(Descriptor(file), &status) != 0) {
        return FailFromErrno(errno);
    }
    *size = S_ISREG(status.st_mode) ? static_cast<std::uint64_t>(status.st_size) : 0;
    return true;
}

std::uint32_t GetFileType(Handle file) noexcept {
    struct stat status {};
    if (::fstat(Descriptor(file), &status) != 0) {
        FailFromErrno(errno);
        return FileTypeUnknown;
    }
    switch (status.st_mode & S_IFMT) {
    case S_IFREG:
        return FileTypeDisk;
    case S_IFCHR:
        return FileTypeChar;
    case S_IFIFO:
    case S_IFSOCK:
        return FileTypePipe;
    default:
        return FileTypeUnknown;
    }
}

bool SetFilePointerEx(Handle file, std::int64_t distance, std::uint64_t* position, int origin) noexcept {
    const std::int64_t result = SeekDescriptor(Descriptor(file), distance, origin);
    if (result < 0) {
        return false;
    }
    if (position != nullptr) {
        *position = static_cast<std::uint64_t>(result);
    }
    return true;
}

bool SetEndOfFile(Handle file) noexcept {
    const int descriptor = Descriptor(file);
    const std::int64_t position = SeekDescriptor(descriptor, 0, FileCurrent);
    return position >= 0 && ResizeDescriptor(descriptor, position);
}

// flock and not fcntl: its locks belong to the open file, so that two handles of one process exclude each
// other, and an exclusive one needs no write access. Changing a lock drops the old one first; taking it back
// after a refusal could itself be refused, so that nothing would be gained.
bool LockFileEx(Handle file, std::uint32_t flags) noexcept {
    const int operation = ((flags & LockFileExclusiveLock) != 0 ? LOCK_EX : LOCK_SH) |
                          ((flags & LockFileFailImmediately) != 0 ? LOCK_NB : 0);
    while (::flock(Descriptor(file), operation) != 0) {
        if (errno == EWOULDBLOCK) {
            return Fail(ErrorLockViolation);
        }
        if (errno != EINTR) {
            return FailFromErrno(errno);
        }
    }
    return true;
}

bool UnlockFileEx(Handle file) noexcept {
    while (::flock(Descriptor(file), LOCK_UN) != 0) {
        if (errno != EINTR) {
            return FailFromErrno(errno);
        }
    }
    return true;
}

} // namespace OperatingSystem
