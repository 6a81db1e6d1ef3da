#include "Tool/Command.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <sstream>
#include <stdexcept>
#include <system_error>

namespace {

[[noreturn]] void Fail(const char* what) {
    throw std::runtime_error(std::string(what) + ": " + std::generic_category().message(errno));
}

class Descriptor {
public:
    Descriptor() = default;
    explicit Descriptor(int number) noexcept : descriptor(number) {}
    Descriptor(const Descriptor&) = delete; // one owner, one close
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() { Close(); }

    int Get() const noexcept { return descriptor; }
    bool IsOpen() const noexcept { return descriptor >= 0; }
    void Reset(int number) noexcept {
        Close();
        descriptor = number;
    }
    void Close() noexcept {
        if (descriptor >= 0) {
            close(descriptor);
            descriptor = -1;
        }
    }

private:
    int descriptor = -1;
};

struct Pipe {
    Descriptor reading;
    Descriptor writing;

    Pipe() {
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) != 0) {
            Fail("pipe2");
        }
        reading.Reset(ends[0]);
        writing.Reset(ends[1]);
    }
};

// Appends what the pipe has; closes it at its end.
void Drain(Descriptor& pipe, std::string& to) {
    std::array<char, 65536> buffer;
    const ssize_t count = read(pipe.Get(), buffer.data(), buffer.size());
    if (count > 0) {
        to.append(buffer.data(), static_cast<std::size_t>(count));
    } else if (count == 0 || (errno != EINTR && errno != EAGAIN)) {
        pipe.Close();
    }
}

// Writes what the pipe takes; closes it when all is written or nobody reads any more.
void Feed(Descriptor& pipe, const std::string& input, std::size_t& written) {
    const ssize_t count = write(pipe.Get(), input.data() + written, input.size() - written);
    if (count >= 0) {
        written += static_cast<std::size_t>(count);
    } else if (errno != EINTR && errno != EAGAIN) {
        written = input.size();
    }
    if (written == input.size()) {
        pipe.Close();
    }
}

Outcome RunWith(const std::vector<std::string>& arguments, const std::string& input,
                const std::filesystem::path& directory, int outputFile) {
    std::vector<char*> argv;
    std::vector<std::string> words = {KCODEPAGE_COMMAND};
    words.insert(words.end(), arguments.begin(), arguments.end());
    for (std::string& word : words) {
        argv.push_back(word.data());
    }
    argv.push_back(nullptr);

    Pipe in;
    Pipe out;
    Pipe errors;
    const pid_t child = fork();
    if (child < 0) {
        Fail("fork");
    }
    if (child == 0) {
        // Only what is safe between fork and exec.
        if ((directory.empty() || chdir(directory.c_str()) == 0) && dup2(in.reading.Get(), 0) == 0 &&
            dup2(outputFile >= 0 ? outputFile : out.writing.Get(), 1) == 1 &&
            dup2(errors.writing.Get(), 2) == 2) {
            execv(argv.front(), argv.data());
        }
        _exit(127);
    }
    in.reading.Close();
    out.writing.Close();
    errors.writing.Close();
    fcntl(in.writing.Get(), F_SETFL, O_NONBLOCK);

    Outcome outcome;
    std::size_t written = 0;
    if (input.empty()) {
        in.writing.Close();
    }
    while (in.writing.IsOpen() || out.reading.IsOpen() || errors.reading.IsOpen()) {
        // A negative descriptor is passed over.
        std::array<pollfd, 3> events = {pollfd{in.writing.Get(), POLLOUT, 0},
                                        pollfd{out.reading.Get(), POLLIN, 0},
                                        pollfd{errors.reading.Get(), POLLIN, 0}};
        if (poll(events.data(), events.size(), -1) < 0 && errno != EINTR) {
            Fail("poll");
        }
        if (events[0].revents != 0) {
            Feed(in.writing, input, written);
        }
        if (events[1].revents != 0) {
            Drain(out.reading, outcome.output);
        }
        if (events[2].revents != 0) {
            Drain(errors.reading, outcome.errors);
        }
    }
    int status = 0;
    while (waitpid(child, &status, 0) < 0) {
        if (errno != EINTR) {
            Fail("waitpid");
        }
    }
    outcome.status = WIFSIGNALED(status) ? 1000 + WTERMSIG(status) : WEXITSTATUS(status);
    if (outcome.status == 127 && outcome.output.empty() && outcome.errors.empty()) {
        throw std::runtime_error("cannot start " KCODEPAGE_COMMAND);
    }
    return outcome;
}

// A command that ends before it has read all must not end the tests.
const bool brokenPipesAreErrors = [] {
    return std::signal(SIGPIPE, SIG_IGN) != SIG_ERR;
}();

} // namespace

Outcome RunCommand(const std::vector<std::string>& arguments, const std::string& input,
                   const std::filesystem::path& directory) {
    return RunWith(arguments, input, directory, -1);
}

Outcome RunCommandInto(const std::filesystem::path& outputFile, const std::vector<std::string>& arguments,
                       const std::string& input) {
    const Descriptor file(open(outputFile.c_str(), O_WRONLY | O_CLOEXEC));
    if (!file.IsOpen()) {
        Fail("open");
    }
    return RunWith(arguments, input, {}, file.Get());
}

std::string WithoutRemarks(const std::string& errors) {
    std::string rest;
    std::istringstream lines(errors);
    for (std::string line; std::getline(lines, line);) {
        if (line.find(" is converted as windows-") == std::string::npos) {
            rest += line + "\n";
        }
    }
    return rest;
}
