// What the door does on a POSIX system only: pipes, devices, processes, rights, and where its answers come
// from.

#include "FileSystem/TestDirectory.h"
#include "OperatingSystem/CRuntime.h"
#include "OperatingSystem/Directories.h"
#include "OperatingSystem/Environment.h"
#include "OperatingSystem/Files.h"
#include "OperatingSystem/LastError.h"
#include "OperatingSystem/Posix/ErrorNumbers.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <limits>
#include <optional>
#include <poll.h>
#include <set>
#include <sys/auxv.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace OperatingSystem {

namespace {

using FileTests::FileTest;
using FileTests::Narrow;
using FileTests::Wide;
using FileTests::WidePath;
using FileTests::WideString;

using PosixDoor = FileTest;

// Sets an environment variable for one test.
class Variable {
public:
    Variable(const char* variableName, const char* value) : name(variableName) {
        if (const char* const old = std::getenv(name)) {
            before = old;
        }
        if (value != nullptr) {
            ::setenv(name, value, 1);
        } else {
            ::unsetenv(name);
        }
    }
    Variable(const Variable&) = delete;
    Variable& operator=(const Variable&) = delete;
    ~Variable() {
        if (before) {
            ::setenv(name, before->c_str(), 1);
        } else {
            ::unsetenv(name);
        }
    }

private:
    const char* name;
    std::optional<std::string> before;
};

TEST(PosixErrorNumbers, EachErrnoHasItsWindowsNumber) {
    struct Row {
        int error;
        ErrorNumber number;
    };
    const Row rows[] = {
        {ENOENT, 2},       {ENOTDIR, 3},   {EMFILE, 4},         {ENFILE, 4},     {EACCES, 5},
        {EPERM, 5},        {EISDIR, 5},    {EBADF, 6},          {ENOMEM, 8},     {EXDEV, 17},
        {EROFS, 19},       {EBUSY, 32},    {ETXTBSY, 32},       {ENODATA, 38},   {EDQUOT, 39},
        {ENOTSUP, 50},     {ENOSYS, 50},   {ENXIO, 55},         {EEXIST, 80},    {EMLINK, 82},
        {EINVAL, 87},      {EPIPE, 109},   {ENOSPC, 112},       {EILSEQ, 123},   {ESPIPE, 132},
        {ENOTEMPTY, 145},  {EAGAIN, 170},  {ENAMETOOLONG, 206}, {EFBIG, 223},    {EINTR, 995},
        {EFAULT, 998},     {ESTALE, 1006}, {EIO, 1117},         {EDEADLK, 1131}, {ENOLCK, 1450},
        {ETIMEDOUT, 1460}, {ELOOP, 1921},  {EPROTO, 31}, // one that files do not meet
    };
    for (const Row& row : rows) {
        EXPECT_EQ(row.number, Posix::FromErrno(row.error)) << std::strerror(row.error);
    }
}

ErrorNumber OpeningError(const WideString& path, std::uint32_t access, std::uint32_t disposition) {
    SetLastError(0);
    const Handle handle = CreateFileW(path.c_str(), access, ShareRead, disposition, 0);
    if (handle != InvalidHandle) {
        CloseHandle(handle);
        return 0;
    }
    return GetLastError();
}

TEST_F(PosixDoor, APathThatNoFileCanHaveHasANumberOfItsOwn) {
    EXPECT_EQ(206u, OpeningError(directory.Path(std::u16string(300, u'x')), GenericRead, OpenExisting));
    EXPECT_EQ(206u, OpeningError(Wide(std::u16string(40000, u'x')), GenericRead, OpenExisting));
    const char16_t lead[] = {u'a', 0xD800, u'b', 0};
    EXPECT_EQ(1113u, OpeningError(directory.Path(lead), GenericRead, OpenExisting));
    const char16_t trail[] = {u'a', 0xDC00, 0};
    EXPECT_EQ(1113u, OpeningError(directory.Path(trail), GenericWrite, CreateAlways));

    FindData data;
    const char16_t pattern[] = {0xD800, u'*', 0};
    EXPECT_EQ(InvalidHandle, FindFirstFileW(directory.Path(pattern).c_str(), &data));
    EXPECT_EQ(1113u, GetLastError());
}

TEST_F(PosixDoor, ATemporaryFileLiesNowhereElse) {
    wchar16 name[MaxPath];
    std::filesystem::create_directory(directory.Native(u"a"));
    for (const std::u16string_view prefix : {u"../", u"a\\b", u"/", u"ab/", u"\\"}) {
        SetLastError(0);
        EXPECT_EQ(0u, GetTempFileNameW(directory.Path().c_str(), Wide(prefix).c_str(), 0, name));
        EXPECT_EQ(123u, GetLastError());
    }
    EXPECT_EQ(1, std::distance(std::filesystem::recursive_directory_iterator(directory.Native()), {}));
    EXPECT_NE(0u, GetTempFileNameW(directory.Path().c_str(), Wide(u"abc/").c_str(), 0, name)); // not taken
    const char16_t lone[] = {0xDC00, 0};
    EXPECT_EQ(0u, GetTempFileNameW(directory.Path().c_str(), Wide(lone).c_str(), 0, name));
    EXPECT_EQ(1113u, GetLastError());
}

TEST_F(PosixDoor, ATemporaryFilesNameFitsItsBuffer) {
    wchar16 name[MaxPath + 50];
    const std::size_t room = MaxPath - 17; // separator, prefix, digits, ".tmp", zero
    for (const std::size_t length : {room, room + 1, room + 2, room + 30}) {
        const std::u16string part(length - directory.Path().size() - 1, u'x');
        std::filesystem::create_directory(directory.Native(part));
        name[MaxPath] = 4711;
        SetLastError(0);
        const std::uint32_t number =
            GetTempFileNameW(directory.Path(part).c_str(), Wide(u"abc").c_str(), 0, name);
        EXPECT_EQ(length == room, number != 0) << length;
        EXPECT_EQ(length == room ? 0u : 206u, GetLastError()) << length;
        EXPECT_EQ(4711, name[MaxPath]);
        if (number != 0) {
            EXPECT_EQ(MaxPath - 1, WideString(name).size());
        }
    }
}

TEST_F(PosixDoor, APatternLongerThanAnyPathIs206) {
    FindData data;
    for (const std::size_t length : {4096u, 5000u, 100000u}) {
        EXPECT_EQ(InvalidHandle, FindFirstFileW(Wide(std::u16string(length, u'*')).c_str(), &data));
        EXPECT_EQ(206u, GetLastError());
    }
}

TEST_F(PosixDoor, ReadingAPipeWaitsForItsWriter) {
    ASSERT_EQ(0, ::mkfifo(directory.Native(u"pipe").c_str(), 0600));
    const Handle reader =
        CreateFileW(directory.Path(u"pipe").c_str(), GenericRead, ShareRead, OpenExisting, 0);
    const int writer = ::open(directory.Native(u"pipe").c_str(), O_WRONLY);
    std::thread slow([&] {
        ::usleep(50000);
        EXPECT_EQ(3, ::write(writer, "abc", 3));
    });
    char buffer[10];
    std::uint32_t done = 0;
    EXPECT_TRUE(ReadFile(reader, buffer, 10, &done));
    EXPECT_EQ(3u, done);
    slow.join();
    ::close(writer);
    EXPECT_TRUE(CloseHandle(reader));
}

TEST_F(PosixDoor, AQuestionMarkTakesOneCodeUnitAlways) {
    for (const std::u16string_view name : {u"a", u"ab", u"abc", u"a.b"}) {
        directory.Make(name, "");
    }
    const auto found = [&](std::u16string_view pattern) {
        std::set<std::string> names;
        FindData data;
        const Handle search = FindFirstFileW(directory.Path(pattern).c_str(), &data);
        if (search != InvalidHandle) {
            do {
                names.insert(Narrow(data.name));
            } while (FindNextFileW(search, &data));
            EXPECT_TRUE(FindClose(search));
        }
        return names;
    };
    EXPECT_EQ((std::set<std::string>{"ab"}), found(u"a?"));
    EXPECT_EQ((std::set<std::string>{"a.b", "abc"}), found(u"a??"));
    EXPECT_EQ((std::set<std::string>{}), found(u"a?.b"));
    EXPECT_EQ((std::set<std::string>{}), found(u"????????????"));
}

TEST_F(PosixDoor, APositionBeyondAllFilesIsNotOneBeforeTheStart) {
    const Handle file =
        CreateFileW(directory.Path(u"f").c_str(), GenericRead | GenericWrite, ShareRead, CreateAlways, 0);
    constexpr std::int64_t largest = std::numeric_limits<std::int64_t>::max();
    SetLastError(0);
    EXPECT_FALSE(SetFilePointerEx(file, largest, nullptr, FileBegin) &&
                 SetFilePointerEx(file, largest, nullptr, FileCurrent));
    EXPECT_NE(131u, GetLastError());
    EXPECT_NE(0u, GetLastError());
    EXPECT_TRUE(SetFilePointerEx(file, 5, nullptr, FileBegin));
    for (const int origin : {FileBegin, FileCurrent, FileEnd}) {
        SetLastError(0);
        EXPECT_FALSE(SetFilePointerEx(file, -6, nullptr, origin));
        EXPECT_EQ(131u, GetLastError());
    }
    EXPECT_TRUE(CloseHandle(file));
}

TEST_F(PosixDoor, WhatIsNoRegularFileCannotBeResized) {
    const Handle null = CreateFileW(Wide(u"\\dev\\null").c_str(), GenericWrite, ShareRead, OpenExisting, 0);
    EXPECT_EQ(FileTypeChar, GetFileType(null));
    EXPECT_FALSE(SetEndOfFile(null));
    EXPECT_EQ(87u, GetLastError());
    EXPECT_TRUE(CloseHandle(null));
    int ends[2];
    ASSERT_EQ(0, ::pipe(ends));
    EXPECT_EQ(FileTypePipe, GetFileType(ends[1]));
    EXPECT_FALSE(SetEndOfFile(ends[1]));
    EXPECT_EQ(132u, GetLastError());
    EXPECT_EQ(-1, _chsize(ends[1], 0));
    EXPECT_EQ(87u, GetLastError());
    ::close(ends[0]);
    ::close(ends[1]);
}

TEST_F(PosixDoor, OpeningAPipeNeverWaits) {
    ASSERT_EQ(0, ::mkfifo(directory.Native(u"pipe").c_str(), 0600));
    const WideString path = directory.Path(u"pipe");
    const Handle reader = CreateFileW(path.c_str(), GenericRead, ShareRead, OpenExisting, 0);
    ASSERT_NE(InvalidHandle, reader);
    char byte = 0;
    std::uint32_t done = 9;
    EXPECT_TRUE(ReadFile(reader, &byte, 1, &done)); // no writer: the end
    EXPECT_EQ(0u, done);
    std::uint64_t size = 9;
    EXPECT_TRUE(GetFileSizeEx(reader, &size));
    EXPECT_EQ(0u, size);
    EXPECT_FALSE(SetFilePointerEx(reader, 0, nullptr, FileBegin));
    EXPECT_EQ(132u, GetLastError());
    EXPECT_TRUE(CloseHandle(reader));
    EXPECT_EQ(InvalidHandle, CreateFileW(path.c_str(), GenericWrite, 0, OpenExisting, 0));
    EXPECT_EQ(55u, GetLastError()); // no reader
}

TEST_F(PosixDoor, ReadingAPipeGivesWhatIsThere) {
    int ends[2];
    ASSERT_EQ(0, ::pipe(ends));
    ASSERT_EQ(3, ::write(ends[1], "abc", 3));
    char buffer[10];
    std::uint32_t done = 0;
    EXPECT_TRUE(ReadFile(ends[0], buffer, 10, &done));
    EXPECT_EQ(3u, done);
    EXPECT_TRUE(FlushFileBuffers(ends[1])); // nothing to wait for
    EXPECT_TRUE(CloseHandle(ends[0]));
    const auto old = std::signal(SIGPIPE, SIG_IGN);
    EXPECT_FALSE(WriteFile(ends[1], "x", 1, &done));
    EXPECT_EQ(109u, GetLastError());
    std::signal(SIGPIPE, old);
    EXPECT_TRUE(CloseHandle(ends[1]));
}

TEST_F(PosixDoor, OpenFilesAreNotInherited) {
    const Handle file = CreateFileW(directory.Path(u"f").c_str(), GenericWrite, 0, CreateAlways, 0);
    EXPECT_NE(0, ::fcntl(static_cast<int>(file), F_GETFD) & FD_CLOEXEC);
    EXPECT_TRUE(CloseHandle(file));
}

TEST_F(PosixDoor, AFullDiskIs112) {
    const Handle full = CreateFileW(Wide(u"\\dev\\full").c_str(), GenericWrite, 0, OpenExisting, 0);
    ASSERT_NE(InvalidHandle, full);
    std::uint32_t done = 9;
    EXPECT_FALSE(WriteFile(full, "x", 1, &done));
    EXPECT_EQ(112u, GetLastError());
    EXPECT_EQ(0u, done);
    EXPECT_TRUE(CloseHandle(full));
}

TEST_F(PosixDoor, AFileAboveTheAllowedSizeIs223AndWhatFitsIsCounted) {
    const Handle file = CreateFileW(directory.Path(u"f").c_str(), GenericWrite, 0, CreateAlways, 0);
    rlimit before{};
    ASSERT_EQ(0, ::getrlimit(RLIMIT_FSIZE, &before));
    const auto old = std::signal(SIGXFSZ, SIG_IGN);
    rlimit limit = before;
    limit.rlim_cur = 4;
    ASSERT_EQ(0, ::setrlimit(RLIMIT_FSIZE, &limit));
    std::uint32_t done = 0;
    const bool written = WriteFile(file, "abcdef", 6, &done);
    const ErrorNumber error = GetLastError();
    ::setrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, old);
    EXPECT_FALSE(written);
    EXPECT_EQ(223u, error);
    EXPECT_EQ(4u, done);
    EXPECT_TRUE(CloseHandle(file));
}

TEST_F(PosixDoor, TooManyOpenFilesIsFour) {
    rlimit before{};
    ASSERT_EQ(0, ::getrlimit(RLIMIT_NOFILE, &before));
    const int next = ::dup(0);
    ASSERT_GE(next, 0);
    ::close(next);
    rlimit limit = before;
    limit.rlim_cur = static_cast<rlim_t>(next);
    const WideString path = directory.Make(u"f", "");
    ASSERT_EQ(0, ::setrlimit(RLIMIT_NOFILE, &limit));
    const Handle file = CreateFileW(path.c_str(), GenericRead, 0, OpenExisting, 0);
    const ErrorNumber error = GetLastError();
    ::setrlimit(RLIMIT_NOFILE, &before);
    EXPECT_EQ(InvalidHandle, file);
    EXPECT_EQ(4u, error);
}

// Runs as a user without rights for one test, where the test runs as one that rights do not bind.
class WithoutRights {
public:
    WithoutRights() : wasRoot(::geteuid() == 0) {
        if (wasRoot) {
            bound = ::seteuid(65534) == 0;
        }
    }
    WithoutRights(const WithoutRights&) = delete;
    WithoutRights& operator=(const WithoutRights&) = delete;
    ~WithoutRights() {
        if (wasRoot) {
            EXPECT_EQ(0, ::seteuid(0));
        }
    }
    bool Bound() const { return bound; }

private:
    bool wasRoot;
    bool bound = true;
};

TEST_F(PosixDoor, AFileOrDirectoryWithoutRightsIsFive) {
    const WideString path = directory.Make(u"f", "abc");
    std::filesystem::permissions(directory.Native(u"f"), std::filesystem::perms::none);
    std::filesystem::create_directory(directory.Native(u"d"));
    std::filesystem::permissions(directory.Native(u"d"), std::filesystem::perms::none);
    std::filesystem::permissions(directory.Native(), std::filesystem::perms(0555));
    {
        const WithoutRights user;
        if (!user.Bound()) {
            GTEST_SKIP() << "this user cannot give up its rights";
        }
        FindData data;
        EXPECT_EQ(InvalidHandle, CreateFileW(path.c_str(), GenericRead, 0, OpenExisting, 0));
        EXPECT_EQ(5u, GetLastError());
        EXPECT_EQ(InvalidHandle, CreateFileW(directory.Path(u"g").c_str(), GenericWrite, 0, CreateAlways, 0));
        EXPECT_EQ(5u, GetLastError());
        EXPECT_EQ(InvalidHandle, FindFirstFileW(directory.Path(u"d\\*").c_str(), &data));
        EXPECT_EQ(5u, GetLastError());
        EXPECT_FALSE(DeleteFileW(path.c_str()));
        EXPECT_EQ(5u, GetLastError());
        EXPECT_FALSE(MoveFileExW(path.c_str(), directory.Path(u"g").c_str(), 0));
        EXPECT_EQ(5u, GetLastError());
        EXPECT_FALSE(SetCurrentDirectoryW(directory.Path(u"d").c_str()));
        EXPECT_EQ(5u, GetLastError());
    }
    std::filesystem::permissions(directory.Native(), std::filesystem::perms(0755));
    std::filesystem::permissions(directory.Native(u"d"), std::filesystem::perms(0755));
}

// A child process that does `work` and tells its result as its exit status; ended after 20 seconds.
template <class Work>
int ResultOfChild(Work work) {
    std::fflush(nullptr); // else the child would print it, too
    const pid_t child = ::fork();
    if (child == 0) {
        ::alarm(20);
        ::_exit(work());
    }
    int status = 0;
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// 0 where another process gets the lock at once, else the error number.
int TryFromChild(const WideString& path, std::uint32_t kind) {
    return ResultOfChild([&] {
        const Handle file = CreateFileW(path.c_str(), GenericRead, ShareRead, OpenExisting, 0);
        return LockFileEx(file, kind | LockFileFailImmediately) ? 0 : static_cast<int>(GetLastError());
    });
}

TEST_F(PosixDoor, TwoProcessesExcludeEachOther) {
    const WideString path = directory.Make(u"f", "abc");
    const Handle file = CreateFileW(path.c_str(), GenericRead, ShareRead, OpenExisting, 0);
    EXPECT_TRUE(LockFileEx(file, LockFileExclusiveLock));
    EXPECT_EQ(33, TryFromChild(path, LockFileExclusiveLock));
    EXPECT_EQ(33, TryFromChild(path, 0));
    EXPECT_TRUE(UnlockFileEx(file));
    EXPECT_TRUE(LockFileEx(file, 0));
    EXPECT_EQ(33, TryFromChild(path, LockFileExclusiveLock));
    EXPECT_EQ(0, TryFromChild(path, 0));
    EXPECT_TRUE(UnlockFileEx(file));
    EXPECT_EQ(0, TryFromChild(path, LockFileExclusiveLock));
    EXPECT_TRUE(CloseHandle(file));
}

TEST_F(PosixDoor, ARefusedChangeOfALockEndsTheLockHeldBefore) {
    const WideString path = directory.Make(u"f", "abc");
    const Handle a = CreateFileW(path.c_str(), GenericRead, ShareRead, OpenExisting, 0);
    const Handle b = CreateFileW(path.c_str(), GenericRead, ShareRead, OpenExisting, 0);
    EXPECT_TRUE(LockFileEx(a, 0));
    EXPECT_TRUE(LockFileEx(b, 0));
    EXPECT_FALSE(LockFileEx(a, LockFileExclusiveLock | LockFileFailImmediately));
    EXPECT_EQ(33u, GetLastError());
    EXPECT_TRUE(LockFileEx(b, LockFileExclusiveLock | LockFileFailImmediately)); // a holds nothing any more
    EXPECT_TRUE(CloseHandle(a));
    EXPECT_TRUE(CloseHandle(b));
}

TEST_F(PosixDoor, ALockEndsWithItsProcess) {
    const WideString path = directory.Make(u"f", "abc");
    EXPECT_EQ(0, TryFromChild(path, LockFileExclusiveLock)); // the child ends without unlocking
    const Handle file = CreateFileW(path.c_str(), GenericRead, ShareRead, OpenExisting, 0);
    EXPECT_TRUE(LockFileEx(file, LockFileExclusiveLock | LockFileFailImmediately));
    EXPECT_TRUE(CloseHandle(file));
}

TEST_F(PosixDoor, AnotherProcessWaitsForALock) {
    const WideString path = directory.Make(u"f", "abc");
    const Handle file = CreateFileW(path.c_str(), GenericRead, ShareRead, OpenExisting, 0);
    ASSERT_TRUE(LockFileEx(file, LockFileExclusiveLock));
    int told[2];
    ASSERT_EQ(0, ::pipe(told));
    std::fflush(nullptr); // else the child would print it, too
    const pid_t child = ::fork();
    if (child == 0) {
        ::alarm(20);
        const Handle other = CreateFileW(path.c_str(), GenericRead, ShareRead, OpenExisting, 0);
        const bool locked = LockFileEx(other, LockFileExclusiveLock);
        ::_exit(::write(told[1], "x", 1) == 1 && locked ? 0 : 1);
    }
    pollfd waiting{told[0], POLLIN, 0};
    EXPECT_EQ(0, ::poll(&waiting, 1, 100));
    EXPECT_TRUE(UnlockFileEx(file));
    EXPECT_EQ(1, ::poll(&waiting, 1, 20000));
    int status = -1;
    EXPECT_EQ(child, ::waitpid(child, &status, 0));
    EXPECT_EQ(0, status);
    EXPECT_TRUE(CloseHandle(file));
    ::close(told[0]);
    ::close(told[1]);
}

// Signals that interrupt system calls, every few milliseconds, while it lives.
class Interruptions {
public:
    Interruptions() {
        struct sigaction action {};
        action.sa_handler = [](int) {
        };
        ::sigaction(SIGALRM, &action, &before);
        const itimerval every{{0, 3000}, {0, 3000}};
        ::setitimer(ITIMER_REAL, &every, nullptr);
    }
    Interruptions(const Interruptions&) = delete;
    Interruptions& operator=(const Interruptions&) = delete;
    ~Interruptions() {
        const itimerval none{};
        ::setitimer(ITIMER_REAL, &none, nullptr);
        ::sigaction(SIGALRM, &before, nullptr);
    }

private:
    struct sigaction before {};
};

TEST_F(PosixDoor, SignalsDoNotInterruptReadingAndLocking) {
    // In a process with one thread, so that every signal meets the call that waits.
    EXPECT_EQ(0, ResultOfChild([&] {
                  const WideString path = directory.Make(u"f", "abc");
                  int ends[2];
                  int back[2];
                  if (::pipe(ends) != 0 || ::pipe(back) != 0) {
                      return 1;
                  }
                  const Handle file = CreateFileW(path.c_str(), GenericRead, ShareRead, OpenExisting, 0);
                  if (!LockFileEx(file, LockFileExclusiveLock)) {
                      return 2;
                  }
                  const pid_t slow = ::fork();
                  if (slow == 0) {
                      ::alarm(15);
                      ::usleep(50000);
                      ::flock(static_cast<int>(file), LOCK_UN); // the lock is shared with the parent's handle
                      ::usleep(50000);
                      bool written = ::write(ends[1], "line\n", 5) == 5;
                      for (int i = 0; i < 4; ++i) {
                          ::usleep(30000);
                          written = written && ::write(ends[1], "x", 1) == 1;
                      }
                      ::_exit(written ? 0 : 1);
                  }
                  const Interruptions interruptions;
                  const Handle other = CreateFileW(path.c_str(), GenericRead, ShareRead, OpenExisting, 0);
                  if (!LockFileEx(other, LockFileExclusiveLock)) {
                      return 3;
                  }
                  char buffer[10] = {};
                  std::FILE* const stream = _fdopen(ends[0], "rb");
                  if (OperatingSystem::fgets(buffer, sizeof buffer, stream) == nullptr ||
                      std::strcmp(buffer, "line\n") != 0) {
                      return 4;
                  }
                  std::uint32_t done = 0;
                  if (_read(ends[0], buffer, 1) != 1 || !ReadFile(ends[0], buffer, 1, &done) || done != 1 ||
                      OperatingSystem::fread(buffer, 1, 2, stream) != 2) {
                      return 5;
                  }
                  int status = 0;
                  while (::waitpid(slow, &status, 0) < 0 && errno == EINTR) {
                  }
                  return status == 0 ? 0 : 6;
              }));
}

// A pipe with a child that reads it to its end, but not at once, and tells whether it held `size` bytes "x".
class SlowReader {
public:
    explicit SlowReader(std::size_t size) {
        int ends[2] = {-1, -1};
        if (::pipe(ends) != 0) {
            return;
        }
        child = ::fork();
        if (child == 0) {
            ::alarm(15);
            ::close(ends[1]);
            ::usleep(50000);
            char buffer[4096];
            std::size_t seen = 0;
            for (;;) {
                const ssize_t got = ::read(ends[0], buffer, sizeof buffer);
                if (got <= 0) {
                    ::_exit(got == 0 && seen == size ? 0 : 1);
                }
                seen += static_cast<std::size_t>(std::count(buffer, buffer + got, 'x'));
                ::usleep(200);
            }
        }
        ::close(ends[0]);
        writer = ends[1];
    }

    // Requires: `writer` is closed.
    bool SawAll() const {
        int status = -1;
        while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
        }
        return status == 0;
    }

    int writer = -1;

private:
    pid_t child = -1;
};

TEST_F(PosixDoor, SignalsDoNotInterruptWritingThroughADescriptorOrHandle) {
    EXPECT_EQ(
        0, ResultOfChild([] {
            const std::string bytes(300000, 'x');
            const SlowReader reader(2 * bytes.size());
            const Interruptions interruptions;
            for (std::size_t put = 0; put < bytes.size();) {
                const int written =
                    _write(reader.writer, bytes.data() + put, static_cast<unsigned int>(bytes.size() - put));
                if (written < 0) {
                    return 1;
                }
                put += static_cast<std::size_t>(written);
            }
            std::uint32_t done = 0;
            if (!WriteFile(reader.writer, bytes.data(), static_cast<std::uint32_t>(bytes.size()), &done) ||
                done != bytes.size()) {
                return 2;
            }
            return OperatingSystem::close(reader.writer) == 0 && reader.SawAll() ? 0 : 3;
        }));
}

TEST_F(PosixDoor, ASignalInterruptsAStreamThatWaitsToWrite) {
    const auto child = [](bool flush) {
        int ends[2];
        if (::pipe(ends) != 0) {
            return 1;
        }
        if (flush) { // the pipe has no room left
            const int flags = ::fcntl(ends[1], F_GETFL);
            ::fcntl(ends[1], F_SETFL, flags | O_NONBLOCK);
            while (::write(ends[1], "x", 1) == 1) {
            }
            ::fcntl(ends[1], F_SETFL, flags);
        }
        std::FILE* const stream = _fdopen(ends[1], "wb");
        const Interruptions interruptions;
        SetLastError(0);
        if (flush) {
            if (OperatingSystem::fwrite("x", 1, 1, stream) != 1 || OperatingSystem::fflush(stream) == 0) {
                return 2;
            }
        } else {
            const std::string bytes(300000, 'x');
            if (OperatingSystem::fwrite(bytes.data(), bytes.size(), 1, stream) != 0) {
                return 3;
            }
        }
        return GetLastError() == 995 ? 0 : 4;
    };
    EXPECT_EQ(0, ResultOfChild([&] { return child(false); }));
    EXPECT_EQ(0, ResultOfChild([&] { return child(true); }));
}

TEST_F(PosixDoor, NamesThatAreNotUTF8AreListedWithReplacementsAndCannotBeOpened) {
    std::ofstream(directory.Native() / "a\xFF\xFEz").put('x');
    std::ofstream(directory.Native() / "b\\c").put('x');
    FindData data;
    Handle search = FindFirstFileW(directory.Path(u"a*").c_str(), &data);
    ASSERT_NE(InvalidHandle, search);
    EXPECT_EQ(Wide(u"a\uFFFD\uFFFDz"), data.name);
    EXPECT_FALSE(FindNextFileW(search, &data));
    EXPECT_TRUE(FindClose(search));
    search = FindFirstFileW(directory.Path(u"b*").c_str(), &data);
    ASSERT_NE(InvalidHandle, search);
    EXPECT_EQ(Wide(u"b\uFFFDc"), data.name);
    EXPECT_TRUE(FindClose(search));
    EXPECT_EQ(InvalidHandle,
              CreateFileW(directory.Path(u"a\uFFFD\uFFFDz").c_str(), GenericRead, 0, OpenExisting, 0));
    EXPECT_EQ(2u, GetLastError());
}

TEST_F(PosixDoor, NamesDifferInTheCaseOfLetters) {
    directory.Make(u"a", "");
    directory.Make(u"A", "");
    FindData data;
    const Handle search = FindFirstFileW(directory.Path(u"A").c_str(), &data);
    ASSERT_NE(InvalidHandle, search);
    EXPECT_EQ(Wide(u"A"), data.name);
    EXPECT_FALSE(FindNextFileW(search, &data));
    EXPECT_TRUE(FindClose(search));
}

TEST_F(PosixDoor, TheTemporaryDirectoryIsTMPDIRWhereThatIsAbsolute) {
    const auto path = [] {
        wchar16 buffer[MaxPath] = {};
        GetTempPathW(MaxPath, buffer);
        return Narrow(buffer);
    };
    struct Row {
        const char* variable;
        const char* path;
    };
    const Row rows[] = {
        {nullptr, "\\tmp\\"}, {"", "\\tmp\\"},       {"relative", "\\tmp\\"},
        {"/a/b", "\\a\\b\\"}, {"/a/b/", "\\a\\b\\"}, {"/", "\\"},
        {"/\xFF", "\\tmp\\"}, {"/a\\b", "\\tmp\\"},  {"/\xE3\x81\x82", "\\\xE3\x81\x82\\"},
    };
    for (const Row& row : rows) {
        const Variable variable("TMPDIR", row.variable);
        EXPECT_EQ(row.path, path());
    }
    const Variable variable("TMPDIR", ("/" + std::string(258, 'x')).c_str());
    wchar16 buffer[MaxPath];
    EXPECT_EQ(261u, GetTempPathW(MaxPath, buffer));
}

TEST_F(PosixDoor, ATemporaryFileIsItsUsersAlone) {
    wchar16 name[MaxPath];
    ASSERT_NE(0u, GetTempFileNameW(directory.Path().c_str(), Wide(u"t").c_str(), 0, name));
    FindData data;
    const Handle search = FindFirstFileW(directory.Path(u"t*").c_str(), &data);
    EXPECT_TRUE(FindClose(search));
    struct stat status {};
    ASSERT_EQ(0, ::stat((directory.Native() / Narrow(data.name)).c_str(), &status));
    EXPECT_EQ(0600u, status.st_mode & 07777u);
    EXPECT_EQ(0, status.st_size);
}

TEST_F(PosixDoor, EnvironmentVariablesAreReadAsUTF8) {
    wchar16 buffer[10];
    const Variable good("KCODEPAGE_TEST", "\xE3\x81\x82"
                                          "b");
    EXPECT_EQ(2u, GetEnvironmentVariableW("KCODEPAGE_TEST", buffer, 10));
    EXPECT_EQ(Wide(u"\u3042b"), buffer);
    EXPECT_EQ(3u, GetEnvironmentVariableW("KCODEPAGE_TEST", buffer, 2));
    const Variable bad("KCODEPAGE_TEST", "\xFF");
    EXPECT_EQ(0u, GetEnvironmentVariableW("KCODEPAGE_TEST", buffer, 10));
    EXPECT_EQ(1113u, GetLastError());
}

// Runs itself once more, from a set-user-id copy of this program that another user starts.
TEST_F(PosixDoor, ASetUserIdProcessTrustsNoEnvironment) {
    if (::getauxval(AT_SECURE) != 0) {
        wchar16 buffer[10];
        ASSERT_NE(nullptr, std::getenv("KCODEPAGE_TEST"));
        SetLastError(0);
        EXPECT_EQ(0u, GetEnvironmentVariableW("KCODEPAGE_TEST", buffer, 10));
        EXPECT_EQ(203u, GetLastError());
        std::filesystem::remove_all(directory.Native());
        ::_exit(HasFailure() ? 1 : 0); // without the search for leaks, which such a process may not make
    }
    if (::geteuid() != 0) {
        GTEST_SKIP() << "only the superuser can start a program as somebody else";
    }
    const Variable variable("KCODEPAGE_TEST", "abc");
    const std::string copy = directory.Native(u"copy").string();
    std::filesystem::copy_file("/proc/self/exe", copy);
    ASSERT_EQ(0, ::chmod(directory.Native().c_str(), 0755)); // a way in for the other user
    ASSERT_EQ(0, ::chown(copy.c_str(), 65533, 65533));       // of no power either
    ASSERT_EQ(0, ::chmod(copy.c_str(), 04755));
    EXPECT_EQ(0, ResultOfChild([&] {
                  if (::setresuid(65534, 65534, 65534) != 0) {
                      return 2;
                  }
                  ::execl(copy.c_str(), copy.c_str(), "--gtest_brief=1",
                          "--gtest_filter=PosixDoor.ASetUserIdProcessTrustsNoEnvironment", nullptr);
                  return 3;
              }));
}

TEST_F(PosixDoor, MovingOneOfTwoNamesOntoTheOtherLeavesTheOther) {
    const WideString file = directory.Make(u"f", "abc");
    std::filesystem::create_hard_link(directory.Native(u"f"), directory.Native(u"g"));
    EXPECT_TRUE(MoveFileExW(file.c_str(), directory.Path(u"g").c_str(), MoveFileReplaceExisting));
    EXPECT_FALSE(directory.Exists(u"f"));
    EXPECT_EQ("abc", directory.Contents(u"g"));
}

bool AreOnOneDisk(const std::filesystem::path& one, const std::filesystem::path& other) {
    struct stat a {};
    struct stat b {};
    return ::stat(one.c_str(), &a) == 0 && ::stat(other.c_str(), &b) == 0 && a.st_dev == b.st_dev;
}

TEST_F(PosixDoor, MovingToAnotherDiskCopiesWhereThatIsAllowed) {
    const auto memory = TestFiles::DirectoryInMemory();
    if (memory == nullptr || AreOnOneDisk(memory->Native(), directory.Native())) {
        GTEST_SKIP() << "there is no second file system";
    }
    const std::filesystem::path& disk = memory->Native();
    const std::string contents(200000, 'q');
    const WideString source = directory.Make(u"f", contents);
    std::filesystem::permissions(directory.Native(u"f"), std::filesystem::perms(0640));
    const timespec times[2] = {{1000, 0}, {1000000000, 123456700}};
    ASSERT_EQ(0, ::utimensat(AT_FDCWD, directory.Native(u"f").c_str(), times, 0));
    const WideString target = WidePath(disk / "g");
    EXPECT_FALSE(MoveFileExW(source.c_str(), target.c_str(), 0));
    EXPECT_EQ(17u, GetLastError());
    EXPECT_TRUE(MoveFileExW(source.c_str(), target.c_str(), MoveFileCopyAllowed | MoveFileWriteThrough));
    EXPECT_FALSE(directory.Exists(u"f"));
    struct stat status {};
    ASSERT_EQ(0, ::stat((disk / "g").c_str(), &status));
    EXPECT_EQ(0640u, status.st_mode & 07777u);
    EXPECT_EQ(200000, status.st_size);
    EXPECT_EQ(1000000000, status.st_mtim.tv_sec);
    EXPECT_EQ(123456700, status.st_mtim.tv_nsec);

    const WideString second = directory.Make(u"h", "new");
    EXPECT_FALSE(MoveFileExW(second.c_str(), target.c_str(), MoveFileCopyAllowed));
    EXPECT_EQ(183u, GetLastError());
    EXPECT_TRUE(MoveFileExW(second.c_str(), target.c_str(), MoveFileCopyAllowed | MoveFileReplaceExisting));
    EXPECT_EQ(3u, std::filesystem::file_size(disk / "g"));
    EXPECT_EQ(1, std::distance(std::filesystem::directory_iterator(disk), {})); // no copy left over

    std::filesystem::create_symlink("somewhere", directory.Native(u"link"));
    EXPECT_TRUE(
        MoveFileExW(directory.Path(u"link").c_str(), WidePath(disk / "link").c_str(), MoveFileCopyAllowed));
    EXPECT_EQ("somewhere", std::filesystem::read_symlink(disk / "link"));
    std::filesystem::create_directory(directory.Native(u"d"));
    EXPECT_FALSE(
        MoveFileExW(directory.Path(u"d").c_str(), WidePath(disk / "d").c_str(), MoveFileCopyAllowed));
    EXPECT_EQ(17u, GetLastError());
}

TEST_F(PosixDoor, ATimeThatAFileTimeCannotHoldIsTheLargestNumber) {
    const auto memory = TestFiles::DirectoryInMemory();
    if (memory == nullptr) {
        GTEST_SKIP() << "there is no memory file system";
    }
    const std::filesystem::path file = memory->Native() / "f";
    std::ofstream(file).put('x');
    struct Row {
        time_t seconds;
        std::uint64_t fileTime;
    };
    const Row rows[] = {
        {0, 116444736000000000u},
        {-11644473600, 0},
        {-11644473601, ~std::uint64_t{0}},
        {time_t{1} << 50, ~std::uint64_t{0}},
    };
    for (const Row& row : rows) {
        const timespec times[2] = {{row.seconds, 0}, {row.seconds, 0}};
        struct stat status {};
        if (::utimensat(AT_FDCWD, file.c_str(), times, 0) != 0 || ::stat(file.c_str(), &status) != 0 ||
            status.st_mtim.tv_sec != row.seconds) {
            GTEST_SKIP() << "the file system does not take the time " << row.seconds;
        }
        FileAttributeData data{};
        ASSERT_TRUE(GetFileAttributesExW(WidePath(file).c_str(), &data));
        EXPECT_EQ(row.fileTime, data.lastWriteTime);
    }
}

} // namespace

} // namespace OperatingSystem
