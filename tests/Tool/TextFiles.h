// Files for tests of the command: reading and writing them whole, and a directory that goes at the end.

#pragma once

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

inline std::string ReadFile(const std::filesystem::path& path) {
    std::ifstream stream(path, std::ios::binary);
    if (!stream) {
        throw std::runtime_error("cannot open " + path.string());
    }
    return std::string(std::istreambuf_iterator<char>(stream), {});
}

inline void WriteFile(const std::filesystem::path& path, const std::string& bytes) {
    std::ofstream stream(path, std::ios::binary | std::ios::trunc);
    stream << bytes;
    stream.close();
    if (!stream) {
        throw std::runtime_error("cannot write " + path.string());
    }
}

class Directory {
public:
    Directory() {
        std::string name = (std::filesystem::temp_directory_path() / "kcodepage-tool-XXXXXX").string();
        if (mkdtemp(name.data()) == nullptr) {
            throw std::runtime_error("no temporary directory");
        }
        path = name;
    }
    Directory(const Directory&) = delete; // one directory, one removal
    Directory& operator=(const Directory&) = delete;
    ~Directory() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }

    std::filesystem::path operator/(const std::string& name) const { return path / name; }
    std::string Name() const { return path.string(); }

private:
    std::filesystem::path path;
};

// The names of what a directory holds, sorted.
inline std::vector<std::string> NamesIn(const std::filesystem::path& directory) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(directory)) {
        names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}
