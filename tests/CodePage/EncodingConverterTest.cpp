#include "CodePage/EncodingConverter.h"

#include "IcuText.h"
#include "Raised.h"
#include "TemporaryDirectory.h"
#include "UTF8/ExactBuffer.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace KCodePage;
using namespace CodePageTests;
using namespace std::string_view_literals;
using KBase::operator""_w;
using KBase::WideString;

using Holder = KBase::ReturnPtr<EncodingConverter>;

enum class Source { Memory, File };

class EncodingConverterTest : public testing::Test {
protected:
    std::filesystem::path Write(std::string_view bytes) {
        const auto path = directory.Path() / ("text" + std::to_string(files++));
        std::ofstream(path, std::ios::binary).write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        return path;
    }

    Holder OfFile(const std::filesystem::path& path, const char* charset) {
        return CreateFileEncodingConverter(Widen(path.string()).c_str(), charset);
    }

    // Memory is read in place: `bytes` outlives the converter.
    Holder Make(Source source, std::string_view bytes, const char* charset) {
        return source == Source::File
                   ? OfFile(Write(bytes), charset)
                   : CreateMemoryEncodingConverter(bytes.data(), bytes.data() + bytes.size(), charset);
    }

    TemporaryDirectory directory;
    int files = 0;
};

// Converts to the end, `capacity` units at a time, into a block of exactly that size.
WideString Drained(EncodingConverter& converter, std::size_t capacity) {
    WideString units;
    ExactBuffer<unsigned short> room(capacity);
    std::size_t position = converter.GetPosition();
    for (;;) {
        const std::size_t count = converter.Convert(room.Get(), capacity);
        units.append(room.Get(), count);
        EXPECT_GE(converter.GetPosition(), position);
        position = converter.GetPosition();
        if (count < capacity) {
            EXPECT_EQ(converter.Convert(room.Get(), capacity), 0u) << "after the end";
            return units;
        }
    }
}

WideString All(EncodingConverter& converter) {
    const auto binary = converter.ConvertAll();
    WideString units(binary->GetSize() / 2, 0);
    if (!units.empty()) {
        std::memcpy(units.data(), binary->GetData(), binary->GetSize());
    }
    return units;
}

void ExpectNothingLeft(EncodingConverter& converter) {
    try {
        converter.ConvertAll();
        ADD_FAILURE() << "nothing was thrown";
    } catch (const EncodingConversionException& error) {
        EXPECT_EQ(error.GetDomain(), KBase::MESSAGE_DOMAIN_UNKNOWN);
        EXPECT_EQ(error.GetID(), 0);
        EXPECT_EQ(error.GetMessage()[0], 0);
        EXPECT_STREQ(error.what(), "KCodePage::EncodingConversionException");
    }
}

struct Sample {
    const char* charset;
    std::string bytes; // repeated to any size, so that sequences are cut anywhere
};

std::vector<Sample> Samples() {
    const auto& japanese = u"Kana \u3042\u3044\u30A2\u65E5\u672C\u8A9E."_w;
    const auto& mixed = u"z\u00E9\u4E2D\U0001F600\U00020000\uFFFD~"_w;
    std::vector<Sample> samples = {{"iso-8859-2", "Za\xBF\xF3\xB3\xE6 g\xEA\x9C"},
                                   {"Shift_JIS", "a\x93\xFA\x96{\xB1\x81\xAD"}, // with an unmapped pair
                                   {"iso-2022-jp", IcuText::Encode("iso-2022-jp", japanese)},
                                   {"utf-8", "a\xC3\xA9\xE4\xB8\xAD\xF0\x9F\x98\x80\xFF\xE4\xB8"},
                                   {"gb18030", IcuText::Encode("gb18030", mixed)},
                                   {"utf-7", IcuText::Encode("utf-7", mixed)},
                                   {"utf-16", IcuText::Encode("utf-16", mixed)}};
    return samples;
}

std::string Repeated(std::string_view bytes, std::size_t size) {
    std::string text;
    while (text.size() < size) {
        text += bytes;
    }
    text.resize(size);
    return text;
}

TEST_F(EncodingConverterTest, EveryCapacityAndSourceGivesWhatIcuGivesInOneCall) {
    for (const Sample& sample : Samples()) {
        for (const std::size_t size : {0u, 1u, 2u, 39u, 40'959u, 40'960u, 40'961u, 81'920u, 81'921u}) {
            const std::string text = Repeated(sample.bytes, size);
            const ExactBuffer<char> exact(text);
            const WideString expected = IcuText::Decode(sample.charset, text, false);
            for (const Source source : {Source::Memory, Source::File}) {
                for (const std::size_t capacity : {1u, 2u, 3u, 4u, 5u, 6u, 7u, 8u, 9u, 4'096u, 50'000u}) {
                    const auto converter = Make(source, {exact.Get(), exact.Size()}, sample.charset);
                    EXPECT_EQ(converter->GetPosition(), 0u);
                    ASSERT_TRUE(Drained(*converter, capacity) == expected)
                        << sample.charset << ", " << size << " bytes, capacity " << capacity;
                    ASSERT_EQ(converter->GetPosition(), size);
                }
            }
        }
    }
}

TEST_F(EncodingConverterTest, ConvertAllGivesWhatIsLeftWithoutAByteOrderMark) {
    for (const Sample& sample : Samples()) {
        for (const std::size_t size : {1'000u, 40'960u, 81'921u}) {
            const std::string text = Repeated(sample.bytes, size);
            const WideString expected = IcuText::Decode(sample.charset, text, false);
            for (const Source source : {Source::Memory, Source::File}) {
                EXPECT_TRUE(All(*Make(source, text, sample.charset)) == expected) << sample.charset;
                const auto converter = Make(source, text, sample.charset);
                unsigned short units[3];
                ASSERT_EQ(converter->Convert(units, 3), 3u);
                EXPECT_TRUE(WideString(units, 3) + All(*converter) == expected) << sample.charset;
                ExpectNothingLeft(*converter);
                EXPECT_EQ(converter->Convert(units, 3), 0u);
            }
        }
    }
}

TEST_F(EncodingConverterTest, ASingleByteCharsetIsTakenUnitByUnit) {
    for (const Source source : {Source::Memory, Source::File}) {
        const auto converter = Make(source, "AB", "iso-8859-1");
        unsigned short unit = 0;
        EXPECT_EQ(converter->Convert(&unit, 1), 1u);
        EXPECT_EQ(unit, 'A');
        EXPECT_EQ(converter->GetPosition(), 1u);
        EXPECT_EQ(converter->Convert(&unit, 1), 1u);
        EXPECT_EQ(unit, 'B');
        EXPECT_EQ(converter->GetPosition(), 2u);
        EXPECT_EQ(converter->Convert(&unit, 1), 0u);
        EXPECT_EQ(converter->GetPosition(), 2u);
    }
}

TEST_F(EncodingConverterTest, ThePositionIsThatOfTheUnitsInASingleByteCharset) {
    const std::string text = Repeated("Za\xBF\xF3\xB3\xE6", 40'961);
    for (const Source source : {Source::Memory, Source::File}) {
        const auto converter = Make(source, text, "iso-8859-2");
        ExactBuffer<unsigned short> room(4'099);
        for (std::size_t taken = 0; taken < text.size();) {
            taken += converter->Convert(room.Get(), room.Size());
            ASSERT_EQ(converter->GetPosition(), taken);
        }
    }
}

TEST_F(EncodingConverterTest, TheByteOrderMarkOfUTF8IsAUnitForConvertAndNothingForConvertAll) {
    const auto text = "\xEF\xBB\xBFx"sv;
    for (const Source source : {Source::Memory, Source::File}) {
        unsigned short units[4];
        ASSERT_EQ(Make(source, text, "utf-8")->Convert(units, 4), 2u);
        EXPECT_EQ(units[0], 0xFEFF);
        EXPECT_EQ(units[1], 'x');
        EXPECT_EQ(All(*Make(source, text, "utf-8")), WideString(u"x"_w));
        EXPECT_TRUE(All(*Make(source, text.substr(0, 3), "utf-8")).empty());
    }
}

TEST_F(EncodingConverterTest, ConvertAllTakesOneMarkFromTheFrontOfEightThousandBytes) {
    const std::string text = "\xEF\xBB\xBF\xEF\xBB\xBF" + std::string(4'095, 'x') + "y";
    EXPECT_TRUE(All(*Make(Source::Memory, text, "utf-8")) ==
                WideString({0xFEFF}) + WideString(4'095, 'x') + WideString(1, 'y'));
}

TEST_F(EncodingConverterTest, ACharacterCutOffByTheEndGivesNothingAndIsNoError) {
    for (const Source source : {Source::Memory, Source::File}) {
        const auto converter = Make(source, "A\xC3", "utf-8");
        unsigned short units[4];
        EXPECT_EQ(converter->Convert(units, 4), 1u);
        EXPECT_EQ(converter->Convert(units, 4), 0u);
        EXPECT_EQ(converter->GetPosition(), 2u);
        EXPECT_EQ(All(*Make(source, "A\xC3", "utf-8")), WideString(u"A"_w));
        ExpectNothingLeft(*Make(source, "\xC3", "utf-8"));
    }
}

TEST_F(EncodingConverterTest, NothingConvertsToNothing) {
    const char text[] = "text";
    unsigned short unit = 0;
    const Holder empty[] = {CreateMemoryEncodingConverter(nullptr, nullptr, "utf-8"),
                            CreateMemoryEncodingConverter(nullptr, text, "utf-8"),
                            CreateMemoryEncodingConverter(text, text, "utf-8"),
                            CreateMemoryEncodingConverter(text + 2, text, "utf-8"),
                            CreateMemoryEncodingConverter(text, nullptr, "utf-8"),
                            Make(Source::File, "", "utf-8"),
                            Make(Source::Memory, text, "no such charset"),
                            Make(Source::File, text, "no such charset")};
    for (const Holder& converter : empty) {
        ASSERT_NE(converter, nullptr);
        EXPECT_EQ(converter->Convert(&unit, 1), 0u);
        EXPECT_EQ(converter->Convert(&unit, std::numeric_limits<std::size_t>::max()), 0u);
        EXPECT_EQ(converter->GetPosition(), 0u);
        ExpectNothingLeft(*converter);
    }
}

TEST_F(EncodingConverterTest, ARangeAtTheEndOfMemoryIsReadNoFurther) {
    // Addresses alone: nothing is read when there is no room, and no address beyond the end is made.
    const auto end = std::numeric_limits<std::uintptr_t>::max();
    const auto converter = CreateMemoryEncodingConverter(
        reinterpret_cast<const char*>(end - 100), reinterpret_cast<const char*>(end), "no such charset");
    const char* chunkBegin = nullptr;
    const char* chunkEnd = nullptr;
    converter->GetInputChunk(chunkBegin, chunkEnd);
    EXPECT_EQ(chunkEnd - chunkBegin, 100);
    converter->Advance(60);
    converter->GetInputChunk(chunkBegin, chunkEnd);
    EXPECT_EQ(chunkEnd - chunkBegin, 40);
    converter->Advance(std::numeric_limits<std::size_t>::max());
    EXPECT_EQ(converter->GetPosition(), 100u);
}

TEST_F(EncodingConverterTest, AChunkOfAFileIsLoadedOnceAlsoWhenACallTakesNothingOfIt) {
    std::string text;
    for (int i = 0; i < 81'921; ++i) {
        text.push_back(static_cast<char>('a' + i % 26));
    }
    const WideString expected = IcuText::Decode("iso-8859-1", text, false);
    const auto converter = Make(Source::File, text, "iso-8859-1");
    ExactBuffer<unsigned short> room(40'960);
    WideString units;
    for (int round = 0; round < 3; ++round) {
        unsigned short none = 0;
        for (int again = 0; again < 3; ++again) {
            EXPECT_EQ(converter->Convert(&none, 0), 0u);
            const char* begin = nullptr;
            const char* end = nullptr;
            converter->GetInputChunk(begin, end);
            EXPECT_EQ(end - begin, round < 2 ? 40'960 : 1);
        }
        units.append(room.Get(), converter->Convert(room.Get(), room.Size()));
    }
    EXPECT_TRUE(units == expected);
}

TEST_F(EncodingConverterTest, HalfAPairThatWaitsAtAChunksEdgeComesOutOnce) {
    // The pair ends with the first chunk; its second half fills the next call, which takes no byte.
    const std::string text = std::string(40'956, 'x') + "\xF0\x9F\x98\x80" + std::string(100, 'y');
    for (const Source source : {Source::Memory, Source::File}) {
        const auto converter = Make(source, text, "utf-8");
        ExactBuffer<unsigned short> room(40'957);
        ASSERT_EQ(converter->Convert(room.Get(), room.Size()), room.Size());
        EXPECT_EQ(room[40'956], 0xD83D);
        EXPECT_EQ(converter->GetPosition(), 40'960u);
        unsigned short unit = 0;
        ASSERT_EQ(converter->Convert(&unit, 1), 1u);
        EXPECT_EQ(unit, 0xDE00);
        EXPECT_EQ(converter->GetPosition(), 40'960u);
        EXPECT_TRUE(Drained(*converter, 7) == WideString(100, 'y'));
    }
}

TEST_F(EncodingConverterTest, APairAcrossAChunksEdgeComesOutUnitByUnit) {
    const std::string text = std::string(40'958, 'x') + "\xF0\x9F\x98\x80z";
    for (const Source source : {Source::Memory, Source::File}) {
        const auto converter = Make(source, text, "utf-8");
        EXPECT_TRUE(Drained(*converter, 1) == WideString(40'958, 'x') + WideString(u"\U0001F600z"_w));
    }
}

TEST_F(EncodingConverterTest, APairThatTheLastPieceHasNoRoomForIsNotLost) {
    const std::string text = std::string(4'095, 'x') + "\xF0\x9F\x98\x80";
    for (const Source source : {Source::Memory, Source::File}) {
        EXPECT_TRUE(All(*Make(source, text, "utf-8")) ==
                    WideString(4'095, 'x') + WideString(u"\U0001F600"_w));
    }
}

TEST_F(EncodingConverterTest, AnyCapacityThatTheTextDoesNotFillIsGoodEnough) {
    const std::string text = Repeated("ab\xC3\xA9", 100'000);
    const WideString expected = IcuText::Decode("utf-8", text, false);
    for (const std::size_t capacity :
         {(std::size_t{1} << 30) - 1, std::size_t{1} << 30, (std::size_t{1} << 31) + 5, std::size_t{1} << 40,
          std::numeric_limits<std::size_t>::max() / 4, std::numeric_limits<std::size_t>::max()}) {
        for (const Source source : {Source::Memory, Source::File}) {
            const auto converter = Make(source, text, "utf-8");
            WideString room(200'000, 0);
            const std::size_t count = converter->Convert(room.data(), capacity);
            ASSERT_EQ(count, expected.size()) << capacity;
            EXPECT_TRUE(std::equal(expected.begin(), expected.end(), room.begin()));
            EXPECT_EQ(converter->GetPosition(), text.size());
        }
    }
}

TEST_F(EncodingConverterTest, AdvanceSkipsBytesInEverySource) {
    const std::string text = std::string(40'960, 'a') + std::string(40'960, 'b') + "cde";
    for (const Source source : {Source::Memory, Source::File}) {
        const auto converter = Make(source, text, "utf-8");
        converter->Advance(81'921);
        EXPECT_EQ(converter->GetPosition(), 81'921u);
        EXPECT_EQ(Drained(*converter, 5), WideString(u"de"_w));
        converter->Advance(9);
        EXPECT_EQ(converter->GetPosition(), text.size());
    }
}

TEST_F(EncodingConverterTest, AFileThatShrankFailsAtTheRead) {
    const auto path = Write(std::string(50'000, 'x'));
    const auto converter = OfFile(path, "utf-8");
    std::filesystem::resize_file(path, 45'000); // the second chunk lacks 5,000 bytes
    ExactBuffer<unsigned short> room(60'000);
    const Failure failure = Raised([&] { converter->Convert(room.Get(), room.Size()); });
    EXPECT_NE(failure.text.find("Failed to read 5000 bytes from file '" + path.string() + "'."),
              std::string::npos)
        << failure;
    EXPECT_EQ(failure.domain, KBase::MESSAGE_DOMAIN_SERVER);
    EXPECT_EQ(failure.id, 305419896);
    EXPECT_NE(Raised([&] { converter->ConvertAll(); }).text, "");
}

TEST_F(EncodingConverterTest, AFileThatGrewIsReadUpToTheSizeThatItHad) {
    const auto path = Write("abc");
    const auto converter = OfFile(path, "utf-8");
    std::ofstream(path, std::ios::binary | std::ios::app) << "defg";
    EXPECT_EQ(Drained(*converter, 9), WideString(u"abc"_w));
}

TEST_F(EncodingConverterTest, AFileThatIsNotThereFailsAtOnce) {
    const auto path = directory.Path() / "missing";
    const Failure failure = Raised([&] { OfFile(path, "utf-8"); });
    EXPECT_NE(failure.text.find("Failed to get size of file '" + path.string() + "'."), std::string::npos)
        << failure;
    EXPECT_NE(Raised([] { CreateFileEncodingConverter(nullptr, "utf-8"); }).type, "nothing");
}

TEST_F(EncodingConverterTest, OfAFileTheSizeModuloFourGibibytesConverts) {
    const auto path = Write("ab");
    std::filesystem::resize_file(path, (std::uint64_t{1} << 32) + 1); // sparse
    EXPECT_EQ(Drained(*OfFile(path, "utf-8"), 9), WideString(u"a"_w));
}

TEST_F(EncodingConverterTest, TheNameOfTheCharsetIsUsedAtOnceOnly) {
    std::string name = "utf-8";
    const auto converter = Make(Source::Memory, "\xC3\xA9", name.c_str());
    name.assign(5, '?');
    EXPECT_EQ(All(*converter), WideString(u"\u00E9"_w));
}

TEST_F(EncodingConverterTest, DeleteEndsWhatAHolderReleased) {
    Make(Source::Memory, "text", "utf-8").release()->Delete();
    Make(Source::File, "text", "utf-8").release()->Delete(); // the leak check sees the rest
}

} // namespace
