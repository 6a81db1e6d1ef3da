// Files for tests of the command: reading and writing them whole, and temporary directories of them.

#pragma once

#include "FileSystem/TemporaryDirectory.h"

#include <algorithm>
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

class Directory : public TestFiles::TemporaryDirectory {
public:
    std::filesystem::path operator/(const std::string& name) const { return Native() / name; }
    std::string Name() const { return Native().string(); }
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
