// Every table-driven code page over its whole space, on both routes: filled from the operating system's
// services, and written to a file and read back. What is expected comes from the dumps.

#include "CodePage/MultiByteToUnicode.h"
#include "CodePage/UnicodeToMultiByte.h"
#include "OperatingSystem/CodePageSources.h"
#include "SerializedTables.h"
#include "SlowTables.h"
#include "TableResults.h"
#include "TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <iomanip>
#include <map>
#include <random>
#include <sstream>

namespace {

using namespace KCodePage;
using CodePageTests::TemporaryDirectory;
using CodePageTests::Widen;
using KBase::WideString;
using TableResults::ToBytes;
using TableResults::ToOptional;

struct Page {
    int codePage;
    unsigned windowsCodePage;
    unsigned source;      // whose dump; code page 0 is the system's own, 1252
    unsigned mappedUnits; // as counted on the Windows services
    unsigned entries;     // the highest mapped unit and one
};

constexpr Page pages[] = {
    {0, 0, 1252, 697, 65375},     {1, 1252, 1252, 697, 65375},   {2, 1250, 1250, 691, 65375},
    {4, 1257, 1257, 349, 65375},  {6, 1256, 1256, 543, 65375},   {7, 1253, 1253, 621, 65375},
    {8, 1255, 1255, 351, 65375},  {9, 1254, 1254, 693, 65375},   {11, 932, 932, 9485, 65510},
    {14, 949, 949, 17760, 65511}, {15, 20866, 20866, 521, 9836}, {16, 936, 936, 24482, 65510},
    {17, 950, 950, 20320, 65510}, {18, 874, 874, 393, 65375},
};

std::string Hex(unsigned value) {
    std::ostringstream text;
    text << std::hex << std::uppercase << std::setfill('0') << std::setw(4) << value;
    return text.str();
}

std::string Hex(std::string_view bytes) {
    std::string text;
    for (const char byte : bytes) {
        text += Hex(static_cast<unsigned char>(byte)).substr(2);
    }
    return text.empty() ? "nothing" : text;
}

// The table as the Parts fill it: of a lead byte and 00, which give two units, the first.
SlowTables::Decoder DecoderOf(const CodePageSources::CodePage& source) {
    SlowTables::Decoder decoder;
    for (unsigned byte = 0; byte < 0x100; ++byte) {
        SlowTables::Decoder::Row row;
        if (source.isLeadByte[byte]) {
            row.numberOfBytes = 2;
            for (unsigned second = 0; second < 0x100; ++second) {
                row.secondByteValues.emplace_back(source.pairs[byte * 0x100 + second].units[0]);
            }
        } else {
            row.numberOfBytes = 1;
            row.value = source.byteUnits[byte];
        }
        decoder.rows.push_back(std::move(row));
    }
    return decoder;
}

// Unit FFFF is never asked about.
SlowTables::Encoder EncoderOf(const CodePageSources::CodePage& source) {
    SlowTables::Encoder encoder;
    for (unsigned unit = 0; unit < 0xFFFF; ++unit) {
        const auto& code = source.encoded[unit];
        if (code) {
            std::string bytes;
            if (*code > 0xFF) {
                bytes.push_back(static_cast<char>(*code >> 8));
            }
            bytes.push_back(static_cast<char>(*code & 0xFF));
            encoder.Set(static_cast<KBase::wchar16>(unit), bytes);
        }
    }
    return encoder;
}

template <class Table>
struct Routed {
    const char* route;
    KBase::ReturnPtrI<Table> table;
};

template <class Table>
KBase::ReturnPtrI<Table> FromServices(const Page& page) {
    KBase::ReturnPtrI<Table> table(
        new Table(static_cast<CODE_PAGE>(page.codePage), page.windowsCodePage, '?'));
    table->ReadFromWindowsAPI();
    return table;
}

// The table of a page as every route makes it.
template <class Table>
std::vector<Routed<Table>> AllRoutes(const Page& page) {
    const auto filled = FromServices<Table>(page);
    const TemporaryDirectory directory;
    const WideString path = Widen((directory.Path() / "table").string());
    filled->WriteToFile(path.c_str());
    const KBase::ReturnPtrI<Table> read(
        new Table(static_cast<CODE_PAGE>(page.codePage), page.windowsCodePage, '!'));
    read->ReadFromFile(path.c_str());
    const KBase::ReturnPtrI<Table> readIntoDefault(new Table);
    readIntoDefault->ReadFromFile(path.c_str());
    return {
        {"from the services", filled}, {"from a file", read}, {"from a file, by default", readIntoDefault}};
}

class WholePagesTest : public testing::TestWithParam<Page> {
protected:
    WholePagesTest()
        : page(GetParam()),
          source(CodePageSources::Get(page.source)),
          slowDecoder(DecoderOf(source)),
          slowEncoder(EncoderOf(source)) {}

    std::vector<Routed<MultiByteToUnicode>> Decodings() const { return AllRoutes<MultiByteToUnicode>(page); }
    std::vector<Routed<UnicodeToMultiByte>> Encodings() const { return AllRoutes<UnicodeToMultiByte>(page); }

    // The units of the basic plane's end, too: 65,536 of them.
    static WideString AllUnits() {
        WideString units;
        for (unsigned unit = 0; unit < 0x10000; ++unit) {
            units.push_back(static_cast<KBase::wchar16>(unit));
        }
        return units;
    }

    std::string AllBytesAndPairs() const {
        std::string text;
        for (unsigned byte = 0; byte < 0x100; ++byte) {
            if (!source.isLeadByte[byte]) {
                text.push_back(static_cast<char>(byte));
            }
        }
        for (unsigned lead = 0; lead < 0x100; ++lead) {
            for (unsigned second = 0; second < 0x100 && source.isLeadByte[lead]; ++second) {
                text += {static_cast<char>(lead), static_cast<char>(second)};
            }
        }
        return text;
    }

    // Code units of which most are mapped, with runs of ASCII.
    WideString RandomUnits(std::mt19937& random, std::size_t count) const {
        static std::map<unsigned, std::vector<KBase::wchar16>> mapped;
        std::vector<KBase::wchar16>& choice = mapped[page.source];
        if (choice.empty()) {
            for (const auto& [unit, bytes] : slowEncoder.entries) {
                choice.push_back(unit);
            }
        }
        WideString text;
        while (text.size() < count) {
            switch (random() % 8) {
            case 0:
                text.push_back(static_cast<KBase::wchar16>(random()));
                break;
            case 1:
                text.append(random() % 20, static_cast<KBase::wchar16>(random() % 0x80));
                break;
            default:
                text.push_back(choice[random() % choice.size()]);
            }
        }
        return text;
    }

    Page page;
    const CodePageSources::CodePage& source;
    SlowTables::Decoder slowDecoder;
    SlowTables::Encoder slowEncoder;
};

TEST_P(WholePagesTest, EveryByteAndPairDecodesAsTheDumpHasIt) {
    for (const auto& [route, table] : Decodings()) {
        SCOPED_TRACE(route);
        for (unsigned byte = 0; byte < 0x100; ++byte) {
            const auto first = static_cast<unsigned char>(byte);
            ASSERT_EQ(table->IsLeadingByte(first), source.isLeadByte[byte]) << Hex(byte);
            const ExactBuffer<char> text(std::size_t{1}, static_cast<char>(byte));
            ASSERT_EQ(table->GetNumberOfBytesInThisCharacter(text.Get()), source.isLeadByte[byte] ? 2u : 1u)
                << Hex(byte);
            ASSERT_EQ(ToOptional(table->Convert(first)), slowDecoder.Convert(first)) << Hex(byte);
            for (unsigned second = 0; second < 0x100; ++second) {
                const auto trail = static_cast<unsigned char>(second);
                ASSERT_EQ(ToOptional(table->Convert(first, trail)), slowDecoder.Convert(first, trail))
                    << Hex(byte * 0x100 + second);
            }
        }
    }
}

TEST_P(WholePagesTest, EveryByteAndPairDecodesInATextOfItsOwn) {
    for (const auto& [route, table] : Decodings()) {
        SCOPED_TRACE(route);
        for (unsigned byte = 0; byte < 0x100; ++byte) {
            const std::string text(1, static_cast<char>(byte));
            ASSERT_EQ(TableResults::Decode(*table, text, true).units, slowDecoder.Convert(text, true).units)
                << Hex(byte);
            if (!source.isLeadByte[byte]) {
                continue;
            }
            for (unsigned second = 0; second < 0x100; ++second) {
                const std::string pair = {static_cast<char>(byte), static_cast<char>(second)};
                ASSERT_EQ(TableResults::Decode(*table, pair, true).units,
                          WideString(1, source.pairs[byte * 0x100 + second].units[0]))
                    << Hex(pair);
            }
        }
    }
}

TEST_P(WholePagesTest, AllBytesAndPairsInOneTextDecodeAsTheDumpHasThem) {
    for (const auto& [route, table] : Decodings()) {
        SCOPED_TRACE(route);
        const std::string text = AllBytesAndPairs();
        const WideString expected = slowDecoder.Convert(text, true).units;
        for (const bool substitute : {true, false}) {
            const auto result = TableResults::Decode(*table, text, substitute);
            ASSERT_FALSE(result.shown); // the services map every byte and pair
            ASSERT_EQ(result.units.size(), expected.size());
            for (std::size_t i = 0; i < expected.size(); ++i) {
                ASSERT_EQ(Hex(result.units[i]), Hex(expected[i])) << "unit " << i;
            }
        }
    }
}

TEST_P(WholePagesTest, EveryUnitEncodesAsTheDumpHasIt) {
    for (const auto& [route, table] : Encodings()) {
        SCOPED_TRACE(route);
        unsigned mapped = 0;
        for (unsigned unit = 0; unit < 0x10000; ++unit) {
            const auto codeUnit = static_cast<KBase::wchar16>(unit);
            const std::string bytes = ToBytes(table->Convert(codeUnit));
            ASSERT_EQ(Hex(bytes), Hex(slowEncoder.Convert(codeUnit))) << Hex(unit);
            mapped += bytes.empty() ? 0u : 1u;
        }
        EXPECT_EQ(mapped, page.mappedUnits);
        EXPECT_FALSE(table->Convert(0xFFFF).IsValid());
    }
}

TEST_P(WholePagesTest, AllUnitsInOneTextEncodeAsTheDumpHasThem) {
    for (const auto& [route, table] : Encodings()) {
        SCOPED_TRACE(route);
        const WideString units = AllUnits();
        const auto expected = slowEncoder.Convert(units, 0, true);
        EXPECT_TRUE(TableResults::Encode(*table, units, 0, true) == expected);
        EXPECT_EQ(TableResults::Encode(*table, units, true), expected.bytes);
    }
}

TEST_P(WholePagesTest, EveryUnitEncodesInATextOfItsOwn) {
    for (const auto& [route, table] : Encodings()) {
        SCOPED_TRACE(route);
        for (unsigned unit = 0; unit < 0x10000; ++unit) {
            const WideString text(1, static_cast<KBase::wchar16>(unit));
            ASSERT_EQ(Hex(TableResults::Encode(*table, text, true)),
                      Hex(slowEncoder.Convert(text, 0, true).bytes))
                << Hex(unit);
        }
    }
}

TEST_P(WholePagesTest, MappedUnitsDoNotThrowAndOthersNameThemselves) {
    for (const auto& [route, table] : Encodings()) {
        SCOPED_TRACE(route);
        WideString mapped;
        for (const auto& [unit, bytes] : slowEncoder.entries) {
            mapped.push_back(unit);
        }
        EXPECT_TRUE(TableResults::Encode(*table, mapped, 0, false) == slowEncoder.Convert(mapped, 0, false));
        unsigned asked = 0;
        for (unsigned unit = 0; unit < 0x10000; ++unit) {
            const auto codeUnit = static_cast<KBase::wchar16>(unit);
            if (slowEncoder.entries.contains(codeUnit) || (unit % 61 != 0 && unit < 0xFFF0)) {
                continue;
            }
            const auto result = TableResults::Encode(*table, WideString{'A', codeUnit}, 0, false);
            ASSERT_TRUE(result.shown) << Hex(unit);
            ASSERT_EQ(Hex(*result.shown), Hex(unit));
            ++asked;
        }
        EXPECT_GT(asked, 600u);
    }
}

TEST_P(WholePagesTest, IsWrittenWithAllItsRows) {
    for (const auto& [route, table] : Decodings()) {
        SCOPED_TRACE(route);
        const auto written = SlowTables::Decoder::Parse(SerializedTables::Written(*table));
        ASSERT_TRUE(written);
        EXPECT_EQ(written->windowsCodePage, page.windowsCodePage);
        EXPECT_EQ(written->substitution, '?');
        ASSERT_EQ(written->rows.size(), 256u);
        for (unsigned byte = 0; byte < 0x100; ++byte) {
            const auto& expected = slowDecoder.rows[byte];
            ASSERT_EQ(written->rows[byte].numberOfBytes, expected.numberOfBytes) << Hex(byte);
            ASSERT_EQ(written->rows[byte].value, expected.value) << Hex(byte);
            ASSERT_EQ(written->rows[byte].secondByteValues, expected.secondByteValues) << Hex(byte);
        }
    }
}

TEST_P(WholePagesTest, IsWrittenWithTheEntriesUpToTheHighestMappedUnit) {
    for (const auto& [route, table] : Encodings()) {
        SCOPED_TRACE(route);
        const std::string bytes = SerializedTables::Written(*table);
        EXPECT_EQ(bytes.size(), 9u + page.entries * 6);
        const auto written = SlowTables::Encoder::Parse(bytes);
        ASSERT_TRUE(written);
        EXPECT_EQ(written->windowsCodePage, page.windowsCodePage);
        EXPECT_EQ(written->substitution, '?');
        EXPECT_EQ(written->entries, slowEncoder.entries);
        EXPECT_EQ(written->entryCount, page.entries);
    }
}

TEST_P(WholePagesTest, RandomBytesDecodeAsTheSlowTableHasThem) {
    for (const auto& [route, table] : Decodings()) {
        SCOPED_TRACE(route);
        std::mt19937 random(page.source);
        for (int round = 0; round < 300; ++round) {
            std::string text;
            for (auto count = random() % 200; count > 0; --count) {
                text.push_back(static_cast<char>(random() % 3 == 0 ? 'a' + random() % 26 : random()));
            }
            for (const bool substitute : {true, false}) {
                ASSERT_TRUE(TableResults::Decode(*table, text, substitute) ==
                            slowDecoder.Convert(text, substitute))
                    << Hex(text);
            }
        }
    }
}

TEST_P(WholePagesTest, RandomUnitsEncodeAsTheSlowTableHasThem) {
    for (const auto& [route, table] : Encodings()) {
        SCOPED_TRACE(route);
        std::mt19937 random(page.source);
        for (int round = 0; round < 200; ++round) {
            const WideString text = RandomUnits(random, random() % 200);
            for (const bool substitute : {true, false}) {
                const auto blockSize = static_cast<unsigned>(random() % 400);
                ASSERT_TRUE(TableResults::Encode(*table, text, blockSize, substitute) ==
                            slowEncoder.Convert(text, blockSize, substitute))
                    << "round " << round << " block " << blockSize;
            }
        }
    }
}

TEST_P(WholePagesTest, BlocksOfEverySizeJoinToTheWholeText) {
    for (const auto& [route, table] : Encodings()) {
        SCOPED_TRACE(route);
        std::mt19937 random(page.source + 1);
        const WideString text = RandomUnits(random, 150);
        const std::string whole = slowEncoder.Convert(text, 0, true).bytes;
        for (unsigned blockSize = source.IsDoubleByte() ? 2 : 1; blockSize <= whole.size() + 1; ++blockSize) {
            std::string joined;
            for (KBase::WideView left = text; !left.empty();) {
                const auto block = TableResults::Encode(*table, left, blockSize, true);
                ASSERT_GT(block.converted, 0u) << blockSize;
                ASSERT_LE(block.bytes.size(), blockSize);
                left.remove_prefix(block.converted);
                // Full, or one byte short of full before a two-byte character.
                if (!left.empty() && block.bytes.size() < blockSize) {
                    ASSERT_EQ(block.bytes.size() + 1, blockSize);
                    ASSERT_EQ(slowEncoder.Convert(left[0]).size(), 2u);
                }
                joined += block.bytes;
            }
            ASSERT_EQ(Hex(joined), Hex(whole)) << blockSize;
        }
    }
}

TEST_P(WholePagesTest, ABlockOfOneByteTakesNoTwoByteCharacter) {
    for (const auto& [route, table] : Encodings()) {
        SCOPED_TRACE(route);
        unsigned doubles = 0;
        for (const auto& [unit, bytes] : slowEncoder.entries) {
            const auto result = TableResults::Encode(*table, WideString{unit, 'A'}, 1, true);
            ASSERT_EQ(result.converted, bytes.size() == 1 ? 1u : 0u) << Hex(unit);
            ASSERT_EQ(result.bytes, bytes.size() == 1 ? bytes : std::string()) << Hex(unit);
            doubles += bytes.size() == 2 ? 1u : 0u;
        }
        EXPECT_EQ(doubles > 0, source.IsDoubleByte());
    }
}

INSTANTIATE_TEST_SUITE_P(Pages, WholePagesTest, testing::ValuesIn(pages),
                         [](const testing::TestParamInfo<Page>& information) {
                             return "Page" + std::to_string(information.param.codePage);
                         });

// What distinguishes these pages from others of their kind, byte for byte.
TEST(WholePages, SinglePointsOfTheWindowsPagesHold) {
    const auto encoding = [](int codePage) {
        for (const Page& page : pages) {
            if (page.codePage == codePage) {
                return FromServices<UnicodeToMultiByte>(page);
            }
        }
        return KBase::ReturnPtrI<UnicodeToMultiByte>();
    };
    struct {
        int codePage;
        unsigned unit;
        const char* bytes; // null: no mapping
    } const rows[] = {
        {16, 0x0080, nullptr},    {16, 0x20AC, "\x80"},     {16, 0x30FB, nullptr},
        {11, 0x0080, "\x80"},     {11, 0xFF5E, "\x81\x60"}, {11, 0x301C, nullptr},
        {11, 0x00A5, "\\"},       {11, 0x20AC, nullptr},    {11, 0x2252, "\x81\xE0"},
        {11, 0x2170, "\xFA\x40"}, {11, 0xE000, "\xF0\x40"}, {14, 0x20AC, "\xA2\xE6"},
        {17, 0x5341, "\xA4\x51"}, {17, 0x2550, "\xF9\xF9"}, {1, 0x0100, "A"},
        {1, 0xFF1F, nullptr},     {0, 0x20AC, "\x80"},      {15, 0x263A, "\x01"},
        {15, 0xFF21, nullptr},    {6, 0x0660, "0"},         {18, 0xF8C1, "\xDB"},
        {8, 0x05BA, "\xCA"},
    };
    for (const auto& row : rows) {
        const std::string bytes =
            ToBytes(encoding(row.codePage)->Convert(static_cast<KBase::wchar16>(row.unit)));
        EXPECT_EQ(Hex(bytes), Hex(row.bytes != nullptr ? row.bytes : ""))
            << row.codePage << ' ' << Hex(row.unit);
    }
}

} // namespace
