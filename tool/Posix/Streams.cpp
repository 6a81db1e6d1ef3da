#include "tool/Streams.h"

#include "tool/Failure.h"
#include "tool/Messages.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <initializer_list>
#include <optional>
#include <system_error>
#include <utility>

namespace {

// What ends a program from outside, a limit of its time included.
constexpr int fatalSignals[] = {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGALRM, SIGUSR1, SIGUSR2, SIGXCPU};

// The file that a fatal signal removes; null while there is none.
std::atomic<const char*> halfWritten = nullptr;
static_assert(std::atomic<const char*>::is_always_lock_free, "a signal handler reads it");

extern "C" void RemoveHalfWrittenAndDie(int signal) {
    if (const char* path = halfWritten.load()) {
        unlink(path);
    }
    // The handler was reset as it was entered.
    raise(signal);
}

void HandleFatalSignals() {
    for (const int number : fatalSignals) {
        struct sigaction action {};
        if (sigaction(number, nullptr, &action) != 0 || action.sa_handler == SIG_IGN) {
            continue; // whoever started the command wants it to survive, as nohup does
        }
        action.sa_handler = RemoveHalfWrittenAndDie;
        action.sa_flags = static_cast<int>(SA_RESETHAND | SA_NODEFER);
        sigaction(number, &action, nullptr);
    }
}

// Holds fatal signals back, so that a file and the note of it appear and go together.
class SignalsHeld {
public:
    SignalsHeld() {
        sigset_t held;
        sigemptyset(&held);
        for (const int number : fatalSignals) {
            sigaddset(&held, number);
        }
        sigprocmask(SIG_BLOCK, &held, &before);
    }
    SignalsHeld(const SignalsHeld&) = delete; // one scope, one restoring
    SignalsHeld& operator=(const SignalsHeld&) = delete;
    ~SignalsHeld() {
        const int error = errno;
        sigprocmask(SIG_SETMASK, &before, nullptr);
        errno = error;
    }

private:
    sigset_t before;
};

[[noreturn]] void Fail(const std::string& what, int error = errno) {
    throw Failure(what + ": " + std::generic_category().message(error));
}

std::optional<struct stat> Status(const std::string& path) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) {
        return std::nullopt;
    }
    return status;
}

// Where the links that begin at `path` end, whether there is a file or not.
std::string TargetOfLinks(std::string path) {
    constexpr int mostLinks = 40; // as the system has it
    for (int count = 0; count < mostLinks; ++count) {
        std::error_code error;
        const std::filesystem::path target = std::filesystem::read_symlink(path, error);
        if (error) {
            return path;
        }
        path = (std::filesystem::path(path).parent_path() / target).native();
    }
    Fail("cannot write " + Quoted(path), ELOOP);
}

std::string DirectoryOf(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? "." : path.substr(0, slash + 1);
}

} // namespace

void PrepareStreams() {
    // /dev/null opened the wrong way round, so that using the stream is an error. Lower numbers come first.
    for (const auto& [descriptor, mode] :
         {std::pair(0, O_WRONLY), std::pair(1, O_RDONLY), std::pair(2, O_WRONLY)}) {
        if (fcntl(descriptor, F_GETFD) < 0 && open("/dev/null", mode) < 0) {
            _exit(1); // nothing can be opened, and there is nowhere to say so
        }
    }
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    HandleFatalSignals();
}

Input::Input(const std::string& file)
    : name(file == standardStream ? "standard input" : Printable(file)), descriptor(STDIN_FILENO) {
    if (file != standardStream) {
        descriptor = open(file.c_str(), O_RDONLY | O_CLOEXEC);
        if (descriptor < 0) {
            Fail("cannot open " + Quoted(file));
        }
    }
    struct stat status {};
    const bool isRegular = fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
    start = isRegular ? lseek(descriptor, 0, SEEK_CUR) : -1;
}

Input::~Input() {
    if (descriptor != STDIN_FILENO) {
        close(descriptor);
    }
}

std::size_t Input::Read(std::span<char> room) {
    if (taken == ahead.size()) {
        return ReadOn(room);
    }
    const std::size_t count = ahead.copy(room.data(), room.size(), taken);
    taken += count;
    return count;
}

std::string_view Input::Peek(std::size_t count) {
    ahead.erase(0, std::exchange(taken, 0));
    std::size_t length = ahead.size();
    while (length < count) {
        ahead.resize(count);
        const std::size_t read = ReadOn(std::span(ahead).subspan(length));
        length += read;
        ahead.resize(length);
        if (read == 0) {
            break;
        }
    }
    return std::string_view(ahead).substr(0, count);
}

bool Input::Rewind() noexcept {
    if (start < 0 || lseek(descriptor, start, SEEK_SET) != start) {
        return false;
    }
    ahead.clear();
    taken = 0;
    return true;
}

std::size_t Input::ReadOn(std::span<char> room) {
    for (;;) {
        const ssize_t count = read(descriptor, room.data(), room.size());
        if (count >= 0) {
            return static_cast<std::size_t>(count);
        }
        if (errno != EINTR) {
            Fail("cannot read " + (descriptor == STDIN_FILENO ? name : "'" + name + "'"));
        }
    }
}

class Output::File {
public:
    explicit File(const std::string& file) {
        if (file == standardStream) {
            name = "standard output";
            descriptor = STDOUT_FILENO;
            return;
        }
        name = Quoted(file);
        const std::optional<struct stat> old = Status(file);
        if (!old && errno != ENOENT) {
            Fail("cannot write " + name);
        }
        if (old && S_ISDIR(old->st_mode)) {
            Fail("cannot write " + name, EISDIR);
        }
        if (old && !S_ISREG(old->st_mode)) {
            descriptor = open(file.c_str(), O_WRONLY | O_CLOEXEC);
            if (descriptor < 0) {
                Fail("cannot write " + name);
            }
            return;
        }
        OpenBeside(TargetOfLinks(file), old);
    }

    File(const File&) = delete; // one owner, one close
    File& operator=(const File&) = delete;

    ~File() {
        Close();
        if (!beside.empty()) {
            const SignalsHeld held;
            unlink(beside.c_str());
            halfWritten = nullptr;
        }
    }

    int Descriptor() const noexcept { return descriptor; }
    bool IsDirect() const noexcept { return beside.empty(); }

    void Write(std::string_view bytes) {
        while (!bytes.empty()) {
            const ssize_t count = write(descriptor, bytes.data(), bytes.size());
            if (count < 0 && errno != EINTR) {
                Fail("cannot write " + name);
            }
            bytes.remove_prefix(count > 0 ? static_cast<std::size_t>(count) : 0);
        }
    }

    void Commit() {
        if (!beside.empty() && fsync(descriptor) != 0) {
            Fail("cannot write " + name);
        }
        if (Close() != 0) {
            Fail("cannot write " + name);
        }
        if (beside.empty()) {
            return;
        }
        {
            const SignalsHeld held;
            if (rename(beside.c_str(), target.c_str()) != 0) {
                Fail("cannot replace " + name);
            }
            halfWritten = nullptr;
            beside.clear();
        }
        SyncDirectory();
    }

private:
    void OpenBeside(const std::string& path, const std::optional<struct stat>& old) {
        if (old && access(path.c_str(), W_OK) != 0) {
            Fail("cannot write " + name); // renaming would replace it all the same
        }
        const std::string directory = DirectoryOf(path);
        const std::string start =
            (directory == "." ? std::string() : directory) + ".kcodepage-" + std::to_string(getpid()) + "-";
        // What is to replace a file is nobody else's to see before it has that file's mode.
        const mode_t mode = old ? 0600 : 0666;
        const SignalsHeld held;
        for (unsigned number = 0; descriptor < 0; ++number) {
            beside = start + std::to_string(number);
            descriptor = open(beside.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
            if (descriptor < 0 && errno != EEXIST) {
                const int error = errno;
                beside.clear();
                Fail("cannot write " + name + ": cannot create a file beside it", error);
            }
        }
        target = path;
        halfWritten = beside.c_str();
        if (old) {
            KeepModeOf(*old);
        }
    }

    void KeepModeOf(const struct stat& old) const {
        // Only root may give a file away. Who may not, keeps the bits that say nothing of the owner.
        const bool sameOwner = (old.st_uid == geteuid() && old.st_gid == getegid()) ||
                               fchown(descriptor, old.st_uid, old.st_gid) == 0;
        fchmod(descriptor, old.st_mode & (sameOwner ? 07777 : 0777));
    }

    // So that the new name, too, survives a power failure. Not every file system can do it.
    void SyncDirectory() const noexcept {
        const int directory = open(DirectoryOf(target).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        if (directory >= 0) {
            fsync(directory);
            close(directory);
        }
    }

    int Close() noexcept {
        const int open = std::exchange(descriptor, -1);
        return open >= 0 ? close(open) : 0;
    }

    std::string name; // for messages
    int descriptor = -1;
    std::string beside; // what is half written; empty where the file is written directly
    std::string target;
};

Output::Output(const std::string& path) : file(std::make_unique<File>(path)) {}

Output::~Output() = default;

void Output::RequireApartFrom(const Input& input) const {
    struct stat in {};
    struct stat out {};
    if (file->IsDirect() && fstat(input.descriptor, &in) == 0 && fstat(file->Descriptor(), &out) == 0 &&
        S_ISREG(out.st_mode) && in.st_dev == out.st_dev && in.st_ino == out.st_ino) {
        throw Failure(input.Name() + " is standard output's file too; -o FILE converts a file onto itself");
    }
}

void Output::Write(std::string_view bytes) {
    file->Write(bytes);
}

void Output::Commit() {
    file->Commit();
}

void WriteToStandardError(std::string_view text) noexcept {
    while (!text.empty()) {
        const ssize_t count = write(STDERR_FILENO, text.data(), text.size());
        if (count < 0 && errno != EINTR) {
            return;
        }
        text.remove_prefix(count > 0 ? static_cast<std::size_t>(count) : 0);
    }
}

bool StandardErrorIsTerminal() noexcept {
    return isatty(STDERR_FILENO) == 1;
}
