#include "FileSystem/File.h"

#include "FileSystem/Messages.h"
#include "FileSystem/OpenModes.h"
#include "OperatingSystem/CRuntime.h"
#include "OperatingSystem/Files.h"
#include "OperatingSystem/LastError.h"

#include <algorithm>
#include <limits>
#include <string_view>

namespace KFileSystem {

namespace System = OperatingSystem;

namespace {

// The end of every function here: takes the last error first.
[[noreturn]] void Throw(std::string_view operation, std::string_view suffix) {
    ThrowOperationFailure(System::GetLastError(), operation, suffix);
}

[[noreturn]] void ThrowNamingPath(std::string_view operation, std::string_view text, const wchar16* path) {
    const System::ErrorNumber error = System::GetLastError();
    ThrowOperationFailure(error, operation, PathSuffix(text, path));
}

[[noreturn]] void ThrowNamingDescriptor(std::string_view operation, std::string_view text, int descriptor,
                                        std::string_view end = {}) {
    const System::ErrorNumber error = System::GetLastError();
    ThrowOperationFailure(error, operation, DescriptorSuffix(text, descriptor, end));
}

System::Handle HandleOf(int descriptor, std::string_view operation) {
    const System::Handle handle = System::_get_osfhandle(descriptor);
    if (handle == System::InvalidHandle) {
        ThrowNamingDescriptor(operation, ": Invalid file handle #", descriptor);
    }
    return handle;
}

void Lock(int descriptor, std::uint32_t kind, bool wait, std::string_view operation) {
    const System::Handle handle = HandleOf(descriptor, operation);
    if (!System::LockFileEx(handle, wait ? kind : kind | System::LockFileFailImmediately)) {
        ThrowNamingDescriptor(operation, ": Failed to lock file #", descriptor, ".");
    }
}

// A position or size as the C runtime takes it. Above its range it becomes negative, which is refused there.
std::int64_t ToOffset(std::uint64_t value) noexcept {
    return value <= static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())
               ? static_cast<std::int64_t>(value)
               : -1;
}

} // namespace

int File::OpenDescriptor(const wchar16* path, int mode, int sharing) {
    const OpenArguments arguments = OpenArgumentsOf(mode, sharing);
    const System::Handle handle = System::CreateFileW(path, arguments.access, arguments.share,
                                                      arguments.disposition, System::FileFlagSequentialScan);
    if (handle == System::InvalidHandle) {
        ThrowNamingPath("File::OpenDescriptor", ": ::CreateFileW failed for ", path);
    }
    return System::_open_osfhandle(handle, 0);
}

std::FILE* File::OpenStream(const wchar16* path, int mode, int sharing) {
    const int descriptor = OpenDescriptor(path, mode, sharing);
    std::FILE* const stream = System::_fdopen(descriptor, OpenArgumentsOf(mode, sharing).streamMode);
    if (stream == nullptr) {
        const System::ErrorNumber error = System::GetLastError();
        System::close(descriptor);
        ThrowOperationFailure(error, "File::OpenStream", PathSuffix(": ::_fdopen failed for ", path));
    }
    return stream;
}

void File::Close(int descriptor) {
    if (System::close(descriptor) != 0) {
        Throw("File::Close", ": ::close failed.");
    }
}

void File::Close(std::FILE* stream) {
    if (System::fclose(stream) != 0) {
        Throw("File::Close", ": ::fclose failed.");
    }
}

void File::Copy(int source, int target) {
    char buffer[65536];
    for (;;) {
        const int got = System::_read(source, buffer, sizeof buffer);
        if (got < 0) {
            ThrowNamingDescriptor("File::Copy", ": ::read failed for file #", source);
        }
        if (got == 0) {
            return;
        }
        for (int written = 0; written < got;) {
            const int put =
                System::_write(target, buffer + written, static_cast<unsigned int>(got - written));
            if (put < 0) {
                ThrowNamingDescriptor("File::Copy", ": ::write failed for file #", target);
            }
            written += put;
        }
    }
}

std::uint64_t File::GetSize(int descriptor) {
    std::uint64_t size = 0;
    const System::Handle handle = System::_get_osfhandle(descriptor);
    if (handle == System::InvalidHandle || !System::GetFileSizeEx(handle, &size)) {
        ThrowNamingDescriptor("File::GetSize", ": ::GetFileSize failed for #", descriptor);
    }
    return size;
}

std::uint64_t File::GetSize(std::FILE* stream) {
    return GetSize(System::_fileno(stream));
}

std::size_t File::Read(std::FILE* stream, KDataType::Binary* buffer, std::size_t count) {
    if (count > buffer->GetCapacity()) {
        *buffer = KDataType::Binary(count);
    } else if (count != 0) {
        buffer->SetSize(count);
    }
    const std::size_t wanted = buffer->GetSize();
    const std::size_t got = System::fread(buffer->GetData(), 1, wanted, stream);
    if (System::ferror(stream) != 0) {
        Throw("File::Read", ": ::fread failed.");
    }
    buffer->SetSize(got);
    return got;
}

bool File::ReadLine(std::FILE* stream, char* buffer, int size) {
    if (System::fgets(buffer, size, stream) != nullptr) {
        return true;
    }
    if (System::ferror(stream) != 0) {
        Throw("File::ReadLine", ": ::fgets failed.");
    }
    return false;
}

void File::Write(int descriptor, const void* data, std::size_t size) {
    constexpr std::size_t largestPiece = 1u << 30;
    const char* rest = static_cast<const char*>(data);
    while (size != 0) {
        const int put =
            System::_write(descriptor, rest, static_cast<unsigned int>(std::min(size, largestPiece)));
        if (put < 0) {
            Throw("File::Write", ": Failed.");
        }
        rest += put;
        size -= static_cast<std::size_t>(put);
    }
}

void File::Write(std::FILE* stream, const void* data, std::size_t size) {
    if (size != 0 && System::fwrite(data, size, 1, stream) != 1) {
        Throw("File::Write", ": Failed.");
    }
}

void File::Flush(int descriptor) {
    if (System::_commit(descriptor) != 0) {
        Throw("File::Flush", ": ::_commit failed.");
    }
}

void File::Flush(std::FILE* stream) {
    if (System::fflush(stream) != 0) {
        Throw("File::Flush", ": ::fflush failed.");
    }
}

void File::Truncate(int descriptor, std::uint64_t size) {
    if (System::_chsize(descriptor, ToOffset(size)) != 0) {
        Throw("File::Truncate", ": ::_chsize failed.");
    }
}

std::uint64_t File::GetPosition(int descriptor) {
    const std::int64_t position = System::lseek(descriptor, 0, System::FileCurrent);
    if (position < 0) {
        Throw("File::GetPosition", ": ::lseek failed.");
    }
    return static_cast<std::uint64_t>(position);
}

std::uint64_t File::GetPosition(std::FILE* stream) {
    const std::int64_t position = System::ftello(stream);
    if (position < 0) {
        Throw("File::GetPosition", ": ::ftello failed.");
    }
    return static_cast<std::uint64_t>(position);
}

void File::MovePosition(int descriptor, std::int64_t distance) {
    if (System::lseek(descriptor, distance, System::FileCurrent) < 0) {
        Throw("File::MovePosition", ": ::lseek failed.");
    }
}

void File::MovePosition(std::FILE* stream, std::int64_t distance) {
    if (System::fseeko(stream, distance, System::FileCurrent) != 0) {
        Throw("File::MovePosition", ": ::fseeko failed.");
    }
}

void File::SetPosition(int descriptor, std::uint64_t position) {
    if (System::lseek(descriptor, ToOffset(position), System::FileBegin) < 0) {
        Throw("File::SetPosition", ": ::lseek failed.");
    }
}

void File::SetPosition(std::FILE* stream, std::uint64_t position) {
    if (System::fseeko(stream, ToOffset(position), System::FileBegin) != 0) {
        Throw("File::SetPosition", ": ::fseeko failed.");
    }
}

void File::WriteLock(int descriptor, bool wait) {
    Lock(descriptor, System::LockFileExclusiveLock, wait, "File::WriteLock");
}

void File::ReadLock(int descriptor, bool wait) {
    Lock(descriptor, 0, wait, "File::ReadLock");
}

void File::Unlock(int descriptor) {
    System::UnlockFileEx(HandleOf(descriptor, "File::Unlock"));
}

} // namespace KFileSystem
