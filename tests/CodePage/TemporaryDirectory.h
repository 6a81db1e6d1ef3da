// TemporaryDirectory: an empty directory that goes, with all it holds, at the end of a test.

#pragma once

#include "KBase/WideString.h"

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>

namespace CodePageTests {

inline KBase::WideString Widen(const std::string& ascii) {
    KBase::WideString wide;
    for (const char c : ascii) {
        wide.push_back(static_cast<unsigned char>(c));
    }
    return wide;
}

class TemporaryDirectory {
public:
    TemporaryDirectory() {
        std::string name = (std::filesystem::temp_directory_path() / "kcodepage-XXXXXX").string();
        if (mkdtemp(name.data()) == nullptr) {
            throw std::runtime_error("no temporary directory");
        }
        path = name;
    }
    TemporaryDirectory(const TemporaryDirectory&) = delete; // one directory, one removal
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
    ~TemporaryDirectory() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }

    const std::filesystem::path& Path() const noexcept { return path; }
    KBase::WideString Wide() const { return Widen(path.string()); }

private:
    std::filesystem::path path;
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
