#include "FileSystem/HandleFile.h"

#include "Failure.h"
#include "FileSystem/ReadableFile.h"
#include "OperatingSystem/Files.h"

#include <chrono>
#include <future>
#include <vector>

namespace KFileSystem {

namespace {

using FileTests::Failure;
using FileTests::FailureOf;
using FileTests::Narrow;
using FileTests::Prefixed;
using FileTests::Wide;
using FileTests::WideString;
using FileTests::Wrapped;

using HandleFiles = FileTests::FileTest;

namespace System = OperatingSystem;

class Opened {
public:
    Opened(const WideString& path, std::uint32_t access)
        : handle(System::CreateFileW(path.c_str(), access,
                                     System::ShareRead | System::ShareWrite | System::ShareDelete,
                                     System::OpenAlways, 0)) {}
    Opened(const Opened&) = delete;
    Opened& operator=(const Opened&) = delete;
    ~Opened() { System::CloseHandle(handle); }
    operator Handle() const { return handle; }

private:
    Handle handle;
};

constexpr std::size_t MiB = 1048576;

TEST_F(HandleFiles, WritingReadingMovingAndTruncatingWork) {
    const WideString path = directory.Path(u"f");
    const WideString name = Wide(u"n");
    std::string bytes(2 * MiB + 10, 'x');
    bytes[MiB] = 'y';
    Opened file(path, System::GenericRead | System::GenericWrite);
    WriteHandle(file, name.c_str(), bytes.data(), bytes.size());
    WriteHandle(file, name.c_str(), nullptr, 0);
    EXPECT_EQ(bytes.size(), GetHandlePosition(file, name.c_str()));
    SetHandlePosition(file, name.c_str(), 0);
    std::string back(bytes.size() + 100, 0);
    EXPECT_EQ(bytes.size(), ReadHandle(file, name.c_str(), back.data(), back.size()));
    EXPECT_EQ(bytes, back.substr(0, bytes.size()));
    SetHandlePosition(file, name.c_str(), 5);
    TruncateHandle(file, name.c_str());
    FlushHandle(file, name.c_str());
    EXPECT_EQ("xxxxx", directory.Contents(u"f"));
}

TEST_F(HandleFiles, NoHandleFailsWithTheTextOfEachOperation) {
    static constexpr Handle closed = 987654;
    static const WideString name = Wide(u"the name");
    struct Row {
        const char* text;
        void (*operation)();
    };
    const Row rows[] = {
        {"Failed to write 3 bytes to file 'the name'.",
         [] {
             WriteHandle(closed, name.c_str(), "abc", 3);
         }},
        {"Failed to read 3 bytes from file 'the name'.",
         [] {
             char buffer[3];
             ReadHandle(closed, name.c_str(), buffer, 3);
         }},
        {"Failed to read 3 bytes from file 'the name'.",
         [] {
             char buffer[3];
             ReadHandleExactly(closed, name.c_str(), buffer, 3);
         }},
        {"Failed to flush file 'the name'.",
         [] {
             FlushHandle(closed, name.c_str());
         }},
        {"Failed to truncate file 'the name'.",
         [] {
             TruncateHandle(closed, name.c_str());
         }},
        {"Failed to get current position of file 'the name'.",
         [] {
             GetHandlePosition(closed, name.c_str());
         }},
        {"Failed to set current position of file 'the name'.",
         [] {
             SetHandlePosition(closed, name.c_str(), 1);
         }},
        {"Failed to close handle of file 'the name'.",
         [] {
             CloseHandleOf(closed, name.c_str());
         }},
        {"Failed to lock file 'the name'.",
         [] {
             LockHandle(closed, name.c_str(), true, true);
         }},
        {"Failed to lock file 'the name'.",
         [] {
             LockHandle(closed, name.c_str(), false, false);
         }},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(Wrapped(6, row.text), FailureOf(row.operation));
    }
}

TEST_F(HandleFiles, AFailingPieceIsNamedByTheSizeThatWasAskedFor) {
    const WideString path = directory.Make(u"f", "abc");
    std::vector<char> buffer(3 * MiB);
    Opened writer(path, System::GenericWrite);
    EXPECT_EQ(Wrapped(5, "Failed to read 1048576 bytes from file 'n'."), FailureOf([&] {
                  ReadHandleExactly(writer, Wide(u"n").c_str(), buffer.data(), buffer.size());
              }));
    EXPECT_EQ(Wrapped(5, "Failed to read 7 bytes from file 'n'."),
              FailureOf([&] { ReadHandleExactly(writer, Wide(u"n").c_str(), buffer.data(), 7); }));
    Opened reader(path, System::GenericRead);
    EXPECT_EQ(Wrapped(5, "Failed to write 1048576 bytes to file 'n'."),
              FailureOf([&] { WriteHandle(reader, Wide(u"n").c_str(), buffer.data(), buffer.size()); }));
}

TEST_F(HandleFiles, AShortReadIsNamedByTheBytesMissingFromItsPiece) {
    struct Row {
        std::size_t size;
        std::size_t count;
        const char* missing;
    };
    const Row rows[] = {
        {10, 40960, "40950"},
        {0, 1, "1"},
        {0, 3 * MiB, "1048576"},
        {MiB, MiB + 5, "5"},                // the first piece is whole
        {MiB + MiB / 2, 3 * MiB, "524288"}, // the second piece is cut
        {2 * MiB, 3 * MiB, "1048576"},
        {2 * MiB - 1, 2 * MiB, "1"},
    };
    for (const Row& row : rows) {
        const WideString path = directory.Make(u"f", std::string(row.size, 'x'));
        std::vector<char> buffer(row.count);
        const Failure expected{KBase::MESSAGE_DOMAIN_SERVER, 0x12345678,
                               std::string("Failed to read ") + row.missing + " bytes from file '" +
                                   Narrow(path) + "'."};
        const KBase::ReturnPtr<ReadableFile> file = CreateReadableFile(path.c_str());
        EXPECT_EQ(expected, FailureOf([&] { file->Read(buffer.data(), buffer.size()); }));
    }
}

TEST_F(HandleFiles, ANameWithPlaceholdersIsShownAsItIs) {
    EXPECT_EQ("Failed to read 3 bytes from file '%1 %2'.", FailureOf([] {
                                                               char buffer[3];
                                                               ReadHandle(987654, Wide(u"%1 %2").c_str(),
                                                                          buffer, 3);
                                                           }).text.substr(0, 41));
}

TEST_F(HandleFiles, TryingALockThatIsHeldElsewhereGivesFalse) {
    const WideString path = directory.Make(u"f", "abc");
    const WideString name = Wide(u"n");
    Opened first(path, System::GenericRead);
    Opened second(path, System::GenericRead);
    EXPECT_TRUE(LockHandle(first, name.c_str(), true, true));
    EXPECT_FALSE(LockHandle(second, name.c_str(), true, true));
    EXPECT_FALSE(LockHandle(second, name.c_str(), false, true));
    UnlockHandle(first);
    EXPECT_TRUE(LockHandle(first, name.c_str(), false, true));
    EXPECT_TRUE(LockHandle(second, name.c_str(), false, false));
    EXPECT_FALSE(LockHandle(second, name.c_str(), true, true));
    UnlockHandle(first);
    EXPECT_TRUE(LockHandle(second, name.c_str(), true, false));
}

TEST_F(HandleFiles, WaitingForALockEndsWhenItIsGivenBack) {
    const WideString path = directory.Make(u"f", "abc");
    for (const bool exclusive : {true, false}) {
        Opened first(path, System::GenericRead);
        EXPECT_TRUE(LockHandle(first, Wide(u"n").c_str(), true, false));
        std::future<bool> waiting = std::async(std::launch::async, [&] {
            Opened second(path, System::GenericRead);
            return LockHandle(second, Wide(u"n").c_str(), exclusive, false);
        });
        EXPECT_EQ(std::future_status::timeout, waiting.wait_for(std::chrono::milliseconds(50)));
        UnlockHandle(first);
        ASSERT_EQ(std::future_status::ready, waiting.wait_for(std::chrono::seconds(20)));
        EXPECT_TRUE(waiting.get());
    }
}

using ReadableFiles = FileTests::FileTest;

TEST_F(ReadableFiles, ReadingGoesOnWhereItEnded) {
    std::string bytes(3 * MiB + 7, 'a');
    for (std::size_t i = 0; i < bytes.size(); i += 4099) {
        bytes[i] = static_cast<char>('a' + i % 26);
    }
    const KBase::ReturnPtr<ReadableFile> file = CreateReadableFile(directory.Make(u"f", bytes).c_str());
    std::string back(bytes.size(), 0);
    file->Read(back.data(), 7);
    file->Read(nullptr, 0);
    file->Read(back.data() + 7, 3 * MiB);
    EXPECT_EQ(bytes, back);
    file->Read(nullptr, 0); // at the end, too
}

TEST_F(ReadableFiles, OpeningNamesTheFileAndTheSystemsReason) {
    const WideString path = directory.Path(u"none");
    EXPECT_EQ(Prefixed(2, "KFileSystem::ReadableFileImpl::ReadableFileImpl: ::CreateFileW failed for '" +
                              Narrow(path) + "'."),
              FailureOf([&] { CreateReadableFile(path.c_str()); }));
    EXPECT_THROW(CreateReadableFile(path.c_str()), KBase::ExceptionImpl<KBase::Message>);
    EXPECT_EQ(3, FailureOf([] { CreateReadableFile(nullptr); }).id);
}

TEST_F(ReadableFiles, TheSizeByPathIsModulo2To32) {
    EXPECT_EQ(3u, GetFileSize(directory.Make(u"f", "abc").c_str()));
    std::error_code error;
    directory.Make(u"big", "");
    std::filesystem::resize_file(directory.Native(u"big"), 4294967297u, error);
    if (error) {
        GTEST_SKIP() << "the file system takes no file of 4 GiB: " << error.message();
    }
    EXPECT_EQ(1u, GetFileSize(directory.Path(u"big").c_str()));
    std::filesystem::resize_file(directory.Native(u"big"), std::uintmax_t{2} << 30);
    EXPECT_EQ(2147483648u, GetFileSize(directory.Path(u"big").c_str()));
    std::filesystem::resize_file(directory.Native(u"big"), std::uintmax_t{5} << 30);
    EXPECT_EQ(1073741824u, GetFileSize(directory.Path(u"big").c_str()));
}

TEST_F(ReadableFiles, TheSizeOfAMissingFileNamesIt) {
    const WideString path = directory.Path(u"none");
    EXPECT_EQ(Wrapped(2, "Failed to get size of file '" + Narrow(path) + "'."),
              FailureOf([&] { GetFileSize(path.c_str()); }));
    EXPECT_EQ(Wrapped(3, "Failed to get size of file ''."), FailureOf([] { GetFileSize(nullptr); }));
}

} // namespace

} // namespace KFileSystem
