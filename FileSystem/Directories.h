// Directories, and what concerns a file by its path: listing, the current directory, free space,
// attributes, moving and deleting.
//
// Paths: zero-terminated UTF-16. Each function throws as its line tells: "prefix form" and "wrapped form" are
// those of Messages.h.
// Thread safety: any thread may call anything; the current directory is the whole process's.

#pragma once

#include "KBase/Message.h"
#include "KBase/WideString.h"
#include "KDataType/DateTime.h"
#include "KDataType/StringCollection.h"

#include <cstdint>

namespace KFileSystem {

using KBase::wchar16;

// The names, without directory, of the files and directories that match `pattern`, in ascending order of
// code units; "." and ".." are left out. The pattern is as OperatingSystem::FindFirstFileW takes it ("*"
// and "?" in the last part). No match is an empty list. A directory that does not exist or cannot be read is
// the wrapped form "Unable to find file".
KDataType::StringCollection ListDirectory(const wchar16* pattern);

// Prefix form.
KBase::ReturnWString GetCurrentWorkingDirectory();
void SetCurrentWorkingDirectory(const wchar16* path);

// Bytes that the caller may still write on the file system that `path` lies on. Wrapped form.
std::uint64_t GetFreeDiskSpace(const wchar16* path);

// The attributes of a file, as bits of OperatingSystem/Directories.h. Wrapped form.
std::uint32_t GetAttributes(const wchar16* path);
void SetAttributes(const wchar16* path, std::uint32_t attributes);

// When the file was last written to. Wrapped form: of the attributes where these cannot be read; "Failed to
// interpret last-modified time of file '%1'." (error 87) where the time is before 1601 or beyond what a
// Windows file time turns into a date.
KDataType::DateTime GetLastModifiedTime(const wchar16* path);

// Moves a file, also to another disk, in the place of an existing one; returns when that is on the disk.
// Wrapped form.
void Move(const wchar16* source, const wchar16* target);

// Moves a file, also to another disk, where the target does not exist; deletes a file. True on success. On
// failure, false, and the wrapped form is put in front of what `report` (where not null) says.
bool TryMove(const wchar16* source, const wchar16* target, KBase::Message* report);
bool TryDelete(const wchar16* path, KBase::Message* report);

} // namespace KFileSystem
