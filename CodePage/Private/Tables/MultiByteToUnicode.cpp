#include "CodePage/MultiByteToUnicode.h"

#include "CodePage/Exceptions.h"
#include "CodePage/Private/Characters/Failure.h"
#include "CodePage/Private/Characters/StringImpl.h"
#include "CodePage/Private/Tables/DecodeMap.h"
#include "CodePage/Private/Tables/TableFile.h"
#include "CodePage/ShiftJisToJis.h"

namespace KCodePage {

using KBase::operator""_w;

namespace {

constexpr std::size_t numberOfRows = 256;

std::vector<std::unique_ptr<UnicodeCharacterMultiByte>>
Copy(const std::vector<std::unique_ptr<UnicodeCharacterMultiByte>>& rows) {
    std::vector<std::unique_ptr<UnicodeCharacterMultiByte>> copies;
    copies.reserve(rows.size());
    for (const auto& row : rows) {
        copies.push_back(row ? std::make_unique<UnicodeCharacterMultiByte>(*row) : nullptr);
    }
    return copies;
}

// What a file may leave out or get wrong maps nothing: a missing row, or one of neither one nor two bytes.
bool Maps(const UnicodeCharacterMultiByte* row) noexcept {
    return row != nullptr && (row->GetNumberOfBytes() == 1 || row->GetNumberOfBytes() == 2);
}

} // namespace

MultiByteToUnicode::MultiByteToUnicode() = default;

MultiByteToUnicode::MultiByteToUnicode(CODE_PAGE page, unsigned int windowsNumber, char substitution)
    : codePage(page),
      windowsCodePage(windowsNumber),
      substitutionCharacter(substitution),
      rows(numberOfRows) {}

MultiByteToUnicode::MultiByteToUnicode(const MultiByteToUnicode& other)
    : Table(other),
      KBase::ReferenceCounted(other),
      codePage(other.codePage),
      windowsCodePage(other.windowsCodePage),
      substitutionCharacter(other.substitutionCharacter),
      rows(Copy(other.rows)),
      map(other.map ? std::make_unique<DecodeMap>(*other.map) : nullptr) {}

MultiByteToUnicode& MultiByteToUnicode::operator=(const MultiByteToUnicode& other) {
    MultiByteToUnicode copy(other);
    codePage = copy.codePage;
    windowsCodePage = copy.windowsCodePage;
    substitutionCharacter = copy.substitutionCharacter;
    rows = std::move(copy.rows);
    map = std::move(copy.map);
    return *this;
}

MultiByteToUnicode::~MultiByteToUnicode() = default;

const UnicodeCharacterMultiByte* MultiByteToUnicode::Row(unsigned char byte) const noexcept {
    return byte < rows.size() ? rows[byte].get() : nullptr;
}

bool MultiByteToUnicode::IsLeadingByte(unsigned char byte) const {
    if (codePage == ISO_2022_JP) {
        return ShiftJisToJis::InstanceReference()->IsLeadingByte(static_cast<char>(byte));
    }
    const UnicodeCharacterMultiByte* row = Row(byte);
    return row != nullptr && row->GetNumberOfBytes() == 2;
}

unsigned int MultiByteToUnicode::GetNumberOfBytesInThisCharacter(const char* text) const {
    if (codePage == ISO_2022_JP) {
        return ShiftJisToJis::InstanceReference()->GetNumberOfBytesInThisCharacter(text);
    }
    const UnicodeCharacterMultiByte* row = Row(static_cast<unsigned char>(*text));
    return row != nullptr && row->GetNumberOfBytes() == 2 ? 2 : 1;
}

bool MultiByteToUnicode::IsEscapeSequence(const char* text) const {
    return codePage == ISO_2022_JP && ShiftJisToJis::InstanceReference()->IsEscapeSequence(text);
}

unsigned int MultiByteToUnicode::GetNumberOfBytesInThisEscapeSequence(const char* text) const {
    return codePage == ISO_2022_JP
               ? ShiftJisToJis::InstanceReference()->GetNumberOfBytesInThisEscapeSequence(text)
               : 0;
}

UnicodeCharacter MultiByteToUnicode::Convert(unsigned char byte) const {
    const UnicodeCharacterMultiByte* row = Row(byte);
    return Maps(row) ? row->GetValue() : UnicodeCharacter();
}

UnicodeCharacter MultiByteToUnicode::Convert(unsigned char leadByte, unsigned char secondByte) const {
    const UnicodeCharacterMultiByte* row = Row(leadByte);
    return Maps(row) ? row->GetValue(secondByte) : UnicodeCharacter();
}

KBase::ReturnPtrI<UnicodeString>
MultiByteToUnicode::Convert(const char* input, unsigned int length,
                            CodePage::USE_SUBSTITUTION_CHARACTER mode) const {
    // One byte becomes at most one code unit.
    auto result = UnicodeStringImpl::CreateForWriting(length);
    wchar16* const output = result->WritingPlace();
    // Page 12 has character lengths of its own and goes step by step.
    const KBase::ReturnPtrI<ShiftJisToJis> shiftJisToJis =
        codePage == ISO_2022_JP && length != 0 ? ShiftJisToJis::InstanceReference() : nullptr;
    std::size_t p = 0;
    std::size_t written = 0;
    while (p < length) {
        if (map && !shiftJisToJis) { // the flat look-up takes all that maps
            const Kernels::Run run = map->Convert(input + p, length - p, output + written, length - written);
            p += run.consumed;
            written += run.written;
            if (p == length) {
                break;
            }
        }
        UnicodeCharacter character;
        const unsigned int numberOfBytes = shiftJisToJis
                                               ? shiftJisToJis->GetNumberOfBytesInThisCharacter(input + p)
                                               : GetNumberOfBytesInThisCharacter(input + p);
        if (numberOfBytes == 2) {
            if (length - p >= 2) {
                character =
                    Convert(static_cast<unsigned char>(input[p]), static_cast<unsigned char>(input[p + 1]));
            }
            p += 2;
        } else {
            character = Convert(static_cast<unsigned char>(input[p]));
            p += 1;
        }
        if (character.IsValid()) {
            output[written++] = character.Get();
        } else if (mode == CodePage::SUBSTITUTE) {
            // Kept: widened as a signed byte.
            output[written++] = static_cast<wchar16>(static_cast<signed char>(substitutionCharacter));
        } else {
            // Kept: p has moved on already, so the byte behind the offending character is the one shown.
            const wchar16 shown = p < length ? static_cast<unsigned char>(input[p]) : wchar16{0};
            Throw<InvalidCharacterException>((KBase::WideStream() << "Invalid character 000").Unit(shown));
        }
    }
    result->Finish(written);
    return result;
}

void MultiByteToUnicode::ReadFromWindowsAPI() {
    rows.resize(numberOfRows);
    map.reset();
    for (std::size_t byte = 0; byte < numberOfRows; ++byte) {
        rows[byte] =
            std::make_unique<UnicodeCharacterMultiByte>(windowsCodePage, static_cast<unsigned char>(byte));
    }
    CompileMap();
}

void MultiByteToUnicode::ReadFromFile(const wchar16* fileName) {
    DeSerialize(*ReadTableFile(fileName, CannotOpenTableFile(windowsCodePage)));
}

void MultiByteToUnicode::WriteToFile(const wchar16* fileName) const {
    WriteTableFile(fileName, ErrorWhileAccessingTableFile(windowsCodePage),
                   [this](KSerialization::WriteDataStream& stream) { Serialize(stream); });
}

const wchar16* MultiByteToUnicode::GetFileExtension() const {
    return u"M2U"_w;
}

void MultiByteToUnicode::Serialize(KSerialization::WriteDataStream& stream) const {
    stream.WriteInteger32(static_cast<std::int32_t>(windowsCodePage));
    stream.WriteByte(static_cast<std::uint8_t>(substitutionCharacter));
    stream.WriteInteger32(static_cast<std::int32_t>(rows.size()));
    const UnicodeCharacterMultiByte missing;
    for (const auto& row : rows) {
        const UnicodeCharacterMultiByte& written = row ? *row : missing;
        written.Serialize(stream);
    }
}

void MultiByteToUnicode::DeSerialize(KSerialization::ReadDataStream& stream) {
    windowsCodePage = stream.ReadUnsigned32();
    substitutionCharacter = static_cast<char>(stream.ReadByte());
    const std::size_t count = stream.ReadCount(UnicodeCharacterMultiByte::minimumSerializedSize);
    map.reset();
    rows.clear();
    rows.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
        auto row = std::make_unique<UnicodeCharacterMultiByte>();
        row->DeSerialize(stream);
        rows.push_back(std::move(row));
    }
    CompileMap();
}

void MultiByteToUnicode::CompileMap() {
    // Page 12 has character lengths of its own: its text is converted row by row.
    map = codePage != ISO_2022_JP ? std::make_unique<DecodeMap>(*this) : nullptr;
}

std::int32_t MultiByteToUnicode::AddRef() const {
    return ++referenceCount;
}

std::int32_t MultiByteToUnicode::Release() const {
    const std::int32_t count = --referenceCount;
    if (count == 0) {
        delete this;
    }
    return count;
}

} // namespace KCodePage
