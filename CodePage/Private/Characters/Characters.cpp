#include "CodePage/MultiByteCharacter.h"
#include "CodePage/UnicodeCharacter.h"
#include "KSerialization/Streams.h"

namespace KCodePage {

void MultiByteCharacter::Serialize(KSerialization::WriteDataStream& stream) const {
    stream.WriteByte(valid);
    stream.WriteByte(single);
    stream.WriteByte(static_cast<unsigned char>(bytes[0]));
    stream.WriteByte(static_cast<unsigned char>(bytes[1]));
}

void MultiByteCharacter::DeSerialize(KSerialization::ReadDataStream& stream) {
    valid = stream.ReadByte() != 0;
    single = stream.ReadByte() != 0;
    bytes[0] = static_cast<char>(stream.ReadByte());
    bytes[1] = static_cast<char>(stream.ReadByte());
    bytes[2] = 0;
}

KSerialization::WriteDataStream& operator<<(KSerialization::WriteDataStream& stream,
                                            const MultiByteCharacter& character) {
    character.Serialize(stream);
    return stream;
}

KSerialization::ReadDataStream& operator>>(KSerialization::ReadDataStream& stream,
                                           MultiByteCharacter& character) {
    character.DeSerialize(stream);
    return stream;
}

void UnicodeCharacter::Serialize(KSerialization::WriteDataStream& stream) const {
    stream.WriteByte(valid);
    stream.WriteUnsigned16(value);
}

void UnicodeCharacter::DeSerialize(KSerialization::ReadDataStream& stream) {
    valid = stream.ReadByte() != 0;
    value = stream.ReadUnsigned16();
}

} // namespace KCodePage
