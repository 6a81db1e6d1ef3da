#include "FileSystem/TemporaryFiles.h"

#include "FileSystem/Messages.h"
#include "OperatingSystem/Directories.h"
#include "OperatingSystem/LastError.h"

namespace KFileSystem {

namespace System = OperatingSystem;

KBase::ReturnWString GetTemporaryDirectory() {
    wchar16 directory[System::MaxPath] = {};
    if (System::GetTempPathW(System::MaxPath, directory) >= System::MaxPath) {
        return {};
    }
    return directory;
}

KBase::ReturnWString CreateTemporaryFile(const wchar16* prefix) {
    const KBase::WideString directory = GetTemporaryDirectory();
    wchar16 name[System::MaxPath] = {};
    if (System::GetTempFileNameW(directory.c_str(), prefix, 0, name) == 0) {
        const System::ErrorNumber error = System::GetLastError();
        ThrowOperationFailure(error, "CreateTemporaryFile",
                              PathSuffix(": ::GetTempFileNameW failed for ", prefix));
    }
    return name;
}

} // namespace KFileSystem
