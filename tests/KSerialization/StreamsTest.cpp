#include "KSerialization/Streams.h"

#include "KBase/Message.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <string>
#include <string_view>

namespace {

using KSerialization::ReadDataStream;

KBase::ReturnPtr<ReadDataStream> Reading(std::string_view bytes) {
    auto binary = KDataType::CreateBinary(bytes.size(), nullptr);
    std::memcpy(binary->GetData(), bytes.data(), bytes.size());
    return KSerialization::ConvertBinary2ReadDataStream(std::move(binary), nullptr);
}

std::string Contents(const KSerialization::WriteDataStream& stream) {
    const auto binary = stream.GetContents();
    return std::string(binary->GetData(), binary->GetSize());
}

// The text of the ExceptionImpl<Message> that a call throws, "nothing" where it throws none.
template <class Call>
std::string TextThrown(Call call) {
    try {
        call();
    } catch (const KBase::ExceptionImpl<KBase::Message>& error) {
        EXPECT_EQ(error.GetDomain(), KBase::MESSAGE_DOMAIN_UNKNOWN);
        EXPECT_EQ(error.GetID(), -1);
        return error.what();
    }
    return "nothing";
}

TEST(Streams, WriteLittleEndianValuesOfFixedWidthWithoutPadding) {
    const auto stream = KSerialization::CreateWriteDataStream(nullptr, 1);
    EXPECT_EQ(Contents(*stream), "");
    stream->WriteByte(0xFE);
    stream->WriteUnsigned16(0x1234);
    stream->WriteUnsigned32(0x89ABCDEF);
    stream->WriteInteger32(-2);
    stream->WriteByte(0);
    EXPECT_EQ(Contents(*stream), std::string("\xFE\x34\x12\xEF\xCD\xAB\x89\xFE\xFF\xFF\xFF\0", 12));
}

TEST(Streams, ContentsAreACopyOfWhatWasWrittenSoFar) {
    const auto stream = KSerialization::CreateWriteDataStream(nullptr, 1);
    stream->WriteByte('a');
    const auto before = stream->GetContents();
    stream->WriteByte('b');
    EXPECT_EQ(before->GetSize(), 1u);
    EXPECT_EQ(before->GetData()[0], 'a');
    EXPECT_EQ(Contents(*stream), "ab");
}

TEST(Streams, ReadWhatIsThereInTheSameOrder) {
    const auto stream = Reading(std::string_view("\xFE\x34\x12\xEF\xCD\xAB\x89\xFE\xFF\xFF\xFF\0", 12));
    EXPECT_EQ(stream->ReadByte(), 0xFE);
    EXPECT_EQ(stream->ReadUnsigned16(), 0x1234);
    EXPECT_EQ(stream->ReadUnsigned32(), 0x89ABCDEFu);
    EXPECT_EQ(stream->ReadInteger32(), -2);
    EXPECT_EQ(stream->ReadByte(), 0);
}

TEST(Streams, ReadTheLimitsOfEveryWidth) {
    const auto stream =
        Reading(std::string_view("\xFF\xFF\xFF\xFF\xFF\xFF\xFF\0\0\0\x80\xFF\xFF\xFF\x7F", 15));
    EXPECT_EQ(stream->ReadByte(), 0xFFu);
    EXPECT_EQ(stream->ReadUnsigned16(), 0xFFFFu);
    EXPECT_EQ(stream->ReadUnsigned32(), 0xFFFFFFFFu);
    EXPECT_EQ(stream->ReadInteger32(), std::numeric_limits<std::int32_t>::min());
    EXPECT_EQ(stream->ReadInteger32(), std::numeric_limits<std::int32_t>::max());
}

TEST(Streams, AReadPastTheEndThrowsAndTakesNothing) {
    const auto stream = Reading("\x01\x02\x03");
    EXPECT_EQ(stream->ReadByte(), 1);
    EXPECT_EQ(TextThrown([&] { stream->ReadUnsigned32(); }),
              "The data ends too early: 4 bytes are needed at byte offset 1, 2 are left.");
    EXPECT_EQ(stream->ReadUnsigned16(), 0x0302);
    EXPECT_NE(TextThrown([&] { stream->ReadUnsigned16(); }), "nothing");
    EXPECT_NE(TextThrown([&] { stream->ReadInteger32(); }), "nothing");
    EXPECT_EQ(TextThrown([&] { stream->ReadByte(); }),
              "The data ends too early: 1 bytes are needed at byte offset 3, 0 are left.");
}

TEST(Streams, AnEmptyBlockHasNothingToRead) {
    const auto stream = Reading("");
    EXPECT_NE(TextThrown([&] { stream->ReadByte(); }), "nothing");
    EXPECT_NE(TextThrown([&] { stream->ReadCount(1); }), "nothing");
}

TEST(Streams, ACountIsAcceptedUpToWhatTheRestCanHold) {
    const std::string two("\x02\0\0\0abcdef", 10);
    EXPECT_EQ(Reading(two)->ReadCount(3), 2u);
    EXPECT_EQ(Reading(two)->ReadCount(1), 2u);
    EXPECT_EQ(TextThrown([&] { Reading(two)->ReadCount(4); }),
              "The data is damaged: the count at byte offset 0 is 2, but only 6 bytes follow.");
    const std::string none("\0\0\0\0", 4);
    EXPECT_EQ(Reading(none)->ReadCount(1), 0u);
    EXPECT_EQ(Reading(none)->ReadCount(std::numeric_limits<std::size_t>::max()), 0u);
    for (const std::string_view huge : {"\xFF\xFF\xFF\xFF"
                                        "abcdef",
                                        "\xFF\xFF\xFF\x7F"
                                        "abcdef"}) {
        EXPECT_NE(TextThrown([&] { Reading(huge)->ReadCount(1); }), "nothing");
    }
}

} // namespace
