// What a thread keeps of the tables that it converted to JIS with: never longer than they are the current
// ones.

#include "CodePage/CodePageImpl.h"
#include "CodePage/CodePageRegistry.h"
#include "CodePage/Initializer.h"
#include "CodePage/ShiftJisToJis.h"
#include "JisTables.h"
#include "MarkedTables.h"
#include "Raised.h"
#include "SerializedTables.h"
#include "SharedObjects.h"
#include "TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <functional>
#include <latch>
#include <optional>
#include <string>
#include <thread>

namespace {

using namespace KCodePage;
using SharedObjects::DeSerialize;
using SharedObjects::IsHeldElsewhere;
using namespace CodePageTests;
using JisTables::Jis;
using KBase::operator""_w;
using Table = KBase::ReturnPtrI<ShiftJisToJis>;

// A hiragana a, through code page 12.
std::string Encode(CodePage& codePage) {
    const auto text = codePage.ConvertToMultiByte(u"\u3042"_w, 1, CodePage::THROW_INVALID_CHARACTER);
    return std::string(text->Get(), text->Length());
}

std::string Encode() {
    return Encode(*GetCodePageReference(12));
}

constexpr const char* ofServices = "\x1B$B$\"\x1B(B";

// A thread that has converted, and converts again when it is told to, before it ends.
class Worker {
public:
    Worker() { converted.wait(); }
    Worker(const Worker&) = delete; // one thread
    Worker& operator=(const Worker&) = delete;
    ~Worker() { End(); }

    std::string ConvertAgainAndEnd() {
        End();
        return again;
    }

private:
    void End() {
        if (thread.joinable()) {
            goOn.count_down();
            thread.join();
        }
    }

    std::latch converted{1};
    std::latch goOn{1};
    std::string again;
    std::thread thread{[this] {
        Encode();
        Encode();
        converted.count_down();
        goOn.wait();
        again = Encode();
    }};
};

class ThreadJisTest : public testing::Test {
protected:
    ThreadJisTest() { SetBasePath(u"UseWindowsAPI"_w); }

    // Tables in which the hiragana a is E0 40, and has this JIS code.
    void Store(unsigned code) const {
        SerializedTables::Rows rows;
        rows.SetLead(0xE0, 0x3042);
        MarkedTables::WriteFile(directory.Path() / "shift_jis.M2U", rows.File());
        MarkedTables::WriteFile(directory.Path() / "shift_jis.U2M",
                                SerializedTables::Records({SerializedTables::Record(0x3042, "\xE0\x40")}));
        MarkedTables::WriteFile(directory.Path() / JisTables::fileName,
                                JisTables::File({{0xE040, Jis(code)}}));
    }

    Initializer initializer;
    TemporaryDirectory directory;
};

TEST_F(ThreadJisTest, AFlushOnTheThreadThatConvertedFreesTheTable) {
    for (void (*const flush)() : {&FlushCodePageCaches, &ShiftJisToJis::Flush}) {
        EXPECT_EQ(Encode(), ofServices);
        const Table table = ShiftJisToJis::InstanceReference();
        EXPECT_EQ(Encode(), ofServices);
        EXPECT_TRUE(IsHeldElsewhere(table));
        flush();
        EXPECT_FALSE(IsHeldElsewhere(table));
    }
}

TEST_F(ThreadJisTest, EveryThreadConvertsWithTheTablesThatAreCurrent) {
    Store(0x3031);
    SetBasePath(directory.Wide().c_str());
    EXPECT_EQ(Encode(), "\x1B$B01\x1B(B");
    Worker worker;
    Worker late;
    Store(0x4041);
    EXPECT_EQ(Encode(), "\x1B$B01\x1B(B");
    ShiftJisToJis::Flush();
    EXPECT_EQ(worker.ConvertAgainAndEnd(), "\x1B$B@A\x1B(B");
    EXPECT_EQ(Encode(), "\x1B$B@A\x1B(B");
    SetBasePath(u"UseWindowsAPI"_w);
    EXPECT_EQ(late.ConvertAgainAndEnd(), ofServices);
    EXPECT_EQ(Encode(), ofServices);
}

TEST_F(ThreadJisTest, AShiftJisPageThatBecomesAnotherPageDecidesTheLeadBytesFromThenOn) {
    EXPECT_EQ(Encode(), ofServices);
    Worker worker;
    DeSerialize(*GetCodePageReference(11), 15); // koi8-r has no lead bytes
    EXPECT_EQ(Encode(), "\x82\xA0");
    EXPECT_EQ(Encode(), "\x82\xA0");
    EXPECT_EQ(worker.ConvertAgainAndEnd(), "\x82\xA0");
    DeSerialize(*GetCodePageReference(11), 12); // which leaves the answer to the table of JIS
    EXPECT_EQ(Encode(), "\x82\xA0");
    FlushCodePageCaches();
    EXPECT_EQ(Encode(), ofServices);
}

TEST_F(ThreadJisTest, AnIdleThreadHoldsTheTableUntilItConvertsAgainOrEnds) {
    const Table table = ShiftJisToJis::InstanceReference();
    std::optional<Worker> worker(std::in_place);
    FlushCodePageCaches();
    EXPECT_TRUE(IsHeldElsewhere(table));
    worker.reset();
    EXPECT_FALSE(IsHeldElsewhere(table));
}

// Destroyed at the end of its thread, after what the thread kept: it was there first.
struct ConvertsAtTheEnd {
    std::string* seen = nullptr;

    ~ConvertsAtTheEnd() {
        for (int time = 0; seen != nullptr && time < 3; ++time) {
            *seen += Encode();
        }
    }
};

TEST_F(ThreadJisTest, AThreadThatEndsCanStillConvertAndKeepsNothing) {
    std::string seen;
    std::thread([&] {
        thread_local ConvertsAtTheEnd atTheEnd;
        atTheEnd.seen = &seen;
        Encode();
    }).join();
    EXPECT_EQ(seen, std::string(ofServices) + ofServices + ofServices);
    const Table table = ShiftJisToJis::InstanceReference();
    FlushCodePageCaches();
    EXPECT_FALSE(IsHeldElsewhere(table));
}

TEST(ThreadJisOfAFreshModuleTest, WithoutAnInitializerWhatWasKeptIsRefused) {
    KBase::ReturnPtrI<CodePage> codePage;
    {
        const Initializer initializer;
        SetBasePath(u"UseWindowsAPI"_w);
        codePage = GetCodePageReference(12);
        for (int time = 0; time < 2; ++time) { // the first makes the page and the table
            EXPECT_EQ(Encode(*codePage), ofServices);
        }
    }
    EXPECT_EQ(Raised([&] { Encode(*codePage); }).type, "UserErrorException");
    const Initializer initializer;
    SetBasePath(u"UseWindowsAPI"_w);
    EXPECT_EQ(Encode(*codePage), ofServices);
}

} // namespace
