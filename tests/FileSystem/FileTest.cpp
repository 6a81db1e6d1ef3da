#include "FileSystem/File.h"

#include "Failure.h"
#include "FileSystem/OpenModes.h"
#include "OperatingSystem/CRuntime.h"
#include "OperatingSystem/Files.h"

#include <chrono>
#include <cstring>
#include <future>
#include <memory>

namespace KFileSystem {

namespace {

using FileTests::Failure;
using FileTests::FailureOf;
using FileTests::Narrow;
using FileTests::Prefixed;
using FileTests::Wide;
using FileTests::WideString;

using FileOperations = FileTests::FileTest;

constexpr int closedDescriptor = 987654;

struct StreamClose {
    void operator()(std::FILE* stream) const { OperatingSystem::fclose(stream); }
};
using Stream = std::unique_ptr<std::FILE, StreamClose>;

Stream Open(const WideString& path, int mode) {
    return Stream(File::OpenStream(path.c_str(), mode, File::ShareByMode));
}

class Descriptor {
public:
    Descriptor(const WideString& path, int mode)
        : number(File::OpenDescriptor(path.c_str(), mode, File::ShareByMode)) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() { File::Close(number); }
    operator int() const { return number; }

private:
    int number;
};

TEST_F(FileOperations, EachModeTreatsMissingAndExistingFilesItsOwnWay) {
    struct Row {
        int mode;
        bool mustExist;
        const char* afterOpening; // of a file that held "0123"
        bool writes;
        bool reads;
    };
    const Row rows[] = {
        {File::ModeRead, true, "0123", false, true},
        {File::ModeWrite, false, "", true, false},
        {File::ModeAppend, false, "0123", true, false},
        {File::ModeUpdate, true, "0123", true, true},
        {File::ModeCreateUpdate, false, "", true, true},
        {File::ModeAppendUpdate, false, "0123", true, true},
        {File::ModeCreateWriteOnly, false, "", true, false},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.mode);
        std::filesystem::remove(directory.Native(u"missing"));
        const WideString missing = directory.Path(u"missing");
        if (row.mustExist) {
            EXPECT_EQ(2, FailureOf([&] { Open(missing, row.mode); }).id);
        } else {
            Open(missing, row.mode);
        }
        EXPECT_EQ(!row.mustExist, directory.Exists(u"missing"));

        const WideString path = directory.Make(u"existing", "0123");
        const Stream stream = Open(path, row.mode);
        EXPECT_EQ(row.afterOpening, directory.Contents(u"existing"));
        bool written = true;
        try {
            File::Write(stream.get(), "x", 1);
            File::Flush(stream.get());
        } catch (const KBase::Message& message) {
            EXPECT_EQ(5, message.GetID());
            written = false;
        }
        EXPECT_EQ(row.writes, written);

        const Stream again = Open(directory.Make(u"existing", "0123"), row.mode);
        KDataType::Binary buffer(4);
        if (row.reads) {
            EXPECT_EQ(std::strlen(row.afterOpening), File::Read(again.get(), &buffer, 4));
        } else {
            EXPECT_EQ(Prefixed(5, "KFileSystem::File::Read: ::fread failed."),
                      FailureOf([&] { File::Read(again.get(), &buffer, 4); }));
        }
    }
}

TEST_F(FileOperations, AModeAboveSixFailsAsTheSystemsRefusal) {
    const WideString path = directory.Make(u"f", "abc");
    for (const int mode : {7, 100, -1}) {
        const Failure expected = Prefixed(
            87, "KFileSystem::File::OpenDescriptor: ::CreateFileW failed for '" + Narrow(path) + "'.");
        EXPECT_EQ(expected, FailureOf([&] { File::OpenDescriptor(path.c_str(), mode, 0); }));
        EXPECT_EQ(expected, FailureOf([&] { File::OpenStream(path.c_str(), mode, 0); }));
    }
    EXPECT_EQ("abc", directory.Contents(u"f"));
}

TEST(FileArguments, EachModeAsksForItsAccessDispositionAndStreamMode) {
    struct Row {
        int mode;
        std::uint32_t access;
        std::uint32_t disposition;
        const char* streamMode;
    };
    constexpr std::uint32_t read = 0x80000000u;
    constexpr std::uint32_t write = 0x40000000u;
    const Row rows[] = {
        {0, read, 3, "rbc"},
        {1, write, 2, "wbc"},
        {2, write, 4, "abc"},
        {3, read | write, 3, "rbc+"},
        {4, read | write, 2, "wbc+"},
        {5, read | write, 4, "abc+"},
        {6, write, 2, "rbc+"},
        {7, 0, 0, ""},
        {-1, 0, 0, ""},
    };
    for (const Row& row : rows) {
        for (const int sharing : {0, 1, 2, 3, 4, -1}) {
            const OpenArguments arguments = OpenArgumentsOf(row.mode, sharing);
            EXPECT_EQ(row.access, arguments.access) << row.mode;
            EXPECT_EQ(row.disposition, arguments.disposition) << row.mode;
            EXPECT_STREQ(row.streamMode, arguments.streamMode) << row.mode;
            const std::uint32_t share[] = {row.mode == 0 ? 3u : 1u, 0, 1, 3};
            EXPECT_EQ(sharing >= 0 && sharing <= 3 ? share[sharing] : 0, arguments.share)
                << row.mode << " " << sharing;
        }
    }
}

TEST_F(FileOperations, EverySharingArgumentOpens) {
    const WideString path = directory.Make(u"f", "abc");
    for (const int sharing : {0, 1, 2, 3, 4, -1}) {
        for (const int mode : {0, 3}) {
            File::Close(File::OpenStream(path.c_str(), mode, sharing));
        }
    }
}

TEST_F(FileOperations, OpeningAMissingFileNamesItAndTheSystemsReason) {
    const WideString path = directory.Path(u"none");
    const Failure expected{KBase::MESSAGE_DOMAIN_UNKNOWN, 2,
                           "KFileSystem::File::OpenDescriptor: ::CreateFileW failed for '" + Narrow(path) +
                               "'.\nThe file does not exist."};
    EXPECT_EQ(expected, FailureOf([&] { File::OpenDescriptor(path.c_str(), 0, 0); }));
    EXPECT_EQ(expected, FailureOf([&] { File::OpenStream(path.c_str(), 0, 0); }));
    EXPECT_EQ(Prefixed(3, "KFileSystem::File::OpenDescriptor: ::CreateFileW failed for ''."),
              FailureOf([] { File::OpenDescriptor(nullptr, 0, 0); }));
    EXPECT_THROW(File::OpenDescriptor(path.c_str(), 0, 0), KBase::ExceptionImpl<KBase::Message>);
}

TEST_F(FileOperations, OpeningADirectoryIsDenied) {
    EXPECT_EQ(5, FailureOf([&] { Open(directory.Path(), File::ModeRead); }).id);
    EXPECT_EQ(5, FailureOf([&] { Open(directory.Path(), File::ModeWrite); }).id);
}

TEST_F(FileOperations, AppendingStreamsWriteAtTheEndAlways) {
    for (const int mode : {File::ModeAppend, File::ModeAppendUpdate}) {
        const WideString path = directory.Make(u"f", "0123");
        const Stream stream = Open(path, mode);
        File::SetPosition(stream.get(), 0);
        File::Write(stream.get(), "45", 2);
        File::Flush(stream.get());
        EXPECT_EQ("012345", directory.Contents(u"f"));
    }
}

TEST_F(FileOperations, ReadingFillsTheBufferAndShortensItAtTheEnd) {
    const Stream stream = Open(directory.Make(u"f", "0123456789"), File::ModeRead);
    KDataType::Binary buffer(8);
    EXPECT_EQ(3u, File::Read(stream.get(), &buffer, 3)); // the larger buffer is shortened
    EXPECT_EQ("012", std::string(buffer.GetData(), buffer.GetSize()));
    EXPECT_EQ(3u, File::Read(stream.get(), &buffer, 0)); // 0: as many as it has
    EXPECT_EQ("345", std::string(buffer.GetData(), buffer.GetSize()));
    EXPECT_EQ(4u, File::Read(stream.get(), &buffer, 20)); // it grows, and the file ends
    EXPECT_EQ("6789", std::string(buffer.GetData(), buffer.GetSize()));
    EXPECT_EQ(0u, File::Read(stream.get(), &buffer, 20));
    EXPECT_EQ(0u, buffer.GetSize());
}

TEST_F(FileOperations, AnEmptyFileReadsAsNothing) {
    const Stream stream = Open(directory.Make(u"f", ""), File::ModeRead);
    KDataType::Binary buffer(0);
    EXPECT_EQ(0u, File::GetSize(stream.get()));
    EXPECT_EQ(0u, File::Read(stream.get(), &buffer, 0));
}

TEST_F(FileOperations, BytesOfEveryValueComeBackAsTheyWere) {
    std::string bytes;
    for (int i = 0; i < 256; ++i) {
        bytes.push_back(static_cast<char>(i));
    }
    bytes += "\r\n\x1A\n\r";
    std::FILE* const writer = File::OpenStream(directory.Path(u"f").c_str(), File::ModeWrite, 0);
    File::Write(writer, bytes.data(), bytes.size());
    File::Write(writer, nullptr, 0);
    File::Close(writer);
    const Stream stream = Open(directory.Path(u"f"), File::ModeRead);
    KDataType::Binary buffer(bytes.size());
    EXPECT_EQ(bytes.size(), File::GetSize(stream.get()));
    EXPECT_EQ(bytes.size(), File::Read(stream.get(), &buffer, bytes.size()));
    EXPECT_EQ(bytes, std::string(buffer.GetData(), buffer.GetSize()));
}

TEST_F(FileOperations, DescriptorsWriteCopyMoveAndTruncate) {
    const Descriptor source(directory.Make(u"f", std::string(100000, 'a') + "end"), File::ModeRead);
    const Descriptor target(directory.Path(u"g"), File::ModeCreateUpdate);
    File::Write(target, "start", 5);
    File::SetPosition(source, 1);
    File::Copy(source, target);
    File::Flush(target);
    EXPECT_EQ("start" + std::string(99999, 'a') + "end", directory.Contents(u"g"));
    EXPECT_EQ(100007u, File::GetSize(target));
    EXPECT_EQ(100007u, File::GetPosition(target));
    File::MovePosition(target, -7);
    EXPECT_EQ(100000u, File::GetPosition(target));
    File::Truncate(target, 3);
    EXPECT_EQ("sta", directory.Contents(u"g"));
    File::Truncate(target, 5);
    EXPECT_EQ(std::string("sta\0\0", 5), directory.Contents(u"g"));
}

TEST_F(FileOperations, StreamsTellAndMoveTheirPosition) {
    const Stream stream = Open(directory.Make(u"f", "0123456789"), File::ModeRead);
    File::SetPosition(stream.get(), 4);
    EXPECT_EQ(4u, File::GetPosition(stream.get()));
    File::MovePosition(stream.get(), -2);
    char line[5];
    EXPECT_TRUE(File::ReadLine(stream.get(), line, sizeof line));
    EXPECT_STREQ("2345", line);
    EXPECT_TRUE(File::ReadLine(stream.get(), line, sizeof line));
    EXPECT_STREQ("6789", line);
    EXPECT_FALSE(File::ReadLine(stream.get(), line, sizeof line));
}

TEST_F(FileOperations, SizesAndPositionsOfTwoAndFiveGibibytesAreExact) {
    for (const std::uint64_t size : {std::uint64_t{2} << 30, std::uint64_t{5} << 30}) {
        const WideString path = directory.Path(u"big");
        {
            const Descriptor file(path, File::ModeWrite);
            try {
                File::Truncate(file, size);
            } catch (const KBase::Message& message) {
                GTEST_SKIP() << "the file system takes no file of " << size << " bytes: " << message.what();
            }
            EXPECT_EQ(size, File::GetSize(file));
        }
        const Stream stream = Open(path, File::ModeUpdate);
        EXPECT_EQ(size, File::GetSize(stream.get()));
        File::SetPosition(stream.get(), size);
        File::Write(stream.get(), "end", 3);
        EXPECT_EQ(size + 3, File::GetPosition(stream.get()));
        File::MovePosition(stream.get(), -3);
        KDataType::Binary buffer(3);
        EXPECT_EQ(3u, File::Read(stream.get(), &buffer, 3));
        EXPECT_EQ("end", std::string(buffer.GetData(), 3));
    }
}

TEST_F(FileOperations, ClosedDescriptorsFailWithTheTextOfEachOperation) {
    struct Row {
        const char* text;
        void (*operation)();
    };
    const Row rows[] = {
        {"KFileSystem::File::GetSize: ::GetFileSize failed for #987654",
         [] {
             File::GetSize(closedDescriptor);
         }},
        {"KFileSystem::File::Write: Failed.",
         [] {
             File::Write(closedDescriptor, "x", 1);
         }},
        {"KFileSystem::File::Flush: ::_commit failed.",
         [] {
             File::Flush(closedDescriptor);
         }},
        {"KFileSystem::File::Truncate: ::_chsize failed.",
         [] {
             File::Truncate(closedDescriptor, 0);
         }},
        {"KFileSystem::File::GetPosition: ::lseek failed.",
         [] {
             File::GetPosition(closedDescriptor);
         }},
        {"KFileSystem::File::MovePosition: ::lseek failed.",
         [] {
             File::MovePosition(closedDescriptor, 1);
         }},
        {"KFileSystem::File::SetPosition: ::lseek failed.",
         [] {
             File::SetPosition(closedDescriptor, 1);
         }},
        {"KFileSystem::File::Close: ::close failed.",
         [] {
             File::Close(closedDescriptor);
         }},
        {"KFileSystem::File::WriteLock: Invalid file handle #987654",
         [] {
             File::WriteLock(closedDescriptor, false);
         }},
        {"KFileSystem::File::ReadLock: Invalid file handle #987654",
         [] {
             File::ReadLock(closedDescriptor, true);
         }},
        {"KFileSystem::File::Unlock: Invalid file handle #987654",
         [] {
             File::Unlock(closedDescriptor);
         }},
        {"KFileSystem::File::Copy: ::read failed for file #987654",
         [] {
             File::Copy(closedDescriptor, closedDescriptor);
         }},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(Prefixed(6, row.text), FailureOf(row.operation));
    }
    EXPECT_EQ(Prefixed(6, "KFileSystem::File::GetSize: ::GetFileSize failed for #-1"),
              FailureOf([] { File::GetSize(-1); }));
}

TEST_F(FileOperations, WhatAFileWasNotOpenedForFailsWithTheTextOfEachOperation) {
    const WideString path = directory.Make(u"f", "abc");
    const Descriptor reader(path, File::ModeRead);
    const Descriptor writer(path, File::ModeAppend);
    EXPECT_EQ(Prefixed(5, "KFileSystem::File::Copy: ::read failed for file #" + std::to_string(writer)),
              FailureOf([&] { File::Copy(writer, reader); }));
    EXPECT_EQ(Prefixed(5, "KFileSystem::File::Copy: ::write failed for file #" + std::to_string(reader)),
              FailureOf([&] { File::Copy(reader, reader); }));
    EXPECT_EQ(Prefixed(5, "KFileSystem::File::Truncate: ::_chsize failed."),
              FailureOf([&] { File::Truncate(reader, 0); }));
    char line[10];
    const Stream stream = Open(path, File::ModeWrite);
    EXPECT_EQ(Prefixed(5, "KFileSystem::File::ReadLine: ::fgets failed."),
              FailureOf([&] { File::ReadLine(stream.get(), line, sizeof line); }));
}

TEST_F(FileOperations, PositionsBeforeTheStartFailWithTheTextOfEachOperation) {
    const WideString path = directory.Make(u"f", "abc");
    const Descriptor file(path, File::ModeRead);
    const Stream stream = Open(path, File::ModeRead);
    EXPECT_EQ(Prefixed(131, "KFileSystem::File::MovePosition: ::lseek failed."),
              FailureOf([&] { File::MovePosition(file, -1); }));
    EXPECT_EQ(Prefixed(131, "KFileSystem::File::MovePosition: ::fseeko failed."),
              FailureOf([&] { File::MovePosition(stream.get(), -1); }));
    EXPECT_EQ(Prefixed(131, "KFileSystem::File::SetPosition: ::lseek failed."),
              FailureOf([&] { File::SetPosition(file, ~std::uint64_t{0}); }));
    EXPECT_EQ(Prefixed(131, "KFileSystem::File::SetPosition: ::fseeko failed."),
              FailureOf([&] { File::SetPosition(stream.get(), ~std::uint64_t{0}); }));
}

TEST_F(FileOperations, LocksExcludeOtherOpeningsOfTheFile) {
    const WideString path = directory.Make(u"f", "abc");
    const Descriptor first(path, File::ModeRead);
    const Descriptor second(path, File::ModeUpdate);
    const Failure writeFails =
        Prefixed(33, "KFileSystem::File::WriteLock: Failed to lock file #" + std::to_string(second) + ".");
    const Failure readFails =
        Prefixed(33, "KFileSystem::File::ReadLock: Failed to lock file #" + std::to_string(second) + ".");

    File::WriteLock(first, false);
    EXPECT_EQ(writeFails, FailureOf([&] { File::WriteLock(second, false); }));
    EXPECT_EQ(readFails, FailureOf([&] { File::ReadLock(second, false); }));
    File::Unlock(first);
    File::ReadLock(first, false);
    EXPECT_EQ(writeFails, FailureOf([&] { File::WriteLock(second, false); }));
    File::ReadLock(second, true);
    File::Unlock(second);
    File::Unlock(first);
    File::WriteLock(second, true);
}

TEST_F(FileOperations, WaitingForALockEndsWhenItIsGivenBack) {
    const WideString path = directory.Make(u"f", "abc");
    for (const bool exclusive : {true, false}) {
        const Descriptor first(path, File::ModeRead);
        File::WriteLock(first, true);
        std::future<void> waiting = std::async(std::launch::async, [&] {
            const Descriptor second(path, File::ModeRead);
            exclusive ? File::WriteLock(second, true) : File::ReadLock(second, true);
        });
        EXPECT_EQ(std::future_status::timeout, waiting.wait_for(std::chrono::milliseconds(50)));
        File::Unlock(first);
        ASSERT_EQ(std::future_status::ready, waiting.wait_for(std::chrono::seconds(20)));
        waiting.get();
    }
}

TEST_F(FileOperations, UnlockingAFileWithoutALockIsNoFailure) {
    const Descriptor file(directory.Make(u"f", "abc"), File::ModeRead);
    File::Unlock(file);
}

} // namespace

} // namespace KFileSystem
