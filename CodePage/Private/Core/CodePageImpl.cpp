#include "CodePage/CodePageImpl.h"

#include "CodePage/Exceptions.h"
#include "CodePage/Private/Characters/Failure.h"
#include "CodePage/Private/Core/BasePath.h"
#include "CodePage/Private/Core/CodePageFields.h"
#include "CodePage/Private/Core/ModuleState.h"
#include "CodePage/Private/Core/ThreadFields.h"
#include "CodePage/Private/ShiftJis/ThreadJis.h"
#include "CodePage/Private/Tables/DecodingTable.h"
#include "FileSystem/Paths.h"
#include "KSerialization/Streams.h"

#include <utility>

namespace KCodePage {

namespace {

constexpr char substitutionCharacter = '?';

KBase::WideString FileNameUnder(const KBase::WideString& basePath, CODE_PAGE codePage, const Table& table) {
    std::string ianaName;
    KBase::WideString ianaNameWide;
    unsigned int windowsCodePage = 0;
    CodePageImpl::GetIANAInfo(codePage, ianaName, ianaNameWide, windowsCodePage);
    KBase::WideString path = KFileSystem::CombinePaths(basePath, ianaNameWide);
    path.push_back('.');
    path += table.GetFileExtension();
    return path;
}

} // namespace

CodePageImpl::CodePageImpl()
    : fields(new CodePageFields),
      address(fields.Get()),
      lock(KSynch::CreateRWLock(KSynch::LOCK_CATEGORY_CODE_PAGE)) {}

CodePageImpl::CodePageImpl(CODE_PAGE codePage) : CodePageImpl() {
    Initialize(codePage);
}

CodePageImpl::~CodePageImpl() {
    ThreadFields::Drop(fields.Get());
}

void CodePageImpl::GetIANAInfo(CODE_PAGE codePage, std::string& ianaName, KBase::WideString& ianaNameWide,
                               unsigned int& windowsCodePage) {
    const KBase::SmartPtrI<IANAInfo> list(KCodePage::GetIANAInfo());
    const char* name = list ? list->GetIANANameASCII(codePage) : nullptr;
    if (name == nullptr) {
        Throw<UserErrorException>(KBase::WideStream() << "The character set is not supported: "
                                                      << static_cast<std::int32_t>(codePage));
    }
    ianaName = name;
    ianaNameWide = list->GetIANAName(codePage);
    windowsCodePage = list->GetWindowsCodePage(codePage);
}

KBase::ReturnWString CodePageImpl::CreateFileName(CODE_PAGE codePage, Table* table) {
    return FileNameUnder(GetBasePath(), codePage, *table);
}

void CodePageImpl::Initialize(CODE_PAGE codePage) {
    const KBase::SmartPtrI<CodePageFields> filled(new CodePageFields);
    filled->codePage = codePage;
    GetIANAInfo(codePage, filled->ianaName, filled->ianaNameWide, filled->windowsCodePage);
    if (codePage != UTF_8 && codePage != UNICODE_1_1) {
        filled->multiByteToUnicode = KBase::SmartPtrI<MultiByteToUnicode>(
            new MultiByteToUnicode(codePage, filled->windowsCodePage, substitutionCharacter));
        filled->unicodeToMultiByte = KBase::SmartPtrI<UnicodeToMultiByte>(
            new UnicodeToMultiByte(codePage, filled->windowsCodePage, substitutionCharacter));
        // Once, so that both tables come from one place whatever is set meanwhile.
        const KBase::WideString basePath = GetBasePath();
        if (UsesWindowsAPI(basePath)) {
            filled->multiByteToUnicode->ReadFromWindowsAPI();
            filled->unicodeToMultiByte->ReadFromWindowsAPI();
        } else {
            // iso-2022-jp reads the files of shift_jis; files of its own do not exist.
            const CODE_PAGE fileCodePage = codePage == ISO_2022_JP ? SHIFT_JIS : codePage;
            const auto read = [&](auto& table) {
                table.ReadFromFile(FileNameUnder(basePath, fileCodePage, table).c_str());
            };
            read(*filled->multiByteToUnicode);
            read(*filled->unicodeToMultiByte);
        }
    }
    Replace(Fields(filled.Get()));
}

CodePageImpl::Fields CodePageImpl::GetFields() const {
    const KSynch::ScopedReadLock hold(*lock);
    return fields;
}

void CodePageImpl::Replace(Fields replacement) {
    {
        const KSynch::ScopedWriteLock hold(*lock);
        std::swap(fields, replacement);
        address.store(fields.Get(), std::memory_order_release);
    }
    ThreadFields::Drop(replacement.Get()); // what was held goes after the lock
    ThreadJis::NoteChange();
}

const wchar16* CodePageImpl::GetIANAName() const {
    const KSynch::ScopedReadLock hold(*lock);
    return fields->ianaNameWide.c_str();
}

const char* CodePageImpl::GetIANANameASCII() const {
    const KSynch::ScopedReadLock hold(*lock);
    return fields->ianaName.c_str();
}

int CodePageImpl::GetType() const {
    const KSynch::ScopedReadLock hold(*lock);
    return fields->codePage;
}

unsigned int CodePageImpl::GetWindowsAPICodePage() const {
    const KSynch::ScopedReadLock hold(*lock);
    return fields->windowsCodePage;
}

KBase::SmartPtrI<const MultiByteToUnicode> GetDecodingTable(const CodePage& codePage) {
    const CodePageImpl::Fields fields = static_cast<const CodePageImpl&>(codePage).GetFields();
    return KBase::SmartPtrI<const MultiByteToUnicode>(fields->multiByteToUnicode.Get());
}

void CodePageImpl::Serialize(KSerialization::WriteDataStream& stream) const {
    stream.WriteInteger32(GetType());
}

void CodePageImpl::DeSerialize(KSerialization::ReadDataStream& stream) {
    const KBase::ReturnPtrI<CodePageImpl> shared = FindOrCreateCodePage(stream.ReadInteger32());
    // Taken under the shared object's lock, then stored under this one's: never two locks at once, also where
    // this is the shared object.
    Replace(shared->GetFields());
}

std::int32_t CodePageImpl::AddRef() const {
    return ++referenceCount;
}

std::int32_t CodePageImpl::Release() const {
    const std::int32_t count = --referenceCount;
    if (count == 0) {
        delete this;
    }
    return count;
}

} // namespace KCodePage
