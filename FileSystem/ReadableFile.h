// ReadableFile: a file object that reads regular files; of a pipe or a terminal it may find less than there
// is to come, which is a failure. Used by the file encoding converter.
//
// Thread safety: one thread at a time per object.

#pragma once

#include "KBase/ReturnPtr.h"
#include "KBase/WideString.h"

#include <cstddef>
#include <cstdint>

namespace KFileSystem {

using KBase::wchar16;

class GenericFile {
public:
    GenericFile() = default;
    virtual ~GenericFile() = default;

    // An object owns its open file, so it has no copies.
    GenericFile(const GenericFile&) = delete;
    GenericFile& operator=(const GenericFile&) = delete;
};

class ReadableFile : public virtual GenericFile {
public:
    // Fills the buffer completely, from where the last read ended, or throws as ReadHandleExactly does.
    // Nothing for count 0.
    virtual void Read(void* buffer, std::size_t count) = 0;
};

// Opens an existing file for reading, at its start; others may do with it what they like.
KBase::ReturnPtr<ReadableFile> CreateReadableFile(const wchar16* path);

// Kept: the low 32 bits of the file's size, so that a file of 4 GiB and 1 byte has size 1.
// Throws the wrapped form "Failed to get size of file '%1'.".
std::uint32_t GetFileSize(const wchar16* path);

} // namespace KFileSystem
