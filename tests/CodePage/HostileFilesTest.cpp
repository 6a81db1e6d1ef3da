// Translation files that hold whatever they like: reading either succeeds, and everything that is done with
// the table then is safe and as the slow table has it, or it throws KBase::Message, and the table stays
// usable.

#include "OperatingSystem/CodePageSources.h"
#include "SerializedTables.h"
#include "TableOperations.h"

#include <gtest/gtest.h>

#include <random>

namespace {

using namespace KCodePage;
using namespace SerializedTables;
using TableOperations::ReadAndUse;

const std::uint64_t hostileCounts[] = {0,     1,     2,          255,        256,        257,
                                       65535, 65536, 0x7FFFFFFF, 0x80000000, 0x80000001, 0xFFFFFFFF};

template <class Table>
std::string RealFile(unsigned windowsCodePage) {
    const KBase::ReturnPtrI<Table> table(new Table(SHIFT_JIS, windowsCodePage, '?'));
    table->ReadFromWindowsAPI();
    return Written(*table);
}

// Reads `bytes` without all the uses that follow elsewhere, then converts a little.
template <class Table>
bool AcceptsAndConverts(std::string_view bytes) {
    const KBase::ReturnPtrI<Table> table(new Table);
    const bool accepted = Accepts(*table, bytes);
    TableOperations::ConvertBothWays(*table, TableOperations::Traits<Table>::Sample(""));
    return accepted;
}

TEST(HostileFiles, ASmallDecodingFileCutOffAtEveryByte) {
    const std::string file = Head(932, '?', 3) + Row(1, 'x') + Row(2, {}, {{}, 0x3000}) + Row(7, 'z', {1, 2});
    for (std::size_t length = 0; length <= file.size(); ++length) {
        EXPECT_EQ(ReadAndUse<MultiByteToUnicode>(file.substr(0, length), file), length == file.size())
            << length;
    }
}

TEST(HostileFiles, ASmallEncodingFileCutOffAtEveryByte) {
    const std::string file =
        Records({Record('b', "x"), Record(0x3042, "yz"), Record(0xFFFF, ""), Record(0, "w")});
    for (std::size_t length = 0; length <= file.size(); ++length) {
        EXPECT_EQ(ReadAndUse<UnicodeToMultiByte>(file.substr(0, length), file), length == file.size())
            << length;
    }
}

TEST(HostileFiles, RealFilesCutOffAtManyBytes) {
    for (const unsigned number : {932u, 1252u}) {
        const std::string decoding = RealFile<MultiByteToUnicode>(number);
        for (std::size_t length = 0; length < decoding.size(); length += 1 + length / 16) {
            EXPECT_FALSE(AcceptsAndConverts<MultiByteToUnicode>(decoding.substr(0, length))) << length;
        }
        EXPECT_FALSE(AcceptsAndConverts<MultiByteToUnicode>(decoding.substr(0, decoding.size() - 1)));
        EXPECT_TRUE(AcceptsAndConverts<MultiByteToUnicode>(decoding));
        const std::string encoding = RealFile<UnicodeToMultiByte>(number);
        for (std::size_t length = 0; length < encoding.size(); length += 1 + length / 8) {
            EXPECT_FALSE(AcceptsAndConverts<UnicodeToMultiByte>(encoding.substr(0, length))) << length;
        }
        EXPECT_FALSE(AcceptsAndConverts<UnicodeToMultiByte>(encoding.substr(0, encoding.size() - 1)));
        EXPECT_TRUE(AcceptsAndConverts<UnicodeToMultiByte>(encoding));
    }
}

TEST(HostileFiles, EveryCountOfRowsBeforeEveryNumberOfRows) {
    for (const std::uint64_t count : hostileCounts) {
        for (const unsigned held : {0u, 1u, 255u, 256u, 257u, 300u}) {
            std::string file = Head(932, '?', count);
            for (unsigned row = 0; row < held; ++row) {
                file += row % 100 == 1 ? Row(2, {}, {{}, 0x3000}) : Row(1, row);
            }
            EXPECT_EQ(ReadAndUse<MultiByteToUnicode>(file, "\x01\x01z"), count <= held)
                << count << " of " << held;
        }
    }
}

TEST(HostileFiles, EveryCountOfSecondBytesBeforeEveryNumberOfThem) {
    for (const unsigned bytes : {0u, 1u, 2u, 3u, 255u}) {
        for (const std::uint64_t count : hostileCounts) {
            for (const unsigned held : {0u, 1u, 255u, 256u, 257u}) {
                std::string file = Head(932, '?', 1) + Byte(bytes) + Value('v');
                Put(file, count, 4);
                for (unsigned second = 0; second < held; ++second) {
                    file += Value(second % 3 == 0 ? Unit() : Unit(0x4E00 + second));
                }
                const std::string text(std::string_view("\0\0\0\x01\0\xFE\0\xFF\0", 9));
                EXPECT_EQ(ReadAndUse<MultiByteToUnicode>(file, text), count <= held)
                    << bytes << ' ' << count << " of " << held;
            }
        }
    }
}

TEST(HostileFiles, ALeadByteRowOf65536Entries) {
    std::string file = Head(932, '?', 1) + Byte(2) + Value({});
    Put(file, 65536, 4);
    for (unsigned second = 0; second < 65536; ++second) {
        file += Value(second);
    }
    EXPECT_TRUE(AcceptsAndConverts<MultiByteToUnicode>(file));
}

TEST(HostileFiles, MoreRowsThanBytes) {
    std::string file = Head(932, '?', 70000);
    for (unsigned row = 0; row < 70000; ++row) {
        file += Row(row % 4, row & 0xFFFF);
    }
    EXPECT_TRUE(AcceptsAndConverts<MultiByteToUnicode>(file));
}

TEST(HostileFiles, EveryCountOfRecordsBeforeEveryNumberOfThem) {
    for (const std::uint64_t count : hostileCounts) {
        for (const unsigned held : {0u, 1u, 2u, 255u, 256u, 257u}) {
            std::string file = Head(932, '?', count);
            for (unsigned record = 0; record < held; ++record) {
                file += Record(record * 7 % 300, record % 3 == 0 ? "" : record % 3 == 1 ? "x" : "yz");
            }
            EXPECT_EQ(ReadAndUse<UnicodeToMultiByte>(file, "\x01\x01z"), count <= held)
                << count << " of " << held;
        }
    }
}

TEST(HostileFiles, EveryKindOfRecordForEveryKindOfUnit) {
    for (const unsigned unit : {0u, 1u, 0x7Fu, 0x80u, 0xFFu, 0x100u, 0xD800u, 0xFFFEu, 0xFFFFu}) {
        for (unsigned flags = 0; flags < 4; ++flags) {
            for (const unsigned byte : {0u, 1u, 0x7Fu, 0x80u, 0xFFu}) {
                std::string file = Head(932, '?', 1);
                Put(file, unit, 2);
                Put(file, (flags & 1) * 0xFF, 1);
                Put(file, (flags >> 1) * 0x80, 1);
                Put(file, byte, 1);
                Put(file, 0xFF - byte, 1);
                EXPECT_TRUE(ReadAndUse<UnicodeToMultiByte>(file, file))
                    << unit << ' ' << flags << ' ' << byte;
            }
        }
    }
}

TEST(HostileFiles, MoreRecordsThanUnits) {
    std::vector<std::string> records;
    for (unsigned record = 0; record < 140000; ++record) {
        records.push_back(Record(record * 5 & 0xFFFF, record % 2 == 0 ? "a" : "bc"));
    }
    EXPECT_TRUE(AcceptsAndConverts<UnicodeToMultiByte>(Records(records)));
}

TEST(HostileFiles, RealFilesWithDamagedBytes) {
    std::mt19937 random(17);
    const std::string decoding = RealFile<MultiByteToUnicode>(932);
    const std::string encoding = RealFile<UnicodeToMultiByte>(20866);
    for (int round = 0; round < 60; ++round) {
        std::string damaged = decoding;
        for (auto count = 1 + random() % 8; count > 0; --count) {
            // The counts and lengths stand in the rows' heads; a quarter of the damage hits the first of
            // them.
            const std::size_t place = random() % (random() % 4 == 0 ? 200 : damaged.size());
            damaged[place] = static_cast<char>(random());
        }
        const auto slow = SlowTables::Decoder::Parse(damaged);
        const KBase::ReturnPtrI<MultiByteToUnicode> table(new MultiByteToUnicode);
        ASSERT_EQ(Accepts(*table, damaged), slow.has_value()) << "round " << round;
        TableOperations::UseAll(*table, "");
        if (slow) {
            TableOperations::CompareTexts(*table, *slow, TableOperations::SampleBytes("\x82\xA0\x88\x9F"));
        }
        damaged = encoding;
        for (auto count = 1 + random() % 8; count > 0; --count) {
            damaged[random() % (random() % 4 == 0 ? 200 : damaged.size())] = static_cast<char>(random());
        }
        const auto slowEncoder = SlowTables::Encoder::Parse(damaged);
        const KBase::ReturnPtrI<UnicodeToMultiByte> encoder(new UnicodeToMultiByte);
        ASSERT_EQ(Accepts(*encoder, damaged), slowEncoder.has_value()) << "round " << round;
        TableOperations::ConvertBothWays(*encoder, TableOperations::SampleUnits(""));
        if (slowEncoder) {
            TableOperations::CompareTexts(*encoder, *slowEncoder, TableOperations::SampleUnits(""));
        }
    }
}

TEST(HostileFiles, RandomBytes) {
    std::mt19937 random(19);
    for (int round = 0; round < 300; ++round) {
        std::string bytes;
        for (auto count = random() % 120; count > 0; --count) {
            bytes.push_back(static_cast<char>(random() % 3 == 0 ? random() : random() % 3));
        }
        // A small count in its place, so that many are taken.
        if (bytes.size() > 9) {
            bytes.replace(5, 4, Unsigned32(random() % 4));
        }
        ReadAndUse<MultiByteToUnicode>(bytes, bytes);
        if (round % 3 == 0) {
            ReadAndUse<UnicodeToMultiByte>(bytes, bytes);
        }
    }
}

TEST(HostileFiles, ATableThatWasReadFromOneFileReadsAnyOther) {
    const std::string files[] = {Rows().SetLead(0x81, 0x4E00).File(),
                                 Head(932, '?', 0),
                                 Head(932, '?', 1) + Row(2, {}, {1}),
                                 Head(932, '?', 300),
                                 "",
                                 RealFile<MultiByteToUnicode>(1252)};
    for (const std::string& first : files) {
        for (const std::string& second : files) {
            const KBase::ReturnPtrI<MultiByteToUnicode> table(new MultiByteToUnicode(SHIFT_JIS, 932, '?'));
            Accepts(*table, first);
            if (Accepts(*table, second)) {
                const auto slow = SlowTables::Decoder::Parse(second);
                TableOperations::AskSingles(*table, &*slow);
                TableOperations::CompareTexts(*table, *slow, TableOperations::SampleBytes(""));
            }
            TableOperations::UseAll(*table, "");
            table->ReadFromWindowsAPI();
            EXPECT_TRUE(table->Convert('A').IsValid());
        }
    }
}

TEST(HostileFiles, EveryTableIsFilledFromTheServicesAfterAnyFile) {
    for (const std::string& file :
         {Head(1252, '?', 0), Records({Record(0xFFFF, "x")}, 1252), Head(1252, '?', 9)}) {
        const KBase::ReturnPtrI<UnicodeToMultiByte> table(new UnicodeToMultiByte);
        Accepts(*table, file);
        table->ReadFromWindowsAPI();
        EXPECT_EQ(TableResults::ToBytes(table->Convert(0x20AC)), "\x80");
        TableOperations::UseAll(*table, "");
    }
}

} // namespace
