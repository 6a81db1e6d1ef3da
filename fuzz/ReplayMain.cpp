// Runs a fuzz target over the files, and the files of the directories, that are named on the command line.

#include "FuzzTarget.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

namespace {

std::vector<std::filesystem::path> FilesOf(const std::filesystem::path& path) {
    if (!std::filesystem::is_directory(path)) {
        return {path};
    }
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(path)) {
        files.push_back(entry.path());
    }
    std::sort(files.begin(), files.end());
    return files;
}

bool Replay(const std::filesystem::path& path) {
    std::ifstream stream(path, std::ios::binary);
    const std::string contents(std::istreambuf_iterator<char>(stream), {});
    if (!stream) {
        std::fprintf(stderr, "Cannot read %s\n", path.c_str());
        return false;
    }
    std::printf("%s\n", path.c_str()); // names the file that ends the process
    std::fflush(stdout);
    const auto exact = std::make_unique<std::uint8_t[]>(contents.size());
    std::copy(contents.begin(), contents.end(), exact.get());
    LLVMFuzzerTestOneInput(exact.get(), contents.size());
    return true;
}

} // namespace

int main(int argumentCount, char** arguments) {
    std::size_t count = 0;
    for (int i = 1; i < argumentCount; ++i) {
        for (const std::filesystem::path& file : FilesOf(arguments[i])) {
            if (!Replay(file)) {
                return 1;
            }
            ++count;
        }
    }
    if (count == 0) {
        std::fprintf(stderr, "There is nothing to replay.\n");
        return 1;
    }
    return 0;
}
