#include "OperatingSystem/CRuntime.h"

#include "OperatingSystem/Files.h"
#include "OperatingSystem/Posix/Descriptors.h"
#include "OperatingSystem/Posix/ErrorNumbers.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <fcntl.h>
#include <mutex>
#include <new>
#include <unistd.h>
#include <unordered_set>
#include <utility>

namespace OperatingSystem {

using namespace Posix;

namespace {

// The streams whose mode has "c". The C runtime has no place in a stream to note it. Made without allocating
// and never destroyed, so that streams can be used from the start to the end of the process.
class CommittingStreams {
public:
    static CommittingStreams& Instance() noexcept {
        alignas(CommittingStreams) static unsigned char memory[sizeof(CommittingStreams)];
        static CommittingStreams* const instance = new (memory) CommittingStreams;
        return *instance;
    }

    bool Contains(std::FILE* stream) {
        const std::lock_guard<std::mutex> lock(mutex);
        return streams.count(stream) != 0;
    }

    // Makes room for an entry, under the address of something else than a stream. Throws std::bad_alloc.
    void Reserve(const void* placeholder) {
        const std::lock_guard<std::mutex> lock(mutex);
        streams.insert(placeholder);
    }

    // Puts a stream into the reserved place, which takes no memory.
    void Replace(const void* placeholder, std::FILE* stream) {
        const std::lock_guard<std::mutex> lock(mutex);
        auto node = streams.extract(placeholder);
        node.value() = stream;
        streams.insert(std::move(node));
    }

    void Remove(const void* stream) {
        const std::lock_guard<std::mutex> lock(mutex);
        streams.erase(stream);
    }

private:
    std::mutex mutex;
    std::unordered_set<const void*> streams; // guarded by mutex
};

struct StreamMode {
    char kind = 0; // 'r', 'w' or 'a'
    bool update = false;
    bool commit = false;
};

bool ParseMode(const char* text, StreamMode* mode) noexcept {
    if (text == nullptr || (*text != 'r' && *text != 'w' && *text != 'a')) {
        return false;
    }
    mode->kind = *text;
    while (*++text != 0) {
        switch (*text) {
        case 'b':
            break;
        case '+':
            mode->update = true;
            break;
        case 'c':
            mode->commit = true;
            break;
        default:
            return false;
        }
    }
    return true;
}

// The mode for fdopen, which refuses to ask for more than the descriptor allows.
const char* NativeMode(const StreamMode& mode, int access) noexcept {
    const bool append = mode.kind == 'a';
    if (access == O_RDONLY) {
        return "r";
    }
    if (access == O_WRONLY) {
        return append ? "a" : "w";
    }
    if (mode.update) {
        return append ? "a+" : "r+";
    }
    return append ? "a" : mode.kind == 'w' ? "w" : "r";
}

// Sets the last error from errno; a stream that is in error without a new failure is a device error.
void FailStream(std::FILE* stream) noexcept {
    FailForAccess(errno != 0 ? errno : EIO, ::fileno(stream));
}

} // namespace

int _open_osfhandle(Handle file, int) noexcept {
    const int descriptor = file < 0 || file > INT_MAX ? -1 : static_cast<int>(file);
    if (::fcntl(descriptor, F_GETFD) == -1) {
        FailFromErrno(errno);
        return -1;
    }
    return descriptor;
}

Handle _get_osfhandle(int descriptor) noexcept {
    if (::fcntl(descriptor, F_GETFD) == -1) {
        FailFromErrno(errno);
        return InvalidHandle;
    }
    return descriptor;
}

std::FILE* _fdopen(int descriptor, const char* text) noexcept {
    StreamMode mode;
    if (!ParseMode(text, &mode)) {
        Fail(ErrorInvalidParameter);
        return nullptr;
    }
    const int flags = ::fcntl(descriptor, F_GETFL);
    if (flags == -1) {
        FailFromErrno(errno);
        return nullptr;
    }
    CommittingStreams& committing = CommittingStreams::Instance();
    if (mode.commit) {
        try {
            committing.Reserve(&mode);
        } catch (...) {
            Fail(ErrorNotEnoughMemory);
            return nullptr;
        }
    }
    std::FILE* const stream = ::fdopen(descriptor, NativeMode(mode, flags & O_ACCMODE));
    if (stream == nullptr) {
        FailFromErrno(errno);
        if (mode.commit) {
            committing.Remove(&mode);
        }
        return nullptr;
    }
    if (mode.commit) {
        committing.Replace(&mode, stream);
    } else {
        committing.Remove(stream); // the entry of an earlier stream that was closed past the door
    }
    return stream;
}

int _fileno(std::FILE* stream) noexcept {
    const int descriptor = ::fileno(stream);
    if (descriptor < 0) {
        FailFromErrno(errno);
    }
    return descriptor;
}

int _commit(int descriptor) noexcept {
    return CommitDescriptor(descriptor) ? 0 : -1;
}

int _read(int descriptor, void* buffer, unsigned int count) noexcept {
    return static_cast<int>(ReadDescriptor(descriptor, buffer, std::min(count, unsigned{INT_MAX})));
}

int _write(int descriptor, const void* data, unsigned int count) noexcept {
    return static_cast<int>(WriteDescriptor(descriptor, data, std::min(count, unsigned{INT_MAX})));
}

int _chsize(int descriptor, std::int64_t size) noexcept {
    return ResizeDescriptor(descriptor, size) ? 0 : -1;
}

std::int64_t lseek(int descriptor, std::int64_t offset, int origin) noexcept {
    return SeekDescriptor(descriptor, offset, origin);
}

int close(int descriptor) noexcept {
    return CloseDescriptor(descriptor) ? 0 : -1;
}

std::size_t fread(void* buffer, std::size_t size, std::size_t count, std::FILE* stream) noexcept {
    if (size == 0 || count == 0) {
        if (::ferror(stream) != 0) {
            errno = 0;
            FailStream(stream);
        }
        return 0;
    }
    const bool wasInError = ::ferror(stream) != 0;
    const std::size_t wanted = size * count;
    std::size_t done = 0;
    for (;;) {
        errno = 0;
        done += ::fread(static_cast<char*>(buffer) + done, 1, wanted - done, stream);
        if (::ferror(stream) == 0) {
            break;
        }
        if (errno != EINTR || wasInError) {
            FailStream(stream);
            break;
        }
        ::clearerr(stream);
    }
    return done / size;
}

// Not begun again when a signal interrupts it, nor are fflush and fclose: what the C runtime held may be
// lost.
std::size_t fwrite(const void* data, std::size_t size, std::size_t count, std::FILE* stream) noexcept {
    errno = 0;
    const std::size_t written = ::fwrite(data, size, count, stream);
    if (written != count && size != 0) {
        FailStream(stream);
    }
    return written;
}

// Character by character, since a line that a signal interrupts must not lose its beginning.
char* fgets(char* buffer, int size, std::FILE* stream) noexcept {
    if (size <= 0) {
        Fail(ErrorInvalidParameter);
        return nullptr;
    }
    ::flockfile(stream);
    const bool wasInError = ::ferror_unlocked(stream) != 0;
    int length = 0;
    bool failed = false;
    while (length < size - 1) {
        errno = 0;
        const int byte = ::getc_unlocked(stream);
        if (byte != EOF) {
            buffer[length++] = static_cast<char>(byte);
            if (byte == '\n') {
                break;
            }
        } else if (::ferror_unlocked(stream) != 0 && errno == EINTR && !wasInError) {
            ::clearerr_unlocked(stream);
        } else {
            failed = ::ferror_unlocked(stream) != 0;
            break;
        }
    }
    buffer[length] = 0;
    if (failed) {
        FailStream(stream);
    }
    ::funlockfile(stream);
    return failed || (length == 0 && size > 1) ? nullptr : buffer;
}

int fflush(std::FILE* stream) noexcept {
    errno = 0;
    if (::fflush(stream) != 0) {
        FailStream(stream);
        return EOF;
    }
    if (CommittingStreams::Instance().Contains(stream) && !CommitDescriptor(::fileno(stream))) {
        return EOF;
    }
    return 0;
}

int fclose(std::FILE* stream) noexcept {
    CommittingStreams::Instance().Remove(stream);
    errno = 0;
    if (::fclose(stream) != 0) {
        FailFromErrno(errno != 0 ? errno : EIO);
        return EOF;
    }
    return 0;
}

std::int64_t ftello(std::FILE* stream) noexcept {
    const off_t position = ::ftello(stream);
    if (position < 0) {
        FailFromErrno(errno);
    }
    return position;
}

int fseeko(std::FILE* stream, std::int64_t offset, int origin) noexcept {
    int whence = 0;
    if (!NativeOrigin(origin, &whence)) {
        Fail(ErrorInvalidParameter);
        return -1;
    }
    if (::fseeko(stream, offset, whence) != 0) {
        FailForPosition(errno, offset);
        return -1;
    }
    return 0;
}

int ferror(std::FILE* stream) noexcept {
    return ::ferror(stream);
}

} // namespace OperatingSystem
