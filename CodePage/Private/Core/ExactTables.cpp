#include "CodePage/Private/Core/ExactTables.h"

#include "CodePage/CodePageImpl.h"
#include "CodePage/Exceptions.h"
#include "CodePage/Private/Characters/Failure.h"
#include "CodePage/Private/Core/ModuleState.h"

namespace KCodePage {

ExactTables::ExactTables(CODE_PAGE codePage, const TextPolicy& policy)
    : fields(FindOrCreateCodePage(codePage)->GetFields()),
      allowBestFit(policy.allowBestFit),
      sevenBit(policy.sevenBit) {
    if (!fields->multiByteToUnicode || !fields->unicodeToMultiByte || codePage == ISO_2022_JP) {
        Throw<UserErrorException>(KBase::WideStream() << "The character set is not supported: "
                                                      << KBase::WideView(fields->ianaNameWide));
    }
}

const DecodeMap& ExactTables::DecodingMap() const {
    return fields->exactMaps.decoding[sevenBit ? 1 : 0].Get([this] { return DecodeMap(*this); });
}

const EncodeMap& ExactTables::EncodingMap() const {
    return fields->exactMaps.encoding[PolicyIndex()].Get([this] { return EncodeMap(*this); });
}

unsigned ExactTables::GetNumberOfBytesInThisCharacter(const char* text) const {
    return fields->multiByteToUnicode->GetNumberOfBytesInThisCharacter(text);
}

UnicodeCharacter ExactTables::Convert(unsigned char byte) const {
    return sevenBit && byte > 0x7F ? UnicodeCharacter() : fields->multiByteToUnicode->Convert(byte);
}

UnicodeCharacter ExactTables::Convert(unsigned char leadByte, unsigned char secondByte) const {
    const UnicodeCharacter character = fields->multiByteToUnicode->Convert(leadByte, secondByte);
    if (!character.IsValid() || sevenBit) {
        return UnicodeCharacter();
    }
    // A lead byte with 00 is undefined in every page: what it decodes to is the default unit.
    const UnicodeCharacter defaultUnit = fields->multiByteToUnicode->Convert(leadByte, 0);
    if (defaultUnit.IsValid() && character.Get() == defaultUnit.Get() &&
        !(fields->unicodeToMultiByte->Convert(character.Get()) == MultiByteCharacter(leadByte, secondByte))) {
        return UnicodeCharacter();
    }
    return character;
}

MultiByteCharacter ExactTables::Convert(unsigned short codeUnit) const {
    if (sevenBit && codeUnit > 0x7F) {
        return MultiByteCharacter();
    }
    const MultiByteCharacter character = fields->unicodeToMultiByte->Convert(codeUnit);
    return allowBestFit || IsRoundTrip(codeUnit, character) ? character : MultiByteCharacter();
}

MultiByteCharacter ExactTables::BestFit(unsigned short codeUnit) const {
    const MultiByteCharacter character = fields->unicodeToMultiByte->Convert(codeUnit);
    return sevenBit || IsRoundTrip(codeUnit, character) ? MultiByteCharacter() : character;
}

bool ExactTables::IsRoundTrip(unsigned short codeUnit, const MultiByteCharacter& character) const {
    if (!character.IsValid()) {
        return false;
    }
    const auto byte1 = static_cast<unsigned char>(character.GetByte1());
    const auto byte2 = static_cast<unsigned char>(character.GetByte2());
    const UnicodeCharacter back = character.Length() == 1 ? fields->multiByteToUnicode->Convert(byte1)
                                                          : fields->multiByteToUnicode->Convert(byte1, byte2);
    return back.IsValid() && back.Get() == codeUnit;
}

} // namespace KCodePage
