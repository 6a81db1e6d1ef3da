// Failures that a POSIX system gives only in special places (full devices, removed directories), and those
// that are injected by standing in for functions of the C library.

#include "Failure.h"
#include "FileSystem/Directories.h"
#include "FileSystem/File.h"
#include "FileSystem/HandleFile.h"
#include "FileSystem/ReadableFile.h"
#include "FileSystem/TemporaryFiles.h"
#include "OperatingSystem/CRuntime.h"
#include "OperatingSystem/Directories.h"
#include "OperatingSystem/LastError.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>
#include <vector>

namespace {

// What the stand-ins below do; all of them hand on to the C library otherwise.
std::atomic<bool> failFdopen{false};
std::atomic<bool> failRenameat2{false};
std::atomic<bool> failFsync{false};
std::atomic<bool> failReaddir{false};
std::atomic<bool> failGetcwd{false};
std::atomic<bool> failWrite{false};
std::atomic<bool> writeNothing{false};
std::atomic<bool> fakeSpace{false};
std::atomic<bool> takeNextName{false};        // before a file is made, somebody else makes it
std::atomic<bool> directoriesAreDisks{false}; // no rename between two directories
std::atomic<bool> takeTarget{false};          // with the former: somebody makes the target meanwhile
std::atomic<int> closedDirectories{0};
std::atomic<int> committedDirectories{0};
std::atomic<bool> countReads{false};
std::atomic<std::size_t> readCalls{0};
std::atomic<std::size_t> largestRead{0};
std::atomic<std::size_t> shortestRead{0};

template <class Function>
Function* Original(const char* name) {
    return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

bool IsOnAnotherDisk(const char* source, const char* target) {
    namespace fs = std::filesystem;
    if (!directoriesAreDisks || fs::path(source).parent_path() == fs::path(target).parent_path()) {
        return false;
    }
    if (takeTarget.exchange(false)) {
        std::ofstream(target) << "theirs";
    }
    return true;
}

class Injected {
public:
    explicit Injected(std::atomic<bool>& injectedFlag) : flag(injectedFlag) { flag = true; }
    Injected(const Injected&) = delete;
    Injected& operator=(const Injected&) = delete;
    ~Injected() { flag = false; }

private:
    std::atomic<bool>& flag;
};

} // namespace

extern "C" {

FILE* fdopen(int descriptor, const char* mode) noexcept {
    if (failFdopen) {
        errno = ENOMEM;
        return nullptr;
    }
    static const auto original = Original<FILE*(int, const char*)>("fdopen");
    return original(descriptor, mode);
}

int renameat2(int sourceDirectory, const char* source, int targetDirectory, const char* target,
              unsigned flags) noexcept {
    if (failRenameat2) {
        errno = EINVAL;
        return -1;
    }
    if (IsOnAnotherDisk(source, target)) {
        errno = EXDEV;
        return -1;
    }
    static const auto original = Original<int(int, const char*, int, const char*, unsigned)>("renameat2");
    return original(sourceDirectory, source, targetDirectory, target, flags);
}

int fsync(int descriptor) {
    if (failFsync) {
        errno = EIO;
        return -1;
    }
    struct stat status {};
    if (::fstat(descriptor, &status) == 0 && S_ISDIR(status.st_mode)) {
        ++committedDirectories;
    }
    static const auto original = Original<int(int)>("fsync");
    return original(descriptor);
}

int rename(const char* source, const char* target) noexcept {
    if (IsOnAnotherDisk(source, target)) {
        errno = EXDEV;
        return -1;
    }
    static const auto original = Original<int(const char*, const char*)>("rename");
    return original(source, target);
}

ssize_t write(int descriptor, const void* data, size_t count) {
    if (failWrite) {
        errno = ENOSPC;
        return -1;
    }
    if (writeNothing) {
        return 0;
    }
    static const auto original = Original<ssize_t(int, const void*, size_t)>("write");
    return original(descriptor, data, count);
}

int open(const char* path, int flags, ...) {
    mode_t mode = 0;
    if ((flags & O_CREAT) != 0) {
        va_list rest;
        va_start(rest, flags);
        mode = va_arg(rest, mode_t);
        va_end(rest);
    }
    static const auto original = Original<int(const char*, int, ...)>("open");
    if ((flags & O_CREAT) != 0 && takeNextName.exchange(false)) {
        const int taken = original(path, O_CREAT | O_EXCL | O_WRONLY, 0600);
        ::close(taken);
    }
    return original(path, flags, mode);
}

dirent* readdir(DIR* directory) {
    if (failReaddir) {
        errno = EIO;
        return nullptr;
    }
    static const auto original = Original<dirent*(DIR*)>("readdir");
    return original(directory);
}

int closedir(DIR* directory) {
    ++closedDirectories;
    static const auto original = Original<int(DIR*)>("closedir");
    return original(directory);
}

char* getcwd(char* buffer, size_t size) noexcept {
    if (failGetcwd) {
        errno = ERANGE;
        return nullptr;
    }
    static const auto original = Original<char*(char*, size_t)>("getcwd");
    return original(buffer, size);
}

int statvfs(const char* path, struct statvfs* status) noexcept {
    if (fakeSpace) {
        *status = {};
        status->f_bsize = 1;
        status->f_frsize = 4096;
        status->f_blocks = 100;
        status->f_bfree = 50;
        status->f_bavail = 30;
        return 0;
    }
    static const auto original = Original<int(const char*, struct statvfs*)>("statvfs");
    return original(path, status);
}

ssize_t read(int descriptor, void* buffer, size_t count) {
    if (countReads) {
        ++readCalls;
        largestRead = std::max(largestRead.load(), count);
        shortestRead = std::min(shortestRead.load(), count);
    }
    static const auto original = Original<ssize_t(int, void*, size_t)>("read");
    return original(descriptor, buffer, count);
}
}

namespace KFileSystem {

namespace {

using FileTests::FailureOf;
using FileTests::Narrow;
using FileTests::Prefixed;
using FileTests::Wide;
using FileTests::WideString;
using FileTests::Wrapped;

using PosixFailures = FileTests::FileTest;

// Opens a descriptor and closes it at once: the number that the next opening gets.
int NextDescriptor() {
    const int next = ::dup(0);
    ::close(next);
    return next;
}

TEST_F(PosixFailures, WhenMakingTheStreamFailsTheDescriptorIsClosed) {
    const WideString path = directory.Make(u"f", "abc");
    const int next = NextDescriptor();
    {
        const Injected failure(failFdopen);
        EXPECT_EQ(Prefixed(8, "KFileSystem::File::OpenStream: ::_fdopen failed for '" + Narrow(path) + "'."),
                  FailureOf([&] { File::OpenStream(path.c_str(), File::ModeRead, 0); }));
    }
    EXPECT_EQ(next, NextDescriptor());
}

TEST_F(PosixFailures, AReadOfThreeMebibytesIsThreeReadsOfOne) {
    constexpr std::size_t MiB = 1048576;
    const KBase::ReturnPtr<ReadableFile> file =
        CreateReadableFile(directory.Make(u"f", std::string(4 * MiB, 'x')).c_str());
    std::vector<char> buffer(3 * MiB);
    readCalls = 0;
    largestRead = 0;
    shortestRead = ~std::size_t{0};
    {
        const Injected counting(countReads);
        file->Read(buffer.data(), 0);
        EXPECT_EQ(0u, readCalls);
        file->Read(buffer.data(), buffer.size());
    }
    EXPECT_EQ(3u, readCalls);
    EXPECT_EQ(MiB, largestRead);
    EXPECT_EQ(MiB, shortestRead);
}

TEST_F(PosixFailures, FlushingAStreamCommitsToTheDiskInEveryMode) {
    for (const int mode : {1, 2, 3, 4, 5, 6}) {
        SCOPED_TRACE(mode);
        std::FILE* const stream = File::OpenStream(directory.Make(u"f", "").c_str(), mode, 0);
        File::Write(stream, "abc", 3);
        {
            const Injected failure(failFsync);
            EXPECT_EQ(Prefixed(1117, "KFileSystem::File::Flush: ::fflush failed."),
                      FailureOf([&] { File::Flush(stream); }));
            EXPECT_EQ(Prefixed(1117, "KFileSystem::File::Flush: ::_commit failed."),
                      FailureOf([&] { File::Flush(OperatingSystem::_fileno(stream)); }));
        }
        File::Flush(stream);
        File::Close(stream);
    }
}

TEST_F(PosixFailures, AShortWriteIsNamedByTheBytesMissingFromItsPiece) {
    const int file = File::OpenDescriptor(directory.Path(u"f").c_str(), File::ModeWrite, 0);
    const FileTests::Failure seen = [&] {
        const Injected failure(writeNothing);
        return FailureOf([&] { WriteHandle(file, Wide(u"n").c_str(), "abc", 3); });
    }();
    EXPECT_EQ((FileTests::Failure{KBase::MESSAGE_DOMAIN_SERVER, 0x12345678,
                                  "Failed to write 3 bytes to file 'n'."}),
              seen);
    File::Close(file);
}

TEST_F(PosixFailures, AListingThatBreaksOffFailsAndIsClosed) {
    directory.Make(u"f", "");
    closedDirectories = 0;
    EXPECT_EQ(1u, ListDirectory(directory.Path(u"*").c_str()).size());
    EXPECT_EQ(1, closedDirectories);
    EXPECT_EQ(0u, ListDirectory(directory.Path(u"none*").c_str()).size());
    EXPECT_EQ(2, closedDirectories);
    const Injected failure(failReaddir);
    EXPECT_EQ(Wrapped(1117, "Unable to find file"),
              FailureOf([&] { ListDirectory(directory.Path(u"*").c_str()); }));
    EXPECT_EQ(3, closedDirectories);
}

TEST_F(PosixFailures, AWorkingDirectoryThatIsTooLongFails) {
    const Injected failure(failGetcwd);
    EXPECT_EQ(Prefixed(206, "KFileSystem::GetCurrentWorkingDirectory: ::GetCurrentDirectoryW failed."),
              FailureOf([] { GetCurrentWorkingDirectory(); }));
}

TEST_F(PosixFailures, FreeSpaceIsWhatTheCallerMayUse) {
    const Injected space(fakeSpace);
    EXPECT_EQ(30u * 4096, GetFreeDiskSpace(directory.Path().c_str()));
    std::uint64_t forCaller = 0;
    std::uint64_t total = 0;
    std::uint64_t free = 0;
    EXPECT_TRUE(OperatingSystem::GetDiskFreeSpaceExW(directory.Path().c_str(), &forCaller, &total, &free));
    EXPECT_EQ(30u * 4096, forCaller);
    EXPECT_EQ(100u * 4096, total);
    EXPECT_EQ(50u * 4096, free);
}

TEST_F(PosixFailures, ATemporaryFileIsNeverOneThatSomebodyElseMadeMeanwhile) {
    wchar16 name[OperatingSystem::MaxPath];
    const Injected taken(takeNextName);
    EXPECT_NE(0u, OperatingSystem::GetTempFileNameW(directory.Path().c_str(), Wide(u"t").c_str(), 0, name));
    EXPECT_FALSE(takeNextName);
    EXPECT_EQ(2, std::distance(std::filesystem::directory_iterator(directory.Native()), {}));
}

// Two directories that count as two disks.
class PosixDisks : public PosixFailures {
protected:
    PosixDisks() {
        std::filesystem::create_directory(directory.Native(u"disk"));
        target = directory.Path(u"disk\\g");
    }

    std::ptrdiff_t EntriesOfTheDisk() const {
        return std::distance(std::filesystem::directory_iterator(directory.Native(u"disk")), {});
    }

    WideString target;
    const Injected disks{directoriesAreDisks};
};

TEST_F(PosixDisks, MovingCopiesAndIsOnTheDiskWhenItReturns) {
    directory.Make(u"disk/g", "old");
    committedDirectories = 0;
    Move(directory.Make(u"f", "new").c_str(), target.c_str());
    EXPECT_EQ("new", directory.Contents(u"disk/g"));
    EXPECT_FALSE(directory.Exists(u"f"));
    EXPECT_EQ(2, committedDirectories); // the target's and the source's
    EXPECT_EQ(1, EntriesOfTheDisk());
}

TEST_F(PosixDisks, TryingToMoveCopiesButDoesNotReplace) {
    const WideString source = directory.Make(u"f", "new");
    EXPECT_TRUE(TryMove(source.c_str(), target.c_str(), nullptr));
    EXPECT_EQ("new", directory.Contents(u"disk/g"));
    EXPECT_FALSE(directory.Exists(u"f"));
    directory.Make(u"f", "newer");
    EXPECT_FALSE(TryMove(source.c_str(), target.c_str(), nullptr));
    EXPECT_EQ(183u, OperatingSystem::GetLastError());
    EXPECT_EQ("new", directory.Contents(u"disk/g"));
    EXPECT_EQ(1, EntriesOfTheDisk());
}

TEST_F(PosixDisks, ATargetThatSomebodyMakesMeanwhileStaysAndNoCopyIsLeft) {
    const WideString source = directory.Make(u"f", "new");
    takeTarget = true;
    EXPECT_FALSE(TryMove(source.c_str(), target.c_str(), nullptr));
    EXPECT_EQ(183u, OperatingSystem::GetLastError());
    EXPECT_EQ("theirs", directory.Contents(u"disk/g"));
    EXPECT_EQ("new", directory.Contents(u"f"));
    EXPECT_EQ(1, EntriesOfTheDisk());
}

TEST_F(PosixDisks, ACopyThatFailsIsTakenAwayAndTheSourceStays) {
    const WideString source = directory.Make(u"f", "new");
    {
        const Injected failure(failWrite);
        EXPECT_FALSE(TryMove(source.c_str(), target.c_str(), nullptr));
    }
    EXPECT_EQ(112u, OperatingSystem::GetLastError());
    EXPECT_EQ(0, EntriesOfTheDisk());
    {
        const Injected failure(failFsync); // a copy that is not on its disk is none
        EXPECT_FALSE(TryMove(source.c_str(), target.c_str(), nullptr));
    }
    EXPECT_EQ(1117u, OperatingSystem::GetLastError());
    EXPECT_EQ(0, EntriesOfTheDisk());
    EXPECT_EQ("new", directory.Contents(u"f"));
}

TEST_F(PosixDisks, ACopyKeepsItsOwner) {
    const WideString source = directory.Make(u"f", "new");
    if (::chown(directory.Native(u"f").c_str(), 65534, 65534) != 0) {
        GTEST_SKIP() << "this user cannot give files away";
    }
    EXPECT_TRUE(TryMove(source.c_str(), target.c_str(), nullptr));
    struct stat status {};
    EXPECT_EQ(0, ::stat(directory.Native(u"disk/g").c_str(), &status));
    EXPECT_EQ(65534u, status.st_uid);
    EXPECT_EQ(65534u, status.st_gid);
}

TEST_F(PosixFailures, FlushingAStreamWithoutCDoesNotCommit) {
    const int descriptor = File::OpenDescriptor(directory.Path(u"f").c_str(), File::ModeWrite, 0);
    std::FILE* const stream = OperatingSystem::_fdopen(descriptor, "wb");
    const Injected failure(failFsync);
    File::Flush(stream);
    File::Close(stream);
}

TEST_F(PosixFailures, AMoveThatCannotBeCommittedFailsAndKeepsTheSource) {
    const WideString source = directory.Make(u"f", "abc");
    const Injected failure(failFsync);
    EXPECT_EQ("Failed to move file",
              FailureOf([&] { Move(source.c_str(), directory.Path(u"g").c_str()); }).text.substr(0, 19));
    EXPECT_EQ("abc", directory.Contents(u"f"));
    EXPECT_FALSE(directory.Exists(u"g"));
}

TEST_F(PosixFailures, MovingNeverReplacesOnAFileSystemWithoutACallForThat) {
    const Injected failure(failRenameat2);
    const WideString source = directory.Make(u"f", "new");
    const WideString target = directory.Make(u"g", "old");
    EXPECT_FALSE(TryMove(source.c_str(), target.c_str(), nullptr));
    EXPECT_EQ(183u, OperatingSystem::GetLastError());
    EXPECT_EQ("old", directory.Contents(u"g"));
    EXPECT_TRUE(TryMove(source.c_str(), directory.Path(u"h").c_str(), nullptr));
    EXPECT_EQ("new", directory.Contents(u"h"));
    EXPECT_FALSE(directory.Exists(u"f"));

    std::filesystem::create_directory(directory.Native(u"d"));
    directory.Make(u"d/inside", "x");
    std::filesystem::create_directory(directory.Native(u"e"));
    EXPECT_FALSE(TryMove(directory.Path(u"d").c_str(), directory.Path(u"e").c_str(), nullptr));
    EXPECT_EQ(183u, OperatingSystem::GetLastError());
    EXPECT_TRUE(TryMove(directory.Path(u"d").c_str(), directory.Path(u"moved").c_str(), nullptr));
    EXPECT_EQ("x", directory.Contents(u"moved/inside"));
    EXPECT_FALSE(directory.Exists(u"d"));
    EXPECT_FALSE(TryMove(directory.Path(u"e").c_str(), directory.Path(u"e\\below").c_str(), nullptr));
    EXPECT_FALSE(directory.Exists(u"e/below"));
}

TEST_F(PosixFailures, AFullDeviceFailsWithTheTextOfEachOperation) {
    const WideString full = Wide(u"\\dev\\full");
    const std::string block(100000, 'x');
    std::FILE* stream = File::OpenStream(full.c_str(), File::ModeUpdate, 0);
    EXPECT_EQ(Prefixed(112, "KFileSystem::File::Write: Failed."),
              FailureOf([&] { File::Write(stream, block.data(), block.size()); }));
    OperatingSystem::fclose(stream);

    stream = File::OpenStream(full.c_str(), File::ModeUpdate, 0);
    File::Write(stream, "x", 1);
    EXPECT_EQ(Prefixed(112, "KFileSystem::File::Flush: ::fflush failed."),
              FailureOf([&] { File::Flush(stream); }));
    OperatingSystem::fclose(stream);

    stream = File::OpenStream(full.c_str(), File::ModeUpdate, 0);
    File::Write(stream, "x", 1);
    EXPECT_EQ(Prefixed(112, "KFileSystem::File::Close: ::fclose failed."),
              FailureOf([&] { File::Close(stream); }));

    const int target = File::OpenDescriptor(full.c_str(), File::ModeUpdate, 0);
    const int source = File::OpenDescriptor(directory.Make(u"f", "abc").c_str(), File::ModeRead, 0);
    EXPECT_EQ(Prefixed(112, "KFileSystem::File::Copy: ::write failed for file #" + std::to_string(target)),
              FailureOf([&] { File::Copy(source, target); }));
    EXPECT_EQ(Prefixed(112, "KFileSystem::File::Write: Failed."),
              FailureOf([&] { File::Write(target, "x", 1); }));
    File::Flush(target); // a device that keeps nothing
    File::Close(target);
    File::Close(source);
}

TEST_F(PosixFailures, AFileAboveTheAllowedSizeFailsToTruncate) {
    const int file = File::OpenDescriptor(directory.Path(u"f").c_str(), File::ModeWrite, 0);
    rlimit before{};
    ASSERT_EQ(0, ::getrlimit(RLIMIT_FSIZE, &before));
    const auto old = std::signal(SIGXFSZ, SIG_IGN);
    rlimit limit = before;
    limit.rlim_cur = 4;
    ASSERT_EQ(0, ::setrlimit(RLIMIT_FSIZE, &limit));
    const FileTests::Failure failure = FailureOf([&] { File::Truncate(file, 5); });
    ::setrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, old);
    EXPECT_EQ(Prefixed(223, "KFileSystem::File::Truncate: ::_chsize failed."), failure);
    File::Close(file);
}

TEST_F(PosixFailures, APipeHasNoPositionsAndNoSize) {
    int ends[2];
    ASSERT_EQ(0, ::pipe(ends));
    std::FILE* const stream = OperatingSystem::_fdopen(ends[1], "wbc");
    EXPECT_EQ(0u, File::GetSize(stream));
    EXPECT_EQ(Prefixed(132, "KFileSystem::File::GetPosition: ::ftello failed."),
              FailureOf([&] { File::GetPosition(stream); }));
    EXPECT_EQ(Prefixed(132, "KFileSystem::File::SetPosition: ::fseeko failed."),
              FailureOf([&] { File::SetPosition(stream, 1); }));
    EXPECT_EQ(Prefixed(132, "KFileSystem::File::GetPosition: ::lseek failed."),
              FailureOf([&] { File::GetPosition(ends[0]); }));
    File::Write(stream, "x", 1);
    File::Flush(stream); // a pipe cannot be committed, which is no failure
    char byte = 0;
    EXPECT_EQ(1, ::read(ends[0], &byte, 1));
    File::Close(stream);
    ::close(ends[0]);
}

TEST_F(PosixFailures, TheWorkingDirectoryOfARemovedDirectoryFails) {
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::create_directory(directory.Native(u"gone"));
    std::filesystem::current_path(directory.Native(u"gone"));
    std::filesystem::remove(directory.Native(u"gone"));
    const FileTests::Failure failure = FailureOf([] { GetCurrentWorkingDirectory(); });
    std::filesystem::current_path(before);
    EXPECT_EQ(Prefixed(2, "KFileSystem::GetCurrentWorkingDirectory: ::GetCurrentDirectoryW failed."),
              failure);
}

class TemporaryVariable {
public:
    explicit TemporaryVariable(const std::string& value) {
        if (const char* const old = std::getenv("TMPDIR")) {
            before = old;
        }
        ::setenv("TMPDIR", value.c_str(), 1);
    }
    TemporaryVariable(const TemporaryVariable&) = delete;
    TemporaryVariable& operator=(const TemporaryVariable&) = delete;
    ~TemporaryVariable() { before.empty() ? ::unsetenv("TMPDIR") : ::setenv("TMPDIR", before.c_str(), 1); }

private:
    std::string before;
};

TEST_F(PosixFailures, ATemporaryDirectoryThatIsNoneFails) {
    const TemporaryVariable missing((directory.Native() / "none").string());
    EXPECT_EQ(Prefixed(267, "KFileSystem::CreateTemporaryFile: ::GetTempFileNameW failed for 'abc'."),
              FailureOf([] { CreateTemporaryFile(Wide(u"abc").c_str()); }));
}

TEST_F(PosixFailures, APrefixThatNoFileCanHaveIsNamed) {
    const char16_t lone[] = {0xD800, 0};
    EXPECT_EQ(
        Prefixed(1113, "KFileSystem::CreateTemporaryFile: ::GetTempFileNameW failed for '\xEF\xBF\xBD'."),
        FailureOf([&] { CreateTemporaryFile(Wide(lone).c_str()); }));
    EXPECT_EQ(Prefixed(123, "KFileSystem::CreateTemporaryFile: ::GetTempFileNameW failed for '../'."),
              FailureOf([] { CreateTemporaryFile(Wide(u"../").c_str()); }));
}

TEST_F(PosixFailures, ReadingNothingFromAStreamInErrorNamesNoOtherFailure) {
    const WideString path = directory.Path(u"f");
    std::FILE* const stream = File::OpenStream(path.c_str(), File::ModeWrite, 0);
    KDataType::Binary buffer(1);
    EXPECT_EQ(Prefixed(5, "KFileSystem::File::Read: ::fread failed."),
              FailureOf([&] { File::Read(stream, &buffer, 1); }));
    OperatingSystem::SetLastError(4711);
    KDataType::Binary nothing(0);
    EXPECT_EQ(Prefixed(1117, "KFileSystem::File::Read: ::fread failed."),
              FailureOf([&] { File::Read(stream, &nothing, 0); }));
    File::Close(stream);
}

TEST_F(PosixFailures, ATriedLockThatIsRefusedEndsTheOneHeldBefore) {
    const WideString path = directory.Make(u"f", "abc");
    const int first = File::OpenDescriptor(path.c_str(), File::ModeRead, 0);
    const int second = File::OpenDescriptor(path.c_str(), File::ModeRead, 0);
    File::ReadLock(first, false);
    File::ReadLock(second, false);
    EXPECT_EQ(33, FailureOf([&] { File::WriteLock(first, false); }).id);
    File::WriteLock(second, false); // the first holds nothing any more
    File::Close(first);
    File::Close(second);
}

TEST_F(PosixFailures, ATemporaryDirectoryOf260UnitsOrMoreIsEmpty) {
    for (const std::size_t length : {257u, 258u, 1000u, 5000u}) {
        const TemporaryVariable tooLong("/" + std::string(length, 'x'));
        EXPECT_EQ(length == 257 ? 259u : 0u, GetTemporaryDirectory().size());
    }
    const TemporaryVariable tooLong("/" + std::string(1000, 'x'));
    EXPECT_EQ(Prefixed(3, "KFileSystem::CreateTemporaryFile: ::GetTempFileNameW failed for 'abc'."),
              FailureOf([] { CreateTemporaryFile(Wide(u"abc").c_str()); }));
}

TEST_F(PosixFailures, ALastModifiedTimeBeyondDatesIsNotInterpreted) {
    const auto memory = TestFiles::DirectoryInMemory();
    if (memory == nullptr) {
        GTEST_SKIP() << "there is no memory file system";
    }
    const std::filesystem::path name = memory->Native() / "f";
    const int file = ::open(name.c_str(), O_RDWR | O_CREAT, 0600);
    ASSERT_GE(file, 0);
    const timespec times[2] = {{time_t{1} << 50, 0}, {time_t{1} << 50, 0}};
    struct stat status {};
    const bool taken = ::futimens(file, times) == 0 && ::fstat(file, &status) == 0 &&
                       status.st_mtim.tv_sec == time_t{1} << 50;
    const WideString path = FileTests::WidePath(name);
    const FileTests::Failure failure = FailureOf([&] { GetLastModifiedTime(path.c_str()); });
    ::close(file);
    if (!taken) {
        GTEST_SKIP() << "the file system cuts times";
    }
    EXPECT_EQ(Wrapped(87, "Failed to interpret last-modified time of file '" + Narrow(path) + "'."), failure);
}

} // namespace

} // namespace KFileSystem
