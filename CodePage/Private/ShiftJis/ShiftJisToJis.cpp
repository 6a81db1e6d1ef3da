// The table: its one instance, how it is filled, and its translation file.

#include "CodePage/ShiftJisToJis.h"

#include "CodePage/CodePageRegistry.h"
#include "CodePage/Private/Core/BasePath.h"
#include "CodePage/Private/ShiftJis/BalancedOrder.h"
#include "CodePage/Private/ShiftJis/ThreadJis.h"
#include "CodePage/Private/Tables/TableFile.h"
#include "FileSystem/Paths.h"
#include "KSerialization/Streams.h"
#include "Kernels/ShiftJisLoops.h"
#include "OperatingSystem/CodePages.h"

#include <mutex>
#include <utility>

namespace KCodePage {

using KBase::operator""_w;

namespace {

constexpr std::size_t allCodes = 0x10000;
constexpr unsigned regularCodes = 94 * 94;

// Guards sShiftJisToJisPtr and `flushes`. Held for no longer than it takes to copy a pointer.
constinit std::mutex instanceLock;
std::uint64_t flushes = 0;

KBase::WideString FileNameUnder(const KBase::WideString& basePath) {
    KBase::WideString path = KFileSystem::CombinePaths(basePath, u"ShiftJisToJis."_w);
    path += ShiftJisToJis::GetFileExtensionStatic();
    return path;
}

} // namespace

constinit KBase::SmartPtrI<ShiftJisToJis> ShiftJisToJis::sShiftJisToJisPtr;

ShiftJisToJis* ShiftJisToJis::Instance() {
    return InstanceReference().Get();
}

KBase::ReturnPtrI<ShiftJisToJis> ShiftJisToJis::InstanceReference() {
    std::uint64_t begunAfter = 0;
    {
        const std::lock_guard hold(instanceLock);
        if (sShiftJisToJisPtr) {
            return sShiftJisToJisPtr;
        }
        begunAfter = flushes;
    }
    // Without the lock: making it asks the registry, and may ask the disk.
    KBase::SmartPtrI<ShiftJisToJis> created(new ShiftJisToJis);
    const std::lock_guard hold(instanceLock);
    if (sShiftJisToJisPtr) {
        return sShiftJisToJisPtr; // another thread was first, and its callers keep what they have
    }
    if (flushes == begunAfter) {
        sShiftJisToJisPtr = created;
    }
    return created;
}

void ShiftJisToJis::Flush() {
    {
        KBase::SmartPtrI<ShiftJisToJis> dropped; // goes after the lock
        const std::lock_guard hold(instanceLock);
        std::swap(dropped, sShiftJisToJisPtr);
        ++flushes;
    }
    ThreadJis::NoteChange();
}

ShiftJisToJis::ShiftJisToJis() : codes(allCodes), irregularCodes(regularCodes) {
    const KBase::WideString basePath = GetBasePath();
    if (UsesWindowsAPI(basePath)) {
        ShiftJisToJis::ReadFromWindowsAPI();
    } else {
        ShiftJisToJis::ReadFromFile(FileNameUnder(basePath).c_str());
    }
}

ShiftJisToJis::ShiftJisToJis(const ShiftJisToJis& other)
    : Table(other),
      KBase::ReferenceCounted(other),
      map(other.map),
      firstBytes(other.firstBytes),
      codes(other.codes),
      irregularCodes(other.irregularCodes) {}

ShiftJisToJis& ShiftJisToJis::operator=(const ShiftJisToJis& other) {
    ShiftJisToJis copy(other);
    map.swap(copy.map);
    firstBytes = copy.firstBytes;
    codes = copy.codes; // in place, where encoders look them up
    irregularCodes = copy.irregularCodes;
    return *this;
}

ShiftJisToJis::~ShiftJisToJis() = default;

KBase::ReturnWString ShiftJisToJis::CreateFileName() {
    return FileNameUnder(GetBasePath());
}

const wchar16* ShiftJisToJis::GetFileExtensionStatic() {
    return u"SJ2J"_w;
}

const wchar16* ShiftJisToJis::GetFileExtension() const {
    return GetFileExtensionStatic();
}

void ShiftJisToJis::AddToFirstByteList(char c) {
    firstBytes.set(static_cast<unsigned char>(c));
}

// An entry that is there stays.
void ShiftJisToJis::Insert(unsigned short shiftJis, const MultiByteCharacter& jis) {
    const bool isSimple = jis.IsValid() && jis.GetByte1() != 0 && jis.GetMBChar() != 0xFFFF;
    if (map.try_emplace(shiftJis, jis).second && isSimple) {
        codes[shiftJis] = jis.GetMBChar();
        const unsigned regular = Kernels::RegularJisCode(static_cast<unsigned char>(shiftJis >> 8),
                                                         static_cast<unsigned char>(shiftJis));
        if (codes[shiftJis] == regular) {
            --irregularCodes;
        } else if (regular == 0) {
            ++irregularCodes;
        }
    }
}

MultiByteCharacter ShiftJisToJis::ConvertShiftJISToJISCharSeqUsingWindowsAPI(MultiByteCharacter sjis) const {
    const int before = OperatingSystem::_getmbcp();
    OperatingSystem::_setmbcp(932);
    const unsigned int jis = OperatingSystem::_mbcjmstojis(sjis.GetMBChar());
    OperatingSystem::_setmbcp(before);
    return jis == 0 ? MultiByteCharacter() : MultiByteCharacter(static_cast<unsigned short>(jis), 0, 0);
}

void ShiftJisToJis::ReadFromWindowsAPI() {
    firstBytes.reset();
    const KBase::ReturnPtrI<CodePage> shiftJis = GetCodePageReference(SHIFT_JIS);
    // Kept: lead bytes 00 and FF and trail byte FF are never tried.
    for (unsigned lead = 1; lead <= 254; ++lead) {
        if (!shiftJis->IsLeadingByte(static_cast<char>(lead))) {
            continue;
        }
        for (unsigned trail = 0; trail <= 254; ++trail) {
            const MultiByteCharacter pair(static_cast<unsigned char>(lead),
                                          static_cast<unsigned char>(trail));
            const MultiByteCharacter jis = ConvertShiftJISToJISCharSeqUsingWindowsAPI(pair);
            if (jis.IsValid()) {
                Insert(pair.GetMBChar(), jis);
                AddToFirstByteList(jis.GetByte1());
            }
        }
    }
}

void ShiftJisToJis::ReadFromFile(const wchar16* fileName) {
    DeSerialize(*ReadTableFile(fileName, u"Can't open the ShiftJisToJis translation file"_w));
}

void ShiftJisToJis::WriteToFile(const wchar16* fileName) const {
    WriteTableFile(fileName, u"Can't open the ShiftJisToJis translation file"_w,
                   [this](KSerialization::WriteDataStream& stream) { Serialize(stream); });
}

void ShiftJisToJis::Serialize(KSerialization::WriteDataStream& stream) const {
    std::vector<decltype(map)::const_pointer> entries;
    entries.reserve(map.size());
    for (const auto& entry : map) {
        entries.push_back(&entry);
    }
    stream.WriteInteger32(static_cast<std::int32_t>(entries.size()));
    for (const std::size_t position : BalancedOrder(entries.size())) {
        stream.WriteUnsigned16(entries[position]->first);
        entries[position]->second.Serialize(stream);
    }
}

void ShiftJisToJis::DeSerialize(KSerialization::ReadDataStream& stream) {
    constexpr std::size_t serializedEntrySize = 6;
    const std::size_t count = stream.ReadCount(serializedEntrySize);
    firstBytes.reset();
    for (std::size_t i = 0; i < count; ++i) {
        const unsigned short shiftJis = stream.ReadUnsigned16();
        MultiByteCharacter jis;
        jis.DeSerialize(stream);
        Insert(shiftJis, jis);
        AddToFirstByteList(jis.GetByte1()); // Kept: also where the entry was there already
    }
}

std::int32_t ShiftJisToJis::AddRef() const {
    return ++referenceCount;
}

std::int32_t ShiftJisToJis::Release() const {
    const std::int32_t count = --referenceCount;
    if (count == 0) {
        delete this;
    }
    return count;
}

} // namespace KCodePage
