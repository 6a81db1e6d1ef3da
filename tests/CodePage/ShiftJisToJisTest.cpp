#include "CodePage/ShiftJisToJis.h"

#include "CodePage/CodePageRegistry.h"
#include "CodePage/Initializer.h"
#include "CodePage/UnicodeToMultiByte.h"
#include "FileSystem/File.h"
#include "JisOperations.h"
#include "JisTables.h"
#include "MarkedTables.h"
#include "TemporaryDirectory.h"
#include "TimeLimit.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <random>
#include <set>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using namespace KCodePage;
using namespace CodePageTests;
using namespace JisTables;
using JisOperations::InFileOrder;
using KBase::operator""_w;
using SerializedTables::Accepts;
using SerializedTables::Load;
using SerializedTables::Written;
using Pointer = KBase::ReturnPtrI<ShiftJisToJis>;

// Each kind of entry that only a file can hold.
const Entries oddEntries = {{0x8140, {0, 0, 0x30, 0x21}}, // invalid
                            {0x8141, {1, 1, 0x31, 0x22}}, // of one byte
                            {0x8142, {0, 1, 0x32, 0x23}}, // both
                            {0x8143, {1, 0, 0, 0}},       {0x8144, {1, 0, 0, 0x41}},
                            {0x8145, {1, 0, 0xFF, 0xFF}}, {0x8146, {1, 1, 0, 0}}};

Entries Sorted(Entries entries) {
    std::sort(entries.begin(), entries.end(),
              [](const auto& left, const auto& right) { return left.first < right.first; });
    return entries;
}

Pointer Make() {
    return Pointer(new ShiftJisToJis);
}

class ShiftJisToJisTest : public testing::Test {
protected:
    ShiftJisToJisTest() { SetBasePath(u"UseWindowsAPI"_w); }

    // A table read from a file of these bytes.
    Pointer MakeFrom(const std::string& bytes) const {
        Store(bytes);
        SetBasePath(directory.Wide().c_str());
        Pointer table = Make();
        SetBasePath(u"UseWindowsAPI"_w);
        return table;
    }

    Pointer Loaded(const std::string& bytes) const {
        Pointer table = MakeFrom(File({}));
        Load(*table, bytes);
        return table;
    }

    // Reads the bytes into an empty table and does with it all that can be done.
    void ReadAndUse(const std::string& bytes, std::string_view text) const {
        JisOperations::ReadAndUse(*MakeFrom(File({})), CodePageSources::Get(932).isLeadByte, bytes, text);
    }

    void Store(const std::string& bytes) const {
        MarkedTables::WriteFile(directory.Path() / fileName, bytes);
    }

    KBase::WideString Path(const std::string& name) const {
        return Widen((directory.Path() / name).string());
    }

    std::string Contents(const std::string& name) const {
        std::ifstream stream(directory.Path() / name, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(stream), {});
    }

    Initializer initializer;
    TemporaryDirectory directory;
};

std::set<unsigned> FirstBytes(const ShiftJisToJis& table) {
    std::set<unsigned> bytes;
    for (unsigned byte = 0; byte < 0x100; ++byte) {
        if (table.IsLeadingByte(static_cast<char>(byte))) {
            bytes.insert(byte);
        }
    }
    return bytes;
}

// From the services.

TEST_F(ShiftJisToJisTest, TheServicesGiveExactlyTheDumpsEntries) {
    const auto entries = Parse(Written(*Make()));
    ASSERT_TRUE(entries);
    EXPECT_EQ(entries->size(), 8836u);
    EXPECT_TRUE(Sorted(*entries) == DumpedEntries());
}

TEST_F(ShiftJisToJisTest, TheServicesGiveThe94FirstBytesOfTheEntries) {
    std::set<unsigned> expected;
    for (const auto& [key, character] : DumpedEntries()) {
        expected.insert(character.byte1);
    }
    EXPECT_EQ(expected.size(), 94u);
    EXPECT_EQ(FirstBytes(*Make()), expected);
}

TEST_F(ShiftJisToJisTest, All65536CharactersConvertAsTheDumpHasThem) {
    const std::vector<std::uint16_t> jis = CodePageSources::ReadShiftJisToJis().jis;
    const auto& isLeadByte = CodePageSources::Get(932).isLeadByte;
    const Pointer table = Make();
    unsigned pairs = 0;
    for (unsigned character = 0; character < 0x10000; ++character) {
        const char text[] = {static_cast<char>(character >> 8), static_cast<char>(character)};
        const Result result = Convert(*table, std::string_view(text, 2), 0);
        if (!isLeadByte[character >> 8]) {
            continue; // one-byte characters: elsewhere
        }
        if (jis[character] == 0) {
            char shown[16];
            std::snprintf(shown, sizeof shown, "%x%x", character >> 8, character & 0xFF);
            ASSERT_EQ(result, (Result{"", 0, shown}));
            continue;
        }
        const char bytes[] = {static_cast<char>(jis[character] >> 8), static_cast<char>(jis[character])};
        ASSERT_EQ(result, (Result{"\x1B$B" + std::string(bytes, 2) + "\x1B(B", 1, ""})) << character;
        ++pairs;
    }
    EXPECT_EQ(pairs, 8836u);
}

TEST_F(ShiftJisToJisTest, TheExtensionIsSJ2JAndTheNameHoldsNoCodePage) {
    EXPECT_EQ(Ascii(ShiftJisToJis::GetFileExtensionStatic()), "SJ2J");
    EXPECT_EQ(Ascii(Make()->GetFileExtension()), "SJ2J");
    const std::pair<const char*, const char*> paths[] = {
        {"base", "base\\ShiftJisToJis.SJ2J"},
        {"base\\", "base\\ShiftJisToJis.SJ2J"},
        {"C:\\a b\\c", "C:\\a b\\c\\ShiftJisToJis.SJ2J"},
        {"UseWindowsAPI", "UseWindowsAPI\\ShiftJisToJis.SJ2J"},
    };
    for (const auto& [basePath, expected] : paths) {
        SetBasePath(Widen(basePath).c_str());
        std::string shown = Ascii(ShiftJisToJis::CreateFileName());
        for (std::size_t at = 0; (at = shown.find("\\u005C", at)) != std::string::npos;) {
            shown.replace(at, 6, "\\");
        }
        EXPECT_EQ(shown, expected);
    }
}

TEST_F(ShiftJisToJisTest, ServicesThatFillATableAgainKeepItsEntriesAndRebuildTheFirstBytes) {
    const Pointer table = MakeFrom(File({{0x889F, Jis(0x7F7F)}, {0x1234, Jis(0x8081)}}));
    table->ReadFromWindowsAPI();
    Entries expected = DumpedEntries();
    for (auto& [key, character] : expected) {
        character = key == 0x889F ? Jis(0x7F7F) : character;
    }
    expected.emplace_back(0x1234, Jis(0x8081));
    EXPECT_TRUE(Sorted(*Parse(Written(*table))) == Sorted(expected));
    EXPECT_EQ(FirstBytes(*table), FirstBytes(*Make())); // neither 7F nor 80
}

TEST_F(ShiftJisToJisTest, OnlyLeadBytesOfTheShiftJisPageAreTried) {
    // A page that has other lead bytes, also those that are never tried, beside no table file.
    SerializedTables::Rows rows;
    for (const unsigned lead : {0x00u, 0x41u, 0x82u, 0xFFu}) {
        rows.SetLead(lead, 0x4E00, 0, 0xFF);
    }
    MarkedTables::WriteFile(directory.Path() / "shift_jis.M2U", rows.File());
    MarkedTables::WriteFile(directory.Path() / "shift_jis.U2M", SerializedTables::Records({}));
    Store(File({}));
    SetBasePath(directory.Wide().c_str());
    const Pointer table = Make();
    table->ReadFromWindowsAPI();
    Entries expected;
    for (const auto& [key, character] : DumpedEntries()) {
        if (key >> 8 == 0x82) {
            expected.emplace_back(key, character);
        }
    }
    EXPECT_FALSE(expected.empty());
    EXPECT_TRUE(Sorted(*Parse(Written(*table))) == expected);
}

// The order of a file.

TEST_F(ShiftJisToJisTest, AnEmptyTableWritesOnlyTheCount) {
    EXPECT_EQ(Written(*MakeFrom(File({}))), std::string(4, '\0'));
    EXPECT_TRUE(FirstBytes(*MakeFrom(File({}))).empty());
}

TEST_F(ShiftJisToJisTest, SmallTablesAreWrittenLevelByLevel) {
    const std::pair<unsigned, std::vector<unsigned>> orders[] = {
        {1, {0}}, {2, {0, 1}}, {3, {1, 0, 2}}, {4, {1, 0, 2, 3}}, {7, {3, 1, 5, 0, 2, 4, 6}}};
    for (const auto& [count, order] : orders) {
        Entries sorted;
        for (unsigned i = 0; i < count; ++i) {
            sorted.emplace_back(0x8140 + 3 * i, Jis(0x2121 + 0x101 * i));
        }
        Entries expected;
        for (const unsigned position : order) {
            expected.push_back(sorted[position]);
        }
        EXPECT_EQ(Written(*MakeFrom(File(sorted))), File(expected)) << count;
        std::reverse(sorted.begin(), sorted.end());
        EXPECT_EQ(Written(*MakeFrom(File(sorted))), File(expected)) << count;
    }
}

TEST_F(ShiftJisToJisTest, TablesOfAnySizeAreWrittenInTheDescribedOrder) {
    Entries sorted;
    for (unsigned count = 0; count <= 256; ++count) {
        ASSERT_TRUE(Written(*Loaded(File(sorted))) == File(InFileOrder(sorted))) << count;
        sorted.emplace_back(0x100 * count + 7, Jis(0x2121 + count));
    }
    EXPECT_TRUE(Written(*Make()) == File(InFileOrder(DumpedEntries())));
}

TEST_F(ShiftJisToJisTest, TheHighestKeysAreInOrderToo) {
    const Entries entries = {{0, Jis(0x2121)}, {0x7FFF, Jis(1)}, {0x8000, Jis(2)}, {0xFFFF, Jis(3)}};
    EXPECT_EQ(Written(*MakeFrom(File(entries))), File(InFileOrder(entries)));
}

// The file.

TEST_F(ShiftJisToJisTest, ATableGoesThroughItsFileByteForByte) {
    const Pointer table = Make();
    const KBase::WideString path = Path(fileName);
    MarkedTables::WriteFile(directory.Path() / fileName, std::string(100000, 'x')); // longer than what comes
    table->WriteToFile(path.c_str());
    EXPECT_EQ(Contents(fileName).size(), 4 + 6 * 8836u);
    EXPECT_TRUE(Contents(fileName) == File(InFileOrder(DumpedEntries())));
    SetBasePath(directory.Wide().c_str());
    const Pointer read = Make();
    EXPECT_TRUE(Written(*read) == Written(*table));
    EXPECT_EQ(FirstBytes(*read), FirstBytes(*table));
    read->WriteToFile(Path("again").c_str());
    EXPECT_TRUE(Contents("again") == Contents(fileName));
}

TEST_F(ShiftJisToJisTest, TheConstructorReadsTheFileBelowTheBasePath) {
    const Entries entries = {{0x8140, Jis(0x3031)}};
    EXPECT_EQ(Written(*MakeFrom(File(entries) + "more")), File(entries));
}

TEST_F(ShiftJisToJisTest, ReadFromFileAddsToTheTable) {
    const Pointer table = MakeFrom(File({{0x8140, Jis(0x3031)}}));
    MarkedTables::WriteFile(directory.Path() / "more", File({{0x8141, Jis(0x4041)}}));
    table->ReadFromFile(Path("more").c_str());
    EXPECT_EQ(Written(*table), File({{0x8140, Jis(0x3031)}, {0x8141, Jis(0x4041)}}));
    EXPECT_EQ(FirstBytes(*table), (std::set<unsigned>{0x40}));
}

TEST_F(ShiftJisToJisTest, FailuresNameTheTableAndKeepTheCausesDomainAndId) {
    const Pointer table = Make();
    mkdir((directory.Path() / "directory").c_str(), 0700);
    struct Case {
        KBase::WideString path;
        bool isRead;
    };
    std::vector<Case> cases = {{Path("missing"), true},     {Path("directory"), true},
                               {Path("directory"), false},  {Path("no/file"), true},
                               {Path("no/file"), false},    {Widen("/dev/full"), false},
                               {KBase::WideString(), true}, {KBase::WideString(), false}};
    if (geteuid() != 0) {
        MarkedTables::WriteFile(directory.Path() / "secret", File({}));
        chmod((directory.Path() / "secret").c_str(), 0);
        cases.push_back({Path("secret"), true});
        cases.push_back({Path("secret"), false});
    }
    const std::string before = Written(*table);
    for (const Case& one : cases) {
        const auto attempt = [&](Table& any) {
            return Raised(
                [&] { one.isRead ? any.ReadFromFile(one.path.c_str()) : any.WriteToFile(one.path.c_str()); });
        };
        // The same failure of a table whose texts have a number says what the cause is.
        const KBase::ReturnPtrI<UnicodeToMultiByte> other(new UnicodeToMultiByte(SHIFT_JIS, 932, '?'));
        other->ReadFromWindowsAPI(); // as large: a small one fails later on a full disk
        Failure expected = attempt(*other);
        const std::string lead = "Can't open the CodePage translation file: 932\n";
        ASSERT_TRUE(expected.text.starts_with(lead)) << expected;
        expected.text.replace(0, lead.size(), "Can't open the ShiftJisToJis translation file\n");
        EXPECT_EQ(attempt(*table), expected);
        EXPECT_NE(expected.id, -1);
    }
    EXPECT_TRUE(Written(*table) == before);
}

TEST_F(ShiftJisToJisTest, TheWholeTextOfAMissingFile) {
    SetBasePath(directory.Wide().c_str());
    const Failure failure = Raised([] { ShiftJisToJis::Instance(); });
    EXPECT_EQ(failure.type, "CodePageConversionException");
    EXPECT_EQ(failure.id, 2);
    const std::string path = Ascii(ShiftJisToJis::CreateFileName());
    EXPECT_EQ(failure.text, "Can't open the ShiftJisToJis translation file\n"
                            "KFileSystem::File::OpenDescriptor: ::CreateFileW failed for '" +
                                path + "'.\nThe file does not exist.");
}

TEST_F(ShiftJisToJisTest, TheBasePathInAnyOtherSpellingIsADirectory) {
    const WorkingDirectory inside(directory.Path());
    for (const char* const path : {"usewindowsapi", "USEWINDOWSAPI", "UseWindowsAPI\\", "UseWindowsAPI ",
                                   "UseWindowsAP", " UseWindowsAPI"}) {
        SetBasePath(Widen(path).c_str());
        const Failure failure = Raised([] { ShiftJisToJis::Instance(); });
        EXPECT_EQ(failure.type, "CodePageConversionException") << path;
        EXPECT_TRUE(failure.text.starts_with("Can't open the ShiftJisToJis translation file\n")) << failure;
    }
    std::filesystem::create_directory("usewindowsapi");
    MarkedTables::WriteFile(directory.Path() / "usewindowsapi" / fileName, File({{1, Jis(0x2121)}}));
    SetBasePath(u"usewindowsapi"_w);
    EXPECT_EQ(Written(*ShiftJisToJis::InstanceReference()), File({{1, Jis(0x2121)}}));
}

TEST_F(ShiftJisToJisTest, DamageInTheFileIsAMessageOfItsOwn) {
    Store(File({{0x8140, Jis(0x3031)}}, 2));
    SetBasePath(directory.Wide().c_str());
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(Raised([] { ShiftJisToJis::Instance(); }).type, "Message");
        EXPECT_EQ(Raised([] { Make(); }).type, "Message");
    }
    Store(File({{0x8140, Jis(0x3031)}}));
    EXPECT_TRUE(ShiftJisToJis::Instance()->IsLeadingByte(0x30));
}

// DeSerialize.

TEST_F(ShiftJisToJisTest, DeSerializeKeepsEntriesThatAreThereAndTakesTheFirstBytesFromTheStreamAlone) {
    const Pointer table = MakeFrom(File({{0x8140, Jis(0x3031)}, {0x8141, Jis(0x3132)}}));
    EXPECT_EQ(FirstBytes(*table), (std::set<unsigned>{0x30, 0x31}));
    Load(*table, File({{0x8140, Jis(0x5051)}, {0x8142, Jis(0x5253)}, {0x8142, Jis(0x5455)}}));
    EXPECT_EQ(Written(*table),
              File(InFileOrder({{0x8140, Jis(0x3031)}, {0x8141, Jis(0x3132)}, {0x8142, Jis(0x5253)}})));
    EXPECT_EQ(FirstBytes(*table), (std::set<unsigned>{0x50, 0x52, 0x54}));
    EXPECT_EQ(Convert(*table, "\x81\x40\x81\x41\x81\x42", 0),
              (Result{"\x1B$B\x30\x31\x31\x32\x52\x53\x1B(B", 3, ""}));
    Load(*table, File({}));
    EXPECT_TRUE(FirstBytes(*table).empty());
    EXPECT_EQ(Parse(Written(*table))->size(), 3u);
}

TEST_F(ShiftJisToJisTest, EntriesReadAsInvalidOrOfOneByteStayAsTheyAre) {
    const Pointer table = MakeFrom(File(oddEntries));
    EXPECT_EQ(Written(*table), File(InFileOrder(oddEntries)));
    EXPECT_EQ(FirstBytes(*table), (std::set<unsigned>{0, 0x30, 0x31, 0x32, 0xFF}));
    Slow slow = Slow::OfServices();
    slow.map.clear();
    slow.Read(oddEntries);
    for (const auto& [key, character] : oddEntries) {
        const char text[] = {static_cast<char>(key >> 8), static_cast<char>(key)};
        const Result expected = slow.Convert(std::string_view(text, 2), 0);
        EXPECT_EQ(Convert(*table, std::string_view(text, 2), 0), expected) << key;
        EXPECT_EQ(expected.failure.empty(), character.valid != 0);
    }
    // An invalid entry is there too: a later valid one does not replace it.
    Load(*table, File({{0x8140, Jis(0x3031)}}));
    EXPECT_EQ(Convert(*table, "\x81\x40", 0).failure, "8140");
}

TEST_F(ShiftJisToJisTest, AnyNonzeroFlagIsTrue) {
    EXPECT_EQ(Written(*MakeFrom(File({{0x8140, {0xFF, 0x80, 0x30, 0x21}}}))),
              File({{0x8140, {1, 1, 0x30, 0x21}}}));
}

// Hostile files.

TEST_F(ShiftJisToJisTest, ACountLargerThanTheDataIsRefusedWithAMessage) {
    const Entries three = {{0x8140, Jis(0x3031)}, {0x8141, Jis(0x3132)}, {0x8142, Jis(0x3233)}};
    for (const std::uint64_t count :
         {4ull, 5ull, 0xFFFFull, 0x10000ull, 0x7FFFFFFFull, 0x80000000ull, 0xFFFFFFFFull}) {
        const Pointer table = MakeFrom(File({}));
        EXPECT_FALSE(Accepts(*table, File(three, count))) << count;
        EXPECT_TRUE(Accepts(*table, File(three)));
        EXPECT_EQ(Written(*table), File(InFileOrder(three)));
    }
}

TEST_F(ShiftJisToJisTest, AFileCutOffAtEveryByteIsRefusedAndTheTableStaysUsable) {
    const std::string file = File(oddEntries);
    for (std::size_t length = 0; length < file.size(); ++length) {
        const Pointer table = MakeFrom(File({}));
        EXPECT_FALSE(Accepts(*table, file.substr(0, length))) << length;
        ReadAndUse(file.substr(0, length), file);
        Load(*table, file);
        EXPECT_EQ(Written(*table), File(InFileOrder(oddEntries))) << length;
    }
    const std::string real = Written(*Make());
    for (std::size_t length = 0; length < real.size(); length += 1 + length / 16) {
        const Pointer table = MakeFrom(File({}));
        EXPECT_FALSE(Accepts(*table, real.substr(0, length))) << length;
    }
    EXPECT_FALSE(Accepts(*MakeFrom(File({})), real.substr(0, real.size() - 1)));
}

TEST_F(ShiftJisToJisTest, DamagedRealFilesConvertAsTheSlowTable) {
    std::mt19937 random(23);
    const std::string real = Written(*Make());
    for (int round = 0; round < 40; ++round) {
        std::string damaged = real;
        for (auto count = 1 + random() % 200; count > 0; --count) {
            damaged[random() % (random() % 8 == 0 ? 40 : damaged.size())] = static_cast<char>(random());
        }
        damaged.resize(std::min<std::size_t>(damaged.size(), 4 + 6 * (500 + random() % 100)));
        damaged.replace(0, 4, SerializedTables::Unsigned32(random() % 700));
        ReadAndUse(damaged, "\x82\xA0\x81");
    }
}

TEST_F(ShiftJisToJisTest, RandomFilesConvertAsTheSlowTable) {
    std::mt19937 random(29);
    for (int round = 0; round < 150; ++round) {
        std::string bytes = SerializedTables::Unsigned32(random() % 12);
        for (auto count = random() % 80; count > 0; --count) {
            bytes.push_back(static_cast<char>(random() % 3 == 0 ? random() : 0x81 * (random() % 2)));
        }
        ReadAndUse(bytes, bytes);
    }
}

TEST_F(ShiftJisToJisTest, AllKeysAndManyOfEach) {
    Entries entries;
    for (unsigned i = 0; i < 200000; ++i) {
        entries.emplace_back(i * 5 & 0xFFFF, Jis(i >> 2 & 0xFFFF));
    }
    const Pointer table = MakeFrom(File(entries));
    Slow slow;
    slow.Read(entries);
    EXPECT_EQ(slow.map.size(), 65536u);
    EXPECT_TRUE(Written(*table) == File(InFileOrder(Entries(slow.map.begin(), slow.map.end()))));
}

// A table that has all regular codes and no others is not looked up.

// The entry's character, and others around it.
void ExpectConvertsAs(ShiftJisToJis& table, const Entries& entries, unsigned key) {
    Slow slow;
    slow.Read(entries);
    slow.isLeadByte = CodePageSources::Get(932).isLeadByte;
    std::string text;
    for (int i = 0; i < 100; ++i) {
        text += "\x88\x9F\xE0\x40";
    }
    ASSERT_EQ(Convert(table, text, 0), slow.Convert(text, 0));
    text[200] = static_cast<char>(key >> 8);
    text[201] = static_cast<char>(key);
    ASSERT_EQ(Convert(table, text, 0), slow.Convert(text, 0)) << key;
}

TEST_F(ShiftJisToJisTest, OneEntryThatIsNotRegularIsFound) {
    std::mt19937 random(33);
    const Entries& regular = DumpedEntries();
    for (int round = 0; round < 60; ++round) {
        Entries entries = regular;
        const auto place = static_cast<std::size_t>(random() % entries.size());
        const unsigned key = entries[place].first;
        switch (round % 4) {
        case 0:
            entries[place].second = Jis(random() % 0x10000);
            break;
        case 1:
            entries[place].second.valid = 0;
            break;
        case 2:
            entries.erase(entries.begin() + static_cast<std::ptrdiff_t>(place));
            break;
        default:
            entries.emplace_back(0xF040 + random() % 0x30, Jis(0x2121));
            ExpectConvertsAs(*MakeFrom(File(entries)), entries, entries.back().first);
            continue;
        }
        ExpectConvertsAs(*MakeFrom(File(entries)), entries, key);
    }
}

TEST_F(ShiftJisToJisTest, ATableBecomesRegularAndIrregularByWhatIsReadAndCopied) {
    const Entries& all = DumpedEntries();
    const Entries odd = {{0xF040, Jis(0x2121)}};
    Entries allAndOdd = all;
    allAndOdd.push_back(odd.front());
    const Pointer table = MakeFrom(File(Entries(all.begin(), all.begin() + 4000)));
    const Pointer copy = Make();
    *copy = *table;
    Load(*table, File(Entries(all.begin() + 3000, all.end())));
    ExpectConvertsAs(*table, all, 0x8140);
    ExpectConvertsAs(*copy, Entries(all.begin(), all.begin() + 4000), 0xEF40);
    Load(*copy, File(odd));
    Load(*copy, File(all));
    ExpectConvertsAs(*copy, allAndOdd, 0xF040);
    *copy = *table;
    ExpectConvertsAs(*copy, all, 0xF040);
    Load(*copy, File(odd));
    ExpectConvertsAs(*copy, allAndOdd, 0xF040);
    ExpectConvertsAs(*Pointer(new ShiftJisToJis(*copy)), allAndOdd, 0xF040);
    ExpectConvertsAs(*table, all, 0xF040);
}

// Copies.

TEST_F(ShiftJisToJisTest, ACopyHasEntriesOfItsOwn) {
    const Pointer table = MakeFrom(File({{0x8140, Jis(0x3031)}}));
    const Pointer copy(new ShiftJisToJis(*table));
    const Pointer assigned = Make();
    *assigned = *table;
    Load(*table, File({{0x8141, Jis(0x4041)}}));
    for (const Pointer& one : {copy, assigned}) {
        EXPECT_EQ(Written(*one), File({{0x8140, Jis(0x3031)}}));
        EXPECT_EQ(FirstBytes(*one), (std::set<unsigned>{0x30}));
        EXPECT_EQ(Convert(*one, "\x81\x40", 0), (Result{"\x1B$B\x30\x31\x1B(B", 1, ""}));
        EXPECT_EQ(Convert(*one, "\x81\x41", 0).failure, "8141");
        Load(*one, File({{0x8142, Jis(0x5051)}}));
    }
    EXPECT_EQ(Convert(*table, "\x81\x42", 0).failure, "8142");
}

TEST_F(ShiftJisToJisTest, ACopyCountsFromZeroAndAssignmentLeavesTheCount) {
    const Pointer table = Make();
    EXPECT_EQ(table->AddRef(), 2);
    auto* const copy = new ShiftJisToJis(*table);
    EXPECT_EQ(copy->AddRef(), 1);
    *copy = *table;
    EXPECT_EQ(copy->AddRef(), 2);
    EXPECT_EQ(copy->Release(), 1);
    EXPECT_EQ(copy->Release(), 0);
    EXPECT_EQ(table->Release(), 1);
    auto* const made = new ShiftJisToJis;
    EXPECT_EQ(made->AddRef(), 1);
    EXPECT_EQ(made->Release(), 0);
}

TEST_F(ShiftJisToJisTest, AssignmentToItselfKeepsTheTable) {
    const Pointer table = MakeFrom(File({{0x8140, Jis(0x3031)}}));
    const ShiftJisToJis& same = *table;
    *table = same;
    EXPECT_EQ(Written(*table), File({{0x8140, Jis(0x3031)}}));
}

// The one instance.

TEST_F(ShiftJisToJisTest, TheInstanceIsMadeOnceAndHoldsOneReference) {
    ShiftJisToJis* const instance = ShiftJisToJis::Instance();
    EXPECT_EQ(ShiftJisToJis::Instance(), instance);
    EXPECT_EQ(instance->AddRef(), 2);
    EXPECT_EQ(instance->Release(), 1);
    const Pointer held = ShiftJisToJis::InstanceReference();
    EXPECT_EQ(held.Get(), instance);
    EXPECT_EQ(instance->AddRef(), 3);
    EXPECT_EQ(instance->Release(), 2);
    EXPECT_TRUE(Sorted(*Parse(Written(*instance))) == DumpedEntries());
}

TEST_F(ShiftJisToJisTest, FlushWithoutAnInstanceDoesNothing) {
    ShiftJisToJis::Flush();
    ShiftJisToJis::Flush();
    EXPECT_TRUE(ShiftJisToJis::Instance()->IsLeadingByte(0x21));
}

TEST_F(ShiftJisToJisTest, EveryFlushDropsTheInstanceAndAHeldReferenceSurvives) {
    const std::pair<const char*, void (*)()> flushes[] = {
        {"Flush",
         [] {
             ShiftJisToJis::Flush();
         }},
        {"FlushCodePageCaches",
         [] {
             FlushCodePageCaches();
         }},
        {"SetBasePath",
         [] {
             SetBasePath(u"UseWindowsAPI"_w);
         }},
    };
    for (const auto& [name, flush] : flushes) {
        const Pointer held = ShiftJisToJis::InstanceReference();
        flush();
        EXPECT_NE(ShiftJisToJis::Instance(), held.Get()) << name;
        EXPECT_EQ(held->AddRef(), 2) << name; // the instance's own reference is gone
        EXPECT_EQ(held->Release(), 1) << name;
        EXPECT_EQ(Convert(*held, "\x82\xA0", 0).bytes, "\x1B$B$\"\x1B(B") << name;
    }
}

TEST_F(ShiftJisToJisTest, ARequestAfterAFlushReadsTheFileAgain) {
    Store(File({{0x8140, Jis(0x3031)}}));
    SetBasePath(directory.Wide().c_str());
    EXPECT_EQ(Written(*ShiftJisToJis::Instance()), File({{0x8140, Jis(0x3031)}}));
    Store(File({{0x8140, Jis(0x4041)}}));
    EXPECT_EQ(Written(*ShiftJisToJis::Instance()), File({{0x8140, Jis(0x3031)}}));
    ShiftJisToJis::Flush();
    EXPECT_EQ(Written(*ShiftJisToJis::Instance()), File({{0x8140, Jis(0x4041)}}));
    SetBasePath(u"UseWindowsAPI"_w);
    EXPECT_TRUE(Sorted(*Parse(Written(*ShiftJisToJis::Instance()))) == DumpedEntries());
}

TEST_F(ShiftJisToJisTest, AMissingFileLeavesNoInstanceAndALaterRequestTriesAgain) {
    SetBasePath(directory.Wide().c_str());
    for (int i = 0; i < 2; ++i) {
        EXPECT_THROW(ShiftJisToJis::Instance(), CodePageConversionException);
        EXPECT_THROW(ShiftJisToJis::InstanceReference(), CodePageConversionException);
    }
    Store(File({{0x8140, Jis(0x3031)}}));
    EXPECT_EQ(Written(*ShiftJisToJis::Instance()), File({{0x8140, Jis(0x3031)}}));
    std::filesystem::remove(directory.Path() / fileName);
    EXPECT_EQ(Written(*ShiftJisToJis::Instance()), File({{0x8140, Jis(0x3031)}}));
    ShiftJisToJis::Flush();
    EXPECT_THROW(ShiftJisToJis::Instance(), CodePageConversionException);
}

TEST_F(ShiftJisToJisTest, CodePage12NeedsNoTableUntilItIsAskedForJis) {
    MarkedTables::Write(directory.Path(), "shift_jis", 932, 'q');
    SetBasePath(directory.Wide().c_str());
    const auto codePage = GetCodePageReference(12);
    for (int i = 0; i < 2; ++i) {
        EXPECT_THROW(codePage->ConvertToMultiByte(u"A"_w, 1, CodePage::SUBSTITUTE),
                     CodePageConversionException);
        EXPECT_THROW(codePage->IsLeadingByte('a'), CodePageConversionException);
        EXPECT_THROW(codePage->IsEscapeSequence("a"), CodePageConversionException);
    }
    Store(File({{0x8140, Jis(0x3031)}}));
    EXPECT_TRUE(codePage->IsLeadingByte(0x30));
    EXPECT_EQ(codePage->ConvertToMultiByte(u"A"_w, 1, CodePage::SUBSTITUTE)->Get(), std::string("q"));
}

TEST(ShiftJisToJisOfAFreshModuleTest, TheLastInitializerDropsTheInstanceAndAHeldOneSurvives) {
    Pointer held;
    {
        const Initializer first;
        SetBasePath(u"UseWindowsAPI"_w);
        held = ShiftJisToJis::InstanceReference();
        { const Initializer second(first); }
        EXPECT_EQ(ShiftJisToJis::Instance(), held.Get()); // not the last one
    }
    EXPECT_EQ(held->AddRef(), 2);
    EXPECT_EQ(held->Release(), 1);
    EXPECT_EQ(Parse(Written(*held))->size(), 8836u);
    EXPECT_EQ(FirstBytes(*held).size(), 94u);
    EXPECT_TRUE(held->IsEscapeSequence("\x1B$B"));
}

TEST(ShiftJisToJisOfAFreshModuleTest, WithoutAnInitializerWhatNeedsOneIsRefused) {
    const Failure refused = UserError("KCodePage is not initialised: construct a KCodePage::Initializer "
                                      "before any other call.");
    EXPECT_EQ(Raised([] { ShiftJisToJis::Instance(); }), refused);
    EXPECT_EQ(Raised([] { ShiftJisToJis::InstanceReference(); }), refused);
    EXPECT_EQ(Raised([] { ShiftJisToJis::CreateFileName(); }), refused);
    EXPECT_EQ(Raised([] { delete new ShiftJisToJis; }), refused);
    EXPECT_EQ(Raised([] { ShiftJisToJis::Flush(); }).type, "nothing");
    Pointer held;
    {
        const Initializer initializer;
        SetBasePath(u"UseWindowsAPI"_w);
        held = Pointer(new ShiftJisToJis);
    }
    EXPECT_EQ(Raised([&] { Convert(*held, "", 0); }).type, "nothing");
    const KBase::ReturnPtrI<MultiByteString> text(CreateMultiByteString("a", 1));
    EXPECT_EQ(Raised([&] { held->Convert(text.Get()); }), refused);
    EXPECT_EQ(Raised([&] { held->ReadFromWindowsAPI(); }), refused);
}

// Whatever is asked for first, nothing waits for itself.
TEST(ShiftJisToJisOfAFreshModuleTest, AnyFirstRequestOnBothRoutesEnds) {
    const TemporaryDirectory directory;
    MarkedTables::Write(directory.Path(), "shift_jis", 932, 'q');
    MarkedTables::WriteFile(directory.Path() / fileName, File({{0x8140, Jis(0x3031)}}));
    const std::pair<const char*, void (*)()> requests[] = {
        {"GetCodePage(12)",
         [] {
             EXPECT_EQ(GetCodePage(12)->GetType(), 12);
         }},
        {"Instance()",
         [] {
             EXPECT_NE(ShiftJisToJis::Instance(), nullptr);
         }},
        {"an own table",
         [] {
             Make();
         }},
        {"a question of page 12",
         [] {
             EXPECT_TRUE(GetCodePage(12)->IsLeadingByte(0x30));
         }},
        {"encoding by page 12",
         [] {
             const auto text = GetCodePage(12)->ConvertToMultiByte(u"z"_w, 1, CodePage::SUBSTITUTE);
             EXPECT_STREQ(text->Get(), "z");
         }},
    };
    for (const KBase::WideString& path : {Widen("UseWindowsAPI"), directory.Wide()}) {
        for (const auto& [name, request] : requests) {
            const TimeLimit limit(name);
            const Initializer initializer;
            SetBasePath(path.c_str());
            EXPECT_EQ(Raised(request).type, "nothing") << name;
            FlushCodePageCaches();
            EXPECT_EQ(Raised(request).type, "nothing") << name;
        }
    }
}

} // namespace
