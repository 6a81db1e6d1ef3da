// The directory tree of the operating system: listings, the current directory, temporary files, attributes,
// moving and deleting.
//
// Paths and failures are as in Files.h. A path that the system gives is put out with backslashes.
// Thread safety: any thread may call anything, but one search handle belongs to one thread at a time, and the
// current directory is the whole process's. Nothing here throws.

#pragma once

#include "OperatingSystem/Types.h"

#include <cstddef>

namespace OperatingSystem {

inline constexpr std::size_t MaxPath = 260; // code units of the fixed buffers, with the terminating zero

inline constexpr std::uint32_t FileAttributeReadOnly = 0x1;
inline constexpr std::uint32_t FileAttributeDirectory = 0x10;

// One entry of a listing.
struct FindData {
    wchar16 name[MaxPath]; // zero-terminated, without directory
};

// Opens a search for the entries of a directory whose names match, and gives the first.
//
// `pattern`: a path whose last part may hold "*" (any number of characters) and "?" (one code unit); "*.*"
// matches every name, also one without a dot. "." and ".." are entries too. On a POSIX system letters match
// in their own case only, and "?" always takes one code unit; a Windows system lets it take none before a dot
// and at the end of a name.
// Error 2 where no name matches, 3 where the directory does not exist, 267 where it is no directory.
//
// A name on disk that no path can hold is shown with U+FFFD in place of each ill-formed part (bytes that
// are not UTF-8) and of each backslash, so that it is seen, and fails with error 2 when it is opened.
Handle FindFirstFileW(const wchar16* pattern, FindData* data) noexcept;

// The next entry; false with error 18 when there is none. Every entry comes once.
bool FindNextFileW(Handle search, FindData* data) noexcept;

bool FindClose(Handle search) noexcept;

// The current directory, zero-terminated. Returns its length in code units without the zero; where
// `capacity` is too small, the capacity needed, with the zero (the buffer's contents are undefined then);
// 0 on failure.
std::uint32_t GetCurrentDirectoryW(std::uint32_t capacity, wchar16* buffer) noexcept;

// Error 267 where the path is no directory.
bool SetCurrentDirectoryW(const wchar16* path) noexcept;

// The directory for temporary files, with a backslash at the end; whether it exists is not looked at.
// Returns as GetCurrentDirectoryW. On a POSIX system it is the value of TMPDIR, where that is an absolute
// path in UTF-8 and the process runs with its caller's own rights, else \tmp\.
std::uint32_t GetTempPathW(std::uint32_t capacity, wchar16* buffer) noexcept;

// Makes a new, empty file in `directory` that only the caller's user may read and write, and puts its whole
// name into `name` (MaxPath code units). The file's name is made of the first three code units of `prefix`
// (null: none; a character of two code units that does not fit whole is left out), hexadecimal digits and
// ".tmp". `unique`: 0. Returns a number that is not 0, or 0 on failure: 267 where `directory` is no
// directory, 206 where the name would not fit; on a POSIX system 123 where a separator is among the three
// code units, since the file would lie elsewhere.
std::uint32_t GetTempFileNameW(const wchar16* directory, const wchar16* prefix, std::uint32_t unique,
                               wchar16* name) noexcept;

// Numbers of bytes of the file system that `path` lies on; null for what is not asked.
bool GetDiskFreeSpaceExW(const wchar16* path, std::uint64_t* freeForCaller, std::uint64_t* total,
                         std::uint64_t* free) noexcept;

struct FileAttributeData {
    std::uint32_t fileAttributes;
    std::uint64_t lastWriteTime; // units of 100 ns since 1601-01-01 UTC; a time that this cannot hold is
                                 // given as 2^64 - 1
    std::uint32_t fileSizeHigh;
    std::uint32_t fileSizeLow;
};

// On a POSIX system FileAttributeReadOnly means that nobody has the right to write the file, and
// FileAttributeNormal stands alone where no other attribute is set. Symbolic links are followed.
bool GetFileAttributesExW(const wchar16* path, FileAttributeData* data) noexcept;

// On a POSIX system this takes the right to write a file from everybody or gives it to its owner, according
// to FileAttributeReadOnly; all other attributes, and directories, stay as they are.
bool SetFileAttributesW(const wchar16* path, std::uint32_t attributes) noexcept;

inline constexpr std::uint32_t MoveFileReplaceExisting = 1; // else error 183 where the target exists
inline constexpr std::uint32_t MoveFileCopyAllowed = 2;     // else error 17 where the target is on another
                                                            // file system
inline constexpr std::uint32_t MoveFileWriteThrough = 8;    // returns when the move is on the disk

// Moves or renames a file, or a directory on the same file system. The target is there whole or not at all,
// and without MoveFileReplaceExisting nothing that exists is ever replaced, also when somebody else makes it
// at the same moment. An existing directory is not replaced either: error 5. A file moved to itself stays.
// A copied file keeps its rights and its last-write time as far as the target's file system has such; its
// source is deleted at the end, and where that is refused, it stays and the move has succeeded nevertheless.
bool MoveFileExW(const wchar16* source, const wchar16* target, std::uint32_t flags) noexcept;

// Deletes a file; error 5 for a directory. On a POSIX system the file goes when it is open, too, and its
// read-only attribute does not hinder.
bool DeleteFileW(const wchar16* path) noexcept;

} // namespace OperatingSystem
