#include "CodePage/CodePageImpl.h"
#include "CodePage/CodePageRegistry.h"
#include "CodePage/Initializer.h"
#include "CodePage/MultiByteToUnicode.h"
#include "CodePage/UnicodeToMultiByte.h"
#include "FileSystem/File.h"
#include "Raised.h"
#include "SerializedTables.h"
#include "TableResults.h"
#include "TemporaryDirectory.h"
#include "TimeLimit.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <sys/stat.h>

namespace {

using namespace KCodePage;
using namespace CodePageTests;
using namespace SerializedTables;
using KBase::WideString;
using KBase::operator""_w;
using KFileSystem::File;

constexpr const char* cannotOpen = "Can't open the CodePage translation file: ";
constexpr const char* errorWhileAccessing = "Error while accessing the CodePage translation file: ";

// What the file layer itself throws for a call.
template <class Call>
Failure FileLayerFailure(Call call) {
    const Failure failure = Raised(call);
    EXPECT_EQ(failure.type, "Message");
    EXPECT_TRUE(failure.text.starts_with("KFileSystem::")) << failure;
    return failure;
}

// The failure of a table of Windows code page 932 that the file layer's `cause` becomes.
Failure Framed(const std::string& lead, const Failure& cause, const std::string& windowsCodePage = "932") {
    std::string text = lead;
    text.append(windowsCodePage).append("\n").append(cause.text);
    return {"CodePageConversionException", text, cause.domain, cause.id};
}

std::string Contents(const std::filesystem::path& path) {
    std::ifstream stream(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(stream), {});
}

void Store(const std::filesystem::path& path, const std::string& bytes) {
    std::ofstream stream(path, std::ios::binary | std::ios::trunc);
    stream << bytes;
    stream.close();
    ASSERT_TRUE(stream.good());
}

template <class Table>
struct Kind;

template <>
struct Kind<MultiByteToUnicode> {
    static constexpr const char* name = "MultiByteToUnicode";
    static constexpr const char* writeFailure = errorWhileAccessing;
    static std::string Body(unsigned number) { return Rows().SetLead(0x81, 0x4E00).File(number, '#'); }
};

template <>
struct Kind<UnicodeToMultiByte> {
    static constexpr const char* name = "UnicodeToMultiByte";
    static constexpr const char* writeFailure = cannotOpen;
    static std::string Body(unsigned number) {
        return Records({Record(0, "z"), Record(1, ""), Record(2, "\x81\x40")}, number, '#');
    }
};

template <class T>
class TableFileTest : public testing::Test {
protected:
    using Table = T;

    WideString Path(const std::string& name) const { return Widen((directory.Path() / name).string()); }

    // A table of Windows code page 932 that is filled.
    KBase::ReturnPtrI<Table> Filled() const {
        KBase::ReturnPtrI<Table> table(new Table(SHIFT_JIS, 932, '?'));
        Load(*table, Kind<T>::Body(932));
        return table;
    }

    // A failed reading leaves the table as it was.
    void ExpectReadFailure(const WideString& path, const Failure& expected) const {
        const auto table = Filled();
        EXPECT_EQ(Raised([&] { table->ReadFromFile(path.c_str()); }), expected);
        EXPECT_EQ(Written(*table), Kind<T>::Body(932));
    }

    void ExpectWriteFailure(const WideString& path, const Failure& cause) const {
        const auto table = Filled();
        EXPECT_EQ(Raised([&] { table->WriteToFile(path.c_str()); }), Framed(Kind<T>::writeFailure, cause));
        EXPECT_EQ(Written(*table), Kind<T>::Body(932));
    }

    TemporaryDirectory directory;
};

class KindNames {
public:
    template <class T>
    static std::string GetName(int) {
        return Kind<T>::name;
    }
};

using Tables = testing::Types<MultiByteToUnicode, UnicodeToMultiByte>;
TYPED_TEST_SUITE(TableFileTest, Tables, KindNames);

TYPED_TEST(TableFileTest, AMissingFileIsNamedBehindTheWindowsCodePage) {
    const WideString path = this->Path("missing");
    const Failure cause = FileLayerFailure([&] { File::OpenStream(path.c_str(), 0, 0); });
    EXPECT_EQ(cause.id, 2);
    EXPECT_NE(cause.text.find(Ascii(path)), std::string::npos);
    this->ExpectReadFailure(path, Framed(cannotOpen, cause));
}

TYPED_TEST(TableFileTest, AMissingFileIsACodePageConversionExceptionWithTheWholeText) {
    const WideString path = this->Path("missing");
    try {
        this->Filled()->ReadFromFile(path.c_str());
        FAIL() << "nothing was thrown";
    } catch (const CodePageConversionException& error) {
        EXPECT_EQ(std::string(error.what()),
                  std::string("Can't open the CodePage translation file: 932\n"
                              "KFileSystem::File::OpenDescriptor: ::CreateFileW failed for '")
                      .append(Ascii(path))
                      .append("'.\nThe file does not exist."));
    }
}

TYPED_TEST(TableFileTest, AMissingDirectoryIsNamedForReadingAndWriting) {
    const WideString path = this->Path("missing/table");
    const Failure reading = FileLayerFailure([&] { File::OpenStream(path.c_str(), 0, 0); });
    const Failure writing = FileLayerFailure([&] { File::OpenStream(path.c_str(), 1, 0); });
    EXPECT_EQ(reading.id, 3);
    EXPECT_EQ(writing.id, 3);
    this->ExpectReadFailure(path, Framed(cannotOpen, reading));
    this->ExpectWriteFailure(path, writing);
}

TYPED_TEST(TableFileTest, ADirectoryCanNeitherBeReadNorWritten) {
    const WideString path = this->directory.Wide();
    const Failure reading = FileLayerFailure([&] { File::OpenStream(path.c_str(), 0, 0); });
    const Failure writing = FileLayerFailure([&] { File::OpenStream(path.c_str(), 1, 0); });
    EXPECT_EQ(reading.id, 5);
    EXPECT_EQ(writing.id, 5);
    this->ExpectReadFailure(path, Framed(cannotOpen, reading));
    this->ExpectWriteFailure(path, writing);
}

TYPED_TEST(TableFileTest, APathWithAnUnpairedSurrogateIsRefused) {
    WideString path = this->Path("table");
    path.push_back(0xD800);
    const Failure reading = FileLayerFailure([&] { File::OpenStream(path.c_str(), 0, 0); });
    EXPECT_EQ(reading.id, 1113);
    this->ExpectReadFailure(path, Framed(cannotOpen, reading));
}

TYPED_TEST(TableFileTest, AFifoThatNobodyWritesIsNotWaitedFor) {
    const TimeLimit limit("a FIFO as a translation file", std::chrono::seconds(60));
    const std::string name = (this->directory.Path() / "fifo").string();
    ASSERT_EQ(mkfifo(name.c_str(), 0600), 0);
    const auto table = this->Filled();
    // It has no size, so it reads as an empty file; or it is refused.
    EXPECT_THROW(table->ReadFromFile(Widen(name).c_str()), KBase::Message);
    EXPECT_EQ(Written(*table).substr(5), Kind<TypeParam>::Body(932).substr(5));
}

TYPED_TEST(TableFileTest, AFullDiskIsAFailureOfWriting) {
    const auto table = this->Filled();
    const Failure failure = Raised([&] { table->WriteToFile(u"/dev/full"_w); });
    EXPECT_EQ(failure.type, "CodePageConversionException");
    EXPECT_EQ(failure.id, 112);
    EXPECT_EQ(failure.domain, KBase::MESSAGE_DOMAIN_UNKNOWN);
    EXPECT_TRUE(
        failure.text.starts_with(std::string(Kind<TypeParam>::writeFailure) + "932\nKFileSystem::File::"))
        << failure;
    EXPECT_TRUE(failure.text.ends_with("\nThe disk is full.")) << failure;
}

TYPED_TEST(TableFileTest, ALargerBodyOnAFullDiskFailsTheSame) {
    const KBase::ReturnPtrI<typename TestFixture::Table> table(new TypeParam(SHIFT_JIS, 932, '?'));
    table->ReadFromWindowsAPI();
    const Failure failure = Raised([&] { table->WriteToFile(u"/dev/full"_w); });
    EXPECT_EQ(failure.type, "CodePageConversionException");
    EXPECT_EQ(failure.id, 112);
    EXPECT_TRUE(failure.text.starts_with(std::string(Kind<TypeParam>::writeFailure) + "932\n")) << failure;
}

TYPED_TEST(TableFileTest, AnEmptyFilePassesTheFrameAndItsFailureIsNotWrapped) {
    Store(this->directory.Path() / "empty", "");
    const auto table = this->Filled();
    const Failure failure = Raised([&] { table->ReadFromFile(this->Path("empty").c_str()); });
    EXPECT_EQ(failure.type, "Message");
    EXPECT_EQ(failure.text.find("translation file"), std::string::npos) << failure;
    EXPECT_EQ(Written(*table), Kind<TypeParam>::Body(932)); // not a value was read
}

TYPED_TEST(TableFileTest, ADamagedFileIsNotWrappedEither) {
    const std::string body = Kind<TypeParam>::Body(1252);
    Store(this->directory.Path() / "damaged", body.substr(0, body.size() - 1));
    const auto table = this->Filled();
    EXPECT_EQ(Raised([&] { table->ReadFromFile(this->Path("damaged").c_str()); }).type, "Message");
    // What was read before the end stays: the number is named by the next failure.
    const WideString missing = this->Path("missing");
    const Failure cause = FileLayerFailure([&] { File::OpenStream(missing.c_str(), 0, 0); });
    EXPECT_EQ(Raised([&] { table->ReadFromFile(missing.c_str()); }), Framed(cannotOpen, cause, "1252"));
}

TYPED_TEST(TableFileTest, FailuresNameTheWindowsCodePageAndNotTheCodePage) {
    const WideString path = this->Path("missing");
    const Failure cause = FileLayerFailure([&] { File::OpenStream(path.c_str(), 0, 0); });
    for (const unsigned number : {0u, 1252u, 65535u, 4294967295u}) {
        const KBase::ReturnPtrI<typename TestFixture::Table> table(new TypeParam(KOI8_R, number, '?'));
        EXPECT_EQ(Raised([&] { table->ReadFromFile(path.c_str()); }),
                  Framed(cannotOpen, cause, std::to_string(number)));
    }
}

TYPED_TEST(TableFileTest, TheFileHoldsTheSerializedTableAndNothingElse) {
    const auto path = this->directory.Path() / "table";
    Store(path, std::string(100000, 'x')); // longer than what comes
    const auto table = this->Filled();
    table->WriteToFile(this->Path("table").c_str());
    EXPECT_EQ(Contents(path), Kind<TypeParam>::Body(932));
    EXPECT_EQ(Contents(path), Written(*table));
    const KBase::ReturnPtrI<typename TestFixture::Table> read(new TypeParam);
    read->ReadFromFile(this->Path("table").c_str());
    EXPECT_EQ(Written(*read), Kind<TypeParam>::Body(932));
}

TYPED_TEST(TableFileTest, BackslashesSeparateDirectories) {
    std::filesystem::create_directory(this->directory.Path() / "tables");
    WideString path = this->directory.Wide();
    path.append(Widen("\\tables\\name.with.dots"));
    this->Filled()->WriteToFile(path.c_str());
    EXPECT_EQ(Contents(this->directory.Path() / "tables/name.with.dots"), Kind<TypeParam>::Body(932));
    const KBase::ReturnPtrI<typename TestFixture::Table> read(new TypeParam);
    read->ReadFromFile(path.c_str());
    EXPECT_EQ(Written(*read), Kind<TypeParam>::Body(932));
}

TYPED_TEST(TableFileTest, TheReadingTableKeepsItsCodePage) {
    Store(this->directory.Path() / "table", Kind<TypeParam>::Body(932));
    const KBase::ReturnPtrI<typename TestFixture::Table> table(new TypeParam(ISO_2022_JP, 1, '?'));
    table->ReadFromFile(this->Path("table").c_str());
    // As code page 12 it still asks the Shift-JIS to JIS table.
    const Initializer initializer;
    SetBasePath(u"UseWindowsAPI"_w);
    if constexpr (std::is_same_v<TypeParam, MultiByteToUnicode>) {
        EXPECT_TRUE(table->IsLeadingByte('A'));
    } else {
        SetBasePath(this->Path("no such directory").c_str());
        const Failure failure = Raised([&] { table->Convert(u"\0"_w, 1, CodePage::SUBSTITUTE); });
        EXPECT_EQ(failure.type, "CodePageConversionException");
        EXPECT_EQ(failure.text.substr(0, failure.text.find('\n')),
                  "Can't open the ShiftJisToJis translation file");
    }
}

class CreateFileNameTest : public testing::Test {
protected:
    CreateFileNameTest() { SetBasePath(u"/a/base"_w); }

    static std::string NameOf(int codePage, Table& table) {
        return Ascii(CodePageImpl::CreateFileName(static_cast<CODE_PAGE>(codePage), &table));
    }

    Initializer initializer;
    MultiByteToUnicode decoding;
    UnicodeToMultiByte encoding;
};

TEST_F(CreateFileNameTest, TheNamesOfTheTwoTablesDifferInTheLastThreeCharactersOnly) {
    for (const auto& [codePage, name] :
         {std::pair(0, "us-ascii"), std::pair(1, "iso-8859-1"), std::pair(11, "shift_jis"),
          std::pair(20, "utf-8"), std::pair(12, "iso-2022-jp")}) {
        const std::string decodingName = NameOf(codePage, decoding);
        const std::string encodingName = NameOf(codePage, encoding);
        EXPECT_TRUE(decodingName.ends_with(std::string(name) + ".M2U")) << decodingName;
        EXPECT_TRUE(encodingName.ends_with(std::string(name) + ".U2M")) << encodingName;
        EXPECT_EQ(decodingName.substr(0, decodingName.size() - 3),
                  encodingName.substr(0, encodingName.size() - 3));
        EXPECT_NE(decodingName.find("base"), std::string::npos) << decodingName;
    }
}

TEST_F(CreateFileNameTest, AnUnknownCodePageHasNoName) {
    for (const int codePage : {-1, 3, 5, 10, 13, 19, 22}) {
        EXPECT_EQ(Raised([&] { NameOf(codePage, decoding); }),
                  UserError("The character set is not supported: " + std::to_string(codePage)));
    }
}

} // namespace
