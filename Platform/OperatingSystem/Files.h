// Open files of the operating system: opening, reading, writing, positions, locks.
//
// A function that returns bool gives false on failure, one that returns a Handle gives InvalidHandle; the
// last error then holds a Windows error number.
//
// Paths: zero-terminated UTF-16; backslash and slash both separate. Where the system's own separator is the
// slash, a drive or a network prefix has no meaning of its own: "C:\x" is the file "x" in the directory "C:".
// A path fails with
//   2    the file does not exist, but its directory does;
//   3    the directory does not exist, or the path is null or empty;
//   206  on a POSIX system: the path or a part of it is longer than the system takes;
//   1113 on a POSIX system: it holds an unpaired surrogate, so that no file can have that name.
//
// Thread safety: any thread may call anything; the use of one handle by several threads at once is the
// callers' affair. Nothing here throws.

#pragma once

#include "OperatingSystem/Types.h"

#include <cstddef>

namespace OperatingSystem {

// What an open file may be used for.
inline constexpr std::uint32_t GenericRead = 0x80000000u;
inline constexpr std::uint32_t GenericWrite = 0x40000000u;

// What other openings of the same file are allowed meanwhile.
// A POSIX system has no such rule: there every sharing mode is accepted and none is enforced, so that a file
// that is open without sharing can be opened, overwritten, moved and deleted by others. Use locks where that
// matters.
inline constexpr std::uint32_t ShareRead = 1;
inline constexpr std::uint32_t ShareWrite = 2;
inline constexpr std::uint32_t ShareDelete = 4;

// What to do about a file that exists already, or does not.
inline constexpr std::uint32_t CreateNew = 1;    // makes the file; error 80 where it exists
inline constexpr std::uint32_t CreateAlways = 2; // makes the file, or empties it
inline constexpr std::uint32_t OpenExisting = 3; // error 2 where there is none
inline constexpr std::uint32_t OpenAlways = 4;   // makes the file where there is none
// Empties the file; error 2 where there is none, error 87 without GenericWrite.
inline constexpr std::uint32_t TruncateExisting = 5;

inline constexpr std::uint32_t FileAttributeNormal = 0x80;
inline constexpr std::uint32_t FileFlagSequentialScan = 0x08000000; // a hint: read from start to end

// Opens a file, at position 0. `access`: GenericRead, GenericWrite or both; another access or disposition
// is refused with error 87, a directory with error 5. Never waits for another process, whatever kind of file
// it is. Programs that this process starts do not inherit the handle. A file that is made may be read and
// written as the process's defaults say.
Handle CreateFileW(const wchar16* path, std::uint32_t access, std::uint32_t share, std::uint32_t disposition,
                   std::uint32_t flagsAndAttributes) noexcept;

// The handle is gone afterwards, also on failure.
bool CloseHandle(Handle file) noexcept;

// Reads `count` bytes, or fewer where the file ends; from a pipe or a terminal, what is there. `*done`: the
// number of bytes read, 0 at the end of the file, which is no failure.
bool ReadFile(Handle file, void* buffer, std::uint32_t count, std::uint32_t* done) noexcept;

// Writes `count` bytes. `*done`: the number of bytes written, also on failure.
bool WriteFile(Handle file, const void* data, std::uint32_t count, std::uint32_t* done) noexcept;

// Returns when what was written is on the disk. A pipe or a device that keeps nothing has nothing to wait
// for: true.
bool FlushFileBuffers(Handle file) noexcept;

// 0 for what has no size, such as a pipe.
bool GetFileSizeEx(Handle file, std::uint64_t* size) noexcept;

inline constexpr std::uint32_t FileTypeUnknown = 0;
inline constexpr std::uint32_t FileTypeDisk = 1; // a regular file
inline constexpr std::uint32_t FileTypeChar = 2; // a terminal or another device of characters
inline constexpr std::uint32_t FileTypePipe = 3; // a pipe or a socket

// What is behind a handle; FileTypeUnknown for anything else and on failure.
std::uint32_t GetFileType(Handle file) noexcept;

// The values of `origin` here and of lseek and fseeko.
inline constexpr int FileBegin = 0;
inline constexpr int FileCurrent = 1;
inline constexpr int FileEnd = 2;

// Sets the position; `*position` (where not null) is the new one. Error 131 for a position before the start
// of the file, 87 for one that no file can have, 132 for a file without positions.
bool SetFilePointerEx(Handle file, std::int64_t distance, std::uint64_t* position, int origin) noexcept;

// Makes the file end at the current position, by cutting it off or by filling it up with zeros. On a POSIX
// system what is no regular file fails with error 132 (no positions) or 87.
bool SetEndOfFile(Handle file) noexcept;

inline constexpr std::uint32_t LockFileFailImmediately = 1; // error 33 instead of waiting
inline constexpr std::uint32_t LockFileExclusiveLock = 2;   // else shared

// Locks the whole file against other openings of it, in this process and in others: an exclusive lock
// excludes every other lock, a shared one excludes exclusive ones. Locks are advisory on a POSIX system:
// they hold off other locks, not reading and writing.
//
// A lock belongs to the opening of the file: it ends with UnlockFileEx, when the handle is closed, or with
// the process. Both kinds need no more than read access. On a network file system the server may ask more.
//
// On a POSIX system locking again through the same handle puts the new lock in place of the old one. That is
// not done in one step: the lock held before ends first, so that another opening may get its lock in between;
// and where the new lock is refused (error 33), the one held before is gone.
bool LockFileEx(Handle file, std::uint32_t flags) noexcept;

// Ends the lock. Where there is none, a POSIX system answers true.
bool UnlockFileEx(Handle file) noexcept;

} // namespace OperatingSystem
