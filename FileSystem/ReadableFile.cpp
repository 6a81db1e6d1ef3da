#include "FileSystem/ReadableFile.h"

#include "FileSystem/HandleFile.h"
#include "FileSystem/Messages.h"
#include "OperatingSystem/Directories.h"
#include "OperatingSystem/Files.h"
#include "OperatingSystem/LastError.h"

namespace KFileSystem {

namespace System = OperatingSystem;

namespace {

class ReadableFileImpl final : public ReadableFile {
public:
    explicit ReadableFileImpl(const wchar16* path) : name(path != nullptr ? path : KBase::WideString()) {
        handle = System::CreateFileW(path, System::GenericRead,
                                     System::ShareRead | System::ShareWrite | System::ShareDelete,
                                     System::OpenExisting, System::FileAttributeNormal);
        if (handle == System::InvalidHandle) {
            const System::ErrorNumber error = System::GetLastError();
            ThrowOperationFailure(error, "ReadableFileImpl::ReadableFileImpl",
                                  PathSuffix(": ::CreateFileW failed for ", path));
        }
    }

    ~ReadableFileImpl() override { System::CloseHandle(handle); }

    void Read(void* buffer, std::size_t count) override {
        ReadHandleExactly(handle, name.c_str(), buffer, count);
    }

private:
    KBase::WideString name; // for messages
    Handle handle = System::InvalidHandle;
};

} // namespace

KBase::ReturnPtr<ReadableFile> CreateReadableFile(const wchar16* path) {
    return std::make_unique<ReadableFileImpl>(path);
}

std::uint32_t GetFileSize(const wchar16* path) {
    System::FileAttributeData data;
    if (!System::GetFileAttributesExW(path, &data)) {
        throw SystemFailure(System::GetLastError(), "Failed to get size of file '%1'.")
            << (path != nullptr ? KBase::WideView(path) : KBase::WideView());
    }
    return data.fileSizeLow;
}

} // namespace KFileSystem
