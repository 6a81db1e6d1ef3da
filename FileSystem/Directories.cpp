#include "FileSystem/Directories.h"

#include "FileSystem/Messages.h"
#include "OperatingSystem/Directories.h"
#include "OperatingSystem/LastError.h"

#include <algorithm>

namespace KFileSystem {

namespace System = OperatingSystem;

namespace {

KBase::WideView Shown(const wchar16* path) noexcept {
    return path != nullptr ? KBase::WideView(path) : KBase::WideView();
}

// Closes a search in every case.
struct OpenSearch {
    System::Handle handle;

    explicit OpenSearch(System::Handle opened) noexcept : handle(opened) {}
    OpenSearch(const OpenSearch&) = delete;
    OpenSearch& operator=(const OpenSearch&) = delete;
    ~OpenSearch() {
        if (handle != System::InvalidHandle) {
            System::FindClose(handle);
        }
    }
};

bool IsDots(KBase::WideView name) noexcept {
    using namespace KBase::Literals;
    return name == KBase::WideView(u"."_w) || name == KBase::WideView(u".."_w);
}

KBase::Message MoveFailure(const wchar16* source, const wchar16* target) {
    return SystemFailure(System::GetLastError(), "Failed to move file '%1' to '%2'.")
           << Shown(source) << Shown(target);
}

System::FileAttributeData ReadAttributes(const wchar16* path) {
    System::FileAttributeData data;
    if (!System::GetFileAttributesExW(path, &data)) {
        throw SystemFailure(System::GetLastError(), "Failed to get attributes of file '%1'.") << Shown(path);
    }
    return data;
}

} // namespace

KDataType::StringCollection ListDirectory(const wchar16* pattern) {
    KDataType::StringCollection names;
    System::FindData data;
    const OpenSearch search(System::FindFirstFileW(pattern, &data));
    bool found = search.handle != System::InvalidHandle;
    while (found) {
        if (!IsDots(data.name)) {
            names.emplace_back(data.name);
        }
        found = System::FindNextFileW(search.handle, &data);
    }
    const System::ErrorNumber error = System::GetLastError();
    if (error != System::ErrorFileNotFound && error != System::ErrorNoMoreFiles) {
        throw SystemFailure(error, "Unable to find file");
    }
    std::sort(names.begin(), names.end());
    return names;
}

KBase::ReturnWString GetCurrentWorkingDirectory() {
    KBase::WideString path(System::MaxPath, 0);
    for (;;) {
        const std::uint32_t length =
            System::GetCurrentDirectoryW(static_cast<std::uint32_t>(path.size()), path.data());
        if (length == 0) {
            ThrowOperationFailure(System::GetLastError(), "GetCurrentWorkingDirectory",
                                  ": ::GetCurrentDirectoryW failed.");
        }
        const bool complete = length < path.size();
        path.resize(length);
        if (complete) {
            return path;
        }
    }
}

void SetCurrentWorkingDirectory(const wchar16* path) {
    if (!System::SetCurrentDirectoryW(path)) {
        const System::ErrorNumber error = System::GetLastError();
        ThrowOperationFailure(error, "SetCurrentWorkingDirectory",
                              PathSuffix(": ::SetCurrentDirectoryW failed for ", path));
    }
}

std::uint64_t GetFreeDiskSpace(const wchar16* path) {
    std::uint64_t free = 0;
    if (!System::GetDiskFreeSpaceExW(path, &free, nullptr, nullptr)) {
        throw SystemFailure(System::GetLastError(), "Failed to get disk free space for path %1.")
            << Shown(path);
    }
    return free;
}

std::uint32_t GetAttributes(const wchar16* path) {
    return ReadAttributes(path).fileAttributes;
}

void SetAttributes(const wchar16* path, std::uint32_t attributes) {
    if (!System::SetFileAttributesW(path, attributes)) {
        throw SystemFailure(System::GetLastError(), "Failed to set attributes of file '%1'.") << Shown(path);
    }
}

KDataType::DateTime GetLastModifiedTime(const wchar16* path) {
    KDataType::DateTime time;
    if (!KDataType::DateTimeFromFileTime(ReadAttributes(path).lastWriteTime, &time)) {
        throw SystemFailure(System::ErrorInvalidParameter,
                            "Failed to interpret last-modified time of file '%1'.")
            << Shown(path);
    }
    return time;
}

void Move(const wchar16* source, const wchar16* target) {
    if (!System::MoveFileExW(source, target,
                             System::MoveFileReplaceExisting | System::MoveFileCopyAllowed |
                                 System::MoveFileWriteThrough)) {
        throw MoveFailure(source, target);
    }
}

bool TryMove(const wchar16* source, const wchar16* target, KBase::Message* report) {
    if (System::MoveFileExW(source, target, System::MoveFileCopyAllowed)) {
        return true;
    }
    if (report != nullptr) {
        report->PrependBy(MoveFailure(source, target));
    }
    return false;
}

bool TryDelete(const wchar16* path, KBase::Message* report) {
    if (System::DeleteFileW(path)) {
        return true;
    }
    if (report != nullptr) {
        report->PrependBy(SystemFailure(System::GetLastError(), "Failed to delete file '%1'.")
                          << Shown(path));
    }
    return false;
}

} // namespace KFileSystem
