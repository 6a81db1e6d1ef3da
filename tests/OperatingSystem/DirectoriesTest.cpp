// The door's directories: listings, the current directory, temporary files, attributes, moving, deleting.
// Nothing here depends on which implementation stands behind.

#include "OperatingSystem/Directories.h"

#include "FileSystem/TestDirectory.h"
#include "OperatingSystem/Environment.h"
#include "OperatingSystem/Files.h"
#include "OperatingSystem/LastError.h"

#include <algorithm>
#include <set>
#include <thread>
#include <vector>

namespace OperatingSystem {

namespace {

using FileTests::FileTest;
using FileTests::Narrow;
using FileTests::Wide;
using FileTests::WidePath;
using FileTests::WideString;

// The names that a pattern finds, sorted and in UTF-8.
std::vector<std::string> Found(const WideString& pattern) {
    std::vector<std::string> names;
    FindData data;
    const Handle search = FindFirstFileW(pattern.c_str(), &data);
    if (search == InvalidHandle) {
        EXPECT_EQ(2u, GetLastError());
        return names;
    }
    do {
        names.push_back(Narrow(data.name));
    } while (FindNextFileW(search, &data));
    EXPECT_EQ(18u, GetLastError());
    EXPECT_TRUE(FindClose(search));
    std::sort(names.begin(), names.end());
    return names;
}

using Names = std::vector<std::string>;
using DoorDirectories = FileTest;

TEST_F(DoorDirectories, APatternFindsEachMatchingNameOnce) {
    for (const std::u16string_view name : {u"a.txt", u"b.txt", u"ab", u"abc.dat", u"x.tar.gz"}) {
        directory.Make(name, "");
    }
    std::filesystem::create_directory(directory.Native(u"sub"));
    struct Row {
        const char16_t* pattern;
        Names names;
    };
    const Row rows[] = {
        {u"*", {".", "..", "a.txt", "ab", "abc.dat", "b.txt", "sub", "x.tar.gz"}},
        {u"*.*", {".", "..", "a.txt", "ab", "abc.dat", "b.txt", "sub", "x.tar.gz"}}, // dot or no dot
        {u"*.txt", {"a.txt", "b.txt"}},
        {u"?.txt", {"a.txt", "b.txt"}},
        {u"a*", {"a.txt", "ab", "abc.dat"}},
        {u"?b", {"ab"}},
        {u"a?c.dat", {"abc.dat"}},
        {u"?a*", {}},
        {u"*b*", {"ab", "abc.dat", "b.txt", "sub"}},
        {u"*.gz", {"x.tar.gz"}},
        {u"x*r*z", {"x.tar.gz"}},
        {u"*a*a*", {"abc.dat"}},
        {u"sub", {"sub"}},
        {u"a.txt", {"a.txt"}},
        {u"none", {}},
        {u"*.none", {}},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(row.names, Found(directory.Path(row.pattern))) << Narrow(Wide(row.pattern));
    }
}

TEST_F(DoorDirectories, APatternOfManyStarsTakesNoLongTime) {
    directory.Make(std::u16string(200, u'a'), "");
    std::u16string pattern;
    for (int i = 0; i < 90; ++i) {
        pattern += u"*a";
    }
    EXPECT_EQ(Names{}, Found(directory.Path(pattern + u"*b")));
    EXPECT_EQ(1u, Found(directory.Path(pattern + u"*")).size());
}

TEST_F(DoorDirectories, ManyEntriesComeOnceEach) {
    for (int i = 0; i < 1000; ++i) {
        std::ofstream(directory.Native() / ("file" + std::to_string(i)));
    }
    const Names names = Found(directory.Path(u"file*"));
    EXPECT_EQ(1000u, names.size());
    EXPECT_EQ(1000u, std::set<std::string>(names.begin(), names.end()).size());
}

TEST_F(DoorDirectories, ASearchNamesItsFailureByTheWindowsNumber) {
    FindData data;
    const auto error = [&](const WideString& pattern) {
        SetLastError(0);
        EXPECT_EQ(InvalidHandle, FindFirstFileW(pattern.c_str(), &data));
        return GetLastError();
    };
    directory.Make(u"file", "");
    EXPECT_EQ(2u, error(directory.Path(u"none*")));
    EXPECT_EQ(2u, error(directory.Path(u"")));
    EXPECT_EQ(3u, error(directory.Path(u"none\\*")));
    EXPECT_EQ(3u, error(directory.Path(u"file\\below\\*")));
    EXPECT_EQ(267u, error(directory.Path(u"file\\*")));
    EXPECT_EQ(3u, error(Wide(u"")));
    EXPECT_EQ(InvalidHandle, FindFirstFileW(nullptr, &data));
    EXPECT_EQ(3u, GetLastError());
    EXPECT_FALSE(FindClose(InvalidHandle));
    EXPECT_EQ(6u, GetLastError());
    EXPECT_FALSE(FindNextFileW(InvalidHandle, &data));
    EXPECT_EQ(6u, GetLastError());
}

// Puts the current directory back at the end of a test.
class CurrentDirectory {
public:
    CurrentDirectory() : before(std::filesystem::current_path()) {}
    CurrentDirectory(const CurrentDirectory&) = delete;
    CurrentDirectory& operator=(const CurrentDirectory&) = delete;
    ~CurrentDirectory() { std::filesystem::current_path(before); }

private:
    std::filesystem::path before;
};

TEST_F(DoorDirectories, TheCurrentDirectoryIsTheOneThatWasSet) {
    const CurrentDirectory restored;
    std::filesystem::create_directory(directory.Native(u"\u65E5\u672C"));
    directory.Make(u"file", "");
    ASSERT_TRUE(SetCurrentDirectoryW(directory.Path(u"\u65E5\u672C").c_str()));
    const WideString expected = WidePath(std::filesystem::current_path());
    wchar16 buffer[1000];
    EXPECT_EQ(expected.size(), GetCurrentDirectoryW(1000, buffer));
    EXPECT_EQ(expected, buffer);
    const auto exact = static_cast<std::uint32_t>(expected.size() + 1);
    EXPECT_EQ(exact - 1, GetCurrentDirectoryW(exact, buffer));
    EXPECT_EQ(exact, GetCurrentDirectoryW(exact - 1, buffer));
    EXPECT_EQ(exact, GetCurrentDirectoryW(0, nullptr));

    EXPECT_FALSE(SetCurrentDirectoryW(directory.Path(u"none").c_str()));
    EXPECT_EQ(2u, GetLastError());
    EXPECT_FALSE(SetCurrentDirectoryW(directory.Path(u"file").c_str()));
    EXPECT_EQ(267u, GetLastError());
    EXPECT_FALSE(SetCurrentDirectoryW(nullptr));
    EXPECT_EQ(3u, GetLastError());
    EXPECT_EQ(expected, WidePath(std::filesystem::current_path()));
}

TEST_F(DoorDirectories, TheTemporaryDirectoryEndsWithASeparator) {
    wchar16 buffer[MaxPath];
    const std::uint32_t length = GetTempPathW(MaxPath, buffer);
    ASSERT_GT(length, 0u);
    ASSERT_LT(length, MaxPath);
    EXPECT_EQ('\\', buffer[length - 1]);
    EXPECT_EQ(0, buffer[length]);
    EXPECT_EQ(length + 1, GetTempPathW(length, buffer));
}

TEST_F(DoorDirectories, ATemporaryFileIsNewAndNamedByThreeCharacters) {
    std::set<WideString> names;
    for (int i = 0; i < 50; ++i) {
        wchar16 name[MaxPath];
        ASSERT_NE(0u, GetTempFileNameW(directory.Path().c_str(), Wide(u"prefix").c_str(), 0, name));
        EXPECT_TRUE(WideString(name).starts_with(directory.Path(u"pre"))) << Narrow(name);
        EXPECT_FALSE(WideString(name).starts_with(directory.Path(u"pref")) &&
                     WideString(name).starts_with(directory.Path(u"prefi")));
        names.insert(name);
    }
    EXPECT_EQ(50u, names.size());
    EXPECT_EQ(50u, Found(directory.Path(u"pre*")).size());
}

TEST_F(DoorDirectories, ATemporaryFileNamesItsFailureByTheWindowsNumber) {
    wchar16 name[MaxPath];
    const WideString prefix = Wide(u"p");
    EXPECT_EQ(0u, GetTempFileNameW(directory.Path(u"none").c_str(), prefix.c_str(), 0, name));
    EXPECT_EQ(267u, GetLastError());
    EXPECT_EQ(0u, GetTempFileNameW(directory.Make(u"file", "").c_str(), prefix.c_str(), 0, name));
    EXPECT_EQ(267u, GetLastError());
    EXPECT_NE(0u, GetTempFileNameW(directory.Path().c_str(), nullptr, 0, name));
}

TEST_F(DoorDirectories, APrefixIsNotCutInsideACharacter) {
    wchar16 name[MaxPath];
    ASSERT_NE(0u, GetTempFileNameW(directory.Path().c_str(), Wide(u"ab\U0001F600").c_str(), 0, name));
    EXPECT_TRUE(WideString(name).starts_with(directory.Path(u"ab")));
    ASSERT_NE(0u, GetTempFileNameW(directory.Path().c_str(), Wide(u"a\U0001F600").c_str(), 0, name));
    EXPECT_TRUE(WideString(name).starts_with(directory.Path(u"a\U0001F600")));
}

TEST_F(DoorDirectories, FreeSpaceIsAtMostTheWhole) {
    std::uint64_t forCaller = 0;
    std::uint64_t total = 0;
    std::uint64_t free = 0;
    ASSERT_TRUE(GetDiskFreeSpaceExW(directory.Path().c_str(), &forCaller, &total, &free));
    EXPECT_GT(total, 0u);
    EXPECT_LE(free, total);
    EXPECT_LE(forCaller, total);
    EXPECT_TRUE(GetDiskFreeSpaceExW(directory.Path().c_str(), nullptr, nullptr, nullptr));
    EXPECT_FALSE(GetDiskFreeSpaceExW(directory.Path(u"none\\x").c_str(), &free, nullptr, nullptr));
    EXPECT_EQ(3u, GetLastError());
}

TEST_F(DoorDirectories, AttributesTellSizeKindAndTheRightToWrite) {
    const WideString file = directory.Make(u"f", "abc");
    FileAttributeData data{};
    ASSERT_TRUE(GetFileAttributesExW(file.c_str(), &data));
    EXPECT_EQ(0u, data.fileAttributes & (FileAttributeDirectory | FileAttributeReadOnly));
    EXPECT_EQ(3u, data.fileSizeLow);
    EXPECT_EQ(0u, data.fileSizeHigh);
    ASSERT_TRUE(SetFileAttributesW(file.c_str(), FileAttributeReadOnly));
    ASSERT_TRUE(GetFileAttributesExW(file.c_str(), &data));
    EXPECT_NE(0u, data.fileAttributes & FileAttributeReadOnly);
    ASSERT_TRUE(SetFileAttributesW(file.c_str(), FileAttributeNormal));
    ASSERT_TRUE(GetFileAttributesExW(file.c_str(), &data));
    EXPECT_EQ(0u, data.fileAttributes & FileAttributeReadOnly);
    ASSERT_TRUE(GetFileAttributesExW(directory.Path().c_str(), &data));
    EXPECT_NE(0u, data.fileAttributes & FileAttributeDirectory);
    EXPECT_FALSE(GetFileAttributesExW(directory.Path(u"none").c_str(), &data));
    EXPECT_EQ(2u, GetLastError());
    EXPECT_FALSE(SetFileAttributesW(directory.Path(u"none\\x").c_str(), 0));
    EXPECT_EQ(3u, GetLastError());
}

TEST_F(DoorDirectories, MovingRenamesAFileAndADirectory) {
    const WideString file = directory.Make(u"f", "abc");
    EXPECT_TRUE(MoveFileExW(file.c_str(), directory.Path(u"g").c_str(), 0));
    EXPECT_FALSE(directory.Exists(u"f"));
    EXPECT_EQ("abc", directory.Contents(u"g"));
    std::filesystem::create_directory(directory.Native(u"d"));
    directory.Make(u"d/inside", "x");
    EXPECT_TRUE(MoveFileExW(directory.Path(u"d").c_str(), directory.Path(u"e").c_str(), 0));
    EXPECT_EQ("x", directory.Contents(u"e/inside"));
}

TEST_F(DoorDirectories, MovingReplacesOnlyWhenTold) {
    const WideString source = directory.Make(u"f", "new");
    const WideString target = directory.Make(u"g", "old");
    EXPECT_FALSE(MoveFileExW(source.c_str(), target.c_str(), 0));
    EXPECT_EQ(183u, GetLastError());
    EXPECT_EQ("old", directory.Contents(u"g"));
    EXPECT_EQ("new", directory.Contents(u"f"));
    EXPECT_TRUE(MoveFileExW(source.c_str(), target.c_str(), MoveFileReplaceExisting | MoveFileWriteThrough));
    EXPECT_EQ("new", directory.Contents(u"g"));
    EXPECT_FALSE(directory.Exists(u"f"));
}

TEST_F(DoorDirectories, ADirectoryIsNeverReplaced) {
    const WideString file = directory.Make(u"f", "x");
    std::filesystem::create_directory(directory.Native(u"d"));
    EXPECT_FALSE(MoveFileExW(file.c_str(), directory.Path(u"d").c_str(), 0));
    EXPECT_EQ(183u, GetLastError());
    EXPECT_FALSE(MoveFileExW(file.c_str(), directory.Path(u"d").c_str(), MoveFileReplaceExisting));
    EXPECT_EQ(5u, GetLastError());
    std::filesystem::create_directory(directory.Native(u"e"));
    EXPECT_FALSE(
        MoveFileExW(directory.Path(u"e").c_str(), directory.Path(u"d").c_str(), MoveFileReplaceExisting));
    EXPECT_EQ(5u, GetLastError());
    EXPECT_FALSE(MoveFileExW(directory.Path(u"e").c_str(), file.c_str(), MoveFileReplaceExisting));
    EXPECT_EQ(5u, GetLastError());
    EXPECT_EQ("x", directory.Contents(u"f"));
}

TEST_F(DoorDirectories, MovingAFileToItselfChangesNothing) {
    const WideString file = directory.Make(u"f", "abc");
    for (const std::uint32_t flags : {0u, MoveFileReplaceExisting}) {
        EXPECT_TRUE(MoveFileExW(file.c_str(), file.c_str(), flags));
        EXPECT_TRUE(MoveFileExW(file.c_str(), directory.Path(u".\\f").c_str(), flags));
        EXPECT_EQ("abc", directory.Contents(u"f"));
    }
}

TEST_F(DoorDirectories, MovingNamesItsFailureByTheWindowsNumber) {
    const WideString file = directory.Make(u"f", "abc");
    EXPECT_FALSE(MoveFileExW(directory.Path(u"none").c_str(), directory.Path(u"g").c_str(), 0));
    EXPECT_EQ(2u, GetLastError());
    EXPECT_FALSE(MoveFileExW(directory.Path(u"none\\x").c_str(), directory.Path(u"g").c_str(), 0));
    EXPECT_EQ(3u, GetLastError());
    EXPECT_FALSE(MoveFileExW(file.c_str(), directory.Path(u"none\\g").c_str(), 0));
    EXPECT_EQ(3u, GetLastError());
    EXPECT_FALSE(MoveFileExW(nullptr, file.c_str(), 0));
    EXPECT_EQ(3u, GetLastError());
    EXPECT_TRUE(directory.Exists(u"f"));
}

TEST_F(DoorDirectories, OfManyMovesToOneTargetExactlyOneSucceeds) {
    for (int round = 0; round < 20; ++round) {
        constexpr int movers = 4;
        std::vector<std::thread> threads;
        std::atomic<int> moved{0};
        for (int i = 0; i < movers; ++i) {
            const WideString source =
                directory.Make(u"source" + std::u16string(1, static_cast<char16_t>(u'0' + i)), "x");
            threads.emplace_back([source, &moved, this] {
                if (MoveFileExW(source.c_str(), directory.Path(u"target").c_str(), 0)) {
                    ++moved;
                } else {
                    EXPECT_EQ(183u, GetLastError());
                }
            });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
        EXPECT_EQ(1, moved);
        EXPECT_EQ(movers - 1u, Found(directory.Path(u"source*")).size());
        EXPECT_TRUE(DeleteFileW(directory.Path(u"target").c_str()));
    }
}

TEST_F(DoorDirectories, DeletingTakesFilesOnly) {
    const WideString file = directory.Make(u"f", "abc");
    EXPECT_TRUE(DeleteFileW(file.c_str()));
    EXPECT_FALSE(directory.Exists(u"f"));
    EXPECT_FALSE(DeleteFileW(file.c_str()));
    EXPECT_EQ(2u, GetLastError());
    std::filesystem::create_directory(directory.Native(u"d"));
    EXPECT_FALSE(DeleteFileW(directory.Path(u"d").c_str()));
    EXPECT_EQ(5u, GetLastError());
    EXPECT_FALSE(DeleteFileW(directory.Path(u"none\\f").c_str()));
    EXPECT_EQ(3u, GetLastError());
    EXPECT_FALSE(DeleteFileW(nullptr));
    EXPECT_EQ(3u, GetLastError());
}

TEST(DoorEnvironment, AVariableThatIsNotSetFailsWith203) {
    wchar16 buffer[10];
    EXPECT_EQ(0u, GetEnvironmentVariableW("KCODEPAGE_NO_SUCH_VARIABLE", buffer, 10));
    EXPECT_EQ(203u, GetLastError());
}

} // namespace

} // namespace OperatingSystem
