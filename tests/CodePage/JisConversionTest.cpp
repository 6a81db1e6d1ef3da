// Shift-JIS text to JIS text, by the table and through code page 12.

#include "CodePage/CodePageRegistry.h"
#include "CodePage/Initializer.h"
#include "CodePage/ShiftJisToJis.h"
#include "CodePage/UnicodeToMultiByte.h"
#include "JisTables.h"
#include "MarkedTables.h"
#include "OtherConverters.h"
#include "TableResults.h"
#include "TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <random>

namespace {

using namespace KCodePage;
using namespace CodePageTests;
using namespace JisTables;
using KBase::WideString;
using KBase::operator""_w;
using OtherConverters::Iconv;

constexpr unsigned noLimit = 0;

class JisConversionTest : public testing::Test {
protected:
    JisConversionTest() { SetBasePath(u"UseWindowsAPI"_w); }

    static Result Convert(std::string_view text, unsigned blockSize = noLimit) {
        return JisTables::Convert(*ShiftJisToJis::InstanceReference(), text, blockSize);
    }

    // Through code page 12, whose counter counts characters too.
    static Result Encode(KBase::WideView text, unsigned blockSize, bool substitute = false) {
        const ExactBuffer<wchar16> input(text);
        Result result;
        result.count = 12345;
        const auto string = GetCodePageReference(ISO_2022_JP)
                                ->ConvertToMultiByteObservingBlockSize(result.count, blockSize, input.Get(),
                                                                       static_cast<unsigned>(input.Size()),
                                                                       TableResults::Mode(substitute));
        result.bytes.assign(string->Get(), string->Length());
        return result;
    }

    // What that throws where an invalid unit is not substituted; "nothing" where it does not.
    static Failure FailureOf(KBase::WideView text, unsigned blockSize, unsigned& consumed) {
        return Raised([&] {
            GetCodePageReference(ISO_2022_JP)
                ->ConvertToMultiByteObservingBlockSize(consumed, blockSize, text.data(),
                                                       static_cast<unsigned>(text.size()),
                                                       CodePage::THROW_INVALID_CHARACTER);
        });
    }

    Initializer initializer;
};

std::string Repeated(std::string_view piece, int count) {
    std::string text;
    for (int i = 0; i < count; ++i) {
        text += piece;
    }
    return text;
}

// a and \u3042 by turns, which takes the most escape sequences.
WideString Alternating(std::size_t pairs) {
    WideString text;
    for (std::size_t i = 0; i < pairs; ++i) {
        text += u'a';
        text += u'\u3042';
    }
    return text;
}

// Texts of each make-up.
const std::pair<const char*, std::string> texts[] = {
    {"nothing", ""},
    {"one byte", "A"},
    {"one pair", "\x82\xA0"},
    {"only one-byte characters", Repeated("abcXYZ\xB1\xDF\n", 4)},
    {"only pairs", Repeated("\x82\xA0\x88\x9F\x93\xFA", 5)},
    {"alternating, a pair first", Repeated("\x82\xA0-", 9)},
    {"alternating, a byte first", Repeated("-\x82\xA0", 9)},
    {"runs", Repeated("ab\x82\xA0\x88\x9F\x93\xFAz", 5)},
    {"bytes that mean something in JIS", Repeated("\x1B$B\x82\xA0\x1B(B\x0E\x0F", 3)},
    {"zero bytes", std::string("\0\0\x82\xA0\0\x82\xA0\0", 8)},
};

// The given cases.

TEST_F(JisConversionTest, AnEmptyTextGivesAnEmptyTextWhateverTheBlock) {
    for (const unsigned blockSize : {0u, 1u, 8u, 9u, 0xFFFFFFFFu}) {
        EXPECT_EQ(Convert("", blockSize), (Result{"", 0, ""}));
    }
}

TEST_F(JisConversionTest, OneByteCharactersAreCopiedWithoutEscapeSequences) {
    EXPECT_EQ(Convert("AB"), (Result{"AB", 2, ""}));
    EXPECT_EQ(Convert("\xB1"), (Result{"\xB1", 1, ""}));
    const auto& isLeadByte = CodePageSources::Get(932).isLeadByte;
    std::string all;
    for (unsigned byte = 0; byte < 0x100; ++byte) {
        if (!isLeadByte[byte]) {
            all.push_back(static_cast<char>(byte));
        }
    }
    EXPECT_EQ(all.size(), 256u - 60);
    EXPECT_EQ(Convert(all), (Result{all, 196, ""}));
}

TEST_F(JisConversionTest, ARunOfPairsStandsBetweenTheTwoEscapeSequences) {
    EXPECT_EQ(Convert("\x82\xA0"), (Result{"\x1B$B$\"\x1B(B", 1, ""}));
    EXPECT_EQ(Convert("\x82\xA0\x82\xA2"), (Result{"\x1B$B$\"$$\x1B(B", 2, ""}));
    EXPECT_EQ(Convert("\x82\xA0x\x82\xA2"), (Result{"\x1B$B$\"\x1B(Bx\x1B$B$$\x1B(B", 3, ""}));
    EXPECT_EQ(Convert("x\x82\xA0y"), (Result{"x\x1B$B$\"\x1B(By", 3, ""}));
    // Half-width katakana ends a run as any byte does.
    EXPECT_EQ(Convert("\x82\xA0\xB1\x82\xA2"), (Result{"\x1B$B$\"\x1B(B\xB1\x1B$B$$\x1B(B", 3, ""}));
}

TEST_F(JisConversionTest, ABlockOf8HoldsNoPairAndABlockOf9One) {
    for (unsigned blockSize = 1; blockSize <= 8; ++blockSize) {
        EXPECT_EQ(Convert("\x82\xA0", blockSize), (Result{"", 0, ""})) << blockSize;
    }
    EXPECT_EQ(Convert("\x82\xA0", 9), (Result{"\x1B$B$\"\x1B(B", 1, ""}));
    EXPECT_EQ(Convert("\x82\xA0\x82\xA2", 10), (Result{"\x1B$B$\"\x1B(B", 1, ""}));
    EXPECT_EQ(Convert("\x82\xA0\x82\xA2", 11), (Result{"\x1B$B$\"$$\x1B(B", 2, ""}));
    EXPECT_EQ(Convert("\x82\xA0z", 9), (Result{"\x1B$B$\"\x1B(B", 1, ""}));
    EXPECT_EQ(Convert("\x82\xA0z", 10), (Result{"\x1B$B$\"\x1B(Bz", 2, ""}));
}

TEST_F(JisConversionTest, ABlockOf1HoldsNothing) {
    for (const char* const text : {"A", "AB", "\xB1", "\x82\xA0"}) {
        EXPECT_EQ(Convert(text, 1), (Result{"", 0, ""}));
    }
    EXPECT_EQ(Convert("AB", 2), (Result{"A", 1, ""}));
}

TEST_F(JisConversionTest, APairWithoutJisCodeIsNamedByItsBytesUnpadded) {
    EXPECT_EQ(Convert("\x81\x07").failure, "817");
    EXPECT_EQ(Convert("\x85\x40").failure, ""); // of a row that JIS leaves empty, and the services have
    EXPECT_EQ(Convert("\xFA\x40").failure, "fa40");
    EXPECT_EQ(Convert("\xF0\x40").failure, "f040");
    EXPECT_EQ(Convert("\xFC\xFC").failure, "fcfc");
    EXPECT_EQ(Convert(std::string_view("\x81\0", 2)).failure, "810");
    EXPECT_EQ(Convert("\x81\x7F").failure, "817f");
    EXPECT_EQ(Convert("\x81\xFF").failure, "81ff");
}

TEST_F(JisConversionTest, TheCounterTellsTheCharactersBeforeTheFailure) {
    EXPECT_EQ(Convert("\x81\x07"), (Result{"", 0, "817"}));
    EXPECT_EQ(Convert("a\xB1\x82\xA0\x82\xA2\x81\x07z"), (Result{"", 4, "817"}));
    EXPECT_EQ(Convert("ab\x82\xA0\x81\x07", 100), (Result{"", 3, "817"}));
}

TEST_F(JisConversionTest, APairIsLookedUpBeforeTheBlockIsAskedForRoom) {
    for (const unsigned blockSize : {1u, 8u, 9u}) {
        EXPECT_EQ(Convert("\x81\x07", blockSize).failure, "817") << blockSize;
    }
    EXPECT_EQ(Convert("\x82\xA0\x81\x07", 9), (Result{"", 1, "817"}));
    EXPECT_EQ(Convert("\x82\xA0\x82\xA2\x81\x07", 9), (Result{"\x1B$B$\"\x1B(B", 1, ""})); // not reached
    EXPECT_EQ(Convert("a\x82\xA0\x81\x07", 2), (Result{"a", 1, ""}));
}

TEST_F(JisConversionTest, ALeadByteAtTheEndPairsWithZero) {
    EXPECT_EQ(Convert("\x82"), (Result{"", 0, "820"}));
    EXPECT_EQ(Convert("ab\x82\xA0\xE0"), (Result{"", 3, "e00"}));
}

// A string of exactly its length, without a zero behind it.
class ExactString : public MultiByteString {
public:
    explicit ExactString(std::string_view text) : bytes(text) {}

    const char* Get() const override { return bytes.Get(); }
    unsigned int Length() const override { return static_cast<unsigned>(bytes.Size()); }
    void Append(const char*, unsigned int) override {}
    bool IsEqual(const char*, unsigned int) const override { return false; }
    std::int32_t AddRef() const override { return 1; }
    std::int32_t Release() const override { return 1; }

private:
    ExactBuffer<char> bytes;
};

TEST_F(JisConversionTest, NothingBehindTheTextIsRead) {
    for (const auto& [name, text] : texts) {
        const ExactString input(text);
        const auto output = ShiftJisToJis::InstanceReference()->Convert(&input);
        EXPECT_EQ(std::string(output->Get(), output->Length()), Slow::OfServices().Convert(text, 0).bytes)
            << name;
        const ExactString cutOff(text + "\x82");
        unsigned count = 0;
        EXPECT_EQ(Raised([&] {
                      ShiftJisToJis::InstanceReference()->ConvertObservingBlockSize(count, 0, &cutOff);
                  }).type,
                  "InvalidCharacterException")
            << name;
    }
}

TEST_F(JisConversionTest, NothingBehindTheTextIsReadWhereverABlockEnds) {
    for (const std::string_view ending : {"", "abc", "abc\x82", "\x82\xA0", "\x82\xA0\x82", "abcdef"}) {
        for (std::size_t length = 0; length < 70; ++length) {
            const std::string text = std::string(length, '.') + std::string(ending);
            const ExactString input(text);
            for (unsigned blockSize = 1; blockSize < 80; ++blockSize) {
                ASSERT_EQ(JisTables::Convert(*ShiftJisToJis::InstanceReference(), input, blockSize),
                          Slow::OfServices().Convert(text, blockSize))
                    << text << ", block size " << blockSize;
            }
        }
    }
}

TEST_F(JisConversionTest, BlocksNeedNoMapOfTheShiftJisPage) {
    const auto shiftJis = GetCodePageReference(SHIFT_JIS);
    SerializedTables::Load(*shiftJis, SerializedTables::Unsigned32(UTF_8)); // which has no table
    Slow slow = Slow::OfServices();
    for (unsigned byte = 0; byte < 256; ++byte) {
        slow.isLeadByte[byte] = shiftJis->IsLeadingByte(static_cast<char>(byte));
    }
    const std::string text = "abc\x82\xA0 def\xE3\x80";
    for (unsigned blockSize = 0; blockSize < 30; ++blockSize) {
        EXPECT_EQ(Convert(text, blockSize), slow.Convert(text, blockSize)) << blockSize;
    }
}

TEST_F(JisConversionTest, ATableMayKnowALeadByteAtTheEnd) {
    const TemporaryDirectory directory;
    MarkedTables::WriteFile(directory.Path() / "shift_jis.M2U",
                            SerializedTables::Rows().SetLead(0x81, 0x4E00).File());
    MarkedTables::WriteFile(directory.Path() / "shift_jis.U2M", SerializedTables::Records({}));
    MarkedTables::WriteFile(directory.Path() / fileName, File({{0x8100, Jis(0x3031)}}));
    SetBasePath(directory.Wide().c_str());
    EXPECT_EQ(Convert("\x81"), (Result{"\x1B$B\x30\x31\x1B(B", 1, ""}));
    EXPECT_EQ(Convert(std::string_view("\x81\0", 2)), (Result{"\x1B$B\x30\x31\x1B(B", 1, ""}));
    EXPECT_EQ(Convert("x\x81", 9), (Result{"x", 1, ""}));
    EXPECT_EQ(Convert("x\x81", 10), (Result{"x\x1B$B\x30\x31\x1B(B", 2, ""}));
}

// Which bytes lead is the Shift-JIS page's affair, whatever the table holds.
TEST_F(JisConversionTest, TheShiftJisPageAsLoadedDecidesTheLeadBytes) {
    const TemporaryDirectory directory;
    SerializedTables::Rows rows;
    rows.SetLead('A', 0x4E00)
        .SetLead(0xB1, 0x4E00)
        .SetLead(0, 0x4E00)
        .Set(0x81, SerializedTables::Row(1, 'x'));
    rows.Set(0x83, SerializedTables::Row(3, 'x')); // no lead byte either
    MarkedTables::WriteFile(directory.Path() / "shift_jis.M2U", rows.File());
    MarkedTables::WriteFile(directory.Path() / "shift_jis.U2M", SerializedTables::Records({}));
    const Entries entries = {{0x4142, Jis(0x3031)},
                             {0xB1B1, Jis(0x3233)},
                             {0x0000, Jis(0x3435)},
                             {0x8140, Jis(0x3637)},
                             {0x8340, Jis(0x3839)}};
    MarkedTables::WriteFile(directory.Path() / fileName, File(entries));
    SetBasePath(directory.Wide().c_str());
    EXPECT_EQ(Convert("AB"), (Result{"\x1B$B01\x1B(B", 1, ""}));
    EXPECT_EQ(Convert("\xB1\xB1"), (Result{"\x1B$B23\x1B(B", 1, ""}));
    EXPECT_EQ(Convert("\x81\x40\x83\x40"), (Result{"\x81\x40\x83\x40", 4, ""}));
    EXPECT_EQ(Convert("AC").failure, "4143");
    Slow slow;
    slow.Read(entries);
    slow.isLeadByte['A'] = slow.isLeadByte[0xB1] = slow.isLeadByte[0] = true;
    const std::string text("AB\xB1\xB1-\0\0\x81\x40"
                           "AB-",
                           12);
    for (unsigned blockSize = 0; blockSize < 50; ++blockSize) {
        EXPECT_EQ(Convert(text, blockSize), slow.Convert(text, blockSize)) << blockSize;
    }
}

TEST_F(JisConversionTest, WithoutAShiftJisPageItsFailureComesThrough) {
    const TemporaryDirectory directory;
    const auto table = ShiftJisToJis::InstanceReference();
    SetBasePath(directory.Wide().c_str());
    const KBase::ReturnPtrI<MultiByteString> text(CreateMultiByteString("a", 1));
    unsigned count = 77;
    const Failure failure = Raised([&] { table->ConvertObservingBlockSize(count, 0, text.Get()); });
    EXPECT_EQ(failure.type, "CodePageConversionException");
    EXPECT_TRUE(failure.text.starts_with("Can't open the CodePage translation file: 932\n")) << failure;
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(JisTables::Convert(*table, "", 0), (Result{"", 0, ""})); // needs none
}

// Blocks.

TEST_F(JisConversionTest, EveryBlockSizeGivesWhatTheStepsGive) {
    for (const auto& [name, text] : texts) {
        const auto whole = static_cast<unsigned>(Slow::OfServices().Convert(text, 0).bytes.size());
        for (unsigned blockSize = 0; blockSize <= whole + 9; ++blockSize) {
            for (std::size_t begin = 0; begin < text.size(); ++begin) {
                const std::string_view rest = std::string_view(text).substr(begin);
                ASSERT_EQ(Convert(rest, blockSize), Slow::OfServices().Convert(rest, blockSize))
                    << name << " from " << begin << ", block size " << blockSize;
            }
        }
        for (const unsigned blockSize : {0x7FFFFFFFu, 0x80000000u, 0xFFFFFFF7u, 0xFFFFFFFFu}) {
            ASSERT_EQ(Convert(text, blockSize), Slow::OfServices().Convert(text, 0)) << name;
        }
    }
}

TEST_F(JisConversionTest, RandomTextsGiveWhatTheStepsGive) {
    std::mt19937 random(31);
    const Entries& entries = DumpedEntries();
    for (int round = 0; round < 2000; ++round) {
        std::string text;
        for (auto count = random() % 20; count > 0; --count) {
            const unsigned key = entries[random() % entries.size()].first;
            switch (random() % 3) {
            case 0:
                text.push_back(static_cast<char>(random() % 200 == 0 ? random() : random() % 0x80));
                break;
            default:
                text.push_back(static_cast<char>(key >> 8));
                text.push_back(static_cast<char>(key));
            }
        }
        const auto blockSize = static_cast<unsigned>(random() % 40);
        ASSERT_EQ(Convert(text, blockSize), Slow::OfServices().Convert(text, blockSize))
            << testing::PrintToString(text) << " block size " << blockSize;
        ASSERT_EQ(Convert(text), Slow::OfServices().Convert(text, 0)) << testing::PrintToString(text);
    }
}

bool EndsInTwoByteMode(const std::string& text) {
    const auto opened = text.rfind("\x1B$B");
    const auto closed = text.rfind("\x1B(B");
    return opened != std::string::npos && (closed == std::string::npos || closed < opened);
}

// The bytes of the first `count` characters.
std::size_t BytesOf(std::string_view text, unsigned count) {
    std::size_t bytes = 0;
    for (; count > 0; --count) {
        bytes += CodePageSources::Get(932).isLeadByte[static_cast<unsigned char>(text[bytes])] ? 2u : 1u;
    }
    return bytes;
}

TEST_F(JisConversionTest, JoinedBlocksFrom9UpAreTheWholeButForTheSequencesAtTheJoins) {
    for (const auto& [name, text] : texts) {
        if (text.find('\x1B') != std::string::npos) {
            continue; // sequences of its own would go with those at the joins
        }
        const std::string whole = Convert(text).bytes;
        for (unsigned blockSize = 9; blockSize <= whole.size() + 9; ++blockSize) {
            std::string joined;
            for (std::string_view rest = text; !rest.empty();) {
                const Result block = Convert(rest, blockSize);
                ASSERT_GT(block.count, 0u) << name << ", block size " << blockSize;
                ASSERT_LT(block.bytes.size(), blockSize) << name;
                ASSERT_FALSE(EndsInTwoByteMode(block.bytes)) << name;
                joined += block.bytes;
                rest.remove_prefix(BytesOf(rest, block.count));
            }
            ASSERT_EQ(WithoutEmptyRuns(joined), whole) << name << ", block size " << blockSize;
        }
    }
}

// The same through the code page, from code units; and the whole without a block size, which counts nothing.
TEST_F(JisConversionTest, CodePage12JoinsItsBlocksByTheUnitsConsumed) {
    const WideString units[] = {u""_w.Get(),
                                u"A"_w.Get(),
                                u"\u3042"_w.Get(),
                                u"abc\uFF71\uFF72z-"_w.Get(),
                                u"\u3042\u3044\u65E5\u672C\u8A9E"_w.Get(),
                                u"\u3042-\u3044-\u65E5-\u672C-"_w.Get(),
                                u"-\u3042-\u3044-\u65E5-\u672C"_w.Get(),
                                u"ab\u3042\u3044\u65E5cd\u672C\u0E01\u8A9Ee\u0E01"_w.Get()};
    for (const WideString& text : units) {
        const Result whole = Encode(text, 0, true);
        EXPECT_EQ(whole.count, 0u);
        for (unsigned blockSize = 1; blockSize <= whole.bytes.size() + 9; ++blockSize) {
            std::string joined;
            KBase::WideView rest = text;
            while (!rest.empty()) {
                const Result block = Encode(rest, blockSize, true);
                ASSERT_LE(block.count, rest.size());
                ASSERT_LT(block.bytes.size(), blockSize);
                ASSERT_FALSE(EndsInTwoByteMode(block.bytes));
                if (block.count == 0) {
                    ASSERT_EQ(block.bytes, "");
                    ASSERT_LT(blockSize, 9u); // only there may a character not fit
                    break;
                }
                joined += block.bytes;
                rest.remove_prefix(block.count);
            }
            if (blockSize >= 9) {
                ASSERT_EQ(WithoutEmptyRuns(joined), whole.bytes) << Ascii(text) << ' ' << blockSize;
            } else if (!rest.empty() && blockSize > 1) {
                ASSERT_GE(rest[0], 0x80) << Ascii(text) << ' ' << blockSize; // one byte fits from 2 up
            }
        }
    }
}

TEST_F(JisConversionTest, CodePage12BelowABlockOf9TakesOneByteCharactersOnly) {
    for (unsigned blockSize = 1; blockSize < 9; ++blockSize) {
        EXPECT_EQ(Encode(u"\u3042z"_w, blockSize), (Result{"", 0, ""})) << blockSize;
        const std::string letters(blockSize - 1, 'a');
        EXPECT_EQ(Encode(u"aaaaaaaaaaaa"_w, blockSize), (Result{letters, blockSize - 1, ""})) << blockSize;
    }
    EXPECT_EQ(Encode(u"a\u3042"_w, 2), (Result{"a", 1, ""}));
    EXPECT_EQ(Encode(u"a\u3042"_w, 9), (Result{"a", 1, ""}));
    EXPECT_EQ(Encode(u"a\u3042"_w, 10), (Result{"a\x1B$B$\"\x1B(B", 2, ""}));
}

// Long text becomes Shift-JIS, and that JIS, in pieces of 8,192 bytes.
TEST_F(JisConversionTest, CodePage12ConvertsTextsOfEachSizeAlike) {
    const auto check = [](std::size_t units, unsigned blockSize) {
        WideString text;
        std::string shiftJis;
        for (std::size_t i = 0; i < units; ++i) {
            const bool isPair = i % 7 < 3;
            text += isPair ? u'\u3042' : u'a';
            shiftJis += isPair ? "\x82\xA0" : "a";
        }
        Result expected = Slow::OfServices().Convert(shiftJis, blockSize);
        expected.count = blockSize != 0 ? expected.count : 0;
        ASSERT_EQ(Encode(text, blockSize), expected) << units << ' ' << blockSize;
    };
    for (std::size_t units = 4080; units < 4110; ++units) {
        check(units, noLimit);
    }
    for (std::size_t units = 5700; units < 5750; ++units) { // about the end of the first piece
        check(units, noLimit);
    }
    check(50001, noLimit);
    for (unsigned blockSize = 8180; blockSize < 8200; ++blockSize) {
        check(20000, blockSize);
    }
    for (unsigned blockSize = 16375; blockSize < 16400; ++blockSize) {
        check(30000, blockSize);
    }
    for (std::size_t units = 0; units < 4200; units += 13) {
        check(units, 4096);
        check(units, noLimit);
    }
}

// A table from a file may give a lead byte by itself. It pairs with what comes behind it, in the next piece
// too.
TEST_F(JisConversionTest, CodePage12PairsALoneLeadByteWithWhatFollowsWhereverItStands) {
    const TemporaryDirectory directory;
    MarkedTables::WriteFile(directory.Path() / "shift_jis.M2U",
                            SerializedTables::Rows().SetLead(0x81, 0x4E00).File());
    MarkedTables::WriteFile(
        directory.Path() / "shift_jis.U2M",
        SerializedTables::Records({SerializedTables::Record('A', "\x81"), SerializedTables::Record('a', "a"),
                                   SerializedTables::Record('b', "x\x81")}));
    const Entries entries = {
        {0x8161, Jis(0x3031)}, {0x8181, Jis(0x3233)}, {0x8178, Jis(0x3435)}, {0x8100, Jis(0x3637)}};
    MarkedTables::WriteFile(directory.Path() / fileName, File(entries));
    SetBasePath(directory.Wide().c_str());
    Slow slow;
    slow.Read(entries);
    slow.isLeadByte[0x81] = true;
    std::mt19937 random(1);
    const auto check = [&](std::size_t before) {
        WideString text(before, u'a');
        std::string shiftJis(before, 'a');
        for (std::size_t i = 0; i < 40; ++i) {
            constexpr const char* bytes[] = {"\x81", "a", "x\x81"};
            const std::size_t which = random() % 3;
            text += u"Aab"[which];
            shiftJis += bytes[which];
        }
        for (const unsigned blockSize : {noLimit, 8192u, 8210u, 20000u}) {
            Result expected =
                slow.Convert(shiftJis.substr(0, blockSize != 0 ? blockSize : shiftJis.size()), blockSize);
            expected.count = blockSize != 0 ? expected.count : 0;
            ASSERT_EQ(Encode(text, blockSize), expected) << before << ' ' << blockSize;
        }
    };
    for (std::size_t before = 8130; before < 8200; ++before) {
        check(before);
    }
    for (std::size_t before = 16320; before < 16390; ++before) {
        check(before);
    }
    // The last byte of the first piece waits for its second, and the next piece is full with it.
    const std::string leads(20000, '\x81');
    EXPECT_EQ(Encode(u"a"_w.Get() + WideString(leads.size(), u'A'), noLimit),
              (Result{slow.Convert("a" + leads, noLimit).bytes, 0, ""}));
}

// The units that become so many bytes of Shift-JIS are all converted before any of them becomes JIS.
TEST_F(JisConversionTest, CodePage12RefusesAUnitThatAShiftJisBlockWouldReach) {
    const auto failure = [](KBase::WideView text, unsigned& consumed) {
        return FailureOf(text, 9, consumed);
    };
    unsigned consumed = 0;
    EXPECT_EQ(failure(u"\u3042\u3042\u3042\u3042\u0E01"_w, consumed).type, "InvalidCharacterException");
    EXPECT_EQ(consumed, 4u);
    EXPECT_EQ(failure(u"aaaaaaaaa\u0E01"_w, consumed).type, "InvalidCharacterException"); // the block is full
    EXPECT_EQ(consumed, 9u);
    EXPECT_EQ(failure(u"aaaaaaaaaa\u0E01"_w, consumed).type, "nothing");
    EXPECT_EQ(consumed, 8u);
    EXPECT_EQ(failure(u"\u3042\u3042\u3042\u3042\u3042\u0E01"_w, consumed).type, "nothing");
    EXPECT_EQ(consumed, 1u);
}

// Whatever comes first in the text, however far apart, and where the block has no room for either.
TEST_F(JisConversionTest, CodePage12TellsOfAnInvalidUnitBeforeAPairWithoutJisCode) {
    const WideString noJisCode = u"\uE000"_w.Get(); // F0 40, outside of the grid that JIS has
    for (const std::size_t between : {0u, 10u, 5000u, 20000u}) {
        for (const unsigned blockSize : {noLimit, 60000u}) {
            const WideString good(between, u'\u3042');
            unsigned consumed = 0;
            const auto invalid = FailureOf(noJisCode + good + WideString(1, u'\u0E01'), blockSize, consumed);
            EXPECT_EQ(invalid.type, "InvalidCharacterException");
            EXPECT_EQ(invalid.text.substr(0, 17), "Invalid character");
            EXPECT_EQ(consumed, blockSize != 0 ? 1 + between : 0); // without a limit nothing is counted
            const auto without = FailureOf(WideString(2, u'a') + noJisCode + good, blockSize, consumed);
            EXPECT_EQ(without.text.substr(0, 13), "ShiftJisToJis") << without.text;
            EXPECT_EQ(consumed, blockSize != 0 ? 2u : 0u);
        }
    }
}

// The same behind what the block takes, and where the Shift-JIS text just fills it.
TEST_F(JisConversionTest, CodePage12RefusesAUnitThatALongShiftJisBlockWouldReach) {
    const WideString invalid = u"\u0E01"_w.Get();
    unsigned consumed = 0;
    const WideString mixed = Alternating(5000); // 15,000 bytes of Shift-JIS, 45,000 of JIS
    EXPECT_EQ(FailureOf(mixed + invalid, 20000, consumed).type, "InvalidCharacterException");
    EXPECT_EQ(consumed, 10000u);
    EXPECT_EQ(FailureOf(WideString(8193, u'a') + invalid, 8193, consumed).type, "InvalidCharacterException");
    EXPECT_EQ(consumed, 8193u);
    EXPECT_EQ(FailureOf(WideString(12000, u'a') + invalid, 10000, consumed).type, "nothing");
    EXPECT_EQ(consumed, 9999u);
    // A pair that the end of a piece leaves to the next takes nothing from the block's room.
    const WideString pairs(4999, u'\u3042');
    EXPECT_EQ(FailureOf(u"a"_w.Get() + pairs + u"b"_w.Get() + invalid, 10000, consumed).type,
              "InvalidCharacterException");
    EXPECT_EQ(consumed, 5001u);
}

TEST_F(JisConversionTest, CodePage12HasRoomForAsManyEscapeSequencesAsThereCanBe) {
    const WideString text = Alternating(100000);
    std::string expected;
    for (std::size_t i = 0; i < text.size(); i += 2) {
        expected += "a\x1B$B$\"\x1B(B";
    }
    EXPECT_EQ(Encode(text, noLimit), (Result{expected, 0, ""}));
}

TEST_F(JisConversionTest, CodePage12SubstitutesAllOfALongTextOfWhichNothingIsMapped) {
    const TemporaryDirectory directory;
    MarkedTables::WriteFile(directory.Path() / "shift_jis.M2U", SerializedTables::Rows().File());
    MarkedTables::WriteFile(directory.Path() / "shift_jis.U2M", SerializedTables::Records({}));
    MarkedTables::WriteFile(directory.Path() / fileName, File({}));
    SetBasePath(directory.Wide().c_str());
    for (const std::size_t length : {8191u, 8192u, 8193u, 16384u, 16385u}) {
        EXPECT_EQ(Encode(WideString(length, u'x'), noLimit, true), (Result{std::string(length, '?'), 0, ""}));
    }
}

TEST_F(JisConversionTest, CodePage12GoesOnBehindASubstitutionWhereverALongTextHasIt) {
    for (const std::size_t place : {0u, 1u, 5000u, 8190u, 8191u, 8192u, 8193u, 16383u, 16384u, 19999u}) {
        WideString text(20'000, 0);
        std::string expected(text.size(), 0);
        for (std::size_t i = 0; i < text.size(); ++i) {
            expected[i] = static_cast<char>('a' + i % 23);
            text[i] = static_cast<wchar16>(expected[i]);
        }
        text[place] = 0x0E01; // Thai, which shift_jis does not have
        expected[place] = '?';
        EXPECT_EQ(Encode(text, noLimit, true), (Result{expected, 0, ""})) << place;
    }
}

TEST_F(JisConversionTest, CodePage12TellsOfAnInvalidUnitBeforeATableThatIsMissing) {
    const TemporaryDirectory directory;
    MarkedTables::WriteFile(directory.Path() / "shift_jis.M2U", SerializedTables::Rows().File());
    MarkedTables::WriteFile(directory.Path() / "shift_jis.U2M",
                            SerializedTables::Records({SerializedTables::Record('a', "a")}));
    SetBasePath(directory.Wide().c_str());
    for (const bool isInvalid : {true, false}) {
        const WideString text = WideString(20000, u'a') + WideString(1, isInvalid ? u'x' : u'a');
        unsigned consumed = 77;
        const Failure failure = FailureOf(text, 60000, consumed);
        EXPECT_EQ(failure.type, isInvalid ? "InvalidCharacterException" : "CodePageConversionException");
        EXPECT_EQ(consumed, isInvalid ? 20000u : 0u);
    }
}

TEST_F(JisConversionTest, WithoutALimitATableCountsTheUnitsThatBecameShiftJis) {
    const KBase::ReturnPtrI<UnicodeToMultiByte> table(new UnicodeToMultiByte(ISO_2022_JP, 932, '?'));
    table->ReadFromWindowsAPI();
    const WideString text = u"a\uE000bc"_w.Get(); // F0 40 has no JIS code
    unsigned converted = 77;
    const Failure failure = Raised(
        [&] { table->ConvertObservingBlockSize(converted, noLimit, text.data(), 4, CodePage::SUBSTITUTE); });
    EXPECT_EQ(failure.type, "InvalidCharacterException");
    EXPECT_EQ(converted, 4u);
}

// Against other converters. Where the bytes 5C and 7E stand for is a matter of taste: they are left out.

std::string ShiftJisOf(unsigned row, unsigned cell) {
    const unsigned lead = (row - 1) / 2 + 0x81;
    unsigned trail = row % 2 == 1 ? cell + 0x3F : cell + 0x9E;
    trail += row % 2 == 1 && trail >= 0x7F ? 1u : 0u;
    return {static_cast<char>(lead > 0x9F ? lead + 0x40 : lead), static_cast<char>(trail)};
}

// The 6,879 characters of JIS X 0208, as iconv knows them.
const std::vector<std::string>& CharactersOfJis() {
    static const std::vector<std::string> characters = [] {
        std::vector<std::string> found;
        for (unsigned row = 1; row <= 94; ++row) {
            for (unsigned cell = 1; cell <= 94; ++cell) {
                const std::string character = ShiftJisOf(row, cell);
                if (Iconv("ISO-2022-JP", "SJIS", character)) {
                    found.push_back(character);
                }
            }
        }
        return found;
    }();
    return characters;
}

TEST_F(JisConversionTest, EveryCharacterOfJisX0208ConvertsAsIconvConvertsIt) {
    EXPECT_EQ(CharactersOfJis().size(), 6879u);
    for (const std::string& character : CharactersOfJis()) {
        ASSERT_EQ(Convert(character), (Result{*Iconv("ISO-2022-JP", "SJIS", character), 1, ""}));
    }
}

std::string RandomShiftJis(std::mt19937& random, std::size_t length) {
    std::string text;
    while (length-- > 0) {
        if (random() % 3 != 0) {
            text += CharactersOfJis()[random() % CharactersOfJis().size()];
        } else {
            const char byte = static_cast<char>(0x20 + random() % 0x5F);
            text.push_back(byte == 0x5C || byte == 0x7E ? '\n' : byte);
        }
    }
    return text;
}

TEST_F(JisConversionTest, RandomTextsConvertAsIconvConvertsThem) {
    std::mt19937 random(37);
    for (int round = 0; round < 300; ++round) {
        const std::string text = RandomShiftJis(random, random() % 60);
        ASSERT_EQ(Convert(text).bytes, *Iconv("ISO-2022-JP", "SJIS", text)) << testing::PrintToString(text);
    }
}

TEST_F(JisConversionTest, WhatCodePage12EncodesIcuDecodesToTheSameUnits) {
    OtherConverters::IcuDecoder jis("ISO-2022-JP");
    OtherConverters::IcuDecoder shiftJis("windows-932");
    unsigned characters = 0;
    for (unsigned row = 1; row <= 94; ++row) {
        for (unsigned cell = 1; cell <= 94; ++cell) {
            const auto units = shiftJis(ShiftJisOf(row, cell));
            const bool isPrivate = row > 84; // what JIS leaves to its users, ICU's decoder refuses
            if (!units || isPrivate || units->size() != 1 || (*units)[0] == 0xFFFD) {
                continue;
            }
            const Result encoded = Encode(*units, 0);
            ASSERT_EQ(jis(encoded.bytes), units) << row << '-' << cell;
            ++characters;
        }
    }
    EXPECT_EQ(characters, 6879u + 83); // with the special characters of row 13
    std::mt19937 random(41);
    for (int round = 0; round < 200; ++round) {
        const auto units = shiftJis(RandomShiftJis(random, random() % 80));
        ASSERT_EQ(jis(Encode(*units, 0).bytes), units) << Ascii(*units);
    }
}

// JIS text.

TEST_F(JisConversionTest, OnlyTheTwoEscapeSequencesCount) {
    const auto table = ShiftJisToJis::InstanceReference();
    for (unsigned second = 0; second < 0x100; ++second) {
        for (unsigned third = 0; third < 0x100; ++third) {
            const char text[] = {0x1B, static_cast<char>(second), static_cast<char>(third)};
            const ExactBuffer<char> exact(std::string_view(text, 3));
            const bool expected = (second == '$' || second == '(') && third == 'B';
            ASSERT_EQ(table->IsEscapeSequence(exact.Get()), expected) << second << ' ' << third;
            ASSERT_EQ(table->GetNumberOfBytesInThisEscapeSequence(exact.Get()), expected ? 3u : 0u);
        }
    }
    for (unsigned first = 0; first < 0x100; ++first) {
        const char text[] = {static_cast<char>(first), '$', 'B'};
        EXPECT_EQ(table->IsEscapeSequence(text), first == 0x1B) << first;
    }
}

TEST_F(JisConversionTest, NothingBehindAZeroByteOrAFirstDifferenceIsRead) {
    const auto table = ShiftJisToJis::InstanceReference();
    for (const std::string_view text :
         {std::string_view("\0", 1), std::string_view("\x1B\0", 2), std::string_view("\x1B$\0", 3),
          std::string_view("\x1B(\0", 3), std::string_view("\x1B\0B", 3)}) {
        const ExactBuffer<char> exact(text);
        EXPECT_FALSE(table->IsEscapeSequence(exact.Get()));
        EXPECT_EQ(table->GetNumberOfBytesInThisEscapeSequence(exact.Get()), 0u);
        EXPECT_FALSE(GetCodePageReference(12)->IsEscapeSequence(exact.Get()));
    }
}

TEST_F(JisConversionTest, ALengthIsToldFromTheFirstByteAlone) {
    const auto table = ShiftJisToJis::InstanceReference();
    for (unsigned byte = 0; byte < 0x100; ++byte) {
        const ExactBuffer<char> text(std::size_t{1}, static_cast<char>(byte));
        const bool isLead = byte >= 0x21 && byte <= 0x7E;
        EXPECT_EQ(table->IsLeadingByte(static_cast<char>(byte)), isLead) << byte;
        EXPECT_EQ(table->GetNumberOfBytesInThisCharacter(text.Get()), isLead ? 2u : 1u) << byte;
    }
}

} // namespace
