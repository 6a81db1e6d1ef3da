#include "CodePage/UnicodeCharacterMultiByte.h"

#include "KSerialization/Streams.h"
#include "OperatingSystem/CodePages.h"

namespace KCodePage {

UnicodeCharacterMultiByte::UnicodeCharacterMultiByte() = default;
UnicodeCharacterMultiByte::UnicodeCharacterMultiByte(const UnicodeCharacterMultiByte&) = default;
UnicodeCharacterMultiByte& UnicodeCharacterMultiByte::operator=(const UnicodeCharacterMultiByte&) = default;
UnicodeCharacterMultiByte::~UnicodeCharacterMultiByte() = default;

UnicodeCharacterMultiByte::UnicodeCharacterMultiByte(unsigned int windowsCodePage, unsigned char byte) {
    char text[2] = {static_cast<char>(byte), 0};
    if (OperatingSystem::IsDBCSLeadByteEx(windowsCodePage, byte)) {
        numberOfBytes = 2;
        secondByteValues.resize(256);
        for (unsigned second = 0; second < 256; ++second) {
            text[1] = static_cast<char>(second);
            const UnicodeCharacter character = GetUnicodeUsingWindowsAPI(windowsCodePage, text, 2);
            secondByteValues[second] = {character.Get(), character.IsValid()};
        }
    } else {
        numberOfBytes = 1;
        value = GetUnicodeUsingWindowsAPI(windowsCodePage, text, 1);
    }
}

UnicodeCharacter UnicodeCharacterMultiByte::GetUnicodeUsingWindowsAPI(unsigned int windowsCodePage,
                                                                      const char* bytes,
                                                                      unsigned int length) {
    constexpr int capacity = 20;
    unsigned short units[capacity] = {};
    const int written = OperatingSystem::MultiByteToWideChar(windowsCodePage, 0, bytes,
                                                             static_cast<int>(length), units, capacity);
    // Kept: only the first unit counts. A lead byte and 00 give two: the default unit, and 0000.
    return written == 0 ? UnicodeCharacter() : UnicodeCharacter(units[0]);
}

void UnicodeCharacterMultiByte::Serialize(KSerialization::WriteDataStream& stream) const {
    stream.WriteByte(numberOfBytes);
    value.Serialize(stream);
    stream.WriteInteger32(static_cast<std::int32_t>(secondByteValues.size()));
    for (const Value& secondByteValue : secondByteValues) {
        secondByteValue.Character().Serialize(stream);
    }
}

void UnicodeCharacterMultiByte::DeSerialize(KSerialization::ReadDataStream& stream) {
    constexpr std::size_t serializedCharacterSize = 3;
    numberOfBytes = stream.ReadByte();
    value.DeSerialize(stream);
    const std::size_t count = stream.ReadCount(serializedCharacterSize);
    if (count != 0) {
        secondByteValues.resize(count);
        const unsigned char* bytes = stream.ReadBytes(count * serializedCharacterSize);
        for (Value& secondByteValue : secondByteValues) {
            secondByteValue = {static_cast<std::uint16_t>(bytes[1] | bytes[2] << 8), bytes[0] != 0};
            bytes += serializedCharacterSize;
        }
    }
}

} // namespace KCodePage
