// Everything at once on eight threads, for the thread and address sanitizers: what each thread sees must be
// one of the answers that some order of the calls would give.

#include "CodePage/CodePageImpl.h"
#include "CodePage/CodePageRegistry.h"
#include "CodePage/IANAInfo.h"
#include "CodePage/Initializer.h"
#include "CodePage/Private/Core/ModuleState.h"
#include "CodePage/ShiftJisToJis.h"
#include "CodePage/TextDecoder.h"
#include "CodePage/TextEncoder.h"
#include "KSerialization/Streams.h"
#include "MarkedTables.h"
#include "Raised.h"
#include "TemporaryDirectory.h"
#include "TimeLimit.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <chrono>
#include <functional>
#include <mutex>
#include <pthread.h>
#include <stdexcept>
#include <string>
#include <thread>
#include <time.h>
#include <vector>

namespace {

using namespace KCodePage;
using namespace CodePageTests;
using KBase::operator""_w;

constexpr int threadCount = 8;

// Runs `work(thread, round)` on eight threads. Collects what it complains about.
class Crowd {
public:
    void Run(int rounds, const std::function<void(int, int)>& work) {
        std::vector<std::thread> threads;
        for (int thread = 0; thread < threadCount; ++thread) {
            threads.emplace_back([&, thread] {
                for (int round = 0; round < rounds; ++round) {
                    const Failure failure = Raised([&] { work(thread, round); });
                    if (failure.type != "nothing") {
                        Complain(failure.type + ": " + failure.text);
                    }
                }
            });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
        EXPECT_EQ(complaints, 0) << first;
    }

    void Complain(const std::string& what) {
        const std::lock_guard<std::mutex> hold(mutex);
        if (complaints++ == 0) {
            first = what;
        }
    }

    void Expect(const std::string& seen, const std::string& expected) {
        if (seen != expected) {
            Complain("saw \"" + seen + "\" instead of \"" + expected + "\"");
        }
    }

private:
    std::mutex mutex;
    int complaints = 0;
    std::string first;
};

// The same text in each of these pages, and what one of its characters is alone.
struct Page {
    int number;
    std::string bytes;
    KBase::WideString units;
};

const std::vector<Page> pages = {
    {15, "a\xC1", u"a\u0430"_w},     // koi8-r
    {11, "a\x82\xA0", u"a\u3042"_w}, // shift_jis
    {1, "a\xE9", u"a\u00E9"_w},      // iso-8859-1
    {20, "a\xC3\xA9", u"a\u00E9"_w}, // utf-8
};

std::string Decode(CodePage& codePage, const std::string& bytes) {
    const auto text = codePage.ConvertToUnicode(bytes.c_str(), static_cast<unsigned>(bytes.size()),
                                                CodePage::THROW_INVALID_CHARACTER);
    return Ascii(KBase::WideView(text->Get(), text->Length()));
}

std::string Encode(CodePage& codePage, const KBase::WideString& units) {
    const auto text = codePage.ConvertToMultiByte(units.data(), static_cast<unsigned>(units.size()),
                                                  CodePage::THROW_INVALID_CHARACTER);
    return std::string(text->Get(), text->Length());
}

void DeSerialize(CodePageImpl& codePage, int number) {
    auto binary = KDataType::CreateBinary(4, nullptr);
    for (int i = 0; i < 4; ++i) {
        binary->GetData()[i] = static_cast<char>(i == 0 ? number : 0);
    }
    codePage.DeSerialize(*KSerialization::ConvertBinary2ReadDataStream(std::move(binary), nullptr));
}

// Writes the true tables of the pages, as the operating system has them.
void WriteTables(const std::filesystem::path& directory) {
    SetBasePath(Widen(directory.string()).c_str());
    for (const Page& page : pages) {
        std::string name;
        KBase::WideString wideName;
        unsigned windowsNumber = 0;
        const auto codePage = static_cast<CODE_PAGE>(page.number);
        CodePageImpl::GetIANAInfo(codePage, name, wideName, windowsNumber);
        if (page.number != UTF_8) {
            MultiByteToUnicode decoding(codePage, windowsNumber, '?');
            decoding.ReadFromWindowsAPI();
            decoding.WriteToFile(CodePageImpl::CreateFileName(codePage, &decoding).c_str());
            UnicodeToMultiByte encoding(codePage, windowsNumber, '?');
            encoding.ReadFromWindowsAPI();
            encoding.WriteToFile(CodePageImpl::CreateFileName(codePage, &encoding).c_str());
        }
    }
    SetBasePath(u"UseWindowsAPI"_w);
    const auto shiftJisToJis = ShiftJisToJis::InstanceReference();
    SetBasePath(Widen(directory.string()).c_str());
    shiftJisToJis->WriteToFile(ShiftJisToJis::CreateFileName().c_str());
}

// Runs `work(thread)` once on eight threads that begin at the same moment.
void RunAtOnce(const std::function<void(std::size_t)>& work) {
    std::atomic<int> ready = 0;
    std::vector<std::thread> threads;
    for (std::size_t thread = 0; thread < threadCount; ++thread) {
        threads.emplace_back([&, thread] {
            ++ready;
            while (ready < threadCount) {
                std::this_thread::yield();
            }
            work(thread);
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

TEST(ThreadsTest, RequestsFlushesPathChangesConversionsAndReadingAllGoTogether) {
    const TimeLimit limit("eight threads on everything", std::chrono::seconds(240));
    const Initializer initializer;
    const TemporaryDirectory directory;
    WriteTables(directory.Path());
    SetBasePath(u"UseWindowsAPI"_w);
    const KBase::WideString tables = directory.Wide();
    const KBase::SmartPtrI<CodePageImpl> shared(new CodePageImpl(KOI8_R)); // all threads read into it
    Crowd crowd;
    crowd.Run(25, [&](int thread, int round) {
        const Page& page = pages[static_cast<std::size_t>(thread + round) % pages.size()];
        const auto codePage = GetCodePageReference(page.number);
        switch ((thread + round) % 6) {
        case 0:
            FlushCodePageCaches();
            break;
        case 1:
            SetBasePath(round % 2 == 0 ? u"UseWindowsAPI"_w.Get() : tables.c_str());
            break;
        case 2:
            DeSerialize(*shared, page.number);
            break;
        case 3: {
            // Into the registry's own object, as long as this thread knows it.
            auto& object = dynamic_cast<CodePageImpl&>(*codePage);
            DeSerialize(object, page.number);
            break;
        }
        case 4: {
            const Initializer another;
            crowd.Expect(GetIANAInfo()->GetIANANameASCII(KOI8_R), "koi8-r");
            break;
        }
        default:
            break;
        }
        crowd.Expect(Decode(*codePage, page.bytes), Ascii(page.units));
        crowd.Expect(Encode(*codePage, page.units), page.bytes);
        crowd.Expect(std::to_string(codePage->GetType()), std::to_string(page.number));
        // Whatever page it is right now, it is one of them, and it converts ASCII.
        crowd.Expect(Decode(*shared, "a"), "a");
        crowd.Expect(Encode(*shared, u"a"_w), "a");
        const unsigned windowsNumber = shared->GetWindowsAPICodePage();
        if (windowsNumber != 20866 && windowsNumber != 932 && windowsNumber != 1252 &&
            windowsNumber != 65001) {
            crowd.Complain("a Windows number of no page: " + std::to_string(windowsNumber));
        }
    });
}

TEST(ThreadsTest, OneObjectAnswersAllThreadsWhileItIsPointedAtOtherCodePages) {
    const TimeLimit limit("eight threads on one object");
    const Initializer initializer;
    SetBasePath(u"UseWindowsAPI"_w);
    const KBase::SmartPtrI<CodePageImpl> object(new CodePageImpl(ISO_8859_1));
    Crowd crowd;
    // E1 is a small alpha, a small a with acute or a capital a in these pages; never a mixture or a failure.
    crowd.Run(400, [&](int thread, int round) {
        if (thread < 2) {
            constexpr int numbers[] = {1, 7, 15};
            DeSerialize(*object, numbers[(thread + round) % 3]);
            return;
        }
        const std::string seen = Decode(*object, "\xE1");
        if (seen != "\\u00E1" && seen != "\\u03B1" && seen != "\\u0410") {
            crowd.Complain("saw " + seen);
        }
        if (object->IsLeadingByte('\xE1') || object->GetNumberOfBytesInThisCharacter("\xE1") != 1 ||
            object->IsEscapeSequence("\x1B$B")) {
            crowd.Complain("a wrong answer about bytes");
        }
        const int type = object->GetType();
        if (type != 1 && type != 7 && type != 15) {
            crowd.Complain("saw the type " + std::to_string(type));
        }
    });
}

TEST(ThreadsTest, AllThreadsThatAskAtOnceGetOneObject) {
    const TimeLimit limit("eight threads asking at once");
    const Initializer initializer;
    SetBasePath(u"UseWindowsAPI"_w);
    for (int round = 0; round < 30; ++round) {
        FlushCodePageCaches();
        std::vector<KBase::ReturnPtrI<CodePage>> seen(threadCount);
        RunAtOnce([&](std::size_t thread) { seen[thread] = GetCodePageReference(15); });
        for (const auto& codePage : seen) {
            ASSERT_EQ(codePage.Get(), seen.front().Get());
        }
        EXPECT_EQ(seen.front()->AddRef(), threadCount + 2); // each thread, the registry and this one
        seen.front()->Release();
    }
}

TEST(ThreadsTest, FailingCreationsOnSomeThreadsDoNotHinderOthers) {
    const TimeLimit limit("failing requests on some threads");
    const Initializer initializer;
    const TemporaryDirectory directory;
    MarkedTables::Write(directory.Path(), "koi8-r", 20866, 'q');
    SetBasePath(directory.Wide().c_str());
    Crowd crowd;
    crowd.Run(60, [&](int thread, int) {
        switch (thread % 4) {
        case 0:
            crowd.Expect(Raised([] { GetCodePageReference(19); }).text,
                         "The character set is not supported: 19");
            break;
        case 1:
            crowd.Expect(Raised([] { GetCodePageReference(1); }).type, "CodePageConversionException");
            break;
        case 2:
            FlushCodePageCaches();
            break;
        default:
            crowd.Expect(MarkedTables::Shown(*GetCodePageReference(15)), "qq");
        }
    });
}

TEST(ThreadsTest, TablesAreSharedByConversionsOnAllThreads) {
    const TimeLimit limit("conversions on eight threads");
    const Initializer initializer;
    SetBasePath(u"UseWindowsAPI"_w);
    std::string bytes;
    std::string expected;
    for (int i = 0; i < 500; ++i) {
        bytes += "a\x82\xA0\xB1";
        expected += "a\\u3042\\uFF71";
    }
    const auto codePage = GetCodePageReference(11);
    Crowd crowd;
    crowd.Run(20, [&](int, int) { crowd.Expect(Decode(*codePage, bytes), expected); });
}

// What code page 12 and the Shift-JIS to JIS table have to say, whatever happens meanwhile.
void ExpectJis(Crowd& crowd) {
    const auto codePage = GetCodePageReference(12);
    crowd.Expect(Encode(*codePage, u"a\u3042\u3044"_w), "a\x1B$B$\"$$\x1B(B");
    crowd.Expect(
        Raised([&] { Encode(*codePage, u"\u2170"_w); }).text,
        "ShiftJisToJis::Convert - Couldn't convert to JIS code page. Character that failed (Win code "
        "page 932): fa40");
    unsigned consumed = 0;
    const auto block =
        codePage->ConvertToMultiByteObservingBlockSize(consumed, 9, u"\u3042a"_w, 2, CodePage::SUBSTITUTE);
    crowd.Expect(std::string(block->Get(), block->Length()), "\x1B$B$\"\x1B(B");
    if (consumed != 1 || !codePage->IsLeadingByte('!') || codePage->IsLeadingByte(' ') ||
        codePage->GetNumberOfBytesInThisCharacter("~") != 2 || !codePage->IsEscapeSequence("\x1B(B") ||
        codePage->GetNumberOfBytesInThisEscapeSequence("\x1B$B") != 3) {
        crowd.Complain("a wrong answer about JIS");
    }
    const auto table = ShiftJisToJis::InstanceReference();
    const KBase::ReturnPtrI<MultiByteString> text(CreateMultiByteString("\x82\xA0z", 3));
    const auto converted = table->Convert(text.Get());
    crowd.Expect(std::string(converted->Get(), converted->Length()), "\x1B$B$\"\x1B(Bz");
    const auto stream = KSerialization::CreateWriteDataStream(nullptr, 1);
    table->Serialize(*stream);
    crowd.Expect(std::to_string(stream->GetContents()->GetSize()), std::to_string(4 + 6 * 8836));
}

TEST(ThreadsTest, JisTextGoesTogetherWithEveryKindOfFlush) {
    const TimeLimit limit("JIS on eight threads", std::chrono::seconds(240));
    const Initializer initializer;
    const TemporaryDirectory directory;
    WriteTables(directory.Path());
    const KBase::WideString tables = directory.Wide();
    Crowd crowd;
    crowd.Run(12, [&](int thread, int round) {
        switch ((thread + round) % 7) {
        case 0:
            FlushCodePageCaches();
            break;
        case 1:
            SetBasePath(round % 2 == 0 ? u"UseWindowsAPI"_w.Get() : tables.c_str());
            break;
        case 2:
            ShiftJisToJis::Flush();
            break;
        default:
            break;
        }
        ExpectJis(crowd);
    });
}

TEST(ThreadsTest, JisTextGoesTogetherWithAShiftJisPageThatBecomesOtherPages) {
    const TimeLimit limit("eight threads, two of which change the page");
    const Initializer initializer;
    SetBasePath(u"UseWindowsAPI"_w);
    const KBase::SmartPtrI<CodePageImpl> object(new CodePageImpl(ISO_2022_JP)); // outlives its fields
    Crowd crowd;
    crowd.Run(200, [&](int thread, int round) {
        if (thread == 0) {
            // The one tells the lead bytes, the next has none, and the last has no table.
            constexpr int numbers[] = {11, 15, 20};
            DeSerialize(dynamic_cast<CodePageImpl&>(*GetCodePageReference(11)), numbers[round % 3]);
            return;
        }
        if (thread == 1) {
            if (round % 10 == 0) {
                FlushCodePageCaches();
            }
            DeSerialize(*object, 12);
            return;
        }
        for (int time = 0; time < 3; ++time) {
            std::string seen;
            const Failure failure = Raised([&] { seen = Encode(*object, u"\u3042\u3042"_w); });
            // A Shift-JIS to JIS table that is made while the page has no lead bytes has no pairs.
            const bool hasNoPairs =
                failure.text == "ShiftJisToJis::Convert - Couldn't convert to JIS code page. Character that "
                                "failed (Win code page 932): 82a0";
            if (!hasNoPairs && seen != "\x1B$B$\"$\"\x1B(B" && seen != "\x82\xA0\x82\xA0") {
                crowd.Complain("saw " + seen + failure.text);
            }
        }
    });
}

TEST(ThreadsTest, AllThreadsMayMakeTheFirstStreamsOfAPageWhileAnotherFlushes) {
    for (int round = 0; round < 10; ++round) {
        const TimeLimit limit("eight threads making streams at once");
        const Initializer initializer;
        SetBasePath(u"UseWindowsAPI"_w);
        std::vector<std::string> seen(threadCount);
        RunAtOnce([&](std::size_t thread) {
            if (thread == 0) {
                FlushCodePageCaches();
            }
            TextDecoder decoder(SHIFT_JIS);
            std::array<KBase::wchar16, 8> units{};
            const std::size_t count = decoder.Convert(std::string_view("\x82\xA0y"), units, true).written;
            for (const CODE_PAGE page : {SHIFT_JIS, ISO_2022_JP}) {
                TextEncoder encoder(page);
                std::array<char, 100> bytes{};
                seen[thread].append(bytes.data(),
                                    encoder.Convert({units.data(), count}, bytes, true).written);
            }
        });
        EXPECT_EQ(seen, std::vector<std::string>(threadCount, "\x82\xA0y\x1B$B$\"\x1B(By"));
    }
}

TEST(ThreadsTest, AllThreadsThatAskForTheShiftJisToJisTableFirstOfAllGetOneObject) {
    for (int round = 0; round < 10; ++round) {
        const TimeLimit limit("eight threads asking for the table at once");
        const Initializer initializer;
        SetBasePath(u"UseWindowsAPI"_w);
        std::vector<KBase::ReturnPtrI<ShiftJisToJis>> seen(threadCount);
        std::vector<ShiftJisToJis*> borrowed(threadCount);
        RunAtOnce([&](std::size_t thread) {
            if (thread % 2 == 0) {
                borrowed[thread] = ShiftJisToJis::Instance();
            }
            seen[thread] = ShiftJisToJis::InstanceReference();
        });
        for (std::size_t thread = 0; thread < threadCount; ++thread) {
            ASSERT_EQ(seen[thread].Get(), seen.front().Get());
            ASSERT_EQ(borrowed[thread], thread % 2 == 0 ? seen.front().Get() : nullptr);
        }
        EXPECT_EQ(seen.front()->AddRef(), threadCount + 2); // each thread, the process and this one
        seen.front()->Release();
    }
}

TEST(ThreadsTest, CodePage12AndItsTableMayBothBeTheFirstRequestOnSeveralThreads) {
    const TemporaryDirectory directory;
    {
        const Initializer initializer;
        WriteTables(directory.Path());
    }
    for (const KBase::WideString& path : {Widen("UseWindowsAPI"), directory.Wide()}) {
        for (int round = 0; round < 4; ++round) {
            const TimeLimit limit("the first requests for code page 12 and its table");
            const Initializer initializer;
            SetBasePath(path.c_str());
            RunAtOnce([](std::size_t thread) {
                if (thread % 2 == 0) {
                    EXPECT_EQ(GetCodePageReference(12)->GetType(), 12);
                } else {
                    EXPECT_TRUE(ShiftJisToJis::InstanceReference()->IsLeadingByte('!'));
                }
                EXPECT_EQ(Encode(*GetCodePageReference(12), u"\u3042"_w), "\x1B$B$\"\x1B(B");
            });
        }
    }
}

// The processor time of a thread.
std::chrono::nanoseconds TimeOf(std::thread& thread) {
    clockid_t clock{};
    timespec time{};
    if (pthread_getcpuclockid(thread.native_handle(), &clock) != 0 || clock_gettime(clock, &time) != 0) {
        throw std::runtime_error("a thread's time cannot be told");
    }
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

TEST(ThreadsTest, AShiftJisToJisTableThatWasBegunBeforeAFlushServesItsCallerAlone) {
    const TimeLimit limit("a table that is begun before a flush");
    const Initializer initializer;
    SetBasePath(u"UseWindowsAPI"_w);
    // As if somebody made a code page: everybody else who needs one waits busily.
    ModuleState& state = GetModuleState();
    const auto setCreating = [&](bool creating) {
        const KSynch::ScopedCriticalSection hold(*state.cacheLock);
        state.creating = creating;
    };
    setCreating(true);
    KBase::ReturnPtrI<ShiftJisToJis> begunBefore;
    std::thread maker([&] { begunBefore = ShiftJisToJis::InstanceReference(); });
    while (TimeOf(maker) < std::chrono::milliseconds(200)) {
        std::this_thread::yield();
    }
    ShiftJisToJis::Flush();
    setCreating(false);
    maker.join();
    EXPECT_EQ(begunBefore->AddRef(), 2); // its caller's and this one
    EXPECT_EQ(begunBefore->Release(), 1);
    EXPECT_TRUE(begunBefore->IsLeadingByte('!'));
    EXPECT_NE(ShiftJisToJis::Instance(), begunBefore.Get());
}

// A code page is made of what one base path has, even if the path changes under it.
TEST(ThreadsTest, ABasePathThatGoesBackAndForthBetweenGoodOnesNeverFailsARequest) {
    const TimeLimit limit("a base path that goes back and forth", std::chrono::seconds(240));
    const Initializer initializer;
    const TemporaryDirectory directory;
    WriteTables(directory.Path());
    const KBase::WideString tables = directory.Wide();
    Crowd crowd;
    crowd.Run(25, [&](int thread, int round) {
        if (thread == 0) {
            SetBasePath(round % 2 == 0 ? u"UseWindowsAPI"_w.Get() : tables.c_str());
            return;
        }
        const Page& page = pages[static_cast<std::size_t>(thread + round) % pages.size()];
        const auto codePage = GetCodePageReference(page.number);
        crowd.Expect(Decode(*codePage, page.bytes), Ascii(page.units));
        crowd.Expect(Encode(*codePage, page.units), page.bytes);
        FlushCodePageCaches();
    });
}

TEST(ThreadsTest, ARefusalNamesOneOfTheCodePagesThatTheObjectWasAllTheTime) {
    const TimeLimit limit("refusals on eight threads");
    const Initializer initializer;
    SetBasePath(u"UseWindowsAPI"_w);
    const KBase::SmartPtrI<CodePageImpl> object(new CodePageImpl(ISO_2022_JP));
    Crowd crowd;
    crowd.Run(400, [&](int thread, int round) {
        if (thread < 2) {
            DeSerialize(*object, (thread + round) % 2 == 0 ? 12 : 21);
            return;
        }
        const Failure failure =
            Raised([&] { object->ConvertToUnicode("a", 1, CodePage::THROW_INVALID_CHARACTER); });
        if (failure != UserError("The character set is not supported: iso-2022-jp") &&
            failure != UserError("OneToOne::ConvertToUnicode - not implemented")) {
            crowd.Complain(failure.type + ": " + failure.text);
        }
        const Failure encoding = Raised([&] { crowd.Expect(Encode(*object, u"a"_w), "a"); });
        if (encoding.type != "nothing" &&
            encoding != UserError("OneToOne::ConvertToMultiByte - not implemented")) {
            crowd.Complain(encoding.type + ": " + encoding.text);
        }
    });
}

} // namespace
