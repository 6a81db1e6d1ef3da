#include "Files.h"

#include "Failure.h"

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <system_error>

namespace {

struct StreamCloser {
    void operator()(std::FILE* stream) const noexcept { std::fclose(stream); }
};
using Stream = std::unique_ptr<std::FILE, StreamCloser>;

[[noreturn]] void Fail(const std::string& what) {
    throw Failure(what + ": " + std::generic_category().message(errno));
}

void Write(std::FILE* stream, const std::string& bytes, const std::string& name) {
    if (std::fwrite(bytes.data(), 1, bytes.size(), stream) != bytes.size() || std::fflush(stream) != 0) {
        Fail("cannot write " + name);
    }
}

} // namespace

std::string ReadInput(const std::string& file) {
    const std::string name = file.empty() ? "standard input" : "'" + file + "'";
    Stream opened;
    if (!file.empty()) {
        opened.reset(std::fopen(file.c_str(), "rb"));
        if (!opened) {
            Fail("cannot open " + name);
        }
    }
    std::FILE* stream = opened ? opened.get() : stdin;
    std::string bytes;
    constexpr std::size_t step = 1 << 16;
    for (;;) {
        const std::size_t size = bytes.size();
        bytes.resize(size + step);
        const std::size_t read = std::fread(bytes.data() + size, 1, step, stream);
        bytes.resize(size + read);
        if (read < step) {
            if (std::ferror(stream) != 0) {
                Fail("cannot read " + name);
            }
            return bytes;
        }
    }
}

void WriteOutput(const std::string& file, const std::string& bytes) {
    if (file.empty()) {
        Write(stdout, bytes, "standard output");
        return;
    }
    const std::string beside = file + ".kcodepage-new";
    const std::string name = "'" + file + "'";
    try {
        Stream stream(std::fopen(beside.c_str(), "wbx"));
        if (!stream) {
            Fail("cannot create '" + beside + "'");
        }
        try {
            Write(stream.get(), bytes, name);
            if (std::fclose(stream.release()) != 0) {
                Fail("cannot write " + name);
            }
            std::filesystem::rename(beside, file);
        } catch (...) {
            std::remove(beside.c_str());
            throw;
        }
    } catch (const std::filesystem::filesystem_error& cause) {
        throw Failure("cannot replace " + name + ": " + cause.code().message());
    }
}
