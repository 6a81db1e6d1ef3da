#include "CodePage/UnicodeToMultiByte.h"

#include "CodePage/Exceptions.h"
#include "CodePage/Private/Characters/Failure.h"
#include "CodePage/Private/Characters/StringImpl.h"
#include "CodePage/Private/Tables/EncodeMap.h"
#include "CodePage/Private/Tables/TableFile.h"
#include "CodePage/ShiftJisToJis.h"
#include "OperatingSystem/CodePages.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace KCodePage {

using KBase::operator""_w;

namespace {

constexpr std::size_t allCodeUnits = 0x10000;

} // namespace

UnicodeToMultiByte::UnicodeToMultiByte() = default;

UnicodeToMultiByte::UnicodeToMultiByte(CODE_PAGE page, unsigned int windowsNumber, char substitution)
    : codePage(page), windowsCodePage(windowsNumber), substitutionCharacter(substitution) {}

UnicodeToMultiByte::UnicodeToMultiByte(const UnicodeToMultiByte& other)
    : Table(other),
      KBase::ReferenceCounted(other),
      codePage(other.codePage),
      windowsCodePage(other.windowsCodePage),
      substitutionCharacter(other.substitutionCharacter),
      entries(other.entries),
      map(other.map ? std::make_unique<EncodeMap>(*other.map) : nullptr) {}

UnicodeToMultiByte& UnicodeToMultiByte::operator=(const UnicodeToMultiByte& other) {
    UnicodeToMultiByte copy(other);
    codePage = copy.codePage;
    windowsCodePage = copy.windowsCodePage;
    substitutionCharacter = copy.substitutionCharacter;
    entries = std::move(copy.entries);
    map = std::move(copy.map);
    return *this;
}

UnicodeToMultiByte::~UnicodeToMultiByte() = default;

MultiByteCharacter UnicodeToMultiByte::Convert(unsigned short codeUnit) const {
    return codeUnit < entries.size() ? entries[codeUnit].Character() : MultiByteCharacter();
}

KBase::ReturnPtrI<MultiByteString>
UnicodeToMultiByte::Convert(const unsigned short* input, unsigned int length,
                            CodePage::USE_SUBSTITUTION_CHARACTER mode) const {
    unsigned int converted = 0;
    return ConvertObservingBlockSize(converted, 0, input, length, mode);
}

[[gnu::always_inline]] inline std::size_t
UnicodeToMultiByte::ConvertInto(char* output, std::size_t capacity, unsigned int& converted,
                                const unsigned short* input, unsigned int length,
                                CodePage::USE_SUBSTITUTION_CHARACTER mode) const {
    std::size_t taken = 0;
    std::size_t written = 0;
    while (taken < length) {
        if (map) {
            const Kernels::Run run =
                map->Convert(input + taken, length - taken, output + written, capacity - written);
            taken += run.consumed;
            written += run.written;
            if (taken == length || map->Maps(input[taken])) {
                break; // all is taken, or the next character does not fit
            }
        }
        MultiByteCharacter character = Convert(input[taken]);
        if (!character.IsValid()) {
            if (mode != CodePage::SUBSTITUTE) {
                converted = static_cast<unsigned int>(taken);
                Throw<InvalidCharacterException>(
                    (KBase::WideStream() << "Invalid character 000").Unit(input[taken]));
            }
            character = MultiByteCharacter(static_cast<unsigned char>(substitutionCharacter));
        }
        if (character.Length() > capacity - written) {
            break; // only a block can be full: without one there is room for two bytes a unit
        }
        std::memcpy(output + written, character.Get(), character.Length());
        written += character.Length();
        ++taken;
    }
    converted = static_cast<unsigned int>(taken);
    return written;
}

KBase::ReturnPtrI<MultiByteString>
UnicodeToMultiByte::ConvertObservingBlockSize(unsigned int& converted, unsigned int blockSize,
                                              const unsigned short* input, unsigned int length,
                                              CodePage::USE_SUBSTITUTION_CHARACTER mode) const {
    converted = 0;
    // Without a map (a table that was never filled, or whose file was damaged) the entries say it all.
    const std::size_t worst = length * (map ? map->MaximumBytes() : std::size_t{2});
    const std::size_t capacity = blockSize != 0 ? std::min<std::size_t>(blockSize, worst) : worst;
    if (codePage == ISO_2022_JP) {
        return ConvertToJIS(capacity, converted, blockSize, input, length, mode);
    }
    auto result = length >= capacity ? MultiByteStringImpl::CreateForBlock(capacity)
                                     : MultiByteStringImpl::CreateForWriting(capacity);
    result->Finish(ConvertInto(result->WritingPlace(), capacity, converted, input, length, mode));
    return result;
}

// Apart from the others, which need no such place on the stack.
[[gnu::noinline]] KBase::ReturnPtrI<MultiByteString>
UnicodeToMultiByte::ConvertToJIS(std::size_t capacity, unsigned int& converted, unsigned int blockSize,
                                 const unsigned short* input, unsigned int length,
                                 CodePage::USE_SUBSTITUTION_CHARACTER mode) const {
    char onStack[8192];
    std::unique_ptr<char[]> onHeap;
    if (capacity > sizeof onStack) {
        onHeap.reset(new char[capacity]);
    }
    char* const shiftJis = onHeap ? onHeap.get() : onStack;
    const std::size_t size = ConvertInto(shiftJis, capacity, converted, input, length, mode);
    unsigned int unlimited = 0; // without a limit, the code units converted stay what is told
    return ShiftJisToJis::ConvertByInstance(blockSize != 0 ? converted : unlimited, blockSize, shiftJis,
                                            size);
}

void UnicodeToMultiByte::ReadFromWindowsAPI() {
    entries.reserve(0xFFFF);
    map.reset();
    // Kept: U+FFFF is never asked about.
    for (unsigned int unit = 0; unit < 0xFFFF; ++unit) {
        constexpr int capacity = 10;
        const wchar16 codeUnit = static_cast<wchar16>(unit);
        const char defaultCharacter[2] = {substitutionCharacter, 0};
        char bytes[capacity] = {};
        int usedDefault = 0;
        const int written = OperatingSystem::WideCharToMultiByte(windowsCodePage, 0, &codeUnit, 1, bytes,
                                                                 capacity, defaultCharacter, &usedDefault);
        if (usedDefault != 0) {
            continue;
        }
        if (written == 1) {
            Store(codeUnit, MultiByteCharacter(static_cast<unsigned char>(bytes[0])));
        } else if (written == 2) {
            Store(codeUnit, MultiByteCharacter(static_cast<unsigned char>(bytes[0]),
                                               static_cast<unsigned char>(bytes[1])));
        }
    }
    CompileMap();
}

void UnicodeToMultiByte::Store(unsigned short codeUnit, const MultiByteCharacter& character) {
    if (codeUnit >= entries.size()) {
        if (codeUnit >= entries.capacity()) {
            entries.reserve(allCodeUnits);
        }
        entries.resize(codeUnit + std::size_t{1});
    }
    entries[codeUnit] = {character.IsValid(), character.Length() == 1,
                         static_cast<unsigned char>(character.GetByte1()),
                         static_cast<unsigned char>(character.GetByte2())};
}

void UnicodeToMultiByte::ReadFromFile(const wchar16* fileName) {
    DeSerialize(*ReadTableFile(fileName, CannotOpenTableFile(windowsCodePage)));
}

void UnicodeToMultiByte::WriteToFile(const wchar16* fileName) const {
    // Kept: "Can't open" for writing too, unlike the other table.
    WriteTableFile(fileName, CannotOpenTableFile(windowsCodePage),
                   [this](KSerialization::WriteDataStream& stream) { Serialize(stream); });
}

const wchar16* UnicodeToMultiByte::GetFileExtension() const {
    return u"U2M"_w;
}

void UnicodeToMultiByte::Serialize(KSerialization::WriteDataStream& stream) const {
    stream.WriteInteger32(static_cast<std::int32_t>(windowsCodePage));
    stream.WriteByte(static_cast<std::uint8_t>(substitutionCharacter));
    stream.WriteInteger32(static_cast<std::int32_t>(entries.size()));
    for (std::size_t i = 0; i < entries.size(); ++i) {
        stream.WriteUnsigned16(static_cast<std::uint16_t>(i));
        entries[i].Character().Serialize(stream);
    }
}

void UnicodeToMultiByte::DeSerialize(KSerialization::ReadDataStream& stream) {
    constexpr std::size_t serializedRecordSize = 6;
    windowsCodePage = stream.ReadUnsigned32();
    substitutionCharacter = static_cast<char>(stream.ReadByte());
    const std::size_t count = stream.ReadCount(serializedRecordSize);
    map.reset();
    const unsigned char* const records = stream.ReadBytes(count * serializedRecordSize);
    const unsigned char* const end = records + count * serializedRecordSize;
    const auto unitOf = [](const unsigned char* record) {
        return static_cast<std::size_t>(record[0] | record[1] << 8);
    };
    std::size_t size = entries.size();
    for (const unsigned char* record = records; record != end; record += serializedRecordSize) {
        size = std::max(size, unitOf(record) + 1);
    }
    entries.resize(size);
    for (const unsigned char* record = records; record != end; record += serializedRecordSize) {
        entries[unitOf(record)] = {record[2] != 0, record[3] != 0, record[4], record[5]};
    }
    CompileMap();
}

void UnicodeToMultiByte::CompileMap() {
    map = std::make_unique<EncodeMap>(*this);
}

std::int32_t UnicodeToMultiByte::AddRef() const {
    return ++referenceCount;
}

std::int32_t UnicodeToMultiByte::Release() const {
    const std::int32_t count = --referenceCount;
    if (count == 0) {
        delete this;
    }
    return count;
}

} // namespace KCodePage
