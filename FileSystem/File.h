// File: operations on open C runtime descriptors and streams, each of which throws the layer's prefix form of
// message when it fails. File objects of their own are in ReadableFile.h.
//
// Paths: zero-terminated UTF-16, as OperatingSystem/Files.h tells. The texts of failures name the operation
// and the file; the description of the system's error follows after a line feed.
// Thread safety: no state is kept here; the use of one descriptor or stream by several threads at once is
// the callers' affair.

#pragma once

#include "KBase/WideString.h"
#include "KDataType/Binary.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>

namespace KFileSystem {

using KBase::wchar16;

class File {
public:
    // How a file is opened. Any other number fails as the system's refusal (error 87).
    enum OpenMode : int {
        ModeRead = 0,            // must exist
        ModeWrite = 1,           // made, or emptied
        ModeAppend = 2,          // made where there is none; a stream writes at the end always
        ModeUpdate = 3,          // reading and writing; must exist
        ModeCreateUpdate = 4,    // reading and writing; made, or emptied
        ModeAppendUpdate = 5,    // reading and writing; made where there is none; writes at the end always
        ModeCreateWriteOnly = 6, // Kept: made, or emptied, for writing only, although the stream's mode asks
                                 // for reading too: reading then fails when it is tried (error 5)
    };

    // What others may do with the file meanwhile, where the system has such a rule (OperatingSystem/Files.h).
    // Any other number is taken as ShareNone.
    enum Sharing : int {
        ShareByMode = 0, // reading; with ModeRead, writing too
        ShareNone = 1,
        ShareRead = 2,
        ShareReadWrite = 3
    };

    // A new descriptor at position 0, which the caller closes.
    static int OpenDescriptor(const wchar16* path, int mode, int sharing);

    // A new stream, which the caller closes. In modes 2 and 5 every write goes to the end of the file. Flush
    // brings what was written to the disk.
    static std::FILE* OpenStream(const wchar16* path, int mode, int sharing);

    // Closes. A stream writes out what it still held: ": ::fclose failed." tells that this did not succeed.
    // What was given is gone afterwards, also on failure.
    static void Close(int descriptor);
    static void Close(std::FILE* stream);

    // Appends what `source` holds from its position on to what `target` has up to its own.
    static void Copy(int source, int target);

    // Bytes of the file, 0 for what has no size. What a stream still holds back does not count.
    static std::uint64_t GetSize(int descriptor);
    static std::uint64_t GetSize(std::FILE* stream);

    // Reads `count` bytes into `buffer`, from its start on, and returns the size of the buffer, which is
    // less than `count` only at the end of the file. With `count` 0, as many as the buffer has bytes.
    static std::size_t Read(std::FILE* stream, KDataType::Binary* buffer, std::size_t count);

    // Reads a line as fgets does: at most size - 1 bytes, up to the line feed, which is kept, and a zero.
    // False at the end of the file. Requires: size at least 2.
    static bool ReadLine(std::FILE* stream, char* buffer, int size);

    // Writes all of it; nothing for size 0. A signal may interrupt the writing of a stream, also in Flush and
    // Close (OperatingSystem/CRuntime.h): error 995, and how much was written is unknown.
    static void Write(int descriptor, const void* data, std::size_t size);
    static void Write(std::FILE* stream, const void* data, std::size_t size);

    // Brings what was written to the disk. What has no disk, such as a pipe, is no failure.
    static void Flush(int descriptor);
    static void Flush(std::FILE* stream);

    // Makes the file `size` bytes long, by cutting it off or by filling it up with zeros. A size of 2^63 or
    // more, and on a POSIX system what is no regular file, is a failure with error 87.
    static void Truncate(int descriptor, std::uint64_t size);

    static std::uint64_t GetPosition(int descriptor);
    static std::uint64_t GetPosition(std::FILE* stream);

    // Moves the position from where it is now.
    static void MovePosition(int descriptor, std::int64_t distance);
    static void MovePosition(std::FILE* stream, std::int64_t distance);

    // Sets the position, counted from the start of the file. One of 2^63 or more is a failure with error 131.
    static void SetPosition(int descriptor, std::uint64_t position);
    static void SetPosition(std::FILE* stream, std::uint64_t position);

    // Locks the whole file against other openings of it, in this process and in others. An exclusive lock
    // (WriteLock) excludes all others, a shared one (ReadLock) excludes exclusive ones. `wait`: whether to
    // wait until it is free; else a lock that is held elsewhere is a failure with error 33. Locks are
    // advisory where the system's are. On a POSIX system changing the kind of a lock through the same opening
    // is not atomic: the lock held before ends first, and a failed try leaves none
    // (OperatingSystem/Files.h).
    static void WriteLock(int descriptor, bool wait);
    static void ReadLock(int descriptor, bool wait);

    // Ends the lock. Kept: only a descriptor that is not open is a failure; a file without a lock is what the
    // caller asked for.
    static void Unlock(int descriptor);
};

} // namespace KFileSystem
