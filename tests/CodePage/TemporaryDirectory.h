// Temporary directories whose paths can be base paths, and working directories.

#pragma once

#include "FileSystem/TemporaryDirectory.h"
#include "KBase/WideString.h"

#include <filesystem>
#include <string>
#include <system_error>

namespace CodePageTests {

inline KBase::WideString Widen(const std::string& ascii) {
    KBase::WideString wide;
    for (const char c : ascii) {
        wide.push_back(static_cast<unsigned char>(c));
    }
    return wide;
}

class TemporaryDirectory : public TestFiles::TemporaryDirectory {
public:
    const std::filesystem::path& Path() const noexcept { return Native(); }
    KBase::WideString Wide() const { return Widen(Path().string()); }
};

// Makes a directory the current one for as long as it lives.
class WorkingDirectory {
public:
    explicit WorkingDirectory(const std::filesystem::path& directory)
        : before(std::filesystem::current_path()) {
        std::filesystem::current_path(directory);
    }
    WorkingDirectory(const WorkingDirectory&) = delete; // one change, one way back
    WorkingDirectory& operator=(const WorkingDirectory&) = delete;
    ~WorkingDirectory() {
        std::error_code ignored;
        std::filesystem::current_path(before, ignored);
    }

private:
    std::filesystem::path before;
};

} // namespace CodePageTests
