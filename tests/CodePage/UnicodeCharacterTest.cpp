#include "CodePage/UnicodeCharacter.h"

#include "SerializedTables.h"

#include <gtest/gtest.h>

#include <type_traits>

namespace {

using KCodePage::UnicodeCharacter;
using SerializedTables::Load;
using SerializedTables::Written;

TEST(UnicodeCharacter, ADefaultOneIsInvalidAndZero) {
    const UnicodeCharacter character;
    EXPECT_FALSE(character.IsValid());
    EXPECT_EQ(character.Get(), 0);
}

TEST(UnicodeCharacter, EveryCodeUnitIsValidAlsoZeroAndFFFF) {
    for (unsigned unit = 0; unit < 0x10000; ++unit) {
        const UnicodeCharacter character(static_cast<unsigned short>(unit));
        ASSERT_TRUE(character.IsValid()) << unit;
        ASSERT_EQ(character.Get(), unit);
    }
}

TEST(UnicodeCharacter, InvalidatingClearsTheValue) {
    UnicodeCharacter character(0x3042);
    character.Invalidate();
    EXPECT_FALSE(character.IsValid());
    EXPECT_EQ(character.Get(), 0);
}

TEST(UnicodeCharacter, IsSerializedAsValidityAndCodeUnit) {
    EXPECT_EQ(Written(UnicodeCharacter()), std::string("\0\0\0", 3));
    EXPECT_EQ(Written(UnicodeCharacter(0x3042)), std::string("\1\x42\x30", 3));
    for (const std::string& bytes : {std::string("\1\xFF\xFF", 3), std::string("\0\x34\x12", 3)}) {
        UnicodeCharacter character(0x7777);
        Load(character, bytes);
        EXPECT_EQ(character.IsValid(), bytes[0] != 0);
        EXPECT_EQ(Written(character), bytes);
    }
}

TEST(UnicodeCharacter, AnyFlagButZeroReadsAsTrueAndAnEarlyEndThrows) {
    UnicodeCharacter character;
    Load(character, std::string("\x02\x41\0", 3));
    EXPECT_TRUE(character.IsValid());
    EXPECT_EQ(character.Get(), 0x41);
    for (std::size_t length = 0; length < 3; ++length) {
        EXPECT_THROW(Load(character, std::string("\1\x41\0", 3).substr(0, length)), KBase::Message);
    }
}

TEST(UnicodeCharacter, IsCopiedByValueAndHasAVirtualDestructor) {
    UnicodeCharacter original(0x3042);
    const UnicodeCharacter copy = original;
    original.Invalidate();
    EXPECT_TRUE(copy.IsValid());
    EXPECT_EQ(copy.Get(), 0x3042);
    static_assert(std::has_virtual_destructor_v<UnicodeCharacter>);
}

} // namespace
