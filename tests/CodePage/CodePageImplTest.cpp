#include "CodePage/CodePageImpl.h"

#include "CodePage/CodePageRegistry.h"
#include "CodePage/Initializer.h"
#include "KSerialization/Streams.h"
#include "MarkedTables.h"
#include "Raised.h"
#include "TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

namespace {

using namespace KCodePage;
using namespace CodePageTests;
using KBase::operator""_w;

using Object = KBase::SmartPtrI<CodePageImpl>;

Object Make(int codePage) {
    return Object(new CodePageImpl(static_cast<CODE_PAGE>(codePage)));
}

Object MakeEmpty() {
    return Object(new CodePageImpl);
}

std::string Serialized(const CodePageImpl& codePage) {
    const auto stream = KSerialization::CreateWriteDataStream(nullptr, 1);
    codePage.Serialize(*stream);
    const auto contents = stream->GetContents();
    return std::string(contents->GetData(), contents->GetSize());
}

KBase::ReturnPtr<KSerialization::ReadDataStream> StreamOf(const std::string& bytes) {
    auto binary = KDataType::CreateBinary(bytes.size(), nullptr);
    if (!bytes.empty()) {
        std::memcpy(binary->GetData(), bytes.data(), bytes.size());
    }
    return KSerialization::ConvertBinary2ReadDataStream(std::move(binary), nullptr);
}

// Four bytes, least significant first.
std::string Number(std::int32_t number) {
    std::string bytes;
    MarkedTables::Put(bytes, static_cast<unsigned>(number), 4);
    return bytes;
}

void DeSerialize(CodePageImpl& codePage, const std::string& bytes) {
    codePage.DeSerialize(*StreamOf(bytes));
}

std::string Facts(const CodePageImpl& codePage) {
    return std::to_string(codePage.GetType()) + " " + codePage.GetIANANameASCII() + " " +
           Ascii(codePage.GetIANAName()) + " " + std::to_string(codePage.GetWindowsAPICodePage());
}

class CodePageImplTest : public testing::Test {
protected:
    CodePageImplTest() { SetBasePath(u"UseWindowsAPI"_w); }

    Initializer initializer;
    TemporaryDirectory directory;
};

TEST_F(CodePageImplTest, ADefaultObjectHasTypeMinusOneAndEmptyNames) {
    const Object object = MakeEmpty();
    EXPECT_EQ(object->GetType(), -1);
    EXPECT_STREQ(object->GetIANANameASCII(), "");
    EXPECT_EQ(Ascii(object->GetIANAName()), "");
    EXPECT_EQ(object->GetWindowsAPICodePage(), 0u);
}

TEST_F(CodePageImplTest, ADefaultObjectConvertsNothing) {
    const Object object = MakeEmpty();
    unsigned consumed = 0;
    const Failure expected = UserError("The character set is not supported: ");
    EXPECT_EQ(Raised([&] { object->ConvertToUnicode("a", 1, CodePage::SUBSTITUTE); }), expected);
    EXPECT_EQ(Raised([&] { object->ConvertToMultiByte(u"a"_w, 1, CodePage::SUBSTITUTE); }), expected);
    EXPECT_EQ(Raised([&] {
                  object->ConvertToMultiByteObservingBlockSize(consumed, 9, u"a"_w, 1, CodePage::SUBSTITUTE);
              }),
              expected);
    EXPECT_EQ(Raised([&] { object->IsLeadingByte('a'); }), expected);
    EXPECT_EQ(Raised([&] { object->GetNumberOfBytesInThisCharacter("a"); }), expected);
}

TEST_F(CodePageImplTest, EachObjectTellsItsNumberNamesAndWindowsNumber) {
    const std::vector<std::string> expected = {
        "0 us-ascii us-ascii 0",
        "1 iso-8859-1 iso-8859-1 1252",
        "2 iso-8859-2 iso-8859-2 1250",
        "4 iso-8859-4 iso-8859-4 1257",
        "6 iso-8859-6 iso-8859-6 1256",
        "7 iso-8859-7 iso-8859-7 1253",
        "8 windows-1255 windows-1255 1255",
        "9 iso-8859-9 iso-8859-9 1254",
        "11 shift_jis shift_jis 932",
        "12 iso-2022-jp iso-2022-jp 932",
        "14 euc-kr euc-kr 949",
        "15 koi8-r koi8-r 20866",
        "16 gb2312 gb2312 936",
        "17 big5 big5 950",
        "18 windows-874 windows-874 874",
        "20 utf-8 utf-8 65001",
        "21 unicode-1-1 unicode-1-1 65535",
    };
    for (const std::string& facts : expected) {
        EXPECT_EQ(Facts(*Make(std::stoi(facts))), facts);
    }
}

TEST_F(CodePageImplTest, AValueWithoutARowIsNotSupportedAndNamesItsNumber) {
    for (const int number : {3, 5, 10, 13, 19, 22, -1, 932}) {
        EXPECT_EQ(Raised([&] { Make(number); }),
                  UserError("The character set is not supported: " + std::to_string(number)));
    }
}

TEST_F(CodePageImplTest, NamesStayTheSamePointersUntilTheObjectIsReadAnew) {
    const Object object = Make(15);
    const char* name = object->GetIANANameASCII();
    const wchar16* wideName = object->GetIANAName();
    object->ConvertToUnicode("a", 1, CodePage::SUBSTITUTE);
    Serialized(*object);
    EXPECT_EQ(object->GetIANANameASCII(), name);
    EXPECT_EQ(object->GetIANAName(), wideName);
}

// References.

TEST_F(CodePageImplTest, StartsWithoutReferencesAndGoesWithTheLastOne) {
    const CodePageImpl* const object = new CodePageImpl(UTF_8);
    EXPECT_EQ(object->AddRef(), 1);
    EXPECT_EQ(object->AddRef(), 2);
    EXPECT_EQ(object->Release(), 1);
    EXPECT_EQ(object->GetType(), 20);
    EXPECT_EQ(object->Release(), 0);
}

TEST_F(CodePageImplTest, IsDestroyedThroughEachOfItsBases) {
    // The address sanitizer sees an object that stays or goes twice.
    const CodePage* const page = new CodePageImpl(UTF_8);
    page->AddRef();
    EXPECT_EQ(page->Release(), 0);
    const KBase::ReferenceCounted* const counted = new CodePageImpl(KOI8_R);
    counted->AddRef();
    EXPECT_EQ(counted->Release(), 0);
    const KSerialization::SerializableObject* const serializable = new CodePageImpl(UTF_8);
    delete serializable;
}

// Where the tables come from.

TEST_F(CodePageImplTest, Page12ReadsTheFilesOfPage11AndKeepsItsOwnNumberAndName) {
    MarkedTables::Write(directory.Path(), "shift_jis", 932, 'q');
    SetBasePath(directory.Wide().c_str());
    const Object object = Make(12);
    EXPECT_EQ(Facts(*object), "12 iso-2022-jp iso-2022-jp 932");
    EXPECT_FALSE(std::filesystem::exists(directory.Path() / "iso-2022-jp.M2U"));
}

TEST_F(CodePageImplTest, Page12NeverLooksForFilesOfItsOwnName) {
    MarkedTables::Write(directory.Path(), "iso-2022-jp", 932, 'q');
    SetBasePath(directory.Wide().c_str());
    const Failure failure = Raised([] { Make(12); });
    EXPECT_EQ(failure.type, "CodePageConversionException");
    EXPECT_NE(failure.text.find("shift_jis.M2U"), std::string::npos) << failure.text;
    EXPECT_EQ(failure.text.find("iso-2022-jp"), std::string::npos) << failure.text;
}

TEST_F(CodePageImplTest, Utf8AndUnicode11NeedNeitherBasePathNorFiles) {
    for (const wchar16* path : {u""_w.Get(), u"no such directory"_w.Get(), u"UseWindowsAPI"_w.Get()}) {
        SetBasePath(path);
        EXPECT_EQ(Facts(*Make(20)), "20 utf-8 utf-8 65001");
        EXPECT_EQ(Facts(*Make(21)), "21 unicode-1-1 unicode-1-1 65535");
    }
}

TEST_F(CodePageImplTest, AMissingFileNamesTheWindowsNumberAndTheFileLayersFailure) {
    SetBasePath(directory.Wide().c_str());
    for (const auto& [codePage, windowsNumber, name] :
         std::vector<std::tuple<int, std::string, std::string>>{{15, "20866", "koi8-r"},
                                                                {0, "0", "us-ascii"},
                                                                {11, "932", "shift_jis"},
                                                                {12, "932", "shift_jis"}}) {
        const Failure failure = Raised([&] { Make(codePage); });
        EXPECT_EQ(failure.type, "CodePageConversionException");
        EXPECT_EQ(failure.domain, KBase::MESSAGE_DOMAIN_UNKNOWN);
        EXPECT_EQ(failure.id, 2); // the file does not exist
        const std::string lead = "Can't open the CodePage translation file: " + windowsNumber +
                                 "\nKFileSystem::File::OpenDescriptor: ::CreateFileW failed for '";
        EXPECT_EQ(failure.text.substr(0, lead.size()), lead);
        EXPECT_NE(failure.text.find(name + ".M2U'.\n"), std::string::npos) << failure.text;
    }
}

TEST_F(CodePageImplTest, AMissingDirectoryGivesItsOwnErrorNumber) {
    SetBasePath(Widen((directory.Path() / "none").string()).c_str());
    const Failure failure = Raised([] { Make(1); });
    EXPECT_EQ(failure.type, "CodePageConversionException");
    EXPECT_EQ(failure.id, 3);
}

TEST_F(CodePageImplTest, BothFilesOfACodePageMustBeThere) {
    MarkedTables::Write(directory.Path(), "koi8-r", 20866, 'q');
    SetBasePath(directory.Wide().c_str());
    EXPECT_EQ(MarkedTables::Shown(*Make(15)), "qq");
    std::filesystem::remove(directory.Path() / "koi8-r.U2M");
    const Failure failure = Raised([] { Make(15); });
    EXPECT_EQ(failure.type, "CodePageConversionException");
    EXPECT_NE(failure.text.find("koi8-r.U2M'.\n"), std::string::npos) << failure.text;
}

TEST_F(CodePageImplTest, AnEmptyFilePassesTheFrameAndFailsUnwrapped) {
    MarkedTables::Write(directory.Path(), "koi8-r", 20866, 'q');
    SetBasePath(directory.Wide().c_str());
    for (const char* name : {"koi8-r.M2U", "koi8-r.U2M"}) {
        MarkedTables::Write(directory.Path(), "koi8-r", 20866, 'q');
        MarkedTables::WriteFile(directory.Path() / name, "");
        const Failure failure = Raised([] { Make(15); });
        EXPECT_EQ(failure.type, "Message") << name;
        EXPECT_EQ(failure.text.find("translation file"), std::string::npos) << failure.text;
    }
}

TEST_F(CodePageImplTest, AFileNamesItsOwnWindowsNumberButTheObjectKeepsTheCatalogues) {
    MarkedTables::Write(directory.Path(), "koi8-r", 4711, 'q');
    SetBasePath(directory.Wide().c_str());
    EXPECT_EQ(Facts(*Make(15)), "15 koi8-r koi8-r 20866");
}

// Serialization.

TEST_F(CodePageImplTest, IsSerializedAsItsNumberInFourBytesAndNothingElse) {
    EXPECT_EQ(Serialized(*Make(7)), std::string("\x07\x00\x00\x00", 4));
    EXPECT_EQ(Serialized(*Make(0)), std::string("\x00\x00\x00\x00", 4));
    EXPECT_EQ(Serialized(*Make(21)), std::string("\x15\x00\x00\x00", 4));
    EXPECT_EQ(Serialized(*MakeEmpty()), std::string("\xFF\xFF\xFF\xFF", 4));
}

TEST_F(CodePageImplTest, ReadingANumberMakesAnEmptyObjectThatCodePage) {
    const Object object = MakeEmpty();
    DeSerialize(*object, Serialized(*Make(7)));
    EXPECT_EQ(Facts(*object), "7 iso-8859-7 iso-8859-7 1253");
    const auto text = object->ConvertToUnicode("\xE1", 1, CodePage::THROW_INVALID_CHARACTER);
    EXPECT_TRUE(text->IsEqual(u"\u03B1"_w, 1));
    EXPECT_EQ(Serialized(*object), std::string("\x07\x00\x00\x00", 4));
}

TEST_F(CodePageImplTest, ReadingTakesFourBytesAndLeavesTheRest) {
    const Object object = MakeEmpty();
    const auto stream = StreamOf(Number(20) + Number(15) + "x");
    object->DeSerialize(*stream);
    EXPECT_EQ(object->GetType(), 20);
    object->DeSerialize(*stream);
    EXPECT_EQ(object->GetType(), 15);
    EXPECT_EQ(stream->ReadByte(), 'x');
}

TEST_F(CodePageImplTest, ReadingPointsAnObjectAtAnotherCodePageAnyNumberOfTimes) {
    const Object object = Make(15);
    const std::vector<std::string> steps = {"11 shift_jis shift_jis 932",       "20 utf-8 utf-8 65001",
                                            "21 unicode-1-1 unicode-1-1 65535", "0 us-ascii us-ascii 0",
                                            "12 iso-2022-jp iso-2022-jp 932",   "15 koi8-r koi8-r 20866"};
    for (const std::string& facts : steps) {
        DeSerialize(*object, Number(std::stoi(facts)));
        EXPECT_EQ(Facts(*object), facts);
    }
    EXPECT_TRUE(object->ConvertToUnicode("\xC1", 1, CodePage::SUBSTITUTE)->IsEqual(u"\u0430"_w, 1));
}

TEST_F(CodePageImplTest, ReadingSharesTheRegistrysTablesAndReadsNoFileItself) {
    MarkedTables::Write(directory.Path(), "koi8-r", 20866, 'q');
    SetBasePath(directory.Wide().c_str());
    const auto shared = GetCodePageReference(15);
    MarkedTables::Write(directory.Path(), "koi8-r", 20866, 'z');
    const Object object = MakeEmpty();
    DeSerialize(*object, Number(15));
    EXPECT_EQ(MarkedTables::Shown(*object), "qq");
    std::filesystem::remove(directory.Path() / "koi8-r.M2U");
    DeSerialize(*object, Number(15));
    EXPECT_EQ(MarkedTables::Shown(*object), "qq");
}

TEST_F(CodePageImplTest, ReadingCreatesTheRegistrysObjectWhereThereIsNone) {
    MarkedTables::Write(directory.Path(), "koi8-r", 20866, 'q');
    SetBasePath(directory.Wide().c_str());
    const Object object = MakeEmpty();
    DeSerialize(*object, Number(15));
    MarkedTables::Write(directory.Path(), "koi8-r", 20866, 'z');
    EXPECT_EQ(MarkedTables::Shown(*GetCodePageReference(15)), "qq");
}

TEST_F(CodePageImplTest, TheTablesThatAnObjectSharesOutliveTheRegistrysObject) {
    const Object object = MakeEmpty();
    DeSerialize(*object, Number(15));
    FlushCodePageCaches();
    EXPECT_TRUE(object->ConvertToUnicode("\xC1", 1, CodePage::SUBSTITUTE)->IsEqual(u"\u0430"_w, 1));
}

TEST_F(CodePageImplTest, TheSharedObjectReadsItselfBack) {
    const auto shared = GetCodePageReference(15);
    auto& object = dynamic_cast<CodePageImpl&>(*shared);
    DeSerialize(object, Number(15));
    EXPECT_EQ(Facts(object), "15 koi8-r koi8-r 20866");
    EXPECT_TRUE(object.ConvertToUnicode("\xC1", 1, CodePage::SUBSTITUTE)->IsEqual(u"\u0430"_w, 1));
    EXPECT_EQ(GetCodePageReference(15).Get(), shared.Get());
}

TEST_F(CodePageImplTest, ANumberThatIsNoCodePageLeavesTheObjectUnchanged) {
    const Object object = Make(7);
    const Failure invalid = UserError("Error - Cannot create CodePage due to invalid CodePage enumeration");
    for (const int number : {3, 5, 10, 13, 22, -1, 0x7FFFFFFF}) {
        EXPECT_EQ(Raised([&] { DeSerialize(*object, Number(number)); }), invalid) << number;
    }
    EXPECT_EQ(Raised([&] { DeSerialize(*object, Number(19)); }),
              UserError("The character set is not supported: 19"));
    EXPECT_EQ(Facts(*object), "7 iso-8859-7 iso-8859-7 1253");
    EXPECT_TRUE(object->ConvertToUnicode("\xE1", 1, CodePage::SUBSTITUTE)->IsEqual(u"\u03B1"_w, 1));
}

TEST_F(CodePageImplTest, WhatADefaultObjectWritesCannotBeRead) {
    const Object object = Make(20);
    EXPECT_EQ(Raised([&] { DeSerialize(*object, Serialized(*MakeEmpty())); }),
              UserError("Error - Cannot create CodePage due to invalid CodePage enumeration"));
    EXPECT_EQ(object->GetType(), 20);
}

TEST_F(CodePageImplTest, AStreamThatEndsTooEarlyLeavesTheObjectUnchanged) {
    const Object object = Make(7);
    for (std::size_t size = 0; size < 4; ++size) {
        EXPECT_EQ(Raised([&] { DeSerialize(*object, Number(15).substr(0, size)); }).type, "Message");
    }
    EXPECT_EQ(Facts(*object), "7 iso-8859-7 iso-8859-7 1253");
}

TEST_F(CodePageImplTest, AMissingFileWhileReadingLeavesTheObjectUnchanged) {
    const Object object = Make(7);
    SetBasePath(directory.Wide().c_str());
    EXPECT_EQ(Raised([&] { DeSerialize(*object, Number(15)); }).type, "CodePageConversionException");
    EXPECT_EQ(Facts(*object), "7 iso-8859-7 iso-8859-7 1253");
    EXPECT_TRUE(object->ConvertToUnicode("\xE1", 1, CodePage::SUBSTITUTE)->IsEqual(u"\u03B1"_w, 1));
}

} // namespace
