#include "FileSystem/HandleFile.h"

#include "FileSystem/Messages.h"
#include "OperatingSystem/Files.h"
#include "OperatingSystem/LastError.h"

#include <algorithm>
#include <limits>

namespace KFileSystem {

namespace System = OperatingSystem;

namespace {

constexpr const char* readFailure = "Failed to read %1 bytes from file '%2'.";
constexpr const char* writeFailure = "Failed to write %1 bytes to file '%2'.";

[[noreturn]] void Throw(const char* format, const wchar16* name) {
    throw SystemFailure(System::GetLastError(), format) << name;
}

[[noreturn]] void ThrowCount(const char* format, std::uint32_t count, const wchar16* name) {
    throw SystemFailure(System::GetLastError(), format) << count << name;
}

std::uint32_t PieceOf(std::size_t rest) noexcept {
    return static_cast<std::uint32_t>(std::min<std::size_t>(rest, largestPiece));
}

} // namespace

std::size_t ReadHandle(Handle file, const wchar16* name, void* buffer, std::size_t count) {
    std::size_t total = 0;
    while (total < count) {
        const std::uint32_t piece = PieceOf(count - total);
        std::uint32_t done = 0;
        if (!System::ReadFile(file, static_cast<char*>(buffer) + total, piece, &done)) {
            ThrowCount(readFailure, piece, name);
        }
        total += done;
        if (done < piece) {
            break;
        }
    }
    return total;
}

void ReadHandleExactly(Handle file, const wchar16* name, void* buffer, std::size_t count) {
    const std::size_t got = ReadHandle(file, name, buffer, count);
    if (got < count) {
        // Reading stopped in the piece that begins at the last multiple of the piece's size.
        const std::size_t start = got - got % largestPiece;
        throw FailureWithoutSystemError(readFailure) << PieceOf(count - start) - (got - start) << name;
    }
}

void WriteHandle(Handle file, const wchar16* name, const void* data, std::size_t count) {
    std::size_t total = 0;
    while (total < count) {
        const std::uint32_t piece = PieceOf(count - total);
        std::uint32_t done = 0;
        if (!System::WriteFile(file, static_cast<const char*>(data) + total, piece, &done)) {
            ThrowCount(writeFailure, piece, name);
        }
        if (done < piece) {
            throw FailureWithoutSystemError(writeFailure) << piece - done << name;
        }
        total += done;
    }
}

void FlushHandle(Handle file, const wchar16* name) {
    if (!System::FlushFileBuffers(file)) {
        Throw("Failed to flush file '%1'.", name);
    }
}

void TruncateHandle(Handle file, const wchar16* name) {
    if (!System::SetEndOfFile(file)) {
        Throw("Failed to truncate file '%1'.", name);
    }
}

std::uint64_t GetHandlePosition(Handle file, const wchar16* name) {
    std::uint64_t position = 0;
    if (!System::SetFilePointerEx(file, 0, &position, System::FileCurrent)) {
        Throw("Failed to get current position of file '%1'.", name);
    }
    return position;
}

void SetHandlePosition(Handle file, const wchar16* name, std::uint64_t position) {
    constexpr auto largest = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
    const std::int64_t distance = position <= largest ? static_cast<std::int64_t>(position) : -1;
    if (!System::SetFilePointerEx(file, distance, nullptr, System::FileBegin)) {
        Throw("Failed to set current position of file '%1'.", name);
    }
}

void CloseHandleOf(Handle file, const wchar16* name) {
    if (!System::CloseHandle(file)) {
        Throw("Failed to close handle of file '%1'.", name);
    }
}

bool LockHandle(Handle file, const wchar16* name, bool exclusive, bool tryOnly) {
    const std::uint32_t flags =
        (exclusive ? System::LockFileExclusiveLock : 0u) | (tryOnly ? System::LockFileFailImmediately : 0u);
    if (System::LockFileEx(file, flags)) {
        return true;
    }
    if (tryOnly && System::GetLastError() == System::ErrorLockViolation) {
        return false;
    }
    Throw("Failed to lock file '%1'.", name);
}

void UnlockHandle(Handle file) noexcept {
    System::UnlockFileEx(file);
}

} // namespace KFileSystem
