// The two reference-counted strings. Everything but their character type is the same, so every test runs for
// both.

#include "CodePage/MultiByteString.h"
#include "CodePage/UnicodeString.h"
#include "UTF8/ExactBuffer.h"

#include <gtest/gtest.h>

#include <limits>
#include <random>
#include <stdexcept>
#include <thread>
#include <type_traits>
#include <vector>

namespace {

using namespace KCodePage;

template <class Interface>
class StringsTest : public testing::Test {
protected:
    using Character = std::remove_cvref_t<decltype(*std::declval<const Interface&>().Get())>;
    using Text = std::vector<Character>;
    using Pointer = KBase::ReturnPtrI<Interface>;

    static Pointer Create(const Character* text, unsigned length) {
        if constexpr (std::is_same_v<Interface, MultiByteString>) {
            return Pointer(CreateMultiByteString(text, length));
        } else {
            return Pointer(CreateUnicodeString(text, length));
        }
    }

    static Pointer Create(const Text& text) {
        const ExactBuffer<Character> exact(text);
        return Create(exact.Get(), static_cast<unsigned>(exact.Size()));
    }

    static void Append(Interface& string, const Text& text) {
        const ExactBuffer<Character> exact(text);
        string.Append(exact.Get(), static_cast<unsigned>(exact.Size()));
    }

    static bool IsEqual(const Interface& string, const Text& text) {
        const ExactBuffer<Character> exact(text);
        return string.IsEqual(exact.Get(), static_cast<unsigned>(exact.Size()));
    }

    // `count` characters that differ from their neighbours and are not zero.
    static Text Pattern(std::size_t count, unsigned start = 0) {
        Text text(count);
        for (std::size_t i = 0; i < count; ++i) {
            text[i] = static_cast<Character>((i + start) % 127 + 1);
        }
        return text;
    }

    static Text Contents(const Interface& string) {
        return Text(string.Get(), string.Get() + string.Length());
    }

    // The text, and behind it the zero.
    static void ExpectText(const Interface& string, const Text& text) {
        ASSERT_EQ(string.Length(), text.size());
        EXPECT_EQ(Contents(string), text);
        EXPECT_EQ(string.Get()[string.Length()], 0);
        EXPECT_TRUE(IsEqual(string, text));
    }
};

using Interfaces = testing::Types<MultiByteString, UnicodeString>;

class InterfaceNames {
public:
    template <class T>
    static std::string GetName(int) {
        return std::is_same_v<T, MultiByteString> ? "MultiByteString" : "UnicodeString";
    }
};

TYPED_TEST_SUITE(StringsTest, Interfaces, InterfaceNames);

TYPED_TEST(StringsTest, AnEmptyStringPointsAtAZero) {
    const auto string = TestFixture::Create(nullptr, 0);
    ASSERT_TRUE(string);
    EXPECT_EQ(string->Length(), 0u);
    EXPECT_EQ(string->Get()[0], 0);
    EXPECT_TRUE(string->IsEqual(nullptr, 0));
    const typename TestFixture::Character zero = 0;
    EXPECT_FALSE(string->IsEqual(&zero, 1));
}

TYPED_TEST(StringsTest, ACopyOfTheTextIsHeldWithAZeroBehindIt) {
    typename TestFixture::Text text = {'a', 'b', 'c'};
    const auto string = TestFixture::Create(text);
    TestFixture::ExpectText(*string, {'a', 'b', 'c'});
    EXPECT_FALSE(TestFixture::IsEqual(*string, {'a', 'b'}));
    EXPECT_FALSE(TestFixture::IsEqual(*string, {'a', 'b', 'd'}));
    EXPECT_FALSE(TestFixture::IsEqual(*string, {'a', 'b', 'c', 0}));
    EXPECT_FALSE(TestFixture::IsEqual(*string, {}));
}

TYPED_TEST(StringsTest, ComparesEveryByteOfEveryCharacter) {
    using Unit = typename TestFixture::Character;
    const auto high = static_cast<Unit>(std::numeric_limits<Unit>::max());
    const auto string = TestFixture::Create({high, 0});
    EXPECT_TRUE(TestFixture::IsEqual(*string, {high, 0}));
    EXPECT_FALSE(TestFixture::IsEqual(*string, {high, 1}));
    EXPECT_FALSE(TestFixture::IsEqual(*string, {static_cast<Unit>(high - 1), 0}));
    EXPECT_FALSE(TestFixture::IsEqual(*string, {static_cast<Unit>(high ^ (high / 2 + 1)), 0}));
}

TYPED_TEST(StringsTest, ZerosInTheTextAreCharacters) {
    const auto string = TestFixture::Create({0, 'a', 0});
    TestFixture::ExpectText(*string, {0, 'a', 0});
}

TYPED_TEST(StringsTest, AZeroFollowsTheTextAtEveryLengthAroundTheGrowthStepInAnySteps) {
    for (const std::size_t total : {1u, 2u, 2046u, 2047u, 2048u, 2049u, 2050u, 4095u, 4096u, 4097u, 10000u}) {
        const auto text = TestFixture::Pattern(total);
        for (const std::size_t step : {1u, 2u, 3u, 7u, 512u, 1023u, 1024u, 2047u, 2048u, 2049u, 10000u}) {
            const auto string = TestFixture::Create(nullptr, 0);
            for (std::size_t done = 0; done < total; done += step) {
                const auto count = static_cast<std::ptrdiff_t>(std::min(step, total - done));
                const auto from = text.begin() + static_cast<std::ptrdiff_t>(done);
                TestFixture::Append(*string, {from, from + count});
                ASSERT_EQ(string->Get()[string->Length()], 0) << total << " in steps of " << step;
            }
            TestFixture::ExpectText(*string, text);
        }
    }
}

TYPED_TEST(StringsTest, AppendingToATextOfEveryLengthKeepsIt) {
    for (const std::size_t first : {0u, 1u, 100u, 2047u, 2048u, 2049u}) {
        for (const std::size_t second : {1u, 2u, 2047u, 2048u, 3000u}) {
            auto expected = TestFixture::Pattern(first);
            const auto string = TestFixture::Create(expected);
            const auto more = TestFixture::Pattern(second, 50);
            TestFixture::Append(*string, more);
            expected.insert(expected.end(), more.begin(), more.end());
            TestFixture::ExpectText(*string, expected);
        }
    }
}

TYPED_TEST(StringsTest, RandomAppendsGiveTheWholeText) {
    std::mt19937 random(5);
    for (int round = 0; round < 200; ++round) {
        typename TestFixture::Text expected = TestFixture::Pattern(random() % 300);
        const auto string = TestFixture::Create(expected);
        for (int step = 0; step < 20; ++step) {
            const auto more = TestFixture::Pattern(random() % (random() % 8 == 0 ? 5000 : 40),
                                                   static_cast<unsigned>(random() % 100));
            TestFixture::Append(*string, more);
            expected.insert(expected.end(), more.begin(), more.end());
            ASSERT_EQ(string->Get()[string->Length()], 0);
        }
        TestFixture::ExpectText(*string, expected);
    }
}

TYPED_TEST(StringsTest, AppendingNothingChangesNothing) {
    const auto string = TestFixture::Create({'a'});
    const auto* const before = string->Get();
    string->Append(nullptr, 0);
    string->Append(before, 0);
    EXPECT_EQ(string->Get(), before);
    TestFixture::ExpectText(*string, {'a'});
}

TYPED_TEST(StringsTest, AppendingANullTextGrowsTheSizeByZerosButNotTheLength) {
    const auto string = TestFixture::Create({'a', 'b'});
    string->Append(nullptr, 3);
    EXPECT_EQ(string->Length(), 2u);
    EXPECT_FALSE(TestFixture::IsEqual(*string, {'a', 'b'}));
    EXPECT_TRUE(TestFixture::IsEqual(*string, {'a', 'b', 0, 0, 0}));
    EXPECT_EQ(string->Get()[5], 0);
}

TYPED_TEST(StringsTest, TextAppendedAfterANullTextStandsRightBehindTheText) {
    const auto string = TestFixture::Create({'a', 'b'});
    string->Append(nullptr, 3);
    TestFixture::Append(*string, {'c'});
    EXPECT_EQ(string->Length(), 3u);
    EXPECT_TRUE(TestFixture::IsEqual(*string, {'a', 'b', 'c', 0, 0, 0}));
    TestFixture::Append(*string, {'d', 'e', 'f', 'g', 'h'});
    EXPECT_EQ(string->Length(), 8u);
    EXPECT_TRUE(TestFixture::IsEqual(*string, {'a', 'b', 'c', 'd', 'e', 'f', 'g', 'h', 0, 0, 0}));
    EXPECT_EQ(string->Get()[11], 0);
}

TYPED_TEST(StringsTest, ANullTextAppendedOverWhatWasWrittenBeforeLeavesTheText) {
    const auto string = TestFixture::Create({'a'});
    string->Append(nullptr, 3000);
    TestFixture::Append(*string, TestFixture::Pattern(2000));
    string->Append(nullptr, 3000);
    auto expected = TestFixture::Pattern(2000);
    expected.insert(expected.begin(), 'a');
    EXPECT_EQ(string->Length(), 2001u);
    EXPECT_EQ(TestFixture::Contents(*string), expected);
    expected.resize(1 + 3000 + 2000 + 3000);
    EXPECT_TRUE(TestFixture::IsEqual(*string, expected));
}

TYPED_TEST(StringsTest, ANullTextAtConstructionGivesSizeWithoutLength) {
    const auto string = TestFixture::Create(nullptr, 5);
    EXPECT_EQ(string->Length(), 0u);
    EXPECT_EQ(string->Get()[0], 0);
    EXPECT_EQ(string->Get()[5], 0);
    EXPECT_TRUE(TestFixture::IsEqual(*string, {0, 0, 0, 0, 0}));
    EXPECT_FALSE(TestFixture::IsEqual(*string, {}));
}

TYPED_TEST(StringsTest, AStringAppendedToItselfDoubles) {
    auto expected = TestFixture::Pattern(3);
    const auto string = TestFixture::Create(expected);
    while (expected.size() < 50000) {
        string->Append(string->Get(), string->Length());
        const auto once = expected;
        expected.insert(expected.end(), once.begin(), once.end());
        TestFixture::ExpectText(*string, expected);
    }
}

TYPED_TEST(StringsTest, APartOfAStringCanBeAppendedToIt) {
    for (const std::size_t length : {5u, 2040u, 2047u, 2048u, 4000u}) {
        auto expected = TestFixture::Pattern(length);
        const auto string = TestFixture::Create(expected);
        for (int round = 0; round < 12; ++round) {
            const std::size_t from = expected.size() / 3;
            string->Append(string->Get() + from, static_cast<unsigned>(expected.size() - from));
            const typename TestFixture::Text part(expected.begin() + static_cast<std::ptrdiff_t>(from),
                                                  expected.end());
            expected.insert(expected.end(), part.begin(), part.end());
        }
        TestFixture::ExpectText(*string, expected);
    }
}

TYPED_TEST(StringsTest, ALengthBeyond32BitsThrowsAndChangesNothing) {
    const auto string = TestFixture::Create({'a'});
    EXPECT_THROW(string->Append(nullptr, std::numeric_limits<unsigned>::max()), std::length_error);
    TestFixture::ExpectText(*string, {'a'});
    TestFixture::Append(*string, {'b'});
    TestFixture::ExpectText(*string, {'a', 'b'});
}

TYPED_TEST(StringsTest, TheCountStartsAtZeroAndBothOperationsReturnTheNewOne) {
    auto* const string = TestFixture::Create(nullptr, 0).Detach(); // the pointer took the first reference
    EXPECT_EQ(string->AddRef(), 2);
    EXPECT_EQ(string->AddRef(), 3);
    EXPECT_EQ(string->Release(), 2);
    EXPECT_EQ(string->Release(), 1);
    EXPECT_EQ(string->Release(), 0); // deletes; the leak check fails where it does not
}

TYPED_TEST(StringsTest, ThreadsShareAStringThatNobodyAppendsTo) {
    const auto text = TestFixture::Pattern(3000);
    std::vector<std::thread> threads;
    {
        const auto string = TestFixture::Create(text);
        for (int thread = 0; thread < 4; ++thread) {
            threads.emplace_back([&text, mine = string]() mutable {
                for (int round = 0; round < 200; ++round) {
                    const auto copy = mine;
                    EXPECT_EQ(copy->Length(), text.size());
                    EXPECT_TRUE(copy->IsEqual(text.data(), static_cast<unsigned>(text.size())));
                }
                mine = nullptr;
            });
        }
    } // the threads may hold the last references
    for (std::thread& thread : threads) {
        thread.join();
    }
}

} // namespace
