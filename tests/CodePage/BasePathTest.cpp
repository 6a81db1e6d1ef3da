#include "CodePage/Private/Core/BasePath.h"

#include "CodePage/CodePageImpl.h"
#include "CodePage/CodePageRegistry.h"
#include "CodePage/Initializer.h"
#include "MarkedTables.h"
#include "Raised.h"
#include "TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

namespace {

using namespace KCodePage;
using namespace CodePageTests;
using KBase::operator""_w;

std::string FileName(int codePage, Table& table) {
    return Ascii(CodePageImpl::CreateFileName(static_cast<CODE_PAGE>(codePage), &table));
}

// Whatever setting this machine may have, these tests have none.
const bool withoutSetting = setenv("KREGISTRY_FILE", "no such directory/registry", 1) == 0;

class BasePathTest : public testing::Test {
protected:
    BasePathTest() { EXPECT_TRUE(withoutSetting); }

    Initializer initializer;
    TemporaryDirectory directory;
    MultiByteToUnicode decoding;
    UnicodeToMultiByte encoding;
};

TEST_F(BasePathTest, StartsEmptyWhereTheSystemHasNoSetting) {
    EXPECT_EQ(Ascii(GetBasePath()), "");
    EXPECT_EQ(Ascii(GetBasePath()), "");
}

TEST_F(BasePathTest, IsWhatWasSetLast) {
    SetBasePath(u"tables"_w);
    EXPECT_EQ(Ascii(GetBasePath()), "tables");
    SetBasePath(u"C:\\other"_w);
    EXPECT_EQ(Ascii(GetBasePath()), "C:\\u005Cother");
    SetBasePath(u""_w);
    EXPECT_EQ(Ascii(GetBasePath()), "");
    SetBasePath(u"again"_w);
    EXPECT_EQ(Ascii(GetBasePath()), "again");
}

TEST_F(BasePathTest, IsTakenUpToItsTerminatingZero) {
    SetBasePath(u"tables\0more"_w);
    EXPECT_EQ(Ascii(GetBasePath()), "tables");
}

TEST_F(BasePathTest, IsACopyOfTheCallersText) {
    KBase::WideString path = u"tables"_w;
    SetBasePath(path.c_str());
    path.assign(path.size(), 'x');
    EXPECT_EQ(Ascii(GetBasePath()), "tables");
}

TEST_F(BasePathTest, TakesNothingOnAndKeepsItsSpelling) {
    SetBasePath(u" T\u00E4bles/Sub\\ "_w);
    EXPECT_EQ(Ascii(GetBasePath()), " T\\u00E4bles/Sub\\u005C ");
}

TEST(BasePathOfTheModuleTest, IsForgottenWhenTheLastInitializerGoes) {
    {
        const Initializer initializer;
        SetBasePath(u"UseWindowsAPI"_w);
        EXPECT_EQ(Ascii(GetBasePath()), "UseWindowsAPI");
    }
    const Initializer initializer;
    EXPECT_EQ(Ascii(GetBasePath()), "");
}

// "UseWindowsAPI".

TEST(UsesWindowsAPITest, OnlyTheExactTextMeansTheOperatingSystem) {
    EXPECT_TRUE(UsesWindowsAPI(u"UseWindowsAPI"_w));
    const std::vector<KBase::WideString> others = {
        u""_w,                   // nothing
        u"UseWindowsAP"_w,       // shorter
        u"UseWindowsAPI "_w,     // longer
        u"UseWindowsAPI\0"_w,    // a zero unit more
        u" UseWindowsAPI"_w,     //
        u"UseWindowsAPI\\"_w,    // a separator behind it
        u"usewindowsapi"_w,      // another case
        u"USEWINDOWSAPI"_w,      //
        u"UseWindowsApi"_w,      //
        u".\\UseWindowsAPI"_w,   //
        u"UseWindows\u0141PI"_w, // a unit whose low byte is the right letter
    };
    for (const KBase::WideString& other : others) {
        EXPECT_FALSE(UsesWindowsAPI(other)) << Ascii(other);
    }
}

TEST_F(BasePathTest, UseWindowsAPIOpensNoFile) {
    const WorkingDirectory current(directory.Path());
    MarkedTables::Write("UseWindowsAPI", "koi8-r", 20866, 'q');
    MarkedTables::Write(".", "koi8-r", 20866, 'q');
    SetBasePath(u"UseWindowsAPI"_w);
    EXPECT_EQ(MarkedTables::Shown(*GetCodePageReference(15)), "AA");
    EXPECT_TRUE(
        GetCodePageReference(15)->ConvertToUnicode("\xC1", 1, CodePage::SUBSTITUTE)->IsEqual(u"\u0430"_w, 1));
}

TEST_F(BasePathTest, AnotherCaseOrABackslashBehindIsADirectory) {
    const WorkingDirectory current(directory.Path());
    MarkedTables::Write("usewindowsapi", "koi8-r", 20866, 'l');
    MarkedTables::Write("USEWINDOWSAPI", "koi8-r", 20866, 'u');
    MarkedTables::Write("UseWindowsAPI", "koi8-r", 20866, 'm');
    SetBasePath(u"usewindowsapi"_w);
    EXPECT_EQ(MarkedTables::Shown(*GetCodePageReference(15)), "ll");
    SetBasePath(u"USEWINDOWSAPI"_w);
    EXPECT_EQ(MarkedTables::Shown(*GetCodePageReference(15)), "uu");
    SetBasePath(u"UseWindowsAPI\\"_w);
    EXPECT_EQ(MarkedTables::Shown(*GetCodePageReference(15)), "mm");
    SetBasePath(u"UseWindowsAPI"_w);
    EXPECT_EQ(MarkedTables::Shown(*GetCodePageReference(15)), "AA");
}

// The setting of the operating system's registry, which a text file stands for on a system without one.

class BasePathOfTheRegistryTest : public BasePathTest {
protected:
    BasePathOfTheRegistryTest() {
        EXPECT_EQ(setenv("KREGISTRY_FILE", (directory.Path() / "test.reg").c_str(), 1), 0);
        std::filesystem::create_directory(directory.Path() / "empty");
    }
    ~BasePathOfTheRegistryTest() override {
        EXPECT_EQ(setenv("KREGISTRY_FILE", "no such directory/registry", 1), 0);
    }

    void Put(const std::string& bytes) const {
        MarkedTables::WriteFile(directory.Path() / "test.reg", bytes);
    }
    void PutLine(const std::string& line) const {
        Put("Windows Registry Editor Version 5.00\r\n\r\n"
            "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Varnick\\Tessel Suite]\r\n" +
            line + "\r\n");
    }
    void PutPath(const std::string& path) const { PutLine("\"Common Path\"=\"" + path + "\""); }

    std::string Below(const char* name) const { return (directory.Path() / name).string(); }
    std::string AsShown(const std::string& path) const { return Ascii(Widen(path)); }
};

TEST_F(BasePathOfTheRegistryTest, ItsTablesAreTheOnesThatAreRead) {
    MarkedTables::Write(Below("tables"), "koi8-r", 20866, 'r');
    PutPath(Below("tables"));
    EXPECT_EQ(MarkedTables::Shown(*GetCodePageReference(15)), "rr");
    EXPECT_EQ(Ascii(GetBasePath()), AsShown(Below("tables")));
    EXPECT_EQ(FileName(15, decoding), AsShown(Below("tables") + "\\koi8-r.M2U")); // its spelling is kept
}

TEST_F(BasePathOfTheRegistryTest, BackslashesAreDoubledInTheFile) {
    MarkedTables::Write(Below("tables"), "koi8-r", 20866, 'r');
    std::string path = Below("tables");
    for (std::size_t at = 0; (at = path.find('/', at)) != std::string::npos; at += 2) {
        path.replace(at, 1, "\\\\");
    }
    PutPath(path);
    EXPECT_EQ(MarkedTables::Shown(*GetCodePageReference(15)), "rr");
}

TEST_F(BasePathOfTheRegistryTest, WhatWasSetIsNotLookedFor) {
    MarkedTables::Write(Below("tables"), "koi8-r", 20866, 'r');
    MarkedTables::Write(Below("set"), "koi8-r", 20866, 's');
    PutPath(Below("tables"));
    SetBasePath(Widen(Below("set")).c_str());
    EXPECT_EQ(Ascii(GetBasePath()), AsShown(Below("set")));
    EXPECT_EQ(MarkedTables::Shown(*GetCodePageReference(15)), "ss");
    SetBasePath(u""_w); // nothing is set any more
    EXPECT_EQ(Ascii(GetBasePath()), AsShown(Below("tables")));
    EXPECT_EQ(MarkedTables::Shown(*GetCodePageReference(15)), "rr");
    SetBasePath(Widen(Below("set")).c_str());
    EXPECT_EQ(MarkedTables::Shown(*GetCodePageReference(15)), "ss");
}

TEST_F(BasePathOfTheRegistryTest, OnceFoundItStaysUntilAnotherIsSet) {
    PutPath("first");
    EXPECT_EQ(Ascii(GetBasePath()), "first");
    PutPath("second");
    EXPECT_EQ(Ascii(GetBasePath()), "first");
    SetBasePath(u""_w);
    EXPECT_EQ(Ascii(GetBasePath()), "second");
}

TEST_F(BasePathOfTheRegistryTest, FindingItFlushesNothing) {
    const WorkingDirectory current(directory.Path());
    MarkedTables::Write(".", "koi8-r", 20866, 'q');
    MarkedTables::Write(Below("tables"), "koi8-r", 20866, 'r');
    CodePage* const before = GetCodePage(15);
    EXPECT_EQ(MarkedTables::Shown(*before), "qq");
    PutPath(Below("tables"));
    EXPECT_EQ(Ascii(GetBasePath()), AsShown(Below("tables")));
    EXPECT_EQ(GetCodePage(15), before);
    EXPECT_EQ(MarkedTables::Shown(*before), "qq");
    FlushCodePageCaches();
    EXPECT_EQ(MarkedTables::Shown(*GetCodePageReference(15)), "rr");
}

TEST_F(BasePathOfTheRegistryTest, UseWindowsAPIInTheFileMeansTheOperatingSystem) {
    const WorkingDirectory current(directory.Path());
    MarkedTables::Write("UseWindowsAPI", "koi8-r", 20866, 'q');
    PutPath("UseWindowsAPI");
    EXPECT_EQ(Ascii(GetBasePath()), "UseWindowsAPI");
    EXPECT_EQ(MarkedTables::Shown(*GetCodePageReference(15)), "AA");
}

TEST_F(BasePathOfTheRegistryTest, WhereNothingIsFoundTheBasePathIsEmptyAndLookedForAgain) {
    const WorkingDirectory current(directory.Path() / "empty");
    MarkedTables::Write(Below("tables"), "koi8-r", 20866, 'r');
    const std::vector<std::string> lines = {
        "",                                   // no value
        "\"Common Path\"=\"\"",               // an empty one
        "\"Common Path\"=dword:00000001",     // one of another kind
        "\"Common Path\"=hex(2):61,00,00,00", //
        "\"Common Path\"=-",                  // one that is taken back
        "\"Common\"=\"tables\"",              // another name
        "@=\"tables\"",                       //
        "\"Common Path\"=\"tables",           // malformed
        "\"Common Path\"=\"tables\"\r\n!",    //
        "[HKEY_CURRENT_USER\\SOFTWARE\\Varnick\\Tessel Suite]\r\n\"Common Path\"=\"tables\"",
    };
    for (const std::string& line : lines) {
        SetBasePath(u""_w);
        PutLine(line);
        EXPECT_EQ(Ascii(GetBasePath()), "") << line;
        EXPECT_EQ(Raised([] { GetCodePageReference(15); }).id, 2) << line; // no file in the current directory
        PutPath(Below("tables"));
        EXPECT_EQ(Ascii(GetBasePath()), AsShown(Below("tables"))) << line;
        EXPECT_EQ(MarkedTables::Shown(*GetCodePageReference(15)), "rr") << line;
    }
    SetBasePath(u""_w);
    Put("");
    EXPECT_EQ(Ascii(GetBasePath()), "");
    std::filesystem::remove(directory.Path() / "test.reg");
    EXPECT_EQ(Ascii(GetBasePath()), "");
    std::filesystem::create_directory(directory.Path() / "test.reg"); // a file that cannot be opened
    EXPECT_EQ(Ascii(GetBasePath()), "");
}

// File names.

TEST_F(BasePathTest, AFileIsNamedByBasePathIANANameAndExtension) {
    SetBasePath(u"C:\\data"_w);
    EXPECT_EQ(FileName(11, decoding), "C:\\u005Cdata\\u005Cshift_jis.M2U");
    EXPECT_EQ(FileName(11, encoding), "C:\\u005Cdata\\u005Cshift_jis.U2M");
    SetBasePath(u"/opt/tables"_w);
    EXPECT_EQ(FileName(1, decoding), "/opt/tables\\u005Ciso-8859-1.M2U");
    SetBasePath(u"./tables/"_w);
    EXPECT_EQ(FileName(17, encoding), "./tables/big5.U2M");
    SetBasePath(u"tables"_w);
    EXPECT_EQ(FileName(15, decoding), "tables\\u005Ckoi8-r.M2U");
    EXPECT_EQ(FileName(0, decoding), "tables\\u005Cus-ascii.M2U");
}

TEST_F(BasePathTest, TheTwoTablesOfEachCodePageDifferInTheExtensionAlone) {
    SetBasePath(u"tables"_w);
    const std::vector<std::pair<int, std::string>> names = {
        {0, "us-ascii"},   {1, "iso-8859-1"},   {2, "iso-8859-2"}, {4, "iso-8859-4"}, {6, "iso-8859-6"},
        {7, "iso-8859-7"}, {8, "windows-1255"}, {9, "iso-8859-9"}, {11, "shift_jis"}, {12, "iso-2022-jp"},
        {14, "euc-kr"},    {15, "koi8-r"},      {16, "gb2312"},    {17, "big5"},      {18, "windows-874"},
        {20, "utf-8"},     {21, "unicode-1-1"},
    };
    for (const auto& [codePage, name] : names) {
        EXPECT_EQ(FileName(codePage, decoding), "tables\\u005C" + name + ".M2U");
        EXPECT_EQ(FileName(codePage, encoding), "tables\\u005C" + name + ".U2M");
    }
}

TEST_F(BasePathTest, TheExtensionIsTheTablesOwn) {
    class Named final : public Table {
    public:
        void ReadFromFile(const wchar16*) override {}
        void ReadFromWindowsAPI() override {}
        void WriteToFile(const wchar16*) const override {}
        const wchar16* GetFileExtension() const override { return u"x.y"_w; }
    } named;
    SetBasePath(u"tables"_w);
    EXPECT_EQ(FileName(17, named), "tables\\u005Cbig5.x.y");
}

TEST_F(BasePathTest, UseWindowsAPIIsADirectoryLikeAnyOtherInAFileName) {
    SetBasePath(u"UseWindowsAPI"_w);
    EXPECT_EQ(FileName(17, decoding), "UseWindowsAPI\\u005Cbig5.M2U");
}

TEST_F(BasePathTest, AnEmptyBasePathGivesTheBareFileName) {
    EXPECT_EQ(FileName(15, decoding), "koi8-r.M2U");
    EXPECT_EQ(FileName(15, encoding), "koi8-r.U2M");
    SetBasePath(u""_w);
    EXPECT_EQ(FileName(15, decoding), "koi8-r.M2U");
}

TEST_F(BasePathTest, WithoutABasePathTheFilesOfTheCurrentDirectoryAreRead) {
    const WorkingDirectory current(directory.Path());
    MarkedTables::Write(".", "koi8-r", 20866, 'q');
    EXPECT_EQ(MarkedTables::Shown(*GetCodePageReference(15)), "qq");
}

TEST_F(BasePathTest, SlashesAndBackslashesSeparate) {
    MarkedTables::Write(directory.Path() / "a" / "b", "koi8-r", 20866, 'q');
    const KBase::WideString base = directory.Wide();
    for (const KBase::WideString& path : {base + Widen("/a/b"), base + Widen("\\a\\b"),
                                          base + Widen("/a\\b/"), base + Widen("//a/./b\\\\")}) {
        SetBasePath(path.c_str());
        EXPECT_EQ(MarkedTables::Shown(*GetCodePageReference(15)), "qq") << Ascii(path);
    }
}

TEST_F(BasePathTest, AValueWithoutARowHasNoFileName) {
    for (const int number : {3, 19, 22, -1}) {
        EXPECT_EQ(Raised([&] { FileName(number, decoding); }),
                  UserError("The character set is not supported: " + std::to_string(number)));
    }
}

} // namespace
