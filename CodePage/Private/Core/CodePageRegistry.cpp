#include "CodePage/CodePageRegistry.h"

#include "CodePage/Exceptions.h"
#include "CodePage/Private/Characters/Failure.h"
#include "CodePage/Private/Core/ModuleState.h"
#include "CodePage/ShiftJisToJis.h"

namespace KCodePage {

namespace {

bool IsValid(int codePage) noexcept {
    return codePage >= US_ASCII && codePage <= UNICODE_1_1 && codePage != 3 && codePage != 5 &&
           codePage != 10 && codePage != 13;
}

// Makes this thread the one creator; gives that up when it goes.
class Creator {
public:
    // Requires: `cacheLock` is held, and `creating` is false.
    explicit Creator(ModuleState& module) noexcept : state(module) { state.creating = true; }
    Creator(const Creator&) = delete; // one creator at a time
    Creator& operator=(const Creator&) = delete;
    ~Creator() {
        const KSynch::ScopedCriticalSection hold(*state.cacheLock);
        state.creating = false;
    }

private:
    ModuleState& state;
};

void DropCodePages(ModuleState& state) {
    const KSynch::ScopedCriticalSection hold(*state.cacheLock);
    state.codePages.clear();
}

} // namespace

KBase::ReturnPtrI<CodePageImpl> FindOrCreateCodePage(int codePage) {
    if (!IsValid(codePage)) {
        Throw<UserErrorException>(KBase::WideStream()
                                  << "Error - Cannot create CodePage due to invalid CodePage enumeration");
    }
    ModuleState& state = GetModuleState();
    std::optional<Creator> creator;
    // Kept: a busy loop without sleep or yield; creation is rare. Nothing that the making of a code page
    // reaches may come here: it would wait for itself.
    while (!creator) {
        const KSynch::ScopedCriticalSection hold(*state.cacheLock);
        const auto found = state.codePages.find(codePage);
        if (found != state.codePages.end()) {
            return found->second;
        }
        if (!state.creating) {
            creator.emplace(state);
        }
    }
    for (;;) {
        const std::uint64_t begunUnder = state.basePathChanges;
        KBase::SmartPtrI<CodePageImpl> created;
        try {
            created = KBase::SmartPtrI<CodePageImpl>(new CodePageImpl(static_cast<CODE_PAGE>(codePage)));
        } catch (const KBase::Message&) {
            if (state.basePathChanges == begunUnder) {
                throw;
            }
            continue; // what failed is not what is asked for by now
        }
        const KSynch::ScopedCriticalSection hold(*state.cacheLock);
        if (state.basePathChanges == begunUnder) {
            return state.codePages.try_emplace(codePage, std::move(created)).first->second;
        }
        // The base path changed meanwhile: what was built from the old one is dropped.
    }
}

CodePage* GetCodePage(int codePage) {
    return FindOrCreateCodePage(codePage).Get();
}

KBase::ReturnPtrI<CodePage> GetCodePageReference(int codePage) {
    return FindOrCreateCodePage(codePage);
}

void FlushCodePageCaches() {
    DropCodePages(GetModuleState());
    ShiftJisToJis::Flush();
}

void SetBasePath(const wchar16* path) {
    ModuleState& state = GetModuleState();
    FlushCodePageCaches();
    {
        KBase::WideString replacement(path != nullptr ? KBase::WideView(path) : KBase::WideView());
        const KSynch::ScopedWriteLock hold(*state.basePathLock);
        state.basePath.swap(replacement);
        state.basePathIsEmpty = state.basePath.empty();
        ++state.basePathChanges;
    }
    // Once more, for what other threads put there under the old path between the flush and the change. What
    // they finish from now on they see to be outdated.
    FlushCodePageCaches();
}

} // namespace KCodePage
