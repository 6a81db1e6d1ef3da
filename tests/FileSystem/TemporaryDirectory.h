// TemporaryDirectory: an empty directory that goes, with all it holds, at the end of a test. What tests of
// one kind need beyond that they derive.

#pragma once

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <system_error>

namespace TestFiles {

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

    const std::filesystem::path& Native() const noexcept { return path; }

private:
    std::filesystem::path path;
};

} // namespace TestFiles
