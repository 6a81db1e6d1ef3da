// The work of every conversion, counted in allocations, bytes allocated and bytes copied, grows with the text
// only, and none of it is done for each character.

#include "AllocationMeter.h"

#include "CodePage/CodePageRegistry.h"
#include "CodePage/EncodingConverter.h"
#include "CodePage/Initializer.h"
#include "CodePage/MultiByteString.h"
#include "CodePage/TextDecoder.h"
#include "CodePage/TextEncoder.h"
#include "CodePage/UnicodeString.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace KCodePage;
using KBase::operator""_w;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr std::size_t lengths[] = {std::size_t{1} << 10,
                                   std::size_t{1} << 20}; // the counts are the same, slower
#else
constexpr std::size_t lengths[] = {std::size_t{1} << 10, std::size_t{1} << 20, std::size_t{1} << 26};
#endif

// What a call may cost beside the work on its text: some small blocks, and one copy of a result that fills
// less than half of its room.
constexpr std::size_t someAllocations = 8;
constexpr std::size_t someBytes = std::size_t{1} << 18;

// The piece again and again, up to `length` characters. By doubling, so that the making of it takes no time.
template <class Text>
Text Repeated(const Text& piece, std::size_t length) {
    Text text = piece;
    text.reserve(length);
    while (text.size() < length) {
        text.append(text, 0, std::min(text.size(), length - text.size()));
    }
    return text;
}

unsigned Length(std::size_t length) {
    return static_cast<unsigned>(length);
}

class LinearWorkTest : public testing::Test {
protected:
    LinearWorkTest() { SetBasePath(u"UseWindowsAPI"_w); }

    static KBase::ReturnPtrI<CodePage> Page(int number) {
        const auto page = GetCodePageReference(number);
        // What comes with the first conversion is not counted.
        page->ConvertToMultiByte(u"a"_w, 1, CodePage::SUBSTITUTE);
        return page;
    }

private:
    const Initializer initializer;
};

// `work` counted once, with at most `allocations` beside some, and as many bytes allocated and copied as
// `bytes`, beside some. Everything is given back.
template <class Work>
void ExpectWithin(std::size_t allocations, std::size_t allocated, std::size_t copied, const Work& work) {
    const AllocationMeter meter;
    work();
    const AllocationMeter::Counts counts = meter.Get();
    EXPECT_LE(counts.allocations, allocations + someAllocations);
    EXPECT_LE(counts.allocated, allocated + someBytes);
    EXPECT_LE(counts.copied, copied + someBytes);
    EXPECT_EQ(counts.live, 0);
}

TEST_F(LinearWorkTest, CopiesAreCounted) {
    const std::string text(5000, 'x');
    const AllocationMeter meter;
    const KBase::ReturnPtrI<MultiByteString> string(CreateMultiByteString(text.data(), 5000));
    EXPECT_GE(meter.Get().copied, 5000u);
    EXPECT_GE(meter.Get().allocated, 5000u);
    string->Append(text.data(), 5000); // what was there moves
    EXPECT_GE(meter.Get().copied, 15000u);
}

// ASCII, characters of several bytes, what has no mapping, what is cut off: every way that a text can go.
TEST_F(LinearWorkTest, DecodingCopiesNothingButACharacterThatLeavesTheFastPath) {
    const struct {
        int page;
        const char* piece;
    } texts[] = {{1, "abc\xE9"}, {11, "a\x82\xA0\xFF"}, {20, "a\xE3\x81\x82\xE3\x81\xF0\x9F\x98\x80"}};
    for (const std::size_t length : lengths) {
        for (const auto& [page, piece] : texts) {
            SCOPED_TRACE(testing::Message() << "page " << page << ", " << length);
            const auto codePage = Page(page);
            const std::string text = Repeated<std::string>(piece, length);
            ExpectWithin(0, 2 * length, length, [&] {
                codePage->ConvertToUnicode(text.c_str(), Length(length), CodePage::SUBSTITUTE);
            });
        }
    }
}

const KBase::WideString mixedUnits{'a', 0x3042, 'b', 0xD83D, 0xDE00, 0xDC00};

TEST_F(LinearWorkTest, EncodingCopiesNothingButACharacterThatLeavesTheFastPath) {
    for (const std::size_t bytes : lengths) {
        const std::size_t length = bytes / 2;
        const KBase::WideString text = Repeated(mixedUnits, length);
        for (const int page : {1, 11, 12, 20}) {
            SCOPED_TRACE(testing::Message() << "page " << page << ", " << length);
            const auto codePage = Page(page);
            // To JIS with an escape sequence at each change, and with the Shift-JIS between nowhere as a
            // whole.
            ExpectWithin(0, (page == 12 ? 6 : 3) * length, 8 * length, [&] {
                codePage->ConvertToMultiByte(text.data(), Length(length), CodePage::SUBSTITUTE);
            });
        }
    }
}

TEST_F(LinearWorkTest, BlocksCostTheBlockAndNotTheTextBehindIt) {
    constexpr unsigned blockSize = 4096;
    for (const std::size_t bytes : lengths) {
        const std::size_t length = bytes / 2;
        const KBase::WideString text = Repeated(mixedUnits, length);
        for (const int page : {1, 11, 12, 20}) {
            SCOPED_TRACE(testing::Message() << "page " << page << ", " << length);
            const auto codePage = Page(page);
            const std::size_t blocks = length / 512 + 1; // of text that grows most
            ExpectWithin(2 * blocks, 2 * blocks * (blockSize + 256), 8 * length + 64 * blocks, [&] {
                for (std::size_t begin = 0; begin < length;) {
                    unsigned consumed = 0;
                    codePage->ConvertToMultiByteObservingBlockSize(consumed, blockSize, text.data() + begin,
                                                                   Length(length - begin),
                                                                   CodePage::SUBSTITUTE);
                    ASSERT_GT(consumed, 0u);
                    begin += consumed;
                }
            });
        }
    }
}

// Converts the text in pieces, which cut characters apart, and leaves what comes out.
template <class Stream, class View, class Output>
void ConvertInPieces(Stream stream, View text, std::vector<Output> room) {
    constexpr std::size_t pieceSize = 1001;
    while (!text.empty()) {
        const View piece = text.substr(0, pieceSize);
        text.remove_prefix(stream.Convert({piece.data(), piece.size()}, room, false).consumed);
    }
}

TEST_F(LinearWorkTest, StreamsAllocateAtTheBeginningAndCopyWhatIsCutApart) {
    const std::vector<KBase::wchar16> units(1000);
    const std::vector<char> bytes(4000);
    TextPolicy policy;
    policy.substitute = true;
    const std::string japanese = "a\x82\xA0\xFF";
    // What the first of each makes is kept: code pages, and ICU's tables.
    const auto convert = [&](std::size_t length) {
        const std::string text = Repeated(japanese, length);
        const KBase::WideString wide = Repeated(mixedUnits, length / 2);
        const std::string_view bytesIn = text;
        const KBase::WideView unitsIn = wide;
        constexpr std::size_t own = std::size_t{96} << 10; // of each stream: no tables
        const auto expect = [&](auto make, auto input, const auto& room) {
            SCOPED_TRACE(length);
            ExpectWithin(512, own, own + 8 * length, [&] { ConvertInPieces(make(), input, room); });
        };
        expect([&] { return TextDecoder(SHIFT_JIS, policy); }, bytesIn, units);
        expect([&] { return TextDecoder("euc-jp", policy); }, bytesIn, units);
        expect([&] { return TextEncoder(SHIFT_JIS, policy); }, unitsIn, bytes);
        expect([&] { return TextEncoder(UTF_8, policy); }, unitsIn, bytes);
        expect([&] { return TextEncoder(ISO_2022_JP, policy); }, unitsIn, bytes);
    };
    for (const CODE_PAGE page : {SHIFT_JIS, UTF_8, ISO_2022_JP}) {
        TextEncoder(page, policy);
    }
    TextDecoder(SHIFT_JIS, policy);
    TextDecoder("euc-jp", policy);
    for (const std::size_t length : lengths) {
        convert(length);
    }
}

TEST_F(LinearWorkTest, ConvertAllCopiesItsOutputOnce) {
    for (const std::size_t length : lengths) {
        SCOPED_TRACE(length);
        const std::string text = Repeated<std::string>("a\x82\xA0", length);
        ExpectWithin(2 * length / 4096, 4 * length + length / 16, 4 * length, [&] {
            CreateMemoryEncodingConverter(text.data(), text.data() + length, "shift_jis")->ConvertAll();
        });
    }
}

// What appending `count` units one by one costs in all.
template <class String, class Character>
AllocationMeter::Counts AppendOneByOne(String* (*create)(const Character*, unsigned), std::size_t count) {
    const AllocationMeter meter;
    {
        const KBase::ReturnPtrI<String> string(create(nullptr, 0));
        const Character character = 'a';
        for (std::size_t i = 0; i < count; ++i) {
            string->Append(&character, 1);
        }
        EXPECT_EQ(string->Length(), count);
    }
    return meter.Get();
}

TEST_F(LinearWorkTest, AppendingOneByOneCostsInProportionToTheText) {
    for (const std::size_t count : {std::size_t{100000}, std::size_t{1000000}}) {
        const auto bytes = AppendOneByOne<MultiByteString>(CreateMultiByteString, count);
        EXPECT_LE(bytes.allocated, 5 * count) << count;
        EXPECT_LE(bytes.allocations, 100u) << count;
        EXPECT_LE(bytes.copied, 5 * count) << count;
        const auto units = AppendOneByOne<UnicodeString>(CreateUnicodeString, count);
        EXPECT_LE(units.allocated, 5 * 2 * count) << count;
        EXPECT_LE(units.allocations, 100u) << count;
        EXPECT_LE(units.copied, 5 * 2 * count) << count;
    }
}

} // namespace
