// What a thread keeps of the code pages that it converted with, told by the reference counts of their tables.

#include "CodePage/Private/Core/ThreadFields.h"

#include "CodePage/CodePageImpl.h"
#include "CodePage/CodePageRegistry.h"
#include "CodePage/Initializer.h"
#include "CodePage/Private/Tables/DecodingTable.h"
#include "SharedObjects.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <latch>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace KCodePage;
using SharedObjects::DeSerialize;
using SharedObjects::IsHeldElsewhere;
using KBase::operator""_w;

using Table = KBase::SmartPtrI<const MultiByteToUnicode>;

std::string Decode(CodePage& codePage, const std::string& bytes) {
    const auto text =
        codePage.ConvertToUnicode(bytes.data(), static_cast<unsigned>(bytes.size()), CodePage::SUBSTITUTE);
    std::string shown;
    for (unsigned i = 0; i < text->Length(); ++i) {
        shown += std::to_string(text->Get()[i]) + ' ';
    }
    return shown;
}

// A thread that does one thing after the other while the test looks on.
class Worker {
public:
    explicit Worker(const std::function<void()>& work)
        : thread([this, work] {
              work();
              done.count_down();
              leave.wait();
          }) {
        done.wait();
    }
    Worker(const Worker&) = delete; // one thread
    Worker& operator=(const Worker&) = delete;
    ~Worker() {
        leave.count_down();
        thread.join();
    }

private:
    std::latch done{1};
    std::latch leave{1};
    std::thread thread;
};

class ThreadFieldsTest : public testing::Test {
protected:
    ThreadFieldsTest() { SetBasePath(u"UseWindowsAPI"_w); }

    Initializer initializer;
};

TEST_F(ThreadFieldsTest, AFlushOnTheThreadThatConvertedFreesTheTables) {
    Decode(*GetCodePage(15), "\xC1");
    const Table table = GetDecodingTable(*GetCodePage(15));
    EXPECT_TRUE(IsHeldElsewhere(table));
    FlushCodePageCaches();
    EXPECT_FALSE(IsHeldElsewhere(table));
}

TEST_F(ThreadFieldsTest, PointingAnObjectAtAnotherPageFreesTheTablesOfTheFirst) {
    const KBase::SmartPtrI<CodePageImpl> object(new CodePageImpl(KOI8_R));
    EXPECT_EQ(Decode(*object, "\xC1"), "1072 ");
    const Table table = GetDecodingTable(*object);
    DeSerialize(*object, 7);
    EXPECT_FALSE(IsHeldElsewhere(table));
    EXPECT_EQ(Decode(*object, "\xE1"), "945 ");
}

TEST_F(ThreadFieldsTest, ObjectsThatShareTheirFieldsGoOnWhenOneOfThemGoes) {
    const KBase::SmartPtrI<CodePageImpl> object(new CodePageImpl);
    DeSerialize(*object, 15);
    EXPECT_EQ(GetDecodingTable(*object), GetDecodingTable(*GetCodePage(15)));
    EXPECT_EQ(Decode(*GetCodePage(15), "\xC1"), "1072 ");
    EXPECT_EQ(Decode(*object, "\xC1"), "1072 ");
    FlushCodePageCaches();
    EXPECT_EQ(Decode(*object, "\xC1"), "1072 ");
    EXPECT_STREQ(object->GetIANANameASCII(), "koi8-r");
}

TEST_F(ThreadFieldsTest, WhatIsPinnedStaysWhateverElseTheThreadConvertsWith) {
    const auto convertWithOthers = [](const CodePageFields* held, bool stays) {
        for (const int number : {1, 2, 4, 6, 7, 8, 9}) {
            Decode(*GetCodePage(number), "a");
            EXPECT_TRUE(!stays || ThreadFields::Holds(held)) << number;
        }
    };
    std::set<std::size_t> places;
    for (std::size_t round = 0; round < ThreadFields::capacity; ++round) {
        const std::size_t place = ThreadFields::entries.oldest;
        places.insert(place);
        Decode(*GetCodePage(15), "\xC1");
        const CodePageFields* const held = ThreadFields::entries.fields[place];
        {
            const ThreadFields::Pinned pin(held);
            convertWithOthers(held, true);
        }
        convertWithOthers(held, false);
        EXPECT_FALSE(ThreadFields::Holds(held));
    }
    EXPECT_EQ(places.size(), ThreadFields::capacity);
}

// Page 12 asks page 11 for the lead bytes, whose fields the thread then holds in place of those held longest.
TEST_F(ThreadFieldsTest, ALongTextToJisKeepsItsTablesThoughTheObjectGetsOthersMeanwhile) {
    constexpr unsigned length = 100000;
    const KBase::WideString text(length, 'a');
    for (int round = 0; round < 20; ++round) {
        const KBase::SmartPtrI<CodePageImpl> object(new CodePageImpl(ISO_2022_JP)); // with fields of its own
        const auto convert = [&](unsigned count) {
            const auto jis = object->ConvertToMultiByte(text.data(), count, CodePage::SUBSTITUTE);
            EXPECT_EQ(jis->Length(), count);
        };
        std::latch begun(1);
        std::atomic<bool> done = false;
        std::thread other([&] {
            convert(1);
            for (const int number : {11, 1, 2}) {
                Decode(*GetCodePage(number), "a");
            }
            DeSerialize(dynamic_cast<CodePageImpl&>(*GetCodePage(11)), 20); // no table: asked for each byte
            begun.count_down();
            convert(length);
            done = true;
        });
        begun.wait();
        std::this_thread::sleep_for(std::chrono::microseconds(100)); // until it has its fields
        while (!done) {
            DeSerialize(*object, 12);
        }
        other.join();
        FlushCodePageCaches();
    }
}

TEST_F(ThreadFieldsTest, AnIdleThreadHoldsTheLastFewAndAThreadThatEndedNone) {
    std::vector<Table> tables;
    {
        const Worker worker([&] {
            for (int generation = 0; generation < 12; ++generation) {
                auto codePage = GetCodePageReference(15);
                EXPECT_EQ(Decode(*codePage, "\xC1"), "1072 ");
                tables.push_back(GetDecodingTable(*codePage));
                // Another thread lets the object go, so that this one keeps what it held.
                std::thread([last = std::move(codePage)]() mutable {
                    FlushCodePageCaches();
                    last = nullptr;
                }).join();
            }
        });
        EXPECT_EQ(std::count_if(tables.begin(), tables.end(), IsHeldElsewhere),
                  static_cast<std::ptrdiff_t>(ThreadFields::capacity));
    }
    EXPECT_EQ(std::count_if(tables.begin(), tables.end(), IsHeldElsewhere), 0);
}

TEST_F(ThreadFieldsTest, TablesThatOnlyAnIdleThreadHoldsAreBoundedWhateverIsReadAndFlushed) {
    const KBase::SmartPtrI<CodePageImpl> object(new CodePageImpl(KOI8_R));
    std::vector<Table> tables;
    {
        std::latch leave(1);
        std::vector<std::thread> idle;
        for (int generation = 0; generation < 24; ++generation) {
            DeSerialize(*object, generation % 2 == 0 ? 15 : 7);
            tables.push_back(GetDecodingTable(*object));
            if (generation % 8 == 0) {
                std::latch converted(1);
                idle.emplace_back([&] {
                    Decode(*object, "\xC1");
                    converted.count_down();
                    leave.wait();
                });
                converted.wait();
            }
            Decode(*object, "\xC1");
            FlushCodePageCaches();
        }
        // The object's own, and one for each thread, which converted once.
        EXPECT_EQ(std::count_if(tables.begin(), tables.end(), IsHeldElsewhere), 1 + 3);
        leave.count_down();
        for (std::thread& thread : idle) {
            thread.join();
        }
    }
    EXPECT_EQ(std::count_if(tables.begin(), tables.end(), IsHeldElsewhere), 1);
}

// Destroyed at the end of its thread, after what the thread held: it was there first.
struct ConvertsAtTheEnd {
    CodePage* codePage = nullptr;
    std::string* seen = nullptr;

    ~ConvertsAtTheEnd() {
        for (int time = 0; codePage != nullptr && time < 3; ++time) {
            *seen += Decode(*codePage, "\xC1");
        }
    }
};

TEST_F(ThreadFieldsTest, AThreadThatEndsCanStillConvertAndKeepsNothing) {
    std::string seen;
    const auto codePage = GetCodePageReference(15);
    std::thread([&] {
        thread_local ConvertsAtTheEnd atTheEnd;
        atTheEnd.codePage = codePage.Get();
        atTheEnd.seen = &seen;
        Decode(*codePage, "\xC1");
    }).join();
    EXPECT_EQ(seen, "1072 1072 1072 ");
    const Table table = GetDecodingTable(*codePage);
    DeSerialize(*codePage, 7);
    EXPECT_FALSE(IsHeldElsewhere(table));
}

TEST_F(ThreadFieldsTest, MorePagesThanAThreadHoldsTakeTurns) {
    std::vector<KBase::ReturnPtrI<CodePage>> codePages;
    for (const int number : {15, 7, 1, 8, 9, 4, 6}) {
        codePages.push_back(GetCodePageReference(number));
    }
    for (int round = 0; round < 3; ++round) {
        for (const auto& codePage : codePages) {
            EXPECT_EQ(Decode(*codePage, "A"), "65 ");
        }
    }
}

} // namespace
