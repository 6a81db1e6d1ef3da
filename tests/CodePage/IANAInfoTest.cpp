#include "CodePage/IANAInfo.h"

#include "CodePage/CodePageImpl.h"
#include "CodePage/Initializer.h"
#include "CodePage/Private/Core/IANAInfoImpl.h"
#include "Raised.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

namespace {

using namespace KCodePage;
using namespace CodePageTests;
using KBase::operator""_w;

struct Row {
    int codePage;
    const char* name;
    unsigned windowsCodePage;
};

const std::vector<Row> catalogue = {
    {0, "us-ascii", 0},         // no number of its own: the system's code page
    {1, "iso-8859-1", 1252},    // the Windows page of the same script, not the ISO one
    {2, "iso-8859-2", 1250},    //
    {4, "iso-8859-4", 1257},    //
    {6, "iso-8859-6", 1256},    //
    {7, "iso-8859-7", 1253},    //
    {8, "windows-1255", 1255},  //
    {9, "iso-8859-9", 1254},    //
    {11, "shift_jis", 932},     //
    {12, "iso-2022-jp", 932},   // shares the number of shift_jis
    {14, "euc-kr", 949},        //
    {15, "koi8-r", 20866},      //
    {16, "gb2312", 936},        //
    {17, "big5", 950},          //
    {18, "windows-874", 874},   //
    {20, "utf-8", 65001},       //
    {21, "unicode-1-1", 65535}, // no converter accepts this number
};

CODE_PAGE Value(int number) {
    return static_cast<CODE_PAGE>(number);
}

KBase::WideString Wide(const std::string& ascii) {
    return KBase::WideString(ascii.begin(), ascii.end());
}

class IANAInfoTest : public testing::Test {
protected:
    Initializer initializer;
    const IANAInfo& list = *GetIANAInfo();
};

TEST_F(IANAInfoTest, EveryRowHasItsNameInBothSpellingsAndItsWindowsNumber) {
    for (const Row& row : catalogue) {
        const CODE_PAGE codePage = Value(row.codePage);
        ASSERT_NE(list.GetIANANameASCII(codePage), nullptr) << row.codePage;
        EXPECT_STREQ(list.GetIANANameASCII(codePage), row.name);
        ASSERT_NE(list.GetIANAName(codePage), nullptr) << row.codePage;
        EXPECT_EQ(Ascii(list.GetIANAName(codePage)), row.name);
        EXPECT_EQ(list.GetWindowsCodePage(codePage), row.windowsCodePage) << row.name;
    }
}

TEST_F(IANAInfoTest, HoldsSeventeenRowsAndNoOther) {
    std::vector<int> found;
    for (int number = -300; number <= 70000; ++number) {
        if (list.GetIANANameASCII(Value(number)) != nullptr) {
            found.push_back(number);
        }
    }
    EXPECT_EQ(found, (std::vector<int>{0, 1, 2, 4, 6, 7, 8, 9, 11, 12, 14, 15, 16, 17, 18, 20, 21}));
}

TEST_F(IANAInfoTest, ValuesWithoutARowHaveNoNamesAndTheNumberZero) {
    for (const int number :
         {3, 5, 10, 13, 19, 22, -1, 1252, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()}) {
        EXPECT_EQ(list.GetIANAName(Value(number)), nullptr) << number;
        EXPECT_EQ(list.GetIANANameASCII(Value(number)), nullptr) << number;
        EXPECT_EQ(list.GetWindowsCodePage(Value(number)), 0u) << number;
    }
}

TEST_F(IANAInfoTest, FindsEveryRowByItsName) {
    for (const Row& row : catalogue) {
        EXPECT_EQ(list.FindCodePage(Wide(row.name).c_str()), row.codePage) << row.name;
    }
}

TEST_F(IANAInfoTest, FindsOnlyExactNames) {
    const std::vector<const wchar16*> names = {
        u"KOI8-R"_w,        // another case
        u"UTF-8"_w,         //
        u"koi8-r "_w,       // a blank behind
        u" koi8-r"_w,       // a blank in front
        u""_w,              // nothing
        u"koi8"_w,          // the beginning of a name
        u"koi8-ru"_w,       // a name and more
        u"iso-8859"_w,      //
        u"iso-8859-10"_w,   // a name that begins with another row's name
        u"sjis"_w,          // an alias
        u"latin1"_w,        //
        u"\uFF4Boi8-r"_w,   // a fullwidth letter
        u"\u016Bs-ascii"_w, // a unit whose low byte is the right letter
    };
    for (const wchar16* name : names) {
        EXPECT_EQ(list.FindCodePage(name), -1) << Ascii(name);
    }
}

TEST_F(IANAInfoTest, ANameEndsAtItsFirstZeroUnit) {
    EXPECT_EQ(list.FindCodePage(u"koi8-r\0x"_w), 15);
}

TEST_F(IANAInfoTest, AnswersStayTheSamePointersWhileTheListLives) {
    EXPECT_EQ(list.GetIANANameASCII(SHIFT_JIS), list.GetIANANameASCII(SHIFT_JIS));
    EXPECT_EQ(list.GetIANAName(SHIFT_JIS), list.GetIANAName(SHIFT_JIS));
    EXPECT_NE(list.GetIANANameASCII(SHIFT_JIS), list.GetIANANameASCII(ISO_2022_JP));
}

TEST_F(IANAInfoTest, TheModuleHoldsOneReferenceAndHandsOutNone) {
    EXPECT_EQ(GetIANAInfo(), &list);
    EXPECT_EQ(list.AddRef(), 2);
    EXPECT_EQ(GetIANAInfo(), &list);
    EXPECT_EQ(list.AddRef(), 3);
    EXPECT_EQ(list.Release(), 2);
    EXPECT_EQ(list.Release(), 1);
}

TEST(IANAInfoImplTest, IsMadeWithOneReferenceAndGoesWithTheLastOne) {
    const IANAInfoImpl* const list = IANAInfoImpl::Create().Detach();
    EXPECT_EQ(list->AddRef(), 2);
    EXPECT_EQ(list->Release(), 1);
    EXPECT_STREQ(list->GetIANANameASCII(BIG5), "big5");
    EXPECT_EQ(list->Release(), 0);
}

TEST(IANAInfoImplTest, AListThatAClientHoldsOutlivesTheModule) {
    KBase::SmartPtrI<IANAInfo> held;
    {
        const Initializer initializer;
        held = KBase::SmartPtrI<IANAInfo>(GetIANAInfo());
    }
    EXPECT_STREQ(held->GetIANANameASCII(GB2312), "gb2312");
    EXPECT_EQ(held->FindCodePage(u"big5"_w), BIG5);
}

// The same rows as CodePageImpl tells them.

TEST_F(IANAInfoTest, TheCodePageClassFillsAllThreeOutputsFromTheRow) {
    for (const Row& row : catalogue) {
        std::string name;
        KBase::WideString wideName;
        unsigned windowsCodePage = 1;
        CodePageImpl::GetIANAInfo(Value(row.codePage), name, wideName, windowsCodePage);
        EXPECT_EQ(name, row.name);
        EXPECT_EQ(Ascii(wideName), row.name);
        EXPECT_EQ(windowsCodePage, row.windowsCodePage) << row.name;
    }
}

TEST_F(IANAInfoTest, TheCodePageClassReplacesWhatTheOutputsHeld) {
    std::string name = "a much longer name than the row has, which must not stay";
    KBase::WideString wideName = u"a much longer name than the row has, which must not stay"_w;
    unsigned windowsCodePage = 77;
    CodePageImpl::GetIANAInfo(US_ASCII, name, wideName, windowsCodePage);
    EXPECT_EQ(name, "us-ascii");
    EXPECT_EQ(Ascii(wideName), "us-ascii");
    EXPECT_EQ(windowsCodePage, 0u);
}

TEST_F(IANAInfoTest, TheCodePageClassRefusesAValueWithoutARowAndLeavesTheOutputs) {
    for (const int number :
         {3, 5, 10, 13, 19, 22, -1, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()}) {
        std::string name = "kept";
        KBase::WideString wideName = u"kept"_w;
        unsigned windowsCodePage = 77;
        EXPECT_EQ(Raised([&] { CodePageImpl::GetIANAInfo(Value(number), name, wideName, windowsCodePage); }),
                  UserError("The character set is not supported: " + std::to_string(number)));
        EXPECT_EQ(name, "kept");
        EXPECT_EQ(Ascii(wideName), "kept");
        EXPECT_EQ(windowsCodePage, 77u);
    }
}

TEST_F(IANAInfoTest, TheCodePageClassGivesItsReferenceOnTheListBack) {
    std::string name;
    KBase::WideString wideName;
    unsigned windowsCodePage = 0;
    CodePageImpl::GetIANAInfo(BIG5, name, wideName, windowsCodePage);
    Raised([&] { CodePageImpl::GetIANAInfo(UNLISTED, name, wideName, windowsCodePage); });
    EXPECT_EQ(list.AddRef(), 2);
    EXPECT_EQ(list.Release(), 1);
}

TEST(IANAInfoWithoutModuleTest, TheCodePageClassRefusesEveryValueWithoutAList) {
    ASSERT_EQ(GetIANAInfo(), nullptr);
    std::string name;
    KBase::WideString wideName;
    unsigned windowsCodePage = 0;
    EXPECT_EQ(Raised([&] { CodePageImpl::GetIANAInfo(ISO_8859_1, name, wideName, windowsCodePage); }),
              UserError("The character set is not supported: 1"));
}

} // namespace
