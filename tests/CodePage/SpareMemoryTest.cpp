// The memory of strings that a thread let go, and what it keeps of it.

#include "CodePage/Private/Characters/SpareMemory.h"

#include "CodePage/MultiByteString.h"
#include "CodePage/UnicodeString.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <thread>

namespace {

using namespace KCodePage;

#ifdef __SANITIZE_ADDRESS__
TEST(StringMemoryTest, TheAddressSanitizerSeesWhereAStringEndsAndThatItIsGone) {
    for (const unsigned length : {4u, 4000u}) {
        const std::string text(length, 'g');
        KBase::ReturnPtrI<MultiByteString> string(CreateMultiByteString(text.data(), length));
        const char* const place = string->Get();
        EXPECT_DEATH(EXPECT_EQ(place[length + 1], 'g'), "heap-buffer-overflow");
        string = nullptr;
        EXPECT_DEATH(EXPECT_EQ(place[0], 'g'), "heap-use-after-free");
    }
}

#else

class SpareMemoryTest : public testing::Test {
protected:
    SpareMemoryTest() { SpareMemory::Clear(); }

    ~SpareMemoryTest() override { SpareMemory::Clear(); }

    static std::size_t KeptBytes() {
        return SpareMemory::blocks.kept[0].size + SpareMemory::blocks.kept[1].size;
    }

    // Takes and keeps a block of at least `size` bytes. Returns where it was.
    static void* Use(std::size_t size) {
        void* const memory = SpareMemory::Take(size);
        std::memset(memory, 0x5A, size); // all of it may be written
        SpareMemory::Keep(memory, size);
        return memory;
    }
};

TEST_F(SpareMemoryTest, WhatIsKeptServesTheNextThatItIsLargeEnoughFor) {
    void* const first = Use(100);
    EXPECT_EQ(KeptBytes(), 112u); // whole units of alignment
    for (const std::size_t size : {112u, 50u, 1u, 111u}) {
        std::size_t whole = size;
        void* const again = SpareMemory::Take(whole);
        EXPECT_EQ(again, first) << size;
        EXPECT_EQ(whole, 112u) << size;
        EXPECT_EQ(KeptBytes(), 0u);
        SpareMemory::Keep(again, whole);
    }
    Use(113);
    EXPECT_EQ(KeptBytes(), 128u) << "the last one replaces what was too small";
    EXPECT_EQ(Use(40), Use(128));
}

TEST_F(SpareMemoryTest, ALargeBlockServesOnlyWhatFillsItAboutHalf) {
    void* const large = Use(4096);
    const auto serves = [&](std::size_t size) {
        std::size_t whole = size;
        void* const taken = SpareMemory::Take(whole);
        EXPECT_EQ(whole, taken == large ? 4096 : (size + 15) / 16 * 16) << size;
        const bool served = taken == large;
        if (served) {
            SpareMemory::Keep(taken, whole);
        } else {
            ::operator delete(taken);
        }
        return served;
    };
    EXPECT_TRUE(serves(4096));
    EXPECT_TRUE(serves(1920)); // with 256 bytes to spare, half
    EXPECT_FALSE(serves(1919));
    EXPECT_FALSE(serves(600));
    EXPECT_FALSE(serves(4097));
    EXPECT_FALSE(serves(256)) << "that is a small one";
    EXPECT_EQ(KeptBytes(), 4096u);
}

TEST_F(SpareMemoryTest, SmallAndLargeAreKeptBesideEachOther) {
    void* const large = Use(8000);
    void* const small = Use(256);
    EXPECT_EQ(KeptBytes(), 8256u);
    EXPECT_EQ(Use(8000), large);
    EXPECT_EQ(Use(20), small);
    SpareMemory::Clear();
    EXPECT_EQ(KeptBytes(), 0u);
}

TEST_F(SpareMemoryTest, OfTwoThatAreGivenUpTheLastIsKept) {
    std::size_t one = 64;
    std::size_t other = 64;
    void* const first = SpareMemory::Take(one);
    void* const second = SpareMemory::Take(other);
    ASSERT_NE(first, second);
    SpareMemory::Keep(first, one);
    SpareMemory::Keep(second, other);
    EXPECT_EQ(KeptBytes(), 64u);
    EXPECT_EQ(Use(64), second);
}

// What comes back is what was taken, to the byte: else it would shrink with each use.
TEST_F(SpareMemoryTest, AStringGivesBackAllThatItTook) {
    const std::string text(8000, 'x');
    const std::u16string units(4000, u'x');
    for (const unsigned most : {200u, 3500u}) {
        { const KBase::ReturnPtrI<MultiByteString> largest(CreateMultiByteString(text.data(), most)); }
        const std::size_t kept = KeptBytes();
        ASSERT_GT(kept, most);
        for (unsigned length = most - 100; length < most; ++length) {
            { const KBase::ReturnPtrI<MultiByteString> string(CreateMultiByteString(text.data(), length)); }
            ASSERT_EQ(KeptBytes(), kept) << length;
            {
                const KBase::ReturnPtrI<UnicodeString> wide(
                    CreateUnicodeString(reinterpret_cast<const unsigned short*>(units.data()), length / 2));
            }
            ASSERT_EQ(KeptBytes(), kept) << length;
        }
        SpareMemory::Clear();
    }
}

// Strings: a text of another kind, longer and shorter ones, and one that outgrew its memory.
TEST_F(SpareMemoryTest, StringsInTheSameMemoryAreWhatTheyWouldBeInTheirOwn) {
    const std::string bytes(200, 'b');
    const std::u16string text(90, u'u');
    const auto* const units = reinterpret_cast<const unsigned short*>(text.data());
    const std::string more(10'000, 'm');
    for (unsigned length = 0; length <= 200; ++length) {
        const KBase::ReturnPtrI<MultiByteString> string(CreateMultiByteString(bytes.data(), length));
        ASSERT_TRUE(string->IsEqual(bytes.data(), length));
        ASSERT_EQ(string->Get()[length], 0);
        if (length % 3 == 0) {
            string->Append(bytes.data(), 200 - length);
            ASSERT_TRUE(string->IsEqual(bytes.data(), 200));
            ASSERT_EQ(string->Get()[200], 0);
        } else if (length % 3 == 1) {
            string->Append(nullptr, 200 - length); // zeros, whatever was there
            ASSERT_TRUE(
                string->IsEqual((bytes.substr(0, length) + std::string(200 - length, 0)).data(), 200));
        } else {
            string->Append(more.data(), 10'000);
            ASSERT_TRUE(string->IsEqual((bytes.substr(0, length) + more).data(), length + 10'000));
        }
        const KBase::ReturnPtrI<UnicodeString> wide(CreateUnicodeString(units, length % 90));
        ASSERT_TRUE(wide->IsEqual(units, length % 90));
        ASSERT_EQ(wide->Get()[length % 90], 0);
    }
    EXPECT_LE(KeptBytes(), 2 * SpareMemory::smallSize);
}

TEST_F(SpareMemoryTest, LongerTextsInPlaceBeginWithACacheLine) {
    const std::string text(8191, 'x');
    const auto misalignment = [&](unsigned length) {
        SpareMemory::Clear();
        const KBase::ReturnPtrI<MultiByteString> string(CreateMultiByteString(text.data(), length));
        return reinterpret_cast<std::uintptr_t>(string->Get()) % 64;
    };
    EXPECT_NE(misalignment(1022), 0u) << "right behind the object";
    EXPECT_EQ(misalignment(1023), 0u);
    EXPECT_EQ(misalignment(1024), 0u);
    EXPECT_EQ(misalignment(8191), 0u);
}

// A long text's own block is not kept, nor is what stood behind a string that outgrew it.
TEST_F(SpareMemoryTest, OnlyWhatStandsBehindAStringIsKept) {
    const std::string text(100'000, 'x');
    KBase::ReturnPtrI<MultiByteString>(CreateMultiByteString(text.data(), 100'000));
    EXPECT_EQ(KeptBytes(), 0u);
    KBase::ReturnPtrI<MultiByteString> grown(CreateMultiByteString(text.data(), 10));
    grown->Append(text.data(), 100'000);
    grown = nullptr;
    EXPECT_EQ(KeptBytes(), 0u);
    KBase::ReturnPtrI<MultiByteString>(CreateMultiByteString(text.data(), 8000));
    EXPECT_GE(KeptBytes(), 8000u);
}

TEST_F(SpareMemoryTest, AStringMayBeLetGoByAnotherThreadAndWhileAThreadEnds) {
    KBase::ReturnPtrI<MultiByteString> here(CreateMultiByteString("here", 4));
    std::thread([&] {
        // Made before this thread keeps anything, and so destroyed after it gave back what it kept.
        thread_local KBase::ReturnPtrI<MultiByteString> last;
        last = KBase::ReturnPtrI<MultiByteString>(CreateMultiByteString("last", 4));
        EXPECT_EQ(KeptBytes(), 0u);
        here = nullptr;
        EXPECT_GT(KeptBytes(), 0u);
        EXPECT_TRUE(last->IsEqual("last", 4));
    }).join();
    EXPECT_EQ(KeptBytes(), 0u) << "kept by the thread that let it go";
}

TEST_F(SpareMemoryTest, AThreadThatMakesNothingKeepsNothing) {
    KBase::ReturnPtrI<MultiByteString> string(CreateMultiByteString("made elsewhere", 14));
    std::thread([&] {
        string = nullptr;
        EXPECT_EQ(KeptBytes(), 0u);
    }).join();
}

#endif

} // namespace
