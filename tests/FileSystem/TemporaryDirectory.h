// TemporaryDirectory: an empty directory that goes, with all it holds, at the end of a test. What tests of
// one kind need beyond that they derive.

#pragma once

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <system_error>
#include <unistd.h>

namespace TestFiles {

class TemporaryDirectory {
public:
    explicit TemporaryDirectory(
        const std::filesystem::path& parent = std::filesystem::temp_directory_path()) {
        const std::string placeholder(6, 'X'); // which mkdtemp replaces
        std::string name = (parent / ("kcodepage-" + placeholder)).string();
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

    const std::filesystem::path& Native() const noexcept { return path; }

private:
    std::filesystem::path path;
};

// A directory in a memory file system, which takes times that others cut; null where there is none.
inline std::unique_ptr<TemporaryDirectory> DirectoryInMemory() {
    const char* const parent = "/dev/shm";
    return access(parent, W_OK) == 0 ? std::make_unique<TemporaryDirectory>(parent) : nullptr;
}

} // namespace TestFiles
