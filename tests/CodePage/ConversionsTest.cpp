#include "CodePage/CodePageImpl.h"
#include "CodePage/CodePageRegistry.h"
#include "CodePage/Initializer.h"
#include "CodePage/Private/Core/CodePageFields.h"
#include "OperatingSystem/LastError.h"
#include "Raised.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

namespace KCodePage {

// Reaches the operating system's routes, and makes objects in states that nothing public leads to.
class CodePageImplTestAccess {
public:
    static KBase::ReturnPtrI<UnicodeString> ToUnicode(CodePageImpl& object, const char* text,
                                                      unsigned length) {
        return object.ConvertToUnicodeWindowsAPI(text, length);
    }

    static KBase::ReturnPtrI<MultiByteString> ToMultiByte(CodePageImpl& object, const wchar16* text,
                                                          unsigned length) {
        return object.ConvertToMultiByteWindowsAPI(text, length);
    }

    // An object of the listed, unsupported code page 19, with a name to be seen in messages.
    static KBase::SmartPtrI<CodePageImpl> MakeUnlisted() {
        KBase::SmartPtrI<CodePageImpl> object(new CodePageImpl);
        const KBase::SmartPtrI<CodePageFields> fields(new CodePageFields);
        fields->codePage = UNLISTED;
        fields->ianaName = "some-name";
        fields->ianaNameWide = Name();
        object->Replace(CodePageImpl::Fields(fields.Get()));
        return object;
    }

    static void SetWindowsCodePage(CodePageImpl& object, unsigned number) {
        const KBase::SmartPtrI<CodePageFields> fields(new CodePageFields);
        fields->codePage = object.fields->codePage;
        fields->windowsCodePage = number;
        object.Replace(CodePageImpl::Fields(fields.Get()));
    }

private:
    static KBase::WideString Name() {
        const std::string name = "some-name";
        return KBase::WideString(name.begin(), name.end());
    }
};

} // namespace KCodePage

namespace {

using namespace KCodePage;
using namespace CodePageTests;
using KBase::operator""_w;
using Access = CodePageImplTestAccess;
using Object = KBase::SmartPtrI<CodePageImpl>;

constexpr auto substitute = CodePage::SUBSTITUTE;
constexpr auto throwing = CodePage::THROW_INVALID_CHARACTER;

// A copy of exactly the text's size on the heap, so that the address sanitizer sees a read beyond it.
class ExactText {
public:
    explicit ExactText(const std::string& text) : bytes(new char[text.size()]), length(text.size()) {
        text.copy(bytes.get(), text.size());
    }
    const char* Get() const noexcept { return bytes.get(); }
    unsigned Length() const noexcept { return static_cast<unsigned>(length); }

private:
    std::unique_ptr<char[]> bytes;
    std::size_t length;
};

class ExactWideText {
public:
    explicit ExactWideText(KBase::WideView text) : units(new wchar16[text.size()]), length(text.size()) {
        text.copy(units.get(), text.size());
    }
    const wchar16* Get() const noexcept { return units.get(); }
    unsigned Length() const noexcept { return static_cast<unsigned>(length); }

private:
    std::unique_ptr<wchar16[]> units;
    std::size_t length;
};

std::string Text(const KBase::ReturnPtrI<UnicodeString>& string) {
    return Ascii(KBase::WideView(string->Get(), string->Length()));
}

std::string Text(const KBase::ReturnPtrI<MultiByteString>& string) {
    return std::string(string->Get(), string->Length());
}

std::string Decode(CodePage& codePage, const std::string& bytes,
                   CodePage::USE_SUBSTITUTION_CHARACTER substitution = throwing) {
    const ExactText text(bytes);
    return Text(codePage.ConvertToUnicode(text.Get(), text.Length(), substitution));
}

std::string Encode(CodePage& codePage, KBase::WideView units,
                   CodePage::USE_SUBSTITUTION_CHARACTER substitution = throwing) {
    const ExactWideText text(units);
    return Text(codePage.ConvertToMultiByte(text.Get(), text.Length(), substitution));
}

struct Block {
    std::string bytes;
    unsigned consumed;
    friend bool operator==(const Block&, const Block&) = default;
    friend std::ostream& operator<<(std::ostream& stream, const Block& block) {
        return stream << testing::PrintToString(block.bytes) << " consumed " << block.consumed;
    }
};

Block EncodeBlock(CodePage& codePage, unsigned blockSize, KBase::WideView units,
                  CodePage::USE_SUBSTITUTION_CHARACTER substitution = throwing) {
    const ExactWideText text(units);
    unsigned consumed = 77; // an output only
    const auto string = codePage.ConvertToMultiByteObservingBlockSize(consumed, blockSize, text.Get(),
                                                                      text.Length(), substitution);
    return {Text(string), consumed};
}

// Calls each of the seven operations; the block-limited one with a limit.
std::vector<Failure> RaisedByEachOperation(CodePage& codePage) {
    return {Raised([&] { Decode(codePage, "ab", substitute); }),
            Raised([&] { Encode(codePage, u"ab"_w, substitute); }),
            Raised([&] { EncodeBlock(codePage, 10, u"ab"_w, substitute); }),
            Raised([&] { codePage.IsLeadingByte('a'); }),
            Raised([&] { codePage.GetNumberOfBytesInThisCharacter("ab"); }),
            Raised([&] { codePage.IsEscapeSequence("ab"); }),
            Raised([&] { codePage.GetNumberOfBytesInThisEscapeSequence("ab"); })};
}

class ConversionsTest : public testing::Test {
protected:
    ConversionsTest() { SetBasePath(u"UseWindowsAPI"_w); }

    Initializer initializer;
};

Object Make(int codePage) {
    return Object(new CodePageImpl(static_cast<CODE_PAGE>(codePage)));
}

struct TablePage {
    int codePage;
    std::string bytes;
    KBase::WideString units;
    std::string leadBytes; // the first and the last
};

const std::vector<TablePage> tablePages = {
    {0, "A\x80\xFF", u"A\u20AC\u00FF"_w, ""},                            // 1252
    {1, "A\xE9\x99", u"A\u00E9\u2122"_w, ""},                            // 1252
    {2, "A\xA3\x9C", u"A\u0141\u015B"_w, ""},                            // 1250
    {4, "A\xE0\xD0", u"A\u0105\u0160"_w, ""},                            // 1257
    {6, "A\xC7\x81", u"A\u0627\u067E"_w, ""},                            // 1256
    {7, "A\xE1\xFF", u"A\u03B1\uF8FB"_w, ""},                            // 1253, private use
    {8, "A\xE0\xCA", u"A\u05D0\u05BA"_w, ""},                            // 1255
    {9, "A\xFD\xD0", u"A\u0131\u011E"_w, ""},                            // 1254
    {11, "A\x82\xA0\xB1\xE0\x40", u"A\u3042\uFF71\u6F3E"_w, "\x81\xFC"}, // 932
    {14, "A\xB0\xA1\xA2\xE6", u"A\uAC00\u20AC"_w, "\x81\xFE"},           // 949
    {15, "A\xC1\xE1", u"A\u0430\u0410"_w, ""},                           // 20866
    {16, "A\xB0\xA1\x80", u"A\u554A\u20AC"_w, "\x81\xFE"},               // 936
    {17, "A\xA4\x40\xA3\xE1", u"A\u4E00\u20AC"_w, "\x81\xFE"},           // 950
    {18, "A\xA1\x80", u"A\u0E01\u20AC"_w, ""},                           // 874
};

// Code pages with tables.

TEST_F(ConversionsTest, CodePagesWithTablesDecodeThroughThem) {
    for (const TablePage& page : tablePages) {
        EXPECT_EQ(Decode(*Make(page.codePage), page.bytes), Ascii(page.units)) << page.codePage;
    }
}

TEST_F(ConversionsTest, CodePagesWithTablesEncodeThroughThem) {
    for (const TablePage& page : tablePages) {
        EXPECT_EQ(Encode(*Make(page.codePage), page.units), page.bytes) << page.codePage;
    }
}

TEST_F(ConversionsTest, CodePagesWithTablesFillABlockToItsLastByte) {
    for (const TablePage& page : tablePages) {
        const Object object = Make(page.codePage);
        const auto length = static_cast<unsigned>(page.bytes.size());
        const auto units = static_cast<unsigned>(page.units.size());
        EXPECT_EQ(EncodeBlock(*object, length, page.units), (Block{page.bytes, units})) << page.codePage;
        EXPECT_EQ(EncodeBlock(*object, length + 1, page.units), (Block{page.bytes, units}));
        EXPECT_EQ(EncodeBlock(*object, 1, page.units), (Block{"A", 1})) << page.codePage;
    }
}

TEST_F(ConversionsTest, ABlockWithoutALimitConsumesNothingInCodePagesWithTables) {
    // The whole text converts; the count is only kept where there is a limit.
    for (const TablePage& page : tablePages) {
        EXPECT_EQ(EncodeBlock(*Make(page.codePage), 0, page.units), (Block{page.bytes, 0})) << page.codePage;
    }
}

TEST_F(ConversionsTest, ABlockNeverSplitsACharacter) {
    const Object object = Make(11);
    EXPECT_EQ(EncodeBlock(*object, 1, u"\u3042"_w), (Block{"", 0}));
    EXPECT_EQ(EncodeBlock(*object, 3, u"\u3042\u3044\u3046"_w), (Block{"\x82\xA0", 1}));
    EXPECT_EQ(EncodeBlock(*object, 3, u"\u3042a\u3046"_w), (Block{"\x82\xA0"
                                                                  "a",
                                                                  2}));
}

TEST_F(ConversionsTest, EmptyTextsGiveEmptyStringsInEveryCodePageThatConverts) {
    for (const TablePage& page : tablePages) {
        const Object object = Make(page.codePage);
        EXPECT_EQ(Decode(*object, ""), "");
        EXPECT_EQ(Encode(*object, u""_w), "");
        EXPECT_EQ(EncodeBlock(*object, 5, u""_w), (Block{"", 0}));
    }
    const Object utf8 = Make(20);
    EXPECT_EQ(Text(utf8->ConvertToUnicode("", 0, throwing)), "");
    EXPECT_EQ(Encode(*utf8, u""_w), "");
    EXPECT_EQ(EncodeBlock(*utf8, 5, u""_w), (Block{"", 0}));
}

TEST_F(ConversionsTest, SubstitutionZeroSubstitutesAndEveryOtherValueThrows) {
    const Object object = Make(15);
    EXPECT_EQ(Encode(*object, u"a\u3042z"_w, substitute), "a?z");
    EXPECT_EQ(EncodeBlock(*object, 2, u"a\u3042z"_w, substitute), (Block{"a?", 2}));
    for (const int mode : {1, 2, -1, 256, 0x7FFFFFFF}) {
        const auto value = static_cast<CodePage::USE_SUBSTITUTION_CHARACTER>(mode);
        EXPECT_EQ(Raised([&] { Encode(*object, u"a\u3042z"_w, value); }),
                  InvalidCharacter("Invalid character 000\\u3042"));
        EXPECT_EQ(Raised([&] { EncodeBlock(*object, 9, u"a\u3042z"_w, value); }),
                  InvalidCharacter("Invalid character 000\\u3042"));
    }
}

TEST_F(ConversionsTest, ACutOffCharacterIsInvalid) {
    const Object object = Make(11);
    EXPECT_EQ(Decode(*object, "a\x82", substitute), "a?");
    // The byte behind it is a zero, which ends the text.
    EXPECT_EQ(Raised([&] { Decode(*object, "a\x82"); }), InvalidCharacter("Invalid character 000"));
}

TEST_F(ConversionsTest, ZeroBytesAndUnitsConvertLikeOthersInCodePagesWithTables) {
    for (const TablePage& page : tablePages) {
        const Object object = Make(page.codePage);
        EXPECT_EQ(Decode(*object, std::string("a\0b", 3)), "a\\u0000b") << page.codePage;
        EXPECT_EQ(Encode(*object, u"a\0b"_w), std::string("a\0b", 3)) << page.codePage;
    }
}

TEST_F(ConversionsTest, TheLeadBytesAreTheTables) {
    for (const TablePage& page : tablePages) {
        const Object object = Make(page.codePage);
        for (int byte = 0; byte < 256; ++byte) {
            bool lead = false;
            if (!page.leadBytes.empty()) {
                const int first = static_cast<unsigned char>(page.leadBytes[0]);
                const int last = static_cast<unsigned char>(page.leadBytes[1]);
                const bool katakana = page.codePage == 11 && byte >= 0xA0 && byte <= 0xDF;
                lead = byte >= first && byte <= last && !katakana;
            }
            const char text[2] = {static_cast<char>(byte), 0};
            EXPECT_EQ(object->IsLeadingByte(text[0]), lead) << page.codePage << " byte " << byte;
            EXPECT_EQ(object->GetNumberOfBytesInThisCharacter(text), lead ? 2u : 1u)
                << page.codePage << " byte " << byte;
        }
    }
}

TEST_F(ConversionsTest, OnlyIso2022JpHasEscapeSequences) {
    std::vector<int> others = {20};
    for (const TablePage& page : tablePages) {
        others.push_back(page.codePage);
    }
    for (const int number : others) {
        const Object object = Make(number);
        for (const char* text : {"", "a", "\x1B", "\x1B$B", "\x1B(B", "\x1B(J", "\x1B$@", "\x82\xA0"}) {
            EXPECT_FALSE(object->IsEscapeSequence(text)) << number;
            EXPECT_EQ(object->GetNumberOfBytesInThisEscapeSequence(text), 0u) << number;
        }
    }
}

// Code pages that refuse.

TEST_F(ConversionsTest, TheUnlistedCodePageRefusesEveryOperationByItsName) {
    const Object object = Access::MakeUnlisted();
    const Failure refused = UserError("The character set is not supported: some-name");
    EXPECT_EQ(RaisedByEachOperation(*object), std::vector<Failure>(7, refused));
    EXPECT_EQ(Raised([&] { EncodeBlock(*object, 0, u"ab"_w); }), refused);
}

TEST_F(ConversionsTest, Iso2022JpDoesNotDecode) {
    const Object object = Make(12);
    const Failure refused = UserError("The character set is not supported: iso-2022-jp");
    EXPECT_EQ(Raised([&] { Decode(*object, "abc"); }), refused);
    EXPECT_EQ(Raised([&] { Decode(*object, "abc", substitute); }), refused);
    EXPECT_EQ(Raised([&] { Decode(*object, ""); }), refused);
}

TEST_F(ConversionsTest, Iso2022JpEncodesByWayOfShiftJis) {
    const Object object = Make(12);
    EXPECT_EQ(Encode(*object, u"A\u3042B"_w), "A\x1B$B$\"\x1B(BB");
    EXPECT_EQ(Encode(*object, u""_w), "");
    EXPECT_EQ(Encode(*object, u"\uFF71"_w), "\xB1"); // half-width katakana is copied
    EXPECT_EQ(Encode(*object, u"\u0E01\u3042"_w, substitute), "?\x1B$B$\"\x1B(B");
    EXPECT_EQ(Raised([&] { Encode(*object, u"\u0E01"_w); }),
              InvalidCharacter("Invalid character 000\\u0E01"));
}

TEST_F(ConversionsTest, Iso2022JpByBlocksCountsCharactersAndStaysBelowTheBlockSize) {
    const Object object = Make(12);
    EXPECT_EQ(EncodeBlock(*object, 0, u"\u3042A"_w), (Block{"\x1B$B$\"\x1B(BA", 0}));
    EXPECT_EQ(EncodeBlock(*object, 8, u"\u3042A"_w), (Block{"", 0}));
    EXPECT_EQ(EncodeBlock(*object, 9, u"\u3042A"_w), (Block{"\x1B$B$\"\x1B(B", 1}));
    EXPECT_EQ(EncodeBlock(*object, 10, u"\u3042A"_w), (Block{"\x1B$B$\"\x1B(BA", 2}));
    EXPECT_EQ(EncodeBlock(*object, 1, u"A"_w), (Block{"", 0}));
}

TEST_F(ConversionsTest, Iso2022JpThrowsInBothModesWhereShiftJisHasNoJisCode) {
    const Object object = Make(12);
    const Failure failure = InvalidCharacter("ShiftJisToJis::Convert - Couldn't convert to JIS code page. "
                                             "Character that failed (Win code page 932): fa40");
    for (const auto mode : {substitute, throwing}) {
        EXPECT_EQ(Raised([&] { Encode(*object, u"\u2170"_w, mode); }), failure);
        EXPECT_EQ(Raised([&] { EncodeBlock(*object, 100, u"\u2170"_w, mode); }), failure);
    }
}

TEST_F(ConversionsTest, Iso2022JpTellsJisLeadBytesAndEscapeSequences) {
    const Object object = Make(12);
    for (int byte = 0; byte < 0x100; ++byte) {
        const char text[] = {static_cast<char>(byte), 0};
        const bool isLead = byte >= 0x21 && byte <= 0x7E;
        EXPECT_EQ(object->IsLeadingByte(text[0]), isLead) << byte;
        EXPECT_EQ(object->GetNumberOfBytesInThisCharacter(text), isLead ? 2u : 1u) << byte;
    }
    for (const char* const text : {"\x1B$B", "\x1B(B", "\x1B$Bmore"}) {
        EXPECT_TRUE(object->IsEscapeSequence(text));
        EXPECT_EQ(object->GetNumberOfBytesInThisEscapeSequence(text), 3u);
    }
    for (const char* const text : {"\x1B$@", "\x1B(J", "\x1B$", "\x1B", "", "a\x1B$B"}) {
        EXPECT_FALSE(object->IsEscapeSequence(text));
        EXPECT_EQ(object->GetNumberOfBytesInThisEscapeSequence(text), 0u);
    }
}

TEST_F(ConversionsTest, Unicode11ImplementsNoOperationAndNamesEach) {
    const Object object = Make(21);
    const std::vector<Failure> expected = {
        UserError("OneToOne::ConvertToUnicode - not implemented"),
        UserError("OneToOne::ConvertToMultiByte - not implemented"),
        UserError("OneToOne::ConvertToMultiByteObservingBlockSize - not implemented"),
        UserError("OneToOne::IsLeadingByte - not implemented"),
        UserError("OneToOne::GetNumberOfBytesInThisCharacter - not implemented"),
        UserError("OneToOne::IsEscapeSequence - not implemented"),
        UserError("OneToOne::GetNumberOfBytesInThisEscapeSequence - not implemented"),
    };
    EXPECT_EQ(RaisedByEachOperation(*object), expected);
}

TEST_F(ConversionsTest, Unicode11NamesTheUnlimitedConversionWhereTheBlockSizeIsZero) {
    const Object object = Make(21);
    EXPECT_EQ(Raised([&] { EncodeBlock(*object, 0, u"ab"_w); }),
              UserError("OneToOne::ConvertToMultiByte - not implemented"));
    EXPECT_EQ(Raised([&] { EncodeBlock(*object, 1, u"ab"_w); }),
              UserError("OneToOne::ConvertToMultiByteObservingBlockSize - not implemented"));
    EXPECT_EQ(Raised([&] { EncodeBlock(*object, 10, u""_w); }),
              UserError("OneToOne::ConvertToMultiByteObservingBlockSize - not implemented"));
}

TEST_F(ConversionsTest, ConsumedIsZeroAlsoWhereTheConversionIsRefused) {
    for (const Object& object : {Make(21), Access::MakeUnlisted()}) {
        unsigned consumed = 77;
        EXPECT_EQ(Raised([&] {
                      object->ConvertToMultiByteObservingBlockSize(consumed, 10, u"ab"_w, 2, substitute);
                  }).type,
                  "UserErrorException");
        EXPECT_EQ(consumed, 0u);
    }
}

// UTF-8.

TEST_F(ConversionsTest, Utf8DecodesEveryLengthOfSequence) {
    EXPECT_EQ(Text(Make(20)->ConvertToUnicode("a\xC3\xA9\xE3\x81\x82\xF0\x9F\x98\x80", 10, throwing)),
              "a\\u00E9\\u3042\\uD83D\\uDE00");
}

TEST_F(ConversionsTest, Utf8DecodesUpToTheFirstZeroByte) {
    const auto text = Make(20)->ConvertToUnicode("ab\0cd", 5, throwing);
    EXPECT_EQ(text->Length(), 2u);
    EXPECT_TRUE(text->IsEqual(u"ab"_w, 2));
}

TEST_F(ConversionsTest, Utf8IgnoresTheLengthWhenDecoding) {
    const Object object = Make(20);
    for (const unsigned length : {0u, 1u, 2u, 1000000u}) {
        EXPECT_EQ(Text(object->ConvertToUnicode("abc", length, throwing)), "abc") << length;
    }
}

TEST_F(ConversionsTest, Utf8TakesANullPointerForAnEmptyText) {
    for (const auto mode : {substitute, throwing}) {
        EXPECT_EQ(Text(Make(20)->ConvertToUnicode(nullptr, 0, mode)), "");
        EXPECT_EQ(Text(Make(20)->ConvertToMultiByte(nullptr, 0, mode)), "");
    }
}

TEST_F(ConversionsTest, Utf8KeepsAByteOrderMark) {
    EXPECT_EQ(Text(Make(20)->ConvertToUnicode("\xEF\xBB\xBF"
                                              "a",
                                              4, throwing)),
              "\\uFEFFa");
    EXPECT_EQ(Encode(*Make(20), u"\uFEFFa"_w), "\xEF\xBB\xBF"
                                               "a");
}

TEST_F(ConversionsTest, Utf8PassesTheFailureOfItsRoutinesOnUnchanged) {
    const Failure failure = Raised([] { Make(20)->ConvertToUnicode("ab\xFFz", 4, throwing); });
    EXPECT_EQ(failure.type, "Message");
    EXPECT_NE(failure.text.find(" 2"), std::string::npos) << failure.text; // the offset of the byte
}

TEST_F(ConversionsTest, Utf8DecodesOneReplacementForEachMaximalIllFormedPart) {
    const Object object = Make(20);
    EXPECT_EQ(Text(object->ConvertToUnicode("a\xE3\x81z", 4, substitute)), "a\\uFFFDz");
    EXPECT_EQ(Text(object->ConvertToUnicode("\xF0\x80\x80", 3, substitute)), "\\uFFFD\\uFFFD\\uFFFD");
    EXPECT_EQ(Text(object->ConvertToUnicode("\xED\xA0\x80", 3, substitute)), "\\uFFFD\\uFFFD\\uFFFD");
    EXPECT_EQ(Text(object->ConvertToUnicode("\xF1\x80\x80\xE1\x80\xC2z", 7, substitute)),
              "\\uFFFD\\uFFFD\\uFFFDz");
}

TEST_F(ConversionsTest, Utf8EncodesPairsOfSurrogatesAsOneCharacter) {
    EXPECT_EQ(Encode(*Make(20), u"a\u00E9\u3042\U0001F600"_w), "a\xC3\xA9\xE3\x81\x82\xF0\x9F\x98\x80");
}

TEST_F(ConversionsTest, Utf8EncodesUpToTheFirstZeroUnit) {
    EXPECT_EQ(Encode(*Make(20), u"ab\0cd"_w), "ab");
    EXPECT_EQ(Encode(*Make(20), u"\0cd"_w), "");
}

TEST_F(ConversionsTest, Utf8EncodesNoMoreThanTheLength) {
    EXPECT_EQ(Text(Make(20)->ConvertToMultiByte(u"abc"_w, 2, throwing)), "ab");
}

TEST_F(ConversionsTest, Utf8SubstitutesUnpairedSurrogatesOrFails) {
    const Object object = Make(20);
    const wchar16 units[] = {'a', 0xD83D, 'b', 0xDE00};
    const KBase::WideView text(units, 4);
    EXPECT_EQ(Encode(*object, text, substitute), "a\xEF\xBF\xBD"
                                                 "b\xEF\xBF\xBD");
    const Failure failure = Raised([&] { Encode(*object, text); });
    EXPECT_EQ(failure.type, "Message");
    EXPECT_NE(failure.text.find(" 1"), std::string::npos) << failure.text; // the offset of the unit
}

TEST_F(ConversionsTest, Utf8LeavesConsumedZeroWithoutALimit) {
    EXPECT_EQ(EncodeBlock(*Make(20), 0, u"abc"_w), (Block{"abc", 0}));
}

TEST_F(ConversionsTest, Utf8StaysBelowTheBlockSize) {
    const Object object = Make(20);
    EXPECT_EQ(EncodeBlock(*object, 3, u"abc"_w), (Block{"ab", 2})); // a third byte would reach the limit
    EXPECT_EQ(EncodeBlock(*object, 1, u"abc"_w), (Block{"", 0}));
    EXPECT_EQ(EncodeBlock(*object, 4, u"abc"_w), (Block{"abc", 3}));
    EXPECT_EQ(EncodeBlock(*object, 4000000000u, u"abc"_w), (Block{"abc", 3}));
    EXPECT_EQ(EncodeBlock(*object, 3, u"\u3042"_w), (Block{"", 0}));
    EXPECT_EQ(EncodeBlock(*object, 4, u"\u3042"_w), (Block{"\xE3\x81\x82", 1}));
    EXPECT_EQ(EncodeBlock(*object, 6, u"\u3042\u00E9b"_w), (Block{"\xE3\x81\x82\xC3\xA9", 2}));
    EXPECT_EQ(EncodeBlock(*object, 5, u"\u3042\u00E9b"_w), (Block{"\xE3\x81\x82", 1}));
}

TEST_F(ConversionsTest, Utf8ConsumesAZeroUnitInABlockAndPutsNothingOut) {
    const Object object = Make(20);
    EXPECT_EQ(EncodeBlock(*object, 10, u"a\0b"_w), (Block{"ab", 3}));
    EXPECT_EQ(EncodeBlock(*object, 1, u"\0\0\0"_w), (Block{"", 3}));
    EXPECT_EQ(EncodeBlock(*object, 2, u"a\0\0b"_w), (Block{"a", 3}));
}

TEST_F(ConversionsTest, Utf8EncodesTheHalvesOfAPairOneByOneInABlock) {
    const Object object = Make(20);
    EXPECT_EQ(EncodeBlock(*object, 10, u"\U0001F600z"_w, substitute),
              (Block{"\xEF\xBF\xBD\xEF\xBF\xBDz", 3}));
    EXPECT_EQ(EncodeBlock(*object, 5, u"\U0001F600"_w, substitute), (Block{"\xEF\xBF\xBD", 1}));
    EXPECT_EQ(Raised([&] { EncodeBlock(*object, 10, u"\U0001F600"_w); }).type, "Message");
}

TEST_F(ConversionsTest, Utf8FailsAtASurrogateThatWouldNotHaveFittedTheBlock) {
    // Each unit is encoded before its room is measured.
    EXPECT_EQ(Raised([&] { EncodeBlock(*Make(20), 2, u"a\U0001F600"_w); }).type, "Message");
}

TEST_F(ConversionsTest, Utf8BlocksJoinedAreTheWholeFromSizeFourUp) {
    const Object object = Make(20);
    KBase::WideString text;
    for (unsigned unit = 1; unit < 0x10000; unit += unit < 0x900 ? 1 : 97) {
        if (unit < 0xD800 || unit > 0xDFFF) {
            text.push_back(static_cast<wchar16>(unit));
        }
    }
    const std::string whole = Encode(*object, text);
    for (const unsigned blockSize : {4u, 5u, 6u, 7u, 8u, 16u, 1000u, 100000u}) {
        std::string joined;
        for (KBase::WideView rest = text; !rest.empty();) {
            const Block block = EncodeBlock(*object, blockSize, rest);
            ASSERT_GT(block.consumed, 0u) << blockSize;
            ASSERT_LT(block.bytes.size(), blockSize);
            joined += block.bytes;
            rest.remove_prefix(block.consumed);
        }
        EXPECT_TRUE(joined == whole) << blockSize;
    }
}

TEST_F(ConversionsTest, Utf8TellsTheLengthOfASequenceFromItsFirstByte) {
    const Object object = Make(20);
    for (int byte = 0; byte < 256; ++byte) {
        unsigned expected = 1; // also for continuation bytes and bytes that never occur: C0, C1, F5 to FF
        if (byte >= 0xC2 && byte <= 0xDF) {
            expected = 2;
        } else if (byte >= 0xE0 && byte <= 0xEF) {
            expected = 3;
        } else if (byte >= 0xF0 && byte <= 0xF4) {
            expected = 4;
        }
        const ExactText text(std::string(1, static_cast<char>(byte)));
        EXPECT_EQ(object->GetNumberOfBytesInThisCharacter(text.Get()), expected) << byte;
        EXPECT_EQ(object->IsLeadingByte(static_cast<char>(byte)), expected > 1) << byte;
    }
}

// The operating system's routes.

std::string ToUnicode(CodePageImpl& object, const std::string& bytes) {
    const ExactText text(bytes);
    return Text(Access::ToUnicode(object, text.Get(), text.Length()));
}

std::string ToMultiByte(CodePageImpl& object, KBase::WideView units) {
    const ExactWideText text(units);
    return Text(Access::ToMultiByte(object, text.Get(), text.Length()));
}

// The address of the routine that tells the last error, as the texts show it.
std::string LastErrorRoutine() {
    char text[32];
    std::snprintf(
        text, sizeof text, "0x%llx",
        static_cast<unsigned long long>(reinterpret_cast<std::uintptr_t>(&OperatingSystem::GetLastError)));
    return text;
}

TEST_F(ConversionsTest, TheSystemsRouteDecodesByTheWindowsNumber) {
    EXPECT_EQ(ToUnicode(*Make(1), "A\x80\xE9"), "A\\u20AC\\u00E9");
    EXPECT_EQ(ToUnicode(*Make(11), "A\x82\xA0\xB1"), "A\\u3042\\uFF71");
    EXPECT_EQ(ToUnicode(*Make(12), "A\x82\xA0\xB1"), "A\\u3042\\uFF71"); // as Shift-JIS, 932
    EXPECT_EQ(ToUnicode(*Make(20), "A\xE3\x81\x82\xF0\x9F\x98\x80"), "A\\u3042\\uD83D\\uDE00");
}

TEST_F(ConversionsTest, TheSystemsRouteKeepsZeroesAndStandsInForWhatIsUndefined) {
    EXPECT_EQ(ToUnicode(*Make(1), std::string("a\0b", 3)), "a\\u0000b");
    EXPECT_EQ(ToUnicode(*Make(20), std::string("a\0b", 3)), "a\\u0000b");
    EXPECT_EQ(ToUnicode(*Make(11), "\x85\x40"), "\\u30FB");
    EXPECT_EQ(ToUnicode(*Make(11), "a\x82"), "a\\u30FB");
    EXPECT_EQ(ToUnicode(*Make(11), std::string("\x82\0", 2)), "\\u30FB\\u0000");
    EXPECT_EQ(ToUnicode(*Make(20), "\xE3\x81"), "\\uFFFD");
}

TEST_F(ConversionsTest, TheSystemsRouteEncodesByTheWindowsNumber) {
    EXPECT_EQ(ToMultiByte(*Make(1), u"A\u20AC\u00E9\u0100"_w), "A\x80\xE9"
                                                               "A"); // U+0100 by best fit
    EXPECT_EQ(ToMultiByte(*Make(11), u"A\u3042\uFF71"_w), "A\x82\xA0\xB1");
    EXPECT_EQ(ToMultiByte(*Make(1), u"a\0b"_w), std::string("a\0b", 3));
}

TEST_F(ConversionsTest, TheSystemsRoutePutsAQuestionMarkForWhatHasNoMapping) {
    EXPECT_EQ(ToMultiByte(*Make(1), u"\u3042\U0001F600"_w), "???");
    EXPECT_EQ(ToMultiByte(*Make(11), u"\u0E01"_w), "?");
}

TEST_F(ConversionsTest, TheSystemsRouteGivesEmptyStringsForEmptyTextsOnEveryCodePage) {
    for (const int number : {1, 11, 12, 20, 21}) {
        const Object object = Make(number);
        EXPECT_EQ(ToUnicode(*object, ""), "") << number;
        EXPECT_EQ(ToMultiByte(*object, u""_w), "") << number;
        EXPECT_EQ(Text(Access::ToUnicode(*object, nullptr, 0)), "") << number;
        EXPECT_EQ(Text(Access::ToMultiByte(*object, nullptr, 0)), "") << number;
    }
}

TEST_F(ConversionsTest, TheSystemsRouteOfUtf8RefusesADefaultCharacterWithError87) {
    EXPECT_EQ(Raised([] { ToMultiByte(*Make(20), u"abc"_w); }),
              ConversionError("Error converting to MultiByte: 87"));
}

TEST_F(ConversionsTest, TheSystemsRouteRefusesTheNumberOfUnicode11) {
    EXPECT_EQ(Raised([] { ToMultiByte(*Make(21), u"abc"_w); }),
              ConversionError("Error converting to MultiByte: 87"));
    EXPECT_EQ(Raised([] { ToUnicode(*Make(21), "abc"); }),
              ConversionError("Error converting to Unicode: " + LastErrorRoutine()));
}

TEST_F(ConversionsTest, TheSystemsRouteRefusesANumberThatTheSystemDoesNotKnow) {
    const Object object = Make(1);
    Access::SetWindowsCodePage(*object, 12345);
    EXPECT_EQ(Raised([&] { ToMultiByte(*object, u"abc"_w); }),
              ConversionError("Error converting to MultiByte: 87"));
    EXPECT_EQ(Raised([&] { ToUnicode(*object, "abc"); }),
              ConversionError("Error converting to Unicode: " + LastErrorRoutine()));
}

TEST_F(ConversionsTest, TheSystemsRouteRefusesALengthThatTheServicesCannotTake) {
    // A negative length would mean a text up to its first zero.
    const Object object = Make(1);
    for (const unsigned length : {0x80000000u, 0xFFFFFFFFu, 3000000000u}) {
        EXPECT_EQ(Raised([&] { Access::ToMultiByte(*object, u"abc"_w, length); }),
                  ConversionError("Error converting to MultiByte: 87"));
        EXPECT_EQ(Raised([&] { Access::ToUnicode(*object, "abc", length); }),
                  ConversionError("Error converting to Unicode: " + LastErrorRoutine()));
    }
}

TEST_F(ConversionsTest, TheSystemsRouteOfIso2022JpGoesByWayOfShiftJis) {
    EXPECT_EQ(ToMultiByte(*Make(12), u"a\u3042"_w), "a\x1B$B$\"\x1B(B");
}

TEST_F(ConversionsTest, TheSystemsRouteOfIso2022JpTakesTheWindowsNumberOfShiftJis) {
    const Object object = Make(12);
    Access::SetWindowsCodePage(*object, 12345); // were this one taken, the system would refuse it
    EXPECT_EQ(ToMultiByte(*object, u"\u3042"_w), "\x1B$B$\"\x1B(B");
}

TEST_F(ConversionsTest, ConversionsLeaveTheObjectAsItWas) {
    const Object object = Make(11);
    Raised([&] { Encode(*object, u"\u0E01"_w); });
    Raised([&] { Decode(*object, "\x82"); });
    EXPECT_EQ(object->GetType(), 11);
    EXPECT_EQ(Encode(*object, u"\u3042"_w), "\x82\xA0");
    EXPECT_EQ(object->AddRef(), 2);
    EXPECT_EQ(object->Release(), 1);
}

TEST_F(ConversionsTest, AResultHoldsExactlyOneReference) {
    for (const int number : {11, 20}) {
        const Object object = Make(number);
        const auto units = object->ConvertToUnicode("a", 1, throwing);
        EXPECT_EQ(units->AddRef(), 2);
        EXPECT_EQ(units->Release(), 1);
        const auto bytes = object->ConvertToMultiByte(u"a"_w, 1, throwing);
        EXPECT_EQ(bytes->AddRef(), 2);
        EXPECT_EQ(bytes->Release(), 1);
    }
}

// The worst case, for which there is just room: behind the string and in a block of its own.
TEST_F(ConversionsTest, TextsOfTheLongestCharactersFillTheirRoom) {
    const auto utf8 = Make(UTF_8);
    for (const unsigned length : {1u, 80u, 340u, 341u, 342u, 2730u, 2731u, 20000u}) {
        const KBase::WideString units(length, 0x3042);
        std::string expected;
        for (unsigned i = 0; i < length; ++i) {
            expected += "\xE3\x81\x82";
        }
        const auto bytes = utf8->ConvertToMultiByte(units.data(), length, CodePage::THROW_INVALID_CHARACTER);
        EXPECT_TRUE(bytes->IsEqual(expected.data(), 3 * length)) << length;
        EXPECT_EQ(bytes->Get()[3 * length], 0) << length;
        unsigned consumed = 0;
        const auto block = utf8->ConvertToMultiByteObservingBlockSize(
            consumed, 3 * length + 1, units.data(), length, CodePage::THROW_INVALID_CHARACTER);
        EXPECT_TRUE(block->IsEqual(expected.data(), 3 * length)) << length;
        EXPECT_EQ(consumed, length);
        const auto back =
            utf8->ConvertToUnicode(expected.c_str(), 3 * length, CodePage::THROW_INVALID_CHARACTER);
        EXPECT_TRUE(back->IsEqual(units.data(), length)) << length;
    }
}

} // namespace
