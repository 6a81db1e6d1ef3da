// Operations on an open handle of the operating system, with the file's name for the messages. Each throws
// the layer's wrapped form of message when it fails.
//
// Requires: `name` is not null.
// Thread safety: no state is kept here; the use of one handle by several threads at once is the callers'
// affair.

#pragma once

#include "KBase/WideString.h"
#include "OperatingSystem/Types.h"

#include <cstddef>
#include <cstdint>

namespace KFileSystem {

using KBase::wchar16;
using OperatingSystem::Handle;

// The most that is read or written at once.
inline constexpr std::uint32_t largestPiece = 1048576;

// Reads up to `count` bytes, in pieces, and returns how many. Of a regular file they are fewer only at its
// end; of a pipe or a terminal, reading stops where no more is there at the moment. A failure names the size
// of the piece that was asked for.
std::size_t ReadHandle(Handle file, const wchar16* name, void* buffer, std::size_t count);

// Reads `count` bytes, in pieces, or throws. Kept: where the system fails, the message's number is the size
// of the piece that was asked for; where the file ends, it is the number of bytes missing from that piece,
// without a system error. For regular files: where ReadHandle stops early, this throws.
void ReadHandleExactly(Handle file, const wchar16* name, void* buffer, std::size_t count);

// Writes `count` bytes, in pieces. The numbers in messages are as for reading.
void WriteHandle(Handle file, const wchar16* name, const void* data, std::size_t count);

// Returns when what was written is on the disk.
void FlushHandle(Handle file, const wchar16* name);

// Makes the file end at the current position.
void TruncateHandle(Handle file, const wchar16* name);

// A position of 2^63 or more is a failure with error 131.
std::uint64_t GetHandlePosition(Handle file, const wchar16* name);
void SetHandlePosition(Handle file, const wchar16* name, std::uint64_t position);

// The handle is gone afterwards, also on failure.
void CloseHandleOf(Handle file, const wchar16* name);

// Locks the whole file as File::WriteLock and File::ReadLock do. True when it is locked; false where
// `tryOnly` is set and another opening of the file holds a lock that excludes this one. On a POSIX system the
// lock that the handle held before ends first, so that false leaves it without any.
bool LockHandle(Handle file, const wchar16* name, bool exclusive, bool tryOnly);

// Ends the lock, where there is one.
void UnlockHandle(Handle file) noexcept;

} // namespace KFileSystem
