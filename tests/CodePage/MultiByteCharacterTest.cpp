#include "CodePage/MultiByteCharacter.h"

#include "SerializedTables.h"

#include <gtest/gtest.h>

#include <cstring>
#include <type_traits>

namespace {

using KCodePage::MultiByteCharacter;
using SerializedTables::Load;
using SerializedTables::Written;

TEST(MultiByteCharacter, AOneByteCharacterIsOneByteLongAndItsCodeIsItsByteTimes256) {
    const MultiByteCharacter character(0x41);
    EXPECT_TRUE(character.IsValid());
    EXPECT_EQ(character.Length(), 1u);
    EXPECT_STREQ(character.Get(), "A");
    EXPECT_EQ(character.GetMBChar(), 0x4100);
    EXPECT_EQ(character.GetByte1(), 0x41);
    EXPECT_EQ(character.GetByte2(), 0);
}

TEST(MultiByteCharacter, ATwoByteCharacterReadsAsItsBytesAndAZero) {
    const MultiByteCharacter character(0x82, 0xA0);
    EXPECT_TRUE(character.IsValid());
    EXPECT_EQ(character.Length(), 2u);
    EXPECT_EQ(std::memcmp(character.Get(), "\x82\xA0", 3), 0);
    EXPECT_EQ(character.GetMBChar(), 0x82A0);
    EXPECT_EQ(character.GetByte1(), '\x82');
    EXPECT_EQ(character.GetByte2(), '\xA0');
}

TEST(MultiByteCharacter, ACodeGivesHighAndLowByte) {
    EXPECT_TRUE(MultiByteCharacter(0x2422, 0.0f, 0.0f) == MultiByteCharacter(0x24, 0x22));
    const MultiByteCharacter character(0xFE01, 1.5f, -2.0f);
    EXPECT_TRUE(character.IsValid());
    EXPECT_EQ(character.Length(), 2u);
    EXPECT_EQ(character.GetByte1(), '\xFE');
    EXPECT_EQ(character.GetByte2(), 1);
}

TEST(MultiByteCharacter, ADefaultOneIsInvalidTwoBytesLongAndEqualToAnother) {
    const MultiByteCharacter character;
    EXPECT_FALSE(character.IsValid());
    EXPECT_EQ(character.Length(), 2u);
    EXPECT_EQ(character.GetMBChar(), 0);
    EXPECT_EQ(std::memcmp(character.Get(), "\0\0", 3), 0);
    EXPECT_TRUE(character == MultiByteCharacter());
}

TEST(MultiByteCharacter, EqualityIgnoresValidityAndTheSecondByteOfAOneByteCharacter) {
    EXPECT_TRUE(MultiByteCharacter() == MultiByteCharacter(0, 0));
    EXPECT_FALSE(MultiByteCharacter() == MultiByteCharacter(0));
    EXPECT_FALSE(MultiByteCharacter(0x41) == MultiByteCharacter(0x41, 0));
    EXPECT_FALSE(MultiByteCharacter(0x41) == MultiByteCharacter(0x42));
    EXPECT_FALSE(MultiByteCharacter(0x81, 0x40) == MultiByteCharacter(0x81, 0x41));
    EXPECT_FALSE(MultiByteCharacter(0x81, 0x40) == MultiByteCharacter(0x82, 0x40));
    MultiByteCharacter character;
    Load(character, std::string("\1\1\x41\x99", 4));
    EXPECT_EQ(character.GetByte2(), '\x99');
    EXPECT_TRUE(character == MultiByteCharacter(0x41));
}

TEST(MultiByteCharacter, IsSerializedAsValidSingleAndTwoBytes) {
    EXPECT_EQ(Written(MultiByteCharacter()), std::string("\0\0\0\0", 4));
    EXPECT_EQ(Written(MultiByteCharacter(0x41)), std::string("\1\1\x41\0", 4));
    EXPECT_EQ(Written(MultiByteCharacter(0x82, 0xA0)), std::string("\1\0\x82\xA0", 4));
}

TEST(MultiByteCharacter, ReadingRestoresAllFieldsAndTheTerminatorUnchecked) {
    for (const std::string& bytes : {std::string("\0\1\x41\x42", 4), std::string("\1\0\xFF\xFE", 4),
                                     std::string("\0\0\x80\x81", 4), std::string("\1\1\x00\x7F", 4)}) {
        MultiByteCharacter character(0x77, 0x88);
        Load(character, bytes);
        EXPECT_EQ(character.IsValid(), bytes[0] != 0);
        EXPECT_EQ(character.Length(), bytes[1] != 0 ? 1u : 2u);
        EXPECT_EQ(character.GetByte1(), bytes[2]);
        EXPECT_EQ(character.GetByte2(), bytes[3]);
        EXPECT_EQ(character.Get()[2], 0);
        EXPECT_EQ(Written(character), bytes);
    }
}

TEST(MultiByteCharacter, AnyFlagButZeroReadsAsTrue) {
    MultiByteCharacter character;
    Load(character, std::string("\x80\xFF\x41\0", 4));
    EXPECT_TRUE(character.IsValid());
    EXPECT_EQ(character.Length(), 1u);
}

TEST(MultiByteCharacter, StreamOperatorsHaveTheSameLayout) {
    const auto stream = KSerialization::CreateWriteDataStream(nullptr, 1);
    *stream << MultiByteCharacter(0x82, 0xA0) << MultiByteCharacter(0x41);
    const auto contents = stream->GetContents();
    const std::string bytes(contents->GetData(), contents->GetSize());
    EXPECT_EQ(bytes, std::string("\1\0\x82\xA0\1\1\x41\0", 8));
    const auto reading = SerializedTables::Reading(bytes);
    MultiByteCharacter first;
    MultiByteCharacter second;
    *reading >> first >> second;
    EXPECT_TRUE(first == MultiByteCharacter(0x82, 0xA0));
    EXPECT_TRUE(second == MultiByteCharacter(0x41));
}

TEST(MultiByteCharacter, ReadingPastTheEndThrows) {
    for (std::size_t length = 0; length < 4; ++length) {
        MultiByteCharacter character;
        EXPECT_THROW(Load(character, std::string("\1\1\x41\0", 4).substr(0, length)), KBase::Message);
    }
}

TEST(MultiByteCharacter, IsCopiedByValueAndHasAVirtualDestructor) {
    MultiByteCharacter original(0x82, 0xA0);
    const MultiByteCharacter copy = original;
    original = MultiByteCharacter(0x41);
    EXPECT_TRUE(copy == MultiByteCharacter(0x82, 0xA0));
    EXPECT_TRUE(original == MultiByteCharacter(0x41));
    static_assert(std::has_virtual_destructor_v<MultiByteCharacter>);
}

} // namespace
