// The door's files, descriptors and streams. Nothing here depends on which implementation stands behind.

#include "OperatingSystem/Files.h"

#include "FileSystem/TestDirectory.h"
#include "OperatingSystem/CRuntime.h"
#include "OperatingSystem/LastError.h"
#include "OperatingSystem/Sleep.h"

#include <atomic>
#include <chrono>
#include <cstring>
#include <future>
#include <thread>
#include <vector>

namespace OperatingSystem {

namespace {

using FileTests::FileTest;
using FileTests::Wide;
using FileTests::WideString;

// A handle that is closed at the end of the test.
class Opened {
public:
    Opened(const WideString& path, std::uint32_t access, std::uint32_t disposition)
        : handle(CreateFileW(path.c_str(), access, ShareRead | ShareWrite | ShareDelete, disposition, 0)) {}
    Opened(const Opened&) = delete;
    Opened& operator=(const Opened&) = delete;
    ~Opened() { Close(); }

    void Close() {
        if (handle != InvalidHandle) {
            EXPECT_TRUE(CloseHandle(handle));
            handle = InvalidHandle;
        }
    }

    operator Handle() const { return handle; }

private:
    Handle handle;
};

ErrorNumber OpeningError(const wchar16* path, std::uint32_t access, std::uint32_t disposition) {
    SetLastError(0);
    const Handle handle = CreateFileW(path, access, ShareRead | ShareWrite | ShareDelete, disposition, 0);
    if (handle != InvalidHandle) {
        CloseHandle(handle);
        return 0;
    }
    return GetLastError();
}

std::string ReadAll(Handle file) {
    char buffer[100];
    std::uint32_t done = 0;
    EXPECT_TRUE(ReadFile(file, buffer, sizeof buffer, &done));
    return std::string(buffer, done);
}

void WriteAll(Handle file, std::string_view bytes) {
    std::uint32_t done = 0;
    EXPECT_TRUE(WriteFile(file, bytes.data(), static_cast<std::uint32_t>(bytes.size()), &done));
    EXPECT_EQ(bytes.size(), done);
}

constexpr int closedDescriptor = 987654;

using DoorFiles = FileTest;

TEST_F(DoorFiles, EachDispositionTreatsExistingAndMissingFilesItsOwnWay) {
    struct Row {
        std::uint32_t disposition;
        ErrorNumber whenMissing;
        ErrorNumber whenExisting;
        std::size_t sizeAfterwards; // of an existing file of 3 bytes
    };
    const Row rows[] = {
        {CreateNew, 0, 80, 3},       {CreateAlways, 0, 0, 0}, {OpenExisting, 2, 0, 3}, {OpenAlways, 0, 0, 3},
        {TruncateExisting, 2, 0, 0}, {0, 87, 87, 3},          {6, 87, 87, 3},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.disposition);
        std::filesystem::remove(directory.Native(u"missing"));
        const WideString existing = directory.Make(u"existing", "abc");
        EXPECT_EQ(row.whenMissing,
                  OpeningError(directory.Path(u"missing").c_str(), GenericWrite, row.disposition));
        EXPECT_EQ(row.whenMissing == 0, directory.Exists(u"missing"));
        EXPECT_EQ(row.whenExisting, OpeningError(existing.c_str(), GenericWrite, row.disposition));
        EXPECT_EQ(row.sizeAfterwards, directory.Contents(u"existing").size());
    }
}

TEST_F(DoorFiles, OpeningNamesItsFailureByTheWindowsNumber) {
    const WideString file = directory.Make(u"file", "abc");
    EXPECT_EQ(2u, OpeningError(directory.Path(u"none").c_str(), GenericRead, OpenExisting));
    EXPECT_EQ(3u, OpeningError(directory.Path(u"none\\file").c_str(), GenericRead, OpenExisting));
    EXPECT_EQ(3u, OpeningError(directory.Path(u"none\\file").c_str(), GenericWrite, CreateAlways));
    EXPECT_EQ(3u, OpeningError(directory.Path(u"file\\below").c_str(), GenericRead, OpenExisting));
    EXPECT_EQ(3u, OpeningError(nullptr, GenericRead, OpenExisting));
    EXPECT_EQ(3u, OpeningError(Wide(u"").c_str(), GenericRead, OpenExisting));
    EXPECT_EQ(5u, OpeningError(directory.Path().c_str(), GenericRead, OpenExisting));
    EXPECT_EQ(5u, OpeningError(directory.Path().c_str(), GenericWrite, OpenExisting));
    EXPECT_EQ(87u, OpeningError(file.c_str(), 0, 0));
    EXPECT_EQ(87u, OpeningError(file.c_str(), GenericRead, TruncateExisting));
}

TEST_F(DoorFiles, SuccessLeavesTheLastErrorAlone) {
    SetLastError(4711);
    Opened file(directory.Path(u"f"), GenericRead | GenericWrite, CreateAlways);
    WriteAll(file, "abc");
    EXPECT_TRUE(SetFilePointerEx(file, 0, nullptr, FileBegin));
    EXPECT_EQ("abc", ReadAll(file));
    EXPECT_TRUE(FlushFileBuffers(file));
    EXPECT_TRUE(LockFileEx(file, LockFileExclusiveLock));
    EXPECT_TRUE(UnlockFileEx(file));
    file.Close();
    EXPECT_EQ(4711u, GetLastError());
}

TEST_F(DoorFiles, SlashAndBackslashBothSeparate) {
    std::filesystem::create_directories(directory.Native(u"a/b"));
    directory.Make(u"a/b/c", "here");
    for (const std::u16string_view name : {u"a\\b\\c", u"a/b/c", u"a\\b/c", u"a\\\\b\\c"}) {
        Opened file(directory.Path(name), GenericRead, OpenExisting);
        ASSERT_NE(InvalidHandle, Handle(file)) << FileTests::Narrow(Wide(name));
        EXPECT_EQ("here", ReadAll(file));
    }
}

TEST_F(DoorFiles, NamesInManyScriptsAreTheFilesOfThoseNames) {
    const std::u16string_view names[] = {
        u"\u8868\u30C6\u30B9\u30C8.M2U",                     // Japanese, 0x5C as second byte in Shift-JIS
        u"\uD55C\uAD6D\uC5B4.txt",                           // Korean
        u"\u7B80\u4F53\u4E2D\u6587.txt",                     // simplified Chinese
        u"\u7E41\u9AD4\u4E2D\u6587.txt",                     // traditional Chinese
        u"\u0E20\u0E32\u0E29\u0E32\u0E44\u0E17\u0E22",       // Thai
        u"\u05E2\u05D1\u05E8\u05D9\u05EA",                   // Hebrew
        u"\u0627\u0644\u0639\u0631\u0628\u064A\u0629",       // Arabic
        u"\u0395\u03BB\u03BB\u03B7\u03BD\u03B9\u03BA\u03AC", // Greek
        u"\u0440\u0443\u0441\u0441\u043A\u0438\u0439",       // Cyrillic
        u"\u0130stanbul-\u011F\u0131\u015F",                 // Turkish
        u"\u0105\u017Euolas-\u0123\u0137",                   // Baltic
        u"\U0001F600\U00020BB7",                             // beyond the basic plane
    };
    for (const std::u16string_view name : names) {
        SCOPED_TRACE(FileTests::Narrow(Wide(name)));
        {
            Opened file(directory.Path(name), GenericWrite, CreateNew);
            ASSERT_NE(InvalidHandle, Handle(file));
            WriteAll(file, FileTests::Narrow(Wide(name)));
        }
        EXPECT_TRUE(directory.Exists(name));
        Opened file(directory.Path(name), GenericRead, OpenExisting);
        EXPECT_EQ(FileTests::Narrow(Wide(name)), ReadAll(file));
    }
}

TEST_F(DoorFiles, AFileIsOnADisk) {
    Opened file(directory.Make(u"f", ""), GenericRead, OpenExisting);
    EXPECT_EQ(FileTypeDisk, GetFileType(file));
}

TEST_F(DoorFiles, ReadingAtTheEndGivesNothingAndIsNoFailure) {
    Opened file(directory.Make(u"f", "abc"), GenericRead, OpenExisting);
    char buffer[10];
    std::uint32_t done = 99;
    EXPECT_TRUE(ReadFile(file, buffer, 10, &done));
    EXPECT_EQ(3u, done);
    EXPECT_TRUE(ReadFile(file, buffer, 10, &done));
    EXPECT_EQ(0u, done);
    EXPECT_TRUE(ReadFile(file, buffer, 0, &done));
    EXPECT_EQ(0u, done);
}

TEST_F(DoorFiles, AHandleAllowsOnlyWhatItWasOpenedFor) {
    const WideString path = directory.Make(u"f", "abc");
    char byte = 'x';
    std::uint32_t done = 0;
    Opened reader(path, GenericRead, OpenExisting);
    EXPECT_FALSE(WriteFile(reader, &byte, 1, &done));
    EXPECT_EQ(5u, GetLastError());
    SetLastError(0);
    EXPECT_FALSE(SetEndOfFile(reader));
    EXPECT_EQ(5u, GetLastError());
    Opened writer(path, GenericWrite, OpenExisting);
    SetLastError(0);
    EXPECT_FALSE(ReadFile(writer, &byte, 1, &done));
    EXPECT_EQ(5u, GetLastError());
}

TEST_F(DoorFiles, EveryOperationOnNoHandleFailsWithSix) {
    std::uint64_t number = 0;
    std::uint32_t done = 0;
    char byte = 0;
    const auto check = [](bool result) {
        EXPECT_FALSE(result);
        EXPECT_EQ(6u, GetLastError());
        SetLastError(0);
    };
    for (const Handle handle : {InvalidHandle, Handle{closedDescriptor}}) {
        check(CloseHandle(handle));
        check(ReadFile(handle, &byte, 1, &done));
        check(WriteFile(handle, &byte, 1, &done));
        check(FlushFileBuffers(handle));
        check(GetFileSizeEx(handle, &number));
        check(GetFileType(handle) != FileTypeUnknown);
        check(SetFilePointerEx(handle, 0, &number, FileBegin));
        check(SetEndOfFile(handle));
        check(LockFileEx(handle, 0));
        check(UnlockFileEx(handle));
        check(_open_osfhandle(handle, 0) != -1);
    }
    for (const int descriptor : {-1, closedDescriptor}) {
        check(_get_osfhandle(descriptor) != InvalidHandle);
        check(_fdopen(descriptor, "rb") != nullptr);
        check(_commit(descriptor) == 0);
        check(_read(descriptor, &byte, 1) >= 0);
        check(_write(descriptor, &byte, 1) >= 0);
        check(_chsize(descriptor, 0) == 0);
        check(OperatingSystem::lseek(descriptor, 0, FileBegin) >= 0);
        check(OperatingSystem::close(descriptor) == 0);
    }
}

TEST_F(DoorFiles, PositionsCountFromStartHereAndEnd) {
    Opened file(directory.Make(u"f", "0123456789"), GenericRead | GenericWrite, OpenExisting);
    std::uint64_t position = 0;
    EXPECT_TRUE(SetFilePointerEx(file, 4, &position, FileBegin));
    EXPECT_EQ(4u, position);
    EXPECT_TRUE(SetFilePointerEx(file, -1, &position, FileCurrent));
    EXPECT_EQ(3u, position);
    EXPECT_TRUE(SetFilePointerEx(file, -2, &position, FileEnd));
    EXPECT_EQ(8u, position);
    EXPECT_EQ("89", ReadAll(file));
    EXPECT_FALSE(SetFilePointerEx(file, -1, &position, FileBegin));
    EXPECT_EQ(131u, GetLastError());
    EXPECT_FALSE(SetFilePointerEx(file, 0, &position, 3));
    EXPECT_EQ(87u, GetLastError());
    EXPECT_TRUE(SetFilePointerEx(file, 5, nullptr, FileBegin));
    EXPECT_TRUE(SetEndOfFile(file));
    EXPECT_TRUE(GetFileSizeEx(file, &position));
    EXPECT_EQ(5u, position);
    EXPECT_TRUE(SetFilePointerEx(file, 7, nullptr, FileBegin));
    EXPECT_TRUE(SetEndOfFile(file));
    EXPECT_EQ(std::string("01234\0\0", 7), directory.Contents(u"f"));
}

TEST_F(DoorFiles, ASizeAndPositionsBeyondFourGibibytesAreExact) {
    Opened file(directory.Path(u"big"), GenericRead | GenericWrite, CreateAlways);
    const std::int64_t fiveGiB = std::int64_t{5} << 30;
    ASSERT_TRUE(SetFilePointerEx(file, fiveGiB, nullptr, FileBegin));
    if (!SetEndOfFile(file)) {
        GTEST_SKIP() << "the file system takes no file of 5 GiB, error " << GetLastError();
    }
    std::uint64_t size = 0;
    EXPECT_TRUE(GetFileSizeEx(file, &size));
    EXPECT_EQ(static_cast<std::uint64_t>(fiveGiB), size);
    WriteAll(file, "end");
    EXPECT_TRUE(SetFilePointerEx(file, fiveGiB, nullptr, FileBegin));
    EXPECT_EQ("end", ReadAll(file));
}

// Whether a lock of another opening of the file would be granted now.
bool WouldLock(const WideString& path, bool exclusive) {
    Opened other(path, GenericRead, OpenExisting);
    SetLastError(0);
    if (LockFileEx(other, (exclusive ? LockFileExclusiveLock : 0u) | LockFileFailImmediately)) {
        return true;
    }
    EXPECT_EQ(33u, GetLastError());
    return false;
}

TEST_F(DoorFiles, TwoHandlesOfOneProcessExcludeEachOther) {
    const WideString path = directory.Make(u"f", "abc");
    Opened file(path, GenericRead | GenericWrite, OpenExisting);
    EXPECT_TRUE(WouldLock(path, true));

    EXPECT_TRUE(LockFileEx(file, LockFileExclusiveLock));
    EXPECT_FALSE(WouldLock(path, true));
    EXPECT_FALSE(WouldLock(path, false));
    EXPECT_TRUE(UnlockFileEx(file));
    EXPECT_TRUE(WouldLock(path, true));

    EXPECT_TRUE(LockFileEx(file, 0));
    EXPECT_FALSE(WouldLock(path, true));
    EXPECT_TRUE(WouldLock(path, false));
    file.Close();
    EXPECT_TRUE(WouldLock(path, true));
}

TEST_F(DoorFiles, ReadAccessIsEnoughForAnExclusiveLock) {
    const WideString path = directory.Make(u"f", "abc");
    Opened file(path, GenericRead, OpenExisting);
    EXPECT_TRUE(LockFileEx(file, LockFileExclusiveLock));
    EXPECT_FALSE(WouldLock(path, false));
}

TEST_F(DoorFiles, AnEmptyFileCanBeLocked) {
    const WideString path = directory.Make(u"f", "");
    Opened file(path, GenericRead, OpenExisting);
    EXPECT_TRUE(LockFileEx(file, LockFileExclusiveLock));
    EXPECT_FALSE(WouldLock(path, true));
}

TEST_F(DoorFiles, WaitingForALockEndsWhenItIsGivenBack) {
    const WideString path = directory.Make(u"f", "abc");
    Opened file(path, GenericRead, OpenExisting);
    ASSERT_TRUE(LockFileEx(file, LockFileExclusiveLock));
    std::atomic<bool> locked{false};
    std::future<void> waiting = std::async(std::launch::async, [&] {
        Opened other(path, GenericRead, OpenExisting);
        EXPECT_TRUE(LockFileEx(other, LockFileExclusiveLock));
        locked = true;
    });
    EXPECT_EQ(std::future_status::timeout, waiting.wait_for(std::chrono::milliseconds(100)));
    EXPECT_FALSE(locked);
    EXPECT_TRUE(UnlockFileEx(file));
    EXPECT_EQ(std::future_status::ready, waiting.wait_for(std::chrono::seconds(20)));
    EXPECT_TRUE(locked);
}

using DoorDescriptors = FileTest;

int OpenDescriptor(const WideString& path, std::uint32_t access, std::uint32_t disposition) {
    constexpr std::uint32_t share = ShareRead | ShareWrite | ShareDelete;
    return _open_osfhandle(CreateFileW(path.c_str(), access, share, disposition, 0), 0);
}

TEST_F(DoorDescriptors, ADescriptorReadsWritesMovesAndResizes) {
    const int descriptor = OpenDescriptor(directory.Path(u"f"), GenericRead | GenericWrite, CreateAlways);
    ASSERT_GE(descriptor, 0);
    EXPECT_NE(InvalidHandle, _get_osfhandle(descriptor));
    EXPECT_EQ(6, _write(descriptor, "abcdef", 6));
    EXPECT_EQ(2, OperatingSystem::lseek(descriptor, -4, FileEnd));
    char buffer[10] = {};
    EXPECT_EQ(2, _read(descriptor, buffer, 2));
    EXPECT_STREQ("cd", buffer);
    EXPECT_EQ(4, OperatingSystem::lseek(descriptor, 0, FileCurrent));
    EXPECT_EQ(0, _chsize(descriptor, 5));
    EXPECT_EQ(4, OperatingSystem::lseek(descriptor, 0, FileCurrent));
    EXPECT_EQ(1, _read(descriptor, buffer, 10));
    EXPECT_EQ(0, _read(descriptor, buffer, 10));
    EXPECT_EQ(0, _commit(descriptor));
    EXPECT_EQ(-1, _chsize(descriptor, -1));
    EXPECT_EQ(87u, GetLastError());
    EXPECT_EQ(-1, OperatingSystem::lseek(descriptor, -1, FileBegin));
    EXPECT_EQ(131u, GetLastError());
    EXPECT_EQ(0, OperatingSystem::close(descriptor));
    EXPECT_EQ("abcde", directory.Contents(u"f"));
}

TEST_F(DoorDescriptors, AStreamTakesTheDescriptorOver) {
    const int descriptor = OpenDescriptor(directory.Path(u"f"), GenericRead | GenericWrite, CreateAlways);
    std::FILE* const stream = _fdopen(descriptor, "wbc+");
    ASSERT_NE(nullptr, stream);
    EXPECT_EQ(descriptor, _fileno(stream));
    EXPECT_EQ(2u, OperatingSystem::fwrite("abcdef", 3, 2, stream));
    EXPECT_EQ(6, OperatingSystem::ftello(stream));
    EXPECT_EQ(0, OperatingSystem::fflush(stream));
    EXPECT_EQ("abcdef", directory.Contents(u"f"));
    EXPECT_EQ(0, OperatingSystem::fseeko(stream, -3, FileEnd));
    char buffer[10] = {};
    EXPECT_EQ(1u, OperatingSystem::fread(buffer, 2, 4, stream)); // 3 bytes hold one whole element of 2
    EXPECT_EQ(0, OperatingSystem::ferror(stream));
    EXPECT_EQ(-1, OperatingSystem::fseeko(stream, -1, FileBegin));
    EXPECT_EQ(131u, GetLastError());
    EXPECT_EQ(0, OperatingSystem::fclose(stream));
    EXPECT_EQ(-1, OperatingSystem::close(descriptor));
}

TEST_F(DoorDescriptors, AStreamModeThatIsNoneIsRefused) {
    const int descriptor = OpenDescriptor(directory.Path(u"f"), GenericRead | GenericWrite, CreateAlways);
    for (const char* const mode : {"", "x", "b", "rx", "r b"}) {
        SetLastError(0);
        EXPECT_EQ(nullptr, _fdopen(descriptor, mode)) << mode;
        EXPECT_EQ(87u, GetLastError());
    }
    EXPECT_EQ(nullptr, _fdopen(descriptor, nullptr));
    EXPECT_EQ(0, OperatingSystem::close(descriptor));
}

TEST_F(DoorDescriptors, AnAppendingStreamWritesAtTheEndWhereverItStands) {
    for (const char* const mode : {"abc", "abc+"}) {
        const WideString path = directory.Make(u"f", "0123");
        std::FILE* const stream = _fdopen(OpenDescriptor(path, GenericRead | GenericWrite, OpenAlways), mode);
        ASSERT_NE(nullptr, stream);
        EXPECT_EQ(0, OperatingSystem::fseeko(stream, 0, FileBegin));
        EXPECT_EQ(1u, OperatingSystem::fwrite("4", 1, 1, stream));
        EXPECT_EQ(0, OperatingSystem::fflush(stream));
        {
            std::ofstream other(directory.Native(u"f"), std::ios::binary | std::ios::app);
            other << "5";
        }
        EXPECT_EQ(1u, OperatingSystem::fwrite("6", 1, 1, stream));
        EXPECT_EQ(0, OperatingSystem::fclose(stream));
        EXPECT_EQ("0123456", directory.Contents(u"f"));
    }
}

TEST_F(DoorDescriptors, AStreamModeMayAskForMoreThanTheDescriptorAllows) {
    std::FILE* stream = _fdopen(OpenDescriptor(directory.Path(u"f"), GenericWrite, CreateAlways), "rbc+");
    ASSERT_NE(nullptr, stream);
    EXPECT_EQ(3u, OperatingSystem::fwrite("abc", 1, 3, stream));
    EXPECT_EQ(0, OperatingSystem::fflush(stream));
    char byte = 0;
    SetLastError(0);
    EXPECT_EQ(0u, OperatingSystem::fread(&byte, 1, 1, stream));
    EXPECT_NE(0, OperatingSystem::ferror(stream));
    EXPECT_EQ(5u, GetLastError());
    OperatingSystem::fclose(stream);
    EXPECT_EQ("abc", directory.Contents(u"f"));

    stream = _fdopen(OpenDescriptor(directory.Path(u"f"), GenericRead, OpenExisting), "wb");
    ASSERT_NE(nullptr, stream);
    SetLastError(0);
    EXPECT_TRUE(OperatingSystem::fwrite("x", 1, 1, stream) != 1 || OperatingSystem::fflush(stream) != 0);
    EXPECT_EQ(5u, GetLastError());
    OperatingSystem::fclose(stream);
    EXPECT_EQ("abc", directory.Contents(u"f"));
}

TEST_F(DoorDescriptors, FgetsReadsALineWithItsLineFeedOrAsMuchAsFits) {
    std::FILE* const stream = _fdopen(
        OpenDescriptor(directory.Make(u"f", "one\nlonger\n\nlast"), GenericRead, OpenExisting), "rbc");
    char buffer[5];
    const auto next = [&] {
        return OperatingSystem::fgets(buffer, sizeof buffer, stream) != nullptr ? std::string(buffer)
                                                                                : std::string("end");
    };
    EXPECT_EQ("one\n", next());
    EXPECT_EQ("long", next());
    EXPECT_EQ("er\n", next());
    EXPECT_EQ("\n", next());
    EXPECT_EQ("last", next());
    EXPECT_EQ("end", next());
    EXPECT_EQ(0, OperatingSystem::ferror(stream));
    EXPECT_EQ(0, OperatingSystem::fclose(stream));
}

TEST(DoorSleep, LastsAtLeastAsLongAsAsked) {
    const auto start = std::chrono::steady_clock::now();
    Sleep(30);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(29));
}

TEST(DoorSleep, ZeroOnlyLetsOthersRun) {
    for (int i = 0; i < 1000; ++i) {
        Sleep(0);
    }
}

} // namespace

} // namespace OperatingSystem
