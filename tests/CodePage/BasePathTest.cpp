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

// File names.

TEST_F(BasePathTest, AFileIsNamedByBasePathIANANameAndExtension) {
    SetBasePath(u"C:\\data"_w);
    EXPECT_EQ(FileName(11, decoding), "C:\\u005Cdata\\u005Cshift_jis.M2U");
    EXPECT_EQ(FileName(11, encoding), "C:\\u005Cdata\\u005Cshift_jis.U2M");
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
