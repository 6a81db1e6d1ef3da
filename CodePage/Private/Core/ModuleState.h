// ModuleState: what the whole process shares while an Initializer lives.
//
// Locks, outermost first: the module spin word; `cacheLock`; a code page object's own lock; `basePathLock`.
// No lock is held while a code page is built or text is converted.

#pragma once

#include "CodePage/CodePageImpl.h"
#include "CodePage/Private/Core/IANAInfoImpl.h"
#include "KBase/ReferenceCounted.h"
#include "KLog/Router.h"
#include "KRegistry/Registry.h"
#include "KSynch/Locks.h"

#include <atomic>
#include <cstdint>
#include <map>
#include <optional>

namespace KCodePage {

struct ModuleState {
    KSynch::Initializer synchInitializer;
    KLog::Initializer logInitializer;
    KBase::ReturnPtr<KLog::Router> errorRouter =
        KLog::CreateRouter("CodePage", "Error", KSynch::LOCK_CATEGORY_CODE_PAGE);
    KRegistry::Initializer registryInitializer;

    // Guarded by `cacheLock`. `creating` is true while one thread builds a code page.
    std::map<int, KBase::SmartPtrI<CodePageImpl>> codePages;
    KBase::SmartPtrI<IANAInfoImpl> ianaInfo = IANAInfoImpl::Create();
    KBase::ReturnPtr<KSynch::CriticalSection> cacheLock =
        KSynch::CreateCriticalSection(KSynch::LOCK_CATEGORY_CODE_PAGE);
    bool creating = false;

    // Guarded by `basePathLock`; whether it is empty may be asked without the lock.
    KBase::ReturnPtr<KSynch::RWLock> basePathLock = KSynch::CreateRWLock(KSynch::LOCK_CATEGORY_CODE_PAGE);
    KBase::WideString basePath;
    std::atomic<bool> basePathIsEmpty = true;

    // Counts what SetBasePath set, so that a code page begun under an older path is not cached.
    std::atomic<std::uint64_t> basePathChanges = 0;
};

// The state. Throws UserErrorException where no Initializer lives.
ModuleState& GetModuleState();

// The shared object for `codePage`, made if there is none: what GetCodePage documents, with a reference.
KBase::ReturnPtrI<CodePageImpl> FindOrCreateCodePage(int codePage);

} // namespace KCodePage
