#include "FileSystem/Directories.h"

#include "Failure.h"
#include "FileSystem/TemporaryFiles.h"
#include "OperatingSystem/Directories.h"

#include <chrono>
#include <thread>

namespace KFileSystem {

namespace {

using FileTests::Failure;
using FileTests::FailureOf;
using FileTests::Narrow;
using FileTests::Prefixed;
using FileTests::Seen;
using FileTests::Wide;
using FileTests::WidePath;
using FileTests::WideString;
using FileTests::Wrapped;

using DirectoryOperations = FileTests::FileTest;

std::vector<std::string> Listed(const WideString& pattern) {
    std::vector<std::string> names;
    for (const WideString& name : ListDirectory(pattern.c_str())) {
        names.push_back(Narrow(name));
    }
    return names;
}

using Names = std::vector<std::string>;

TEST_F(DirectoryOperations, AListingIsSortedAndLeavesOutTheDots) {
    directory.Make(u"b.txt", "");
    directory.Make(u"a.txt", "");
    directory.Make(u"B", "");
    directory.Make(u".hidden", "");
    std::filesystem::create_directory(directory.Native(u"c"));
    EXPECT_EQ((Names{".hidden", "B", "a.txt", "b.txt", "c"}), Listed(directory.Path(u"*")));
    EXPECT_EQ((Names{"a.txt", "b.txt"}), Listed(directory.Path(u"*.txt")));
    EXPECT_EQ((Names{".hidden"}), Listed(directory.Path(u".*")));
}

TEST_F(DirectoryOperations, APatternThatMatchesNothingIsAnEmptyList) {
    EXPECT_EQ(Names{}, Listed(directory.Path(u"*")));
    EXPECT_EQ(Names{}, Listed(directory.Path(u"none?")));
    EXPECT_EQ(Names{}, Listed(directory.Path(u".")));
}

TEST_F(DirectoryOperations, ListingADirectoryThatIsNoneFails) {
    directory.Make(u"file", "");
    EXPECT_EQ(Wrapped(3, "Unable to find file"),
              FailureOf([&] { ListDirectory(directory.Path(u"none\\*").c_str()); }));
    EXPECT_EQ(Wrapped(267, "Unable to find file"),
              FailureOf([&] { ListDirectory(directory.Path(u"file\\*").c_str()); }));
    EXPECT_EQ(Wrapped(3, "Unable to find file"), FailureOf([] { ListDirectory(nullptr); }));
}

TEST_F(DirectoryOperations, NamesOfManyScriptsAreListedAsTheyAre) {
    for (const char16_t* const name :
         {u"\u30C6\u30B9\u30C8", u"\uD55C\uAE00", u"\u4E2D\u6587", u"\u0E44\u0E17\u0E22", u"\u05E2\u05D1",
          u"\u0639\u0631", u"\u03B5\u03BB", u"\u0440\u0443", u"\u011F\u0131", u"\u0105\u0161",
          u"\U0001F600"}) {
        directory.Make(name, "");
        EXPECT_EQ(Names{Narrow(Wide(name))}, Listed(directory.Path(name)));
        EXPECT_EQ(Names{Narrow(Wide(name))}, Listed(directory.Path(name) + Wide(u"*")));
        KBase::Message message;
        EXPECT_TRUE(TryDelete(directory.Path(name).c_str(), &message)) << message.what();
    }
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

TEST_F(DirectoryOperations, TheWorkingDirectoryIsTheOneThatWasSet) {
    const CurrentDirectory restored;
    SetCurrentWorkingDirectory(directory.Path().c_str());
    EXPECT_EQ(WidePath(std::filesystem::current_path()), GetCurrentWorkingDirectory());
}

TEST_F(DirectoryOperations, AWorkingDirectoryOfMoreThan260UnitsComesWhole) {
    const CurrentDirectory restored;
    const std::filesystem::path longPath =
        directory.Native() / std::string(200, 'a') / std::string(200, 'b') / std::string(200, 'c');
    std::filesystem::create_directories(longPath);
    SetCurrentWorkingDirectory(WidePath(longPath).c_str());
    EXPECT_EQ(WidePath(std::filesystem::current_path()), GetCurrentWorkingDirectory());
}

TEST_F(DirectoryOperations, SettingAMissingWorkingDirectoryNamesIt) {
    const WideString path = directory.Path(u"none");
    EXPECT_EQ(Prefixed(2, "KFileSystem::SetCurrentWorkingDirectory: ::SetCurrentDirectoryW failed for '" +
                              Narrow(path) + "'."),
              FailureOf([&] { SetCurrentWorkingDirectory(path.c_str()); }));
    EXPECT_THROW(SetCurrentWorkingDirectory(path.c_str()), KBase::ExceptionImpl<KBase::Message>);
}

TEST_F(DirectoryOperations, FreeSpaceIsTold) {
    GetFreeDiskSpace(directory.Path().c_str());
    const WideString path = directory.Path(u"none");
    EXPECT_EQ(Wrapped(2, "Failed to get disk free space for path " + Narrow(path) + "."),
              FailureOf([&] { GetFreeDiskSpace(path.c_str()); }));
}

TEST_F(DirectoryOperations, AttributesAreReadAndSet) {
    namespace System = OperatingSystem;
    const WideString path = directory.Make(u"f", "");
    SetAttributes(path.c_str(), System::FileAttributeReadOnly);
    EXPECT_NE(0u, GetAttributes(path.c_str()) & System::FileAttributeReadOnly);
    SetAttributes(path.c_str(), 0x80);
    EXPECT_EQ(0u, GetAttributes(path.c_str()) & System::FileAttributeReadOnly);
    EXPECT_NE(0u, GetAttributes(directory.Path().c_str()) & System::FileAttributeDirectory);

    const WideString none = directory.Path(u"none");
    EXPECT_EQ(Wrapped(2, "Failed to get attributes of file '" + Narrow(none) + "'."),
              FailureOf([&] { GetAttributes(none.c_str()); }));
    EXPECT_EQ(Wrapped(2, "Failed to set attributes of file '" + Narrow(none) + "'."),
              FailureOf([&] { SetAttributes(none.c_str(), 0); }));
    EXPECT_EQ(Wrapped(2, "Failed to get attributes of file '" + Narrow(none) + "'."),
              FailureOf([&] { GetLastModifiedTime(none.c_str()); }));
}

TEST_F(DirectoryOperations, TheLastModifiedTimeIsInUTC) {
    const WideString path = directory.Make(u"f", "");
    using std::filesystem::file_time_type;
    const auto now = std::chrono::system_clock::now();
    const std::chrono::sys_seconds wanted =
        std::chrono::sys_days(std::chrono::year(2004) / 2 / 29) + std::chrono::seconds(45296);
    std::filesystem::last_write_time(directory.Native(u"f"),
                                     file_time_type::clock::now() +
                                         std::chrono::duration_cast<file_time_type::duration>(wanted - now));
    const KDataType::DateTime time = GetLastModifiedTime(path.c_str());
    EXPECT_EQ(2004u, time.year);
    EXPECT_EQ(2u, time.month);
    EXPECT_EQ(29u, time.day);
    EXPECT_EQ(12u, time.hour);
    EXPECT_NEAR(34 * 60 + 56, static_cast<int>(time.minute * 60 + time.second), 2);
}

TEST_F(DirectoryOperations, MovingReplacesAnExistingFile) {
    const WideString source = directory.Make(u"f", "new");
    const WideString target = directory.Make(u"g", "old");
    Move(source.c_str(), target.c_str());
    EXPECT_EQ("new", directory.Contents(u"g"));
    EXPECT_FALSE(directory.Exists(u"f"));
    const std::string text = "Failed to move file '" + Narrow(source) + "' to '" + Narrow(target) + "'.";
    EXPECT_EQ(Wrapped(2, text), FailureOf([&] { Move(source.c_str(), target.c_str()); }));
}

TEST_F(DirectoryOperations, TryingToMoveDoesNotReplaceAndReportsWhy) {
    const WideString source = directory.Make(u"f", "new");
    const WideString target = directory.Make(u"g", "old");
    const std::string text = "Failed to move file '" + Narrow(source) + "' to '" + Narrow(target) + "'.";
    KBase::Message report;
    EXPECT_FALSE(TryMove(source.c_str(), target.c_str(), &report));
    EXPECT_EQ(Wrapped(183, text), Seen(report));
    EXPECT_FALSE(TryMove(source.c_str(), target.c_str(), nullptr));
    EXPECT_EQ("old", directory.Contents(u"g"));
    EXPECT_TRUE(TryMove(source.c_str(), directory.Path(u"h").c_str(), &report));
    EXPECT_EQ("new", directory.Contents(u"h"));
    EXPECT_EQ(Wrapped(183, text), Seen(report)); // success leaves the report as it was
}

TEST_F(DirectoryOperations, TryingToDeletePutsItsFailureInFrontOfTheReport) {
    const WideString path = directory.Make(u"f", "");
    EXPECT_TRUE(TryDelete(path.c_str(), nullptr));
    EXPECT_FALSE(TryDelete(path.c_str(), nullptr));
    KBase::Message report(KBase::MESSAGE_DOMAIN_UNKNOWN, 77, Wide(u"earlier").c_str());
    EXPECT_FALSE(TryDelete(path.c_str(), &report));
    const Failure expected = Wrapped(2, "Failed to delete file '" + Narrow(path) + "'.");
    EXPECT_EQ((Failure{expected.domain, expected.id, expected.text + "\nearlier"}), Seen(report));
}

TEST(TemporaryFiles, ATemporaryFileLiesInTheTemporaryDirectoryAndIsEmpty) {
    const WideString directory = GetTemporaryDirectory();
    ASSERT_FALSE(directory.empty());
    EXPECT_EQ('\\', directory.back());
    const WideString first = CreateTemporaryFile(Wide(u"kfstest").c_str());
    const WideString second = CreateTemporaryFile(Wide(u"kfstest").c_str());
    EXPECT_NE(first, second);
    EXPECT_TRUE(first.starts_with(directory + Wide(u"kfs"))) << Narrow(first);
    EXPECT_EQ(0u, GetAttributes(first.c_str()) & OperatingSystem::FileAttributeDirectory);
    EXPECT_TRUE(TryDelete(first.c_str(), nullptr));
    EXPECT_TRUE(TryDelete(second.c_str(), nullptr));
}

} // namespace

} // namespace KFileSystem
