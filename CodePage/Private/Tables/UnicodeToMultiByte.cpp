#include "CodePage/UnicodeToMultiByte.h"

#include "CodePage/Exceptions.h"
#include "CodePage/Private/Characters/Failure.h"
#include "CodePage/Private/Characters/StringImpl.h"
#include "CodePage/Private/ShiftJis/ShiftJisText.h"
#include "CodePage/Private/Tables/EncodeMap.h"
#include "CodePage/Private/Tables/TableFile.h"
#include "CodePage/ShiftJisToJis.h"
#include "OperatingSystem/CodePages.h"

#include <algorithm>
#include <cstring>
#include <string_view>

namespace KCodePage {

using KBase::operator""_w;

namespace {

// Code units that are converted, and how far that is.
class Units {
public:
    // `encodeMap` is null where nothing is mapped; `number` becomes how many are converted, whenever
    // ConvertInto returns or throws.
    Units(const EncodeMap* encodeMap, char substitution, CodePage::USE_SUBSTITUTION_CHARACTER substitutes,
          const unsigned short* text, unsigned int count, unsigned int& number)
        : map(encodeMap),
          substitutionCharacter(substitution),
          mode(substitutes),
          input(text),
          length(count),
          converted(number) {}

    // Whether all of them are converted.
    bool IsUsedUp() const { return taken == length; }

    // Goes on behind what is converted, fills `output`, where there is room for `capacity` bytes, and returns
    // how many it wrote. Where it throws, the next call goes on where this one did, and throws the same.
    std::size_t ConvertInto(char* output, std::size_t capacity) {
        std::size_t written = 0;
        if (map != nullptr && taken < length) { // a text of no units may be null
            written = Run(output, capacity);
            if (IsDone()) {
                converted = static_cast<unsigned int>(taken);
                return written;
            }
        }
        Units rest = *this; // a copy, so that these may stay in registers
        written = rest.ConvertOdd(output, written, capacity);
        taken = rest.taken;
        return written;
    }

private:
    // Converts what the map's look-up has, and returns the bytes written.
    std::size_t Run(char* output, std::size_t capacity) {
        const Kernels::Run run = map->Convert(input + taken, length - taken, output, capacity);
        taken += run.consumed;
        return run.written;
    }

    // Behind a run: whether all is taken or the next character does not fit.
    bool IsDone() const { return taken == length || map->Maps(input[taken]); }

    // Goes on where the next unit is none of the look-up's.
    std::size_t ConvertOdd(char* output, std::size_t written, std::size_t capacity);

    const EncodeMap* map;
    char substitutionCharacter;
    CodePage::USE_SUBSTITUTION_CHARACTER mode;
    const unsigned short* input;
    unsigned int length;
    unsigned int& converted;
    std::size_t taken = 0; // the same number, whatever the caller makes of the other
};

// Apart from the others, which need not make ready for an exception.
[[gnu::noinline]] std::size_t Units::ConvertOdd(char* output, std::size_t written, std::size_t capacity) {
    while (taken < length) {
        MultiByteCharacter character = map != nullptr ? map->Get(input[taken]) : MultiByteCharacter();
        if (!character.IsValid()) {
            if (mode != CodePage::SUBSTITUTE) {
                converted = static_cast<unsigned int>(taken);
                Throw<InvalidCharacterException>(
                    (KBase::WideStream() << "Invalid character 000").Unit(input[taken]));
            }
            character = MultiByteCharacter(static_cast<unsigned char>(substitutionCharacter));
        }
        if (character.Length() > capacity - written) {
            break; // only a block can be full: without one there is room for the most
        }
        std::memcpy(output + written, character.Get(), character.Length());
        written += character.Length();
        ++taken;
        if (map != nullptr) {
            written += Run(output + written, capacity - written);
            if (IsDone()) {
                break;
            }
        }
    }
    converted = static_cast<unsigned int>(taken);
    return written;
}

// The Shift-JIS text of code units, of which as many are converted as `capacity` bytes take.
class ShiftJisOfUnits final : public ShiftJisText {
public:
    ShiftJisOfUnits(const Units& all, std::size_t capacity) : units(all) {
        left = capacity;
        Next(false);
    }

    void Next(bool isPending) override {
        const std::size_t pending = isPending ? 1 : 0;
        if (isPending) {
            place[0] = piece.back();
        }
        const std::size_t room = std::min(left, sizeof place - pending);
        const std::size_t made = units.ConvertInto(place + pending, room);
        const bool isLast = room == left || units.IsUsedUp();
        left = isLast ? 0 : left - made;
        piece = {place, pending + made};
    }

private:
    Units units;
    char place[8192];
};

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
      map(other.map ? std::make_unique<EncodeMap>(*other.map) : nullptr) {}

UnicodeToMultiByte& UnicodeToMultiByte::operator=(const UnicodeToMultiByte& other) {
    UnicodeToMultiByte copy(other);
    codePage = copy.codePage;
    windowsCodePage = copy.windowsCodePage;
    substitutionCharacter = copy.substitutionCharacter;
    map = std::move(copy.map);
    return *this;
}

UnicodeToMultiByte::~UnicodeToMultiByte() = default;

MultiByteCharacter UnicodeToMultiByte::Convert(unsigned short codeUnit) const {
    return map ? map->Get(codeUnit) : MultiByteCharacter();
}

KBase::ReturnPtrI<MultiByteString>
UnicodeToMultiByte::Convert(const unsigned short* input, unsigned int length,
                            CodePage::USE_SUBSTITUTION_CHARACTER mode) const {
    unsigned int converted = 0;
    return ConvertObservingBlockSize(converted, 0, input, length, mode);
}

KBase::ReturnPtrI<MultiByteString>
UnicodeToMultiByte::ConvertObservingBlockSize(unsigned int& converted, unsigned int blockSize,
                                              const unsigned short* input, unsigned int length,
                                              CodePage::USE_SUBSTITUTION_CHARACTER mode) const {
    converted = 0;
    // Without a map each unit becomes the substitution character.
    const std::size_t worst = length * (map ? map->MaximumBytes() : std::size_t{1});
    const std::size_t capacity = blockSize != 0 ? std::min<std::size_t>(blockSize, worst) : worst;
    if (codePage == ISO_2022_JP) {
        return ConvertToJIS(capacity, converted, blockSize, input, length, mode);
    }
    auto result = length >= capacity ? MultiByteStringImpl::CreateForBlock(capacity)
                                     : MultiByteStringImpl::CreateForWriting(capacity);
    Units units(map.get(), substitutionCharacter, mode, input, length, converted);
    result->Finish(units.ConvertInto(result->WritingPlace(), capacity));
    return result;
}

// Apart from the others, which need no such place on the stack.
[[gnu::noinline]] KBase::ReturnPtrI<MultiByteString>
UnicodeToMultiByte::ConvertToJIS(std::size_t capacity, unsigned int& converted, unsigned int blockSize,
                                 const unsigned short* input, unsigned int length,
                                 CodePage::USE_SUBSTITUTION_CHARACTER mode) const {
    ShiftJisOfUnits text({map.get(), substitutionCharacter, mode, input, length, converted}, capacity);
    unsigned int count = 0;
    // Kept: all becomes Shift-JIS before any of it becomes JIS. What a block then has no room for, and what
    // stands behind a pair without a JIS code, is converted all the same, for an invalid character in it is
    // what the caller is told of.
    const auto convertRest = [&] {
        while (text.Left() != 0) {
            text.Next(false);
        }
        if (blockSize != 0) { // without a limit, the code units converted stay what is told
            converted = count;
        }
    };
    try {
        auto result = ShiftJisToJis::ConvertByInstance(count, blockSize, text);
        convertRest();
        return result;
    } catch (...) {
        convertRest(); // where it was an invalid character, ends with the same one
        throw;
    }
}

void UnicodeToMultiByte::ReadFromWindowsAPI() {
    std::unique_ptr<EncodeMap> filled = CopyOfMap();
    const char defaultCharacter[2] = {substitutionCharacter, 0};
    // Kept: U+FFFF is never asked about.
    for (unsigned int unit = 0; unit < 0xFFFF; ++unit) {
        constexpr int capacity = 10;
        const auto codeUnit = static_cast<wchar16>(unit);
        char bytes[capacity] = {};
        int usedDefault = 0;
        const int written = OperatingSystem::WideCharToMultiByte(windowsCodePage, 0, &codeUnit, 1, bytes,
                                                                 capacity, defaultCharacter, &usedDefault);
        if (usedDefault == 0 && (written == 1 || written == 2)) {
            filled->Set(codeUnit, {true, written == 1, static_cast<unsigned char>(bytes[0]),
                                   static_cast<unsigned char>(bytes[1])});
        }
    }
    filled->Prepare();
    map = std::move(filled);
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
    const std::size_t size = map ? map->Size() : 0;
    stream.WriteInteger32(static_cast<std::int32_t>(windowsCodePage));
    stream.WriteByte(static_cast<std::uint8_t>(substitutionCharacter));
    stream.WriteInteger32(static_cast<std::int32_t>(size));
    for (std::size_t i = 0; i < size; ++i) {
        stream.WriteUnsigned16(static_cast<std::uint16_t>(i));
        map->Get(static_cast<wchar16>(i)).Serialize(stream);
    }
}

void UnicodeToMultiByte::DeSerialize(KSerialization::ReadDataStream& stream) {
    constexpr std::size_t serializedRecordSize = 6;
    windowsCodePage = stream.ReadUnsigned32();
    substitutionCharacter = static_cast<char>(stream.ReadByte());
    const std::size_t count = stream.ReadCount(serializedRecordSize);
    const unsigned char* record = stream.ReadBytes(count * serializedRecordSize);
    const unsigned char* const end = record + count * serializedRecordSize;
    std::unique_ptr<EncodeMap> filled = CopyOfMap();
    for (; record != end; record += serializedRecordSize) {
        const auto codeUnit = static_cast<wchar16>(record[0] | record[1] << 8);
        static constexpr unsigned char none[4] = {};
        if (std::memcmp(record + 2, none, sizeof none) == 0) { // most are not mapped
            filled->Set(codeUnit, {});
        } else {
            filled->Set(codeUnit, {record[2] != 0, record[3] != 0, record[4], record[5]});
        }
    }
    filled->Prepare();
    map = std::move(filled);
}

std::unique_ptr<EncodeMap> UnicodeToMultiByte::CopyOfMap() const {
    return map ? std::make_unique<EncodeMap>(*map) : std::make_unique<EncodeMap>();
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
