#include "KDataType/BinaryCollection.h"

#include <gtest/gtest.h>

#include <cstring>
#include <utility>

namespace {

TEST(BinaryCollection, OwnsItsBinariesInTheirOrder) {
    const auto collection = KDataType::CreateBinaryCollection();
    EXPECT_EQ(collection->GetCount(), 0u);
    EXPECT_EQ(collection->GetTotalSize(), 0u);
    for (const std::size_t size : {3u, 0u, 70'000u}) {
        collection->Append(KDataType::CreateBinary(size, nullptr));
    }
    ASSERT_EQ(collection->GetCount(), 3u);
    EXPECT_EQ(collection->Get(0).GetSize(), 3u);
    EXPECT_EQ(collection->Get(1).GetSize(), 0u);
    EXPECT_EQ(collection->Get(2).GetSize(), 70'000u);
    EXPECT_EQ(collection->GetTotalSize(), 70'003u);
}

TEST(BinaryCollection, CountsTheBytesThatAreVisible) {
    const auto collection = KDataType::CreateBinaryCollection();
    collection->Append(KDataType::CreateBinary(10, nullptr));
    collection->Append(KDataType::CreateBinary(10, nullptr));
    collection->Get(0).SetSize(4);
    EXPECT_EQ(collection->GetTotalSize(), 14u);
}

} // namespace
