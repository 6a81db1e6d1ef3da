#include "OperatingSystem/Posix/Paths.h"

#include "OperatingSystem/Posix/ErrorNumbers.h"
#include "UTF8/UTF8.h"

#include <cerrno>
#include <cstring>
#include <sys/stat.h>

namespace OperatingSystem::Posix {

bool NativePath::Assign(const wchar16* path) noexcept {
    if (path == nullptr) {
        return Fail(ErrorPathNotFound);
    }
    std::size_t length = 0;
    while (path[length] != 0 && length < pathCapacity) {
        ++length;
    }
    return Assign(path, length);
}

bool NativePath::Assign(const wchar16* path, std::size_t length) noexcept {
    bytes[0] = 0;
    if (length == 0) {
        return Fail(ErrorPathNotFound);
    }
    const UTF8::Result result = UTF8::Encode(path, length, bytes, pathCapacity - 1);
    bytes[result.written] = 0;
    switch (result.stop) {
    case UTF8::Stop::InputUsedUp:
        break;
    case UTF8::Stop::OutputFull:
        return Fail(ErrorFilenameTooLong);
    default:
        return Fail(ErrorNoUnicodeTranslation);
    }
    for (char& byte : bytes) {
        if (byte == 0) {
            break;
        }
        if (byte == '\\') {
            byte = '/';
        }
    }
    return true;
}

std::uint32_t ToDoorPath(const char* path, wchar16* buffer, std::size_t capacity) noexcept {
    wchar16 wide[pathCapacity];
    const std::size_t length = std::strlen(path);
    const UTF8::Result result = UTF8::Decode(path, length, wide, pathCapacity);
    if (result.stop == UTF8::Stop::OutputFull) {
        Fail(ErrorFilenameTooLong);
        return 0;
    }
    if (result.stop != UTF8::Stop::InputUsedUp || std::memchr(path, '\\', length) != nullptr) {
        Fail(ErrorNoUnicodeTranslation);
        return 0;
    }
    if (buffer == nullptr || result.written >= capacity) {
        return static_cast<std::uint32_t>(result.written + 1);
    }
    for (std::size_t i = 0; i < result.written; ++i) {
        buffer[i] = wide[i] == '/' ? static_cast<wchar16>('\\') : wide[i];
    }
    buffer[result.written] = 0;
    return static_cast<std::uint32_t>(result.written);
}

void ToEntryName(const char* entry, wchar16* name, std::size_t capacity) noexcept {
    const std::size_t length = std::strlen(entry);
    std::size_t in = 0;
    std::size_t out = 0;
    while (in < length) {
        const UTF8::Result run = UTF8::Decode(entry + in, length - in, name + out, capacity - 1 - out);
        in += run.consumed;
        out += run.written;
        if (run.stop == UTF8::Stop::InputUsedUp || out == capacity - 1 ||
            run.stop == UTF8::Stop::OutputFull) {
            break;
        }
        name[out++] = UTF8::replacementCharacter;
        in += run.illFormedLength;
    }
    for (std::size_t i = 0; i < out; ++i) {
        if (name[i] == '\\') {
            name[i] = UTF8::replacementCharacter;
        }
    }
    name[out] = 0;
}

const char* SplitLastPart(const char* path, char (&directory)[pathCapacity],
                          std::size_t* lastLength) noexcept {
    std::size_t end = std::strlen(path);
    while (end > 1 && path[end - 1] == '/') {
        --end;
    }
    std::size_t start = end;
    while (start > 0 && path[start - 1] != '/') {
        --start;
    }
    if (start == 0) {
        directory[0] = '.';
        directory[1] = 0;
    } else {
        std::memcpy(directory, path, start);
        directory[start] = 0;
    }
    *lastLength = end - start;
    return path + start;
}

bool ParentExists(const char* path) noexcept {
    char directory[pathCapacity];
    std::size_t lastLength = 0;
    SplitLastPart(path, directory, &lastLength);
    return IsDirectory(directory);
}

bool IsDirectory(const char* path) noexcept {
    struct stat status {};
    return ::stat(path, &status) == 0 && S_ISDIR(status.st_mode);
}

} // namespace OperatingSystem::Posix
