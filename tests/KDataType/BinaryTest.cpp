#include "KDataType/Binary.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <limits>
#include <new>

namespace {

TEST(Binary, HasTheSizeAskedForAllOfItVisible) {
    for (const std::size_t size : {0u, 1u, 2u, 4095u, 65537u}) {
        const auto binary = KDataType::CreateBinary(size, nullptr);
        EXPECT_EQ(binary->GetSize(), size);
        EXPECT_EQ(binary->GetCapacity(), size);
        ASSERT_NE(binary->GetData(), nullptr);
        std::memset(binary->GetData(), 0x5A, size); // all of it is writable
    }
}

TEST(Binary, ShrinkingAndRestoringTheVisibleSizeKeepsTheContents) {
    const auto binary = KDataType::CreateBinary(6, nullptr);
    std::memcpy(binary->GetData(), "abcdef", 6);
    const char* const data = binary->GetData();
    binary->SetSize(2);
    EXPECT_EQ(binary->GetSize(), 2u);
    EXPECT_EQ(binary->GetCapacity(), 6u);
    binary->SetSize(6);
    EXPECT_EQ(binary->GetData(), data);
    EXPECT_EQ(std::memcmp(binary->GetData(), "abcdef", 6), 0);
}

TEST(Binary, RemovingFromTheFrontMovesTheRestThere) {
    const auto binary = KDataType::CreateBinary(6, nullptr);
    std::memcpy(binary->GetData(), "abcdef", 6);
    binary->SetSize(5); // what is not visible does not move
    binary->RemoveFromFront(0);
    EXPECT_EQ(binary->GetSize(), 5u);
    binary->RemoveFromFront(2);
    EXPECT_EQ(binary->GetSize(), 3u);
    EXPECT_EQ(std::memcmp(binary->GetData(), "cde", 3), 0);
    binary->RemoveFromFront(3);
    EXPECT_EQ(binary->GetSize(), 0u);
    EXPECT_EQ(binary->GetCapacity(), 6u);
}

TEST(Binary, IsAlignedForEveryFundamentalType) {
    for (int size = 1; size < 64; ++size) {
        const auto binary = KDataType::CreateBinary(static_cast<unsigned long long>(size), nullptr);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(binary->GetData()) % alignof(std::max_align_t), 0u);
    }
}

TEST(Binary, ASizeBeyondTheAddressSpaceIsOutOfMemory) {
    EXPECT_THROW(KDataType::CreateBinary(std::numeric_limits<unsigned long long>::max(), nullptr),
                 std::bad_alloc);
    EXPECT_THROW(KDataType::CreateBinary(1ull << 63, nullptr), std::bad_alloc);
}

} // namespace
