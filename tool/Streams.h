// Where the command reads and writes: files, named by their native bytes, and the standard streams.
// Thread safety: one thread; the process writes one file at a time.

#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>

// What stands for standard input and standard output in place of a file's name.
inline constexpr std::string_view standardStream = "-";

// Makes the process ready: a standard stream that is closed fails instead of becoming some file; a closed
// pipe and a limit of the file size are errors of a write; a fatal signal removes what is half written.
// Call it first.
void PrepareStreams();

// Input of bytes, which takes what is there: it does not wait for a full buffer.
class Input {
public:
    // Opens a file. Throws Failure.
    explicit Input(const std::string& file);
    Input(const Input&) = delete; // one owner, one close
    Input& operator=(const Input&) = delete;
    ~Input();

    // Reads at most `room.size()` bytes; 0 at the end. Throws Failure.
    std::size_t Read(std::span<char> room);

    // The next `count` bytes, fewer only at the end, which Read gives once more. Waits for them. They stay
    // until the next call. Throws Failure.
    std::string_view Peek(std::size_t count);

    // Goes back to where the input began, where that is possible: in a regular file.
    bool Rewind() noexcept;

    // For messages, printable: the file's name, or "standard input".
    const std::string& Name() const noexcept { return name; }

private:
    friend class Output;

    std::size_t ReadOn(std::span<char> room);

    std::string name;
    int descriptor;
    std::int64_t start;    // where the input began; negative where there is no way back
    std::string ahead;     // what Peek read
    std::size_t taken = 0; // of it, by Read
};

// Output of bytes. A regular file is written beside, and replaces the old one when it is complete, so that
// nobody sees a part of it and the old one survives every failure. A symbolic link stays, and its target is
// replaced. What is no regular file (a device, a FIFO) is written directly.
class Output {
public:
    // Throws Failure, also where the file is not to be written by this user.
    explicit Output(const std::string& file);
    Output(const Output&) = delete; // one owner of what is half written
    Output& operator=(const Output&) = delete;
    ~Output(); // removes what is half written, unless Commit was there

    // Throws Failure if bytes written here would come out of `input` again.
    void RequireApartFrom(const Input& input) const;

    // Throws Failure.
    void Write(std::string_view bytes);

    // Brings everything to where it belongs. Throws Failure.
    void Commit();

private:
    class File;
    std::unique_ptr<File> file;
};

// Writes as it is; there is nobody to tell of a failure.
void WriteToStandardError(std::string_view text) noexcept;

bool StandardErrorIsTerminal() noexcept;
