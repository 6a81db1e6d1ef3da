#include "OperatingSystem/Posix/ErrorNumbers.h"

#include "OperatingSystem/Posix/Paths.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>

namespace OperatingSystem::Posix {

ErrorNumber FromErrno(int error) noexcept {
    switch (error) {
    case ENOENT:
        return ErrorFileNotFound;
    case ENOTDIR:
        return ErrorPathNotFound;
    case EMFILE:
    case ENFILE:
        return 4; // too many open files
    case EACCES:
    case EPERM:
    case EISDIR:
        return ErrorAccessDenied;
    case EBADF:
        return ErrorInvalidHandle;
    case ENOMEM:
        return ErrorNotEnoughMemory;
    case EXDEV:
        return ErrorNotSameDevice;
    case EROFS:
        return 19; // write-protected
    case EBUSY:
    case ETXTBSY:
        return 32; // in use by another process
    case ENODATA:
        return 38; // end of the file
    case EDQUOT:
        return 39; // the share of the disk is used up
    case EOPNOTSUPP:
    case ENOSYS:
    case ENOTTY:
        return 50; // not supported
    case ENODEV:
    case ENXIO:
        return 55; // no such device
    case EEXIST:
        return ErrorFileExists;
    case EMLINK:
        return 82; // the directory cannot take the entry
    case EINVAL:
        return ErrorInvalidParameter;
    case EPIPE:
        return 109; // the reader of a pipe is gone
    case ENOSPC:
        return 112; // disk full
    case EILSEQ:
        return ErrorInvalidName; // the file system refuses the name
    case ESPIPE:
        return 132; // no positions on this device
    case ENOTEMPTY:
        return 145;
    case EAGAIN:
        return 170; // busy
    case ENAMETOOLONG:
        return ErrorFilenameTooLong;
    case EFBIG:
    case EOVERFLOW:
        return 223; // file too large
    case EINTR:
    case ECANCELED:
        return 995; // aborted
    case EFAULT:
        return 998; // invalid memory
    case ESTALE:
        return 1006; // the file is no longer valid
    case EIO:
        return 1117; // device error
    case EDEADLK:
        return 1131; // deadlock
    case ENOLCK:
        return 1450; // no resources
    case ETIMEDOUT:
        return 1460;
    case ELOOP:
        return 1921; // the name cannot be resolved
    default:
        return 31; // a failure without a number of its own
    }
}

bool Fail(ErrorNumber error) noexcept {
    SetLastError(error);
    return false;
}

bool FailFromErrno(int error) noexcept {
    return Fail(FromErrno(error));
}

bool FailForPath(int error, const char* path) noexcept {
    if (error == ENOENT && !ParentExists(path)) {
        return Fail(ErrorPathNotFound);
    }
    return FailFromErrno(error);
}

bool FailForPosition(int error, std::int64_t offset) noexcept {
    if (error == EINVAL || error == EOVERFLOW) {
        return Fail(offset < 0 ? ErrorNegativeSeek : ErrorInvalidParameter);
    }
    return FailFromErrno(error);
}

bool FailForAccess(int error, int descriptor) noexcept {
    if (error == EBADF && ::fcntl(descriptor, F_GETFL) != -1) {
        return Fail(ErrorAccessDenied);
    }
    return FailFromErrno(error);
}

} // namespace OperatingSystem::Posix
