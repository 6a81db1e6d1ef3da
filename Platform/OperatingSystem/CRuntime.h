// Descriptors and streams of the C runtime, with the last error set.
//
// A function that fails returns what the C runtime's function of that name returns, and the last error holds
// a Windows error number. errno has no defined value afterwards.
//
// Thread safety: any thread may call anything; the use of one descriptor or stream by several threads at
// once is the callers' affair. Nothing here throws.

#pragma once

#include "OperatingSystem/Types.h"

#include <cstddef>
#include <cstdio>

namespace OperatingSystem {

// The descriptor for a handle, which it takes over: closing the descriptor closes the handle. `flags`: 0.
// -1 on failure.
int _open_osfhandle(Handle file, int flags) noexcept;

// The handle of a descriptor, which keeps it. InvalidHandle and error 6 for what is no open descriptor.
Handle _get_osfhandle(int descriptor) noexcept;

// A stream over a descriptor, which it takes over; null on failure, and the descriptor stays open then.
// `mode`: "r", "w" or "a", then any of "b" (no meaning on a POSIX system), "+" (reading and writing) and "c"
// (fflush returns when the data is on the disk); else error 87. With "a", every write goes to the end of the
// file. Nothing is created or emptied. The mode may ask for more than the descriptor allows: what is not
// allowed fails with error 5 when it is tried.
std::FILE* _fdopen(int descriptor, const char* mode) noexcept;

// The descriptor of a stream, which keeps it; -1 on failure.
int _fileno(std::FILE* stream) noexcept;

// As FlushFileBuffers. 0, or -1 on failure.
int _commit(int descriptor) noexcept;

// As ReadFile and WriteFile, but write may write less than asked. The number of bytes, or -1 on failure.
// At most 2^31 - 1 bytes are read or written in one call.
int _read(int descriptor, void* buffer, unsigned int count) noexcept;
int _write(int descriptor, const void* data, unsigned int count) noexcept;

// Sets the size of the file; bytes that come in by that are zero. 0, or -1 on failure: error 87 for a
// negative size and, on a POSIX system, for what is no regular file.
int _chsize(int descriptor, std::int64_t size) noexcept;

// `origin`: FileBegin, FileCurrent or FileEnd. The new position, or -1 on failure, as SetFilePointerEx.
std::int64_t lseek(int descriptor, std::int64_t offset, int origin) noexcept;

// 0, or -1 on failure. The descriptor is gone afterwards, also on failure.
int close(int descriptor) noexcept;

// The stream functions. Where the error indicator of a stream was set before the call, it stays set.
//
// A signal does not interrupt reading. On a POSIX system a handler without SA_RESTART interrupts a write that
// has to wait (in fwrite, fflush and fclose), which then fails with error 995: the C runtime does not tell
// how much of what it held was written and may drop the rest, so that trying again would lose or double
// bytes. Where such handlers are in use, block their signals around these calls or write through the
// descriptor.

// Where nothing is asked and the error indicator is set, the last error is set, too.
std::size_t fread(void* buffer, std::size_t size, std::size_t count, std::FILE* stream) noexcept;
std::size_t fwrite(const void* data, std::size_t size, std::size_t count, std::FILE* stream) noexcept;
char* fgets(char* buffer, int size, std::FILE* stream) noexcept;
int fflush(std::FILE* stream) noexcept;
int fclose(std::FILE* stream) noexcept; // the stream is gone afterwards, also on failure
std::int64_t ftello(std::FILE* stream) noexcept;
int fseeko(std::FILE* stream, std::int64_t offset, int origin) noexcept; // 0, or -1 as SetFilePointerEx
int ferror(std::FILE* stream) noexcept;

} // namespace OperatingSystem
