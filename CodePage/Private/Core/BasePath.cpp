#include "CodePage/Private/Core/BasePath.h"

#include "CodePage/Private/Core/ModuleState.h"

namespace KCodePage {

using KBase::operator""_w;

namespace {

KBase::WideString ReadFromRegistry() {
    try {
        const auto key = KRegistry::OpenKeyFromRoot(KRegistry::ROOT_HIVE_LOCAL_MACHINE,
                                                    u"SOFTWARE\\Varnick\\Tessel Suite"_w, false);
        const auto& name = u"Common Path"_w;
        return key->HasValue(name) ? key->ReadString(name) : KBase::WideString();
    } catch (const KRegistry::KeyException&) {
        return {}; // no key or value: no base path
    }
}

} // namespace

KBase::ReturnWString GetBasePath() {
    ModuleState& state = GetModuleState();
    if (state.basePathIsEmpty) {
        const KBase::WideString found = ReadFromRegistry();
        if (!found.empty()) {
            const KSynch::ScopedWriteLock hold(*state.basePathLock);
            if (state.basePath.empty()) { // a path set meanwhile stands
                state.basePath = found;
                state.basePathIsEmpty = false;
            }
        }
    }
    const KSynch::ScopedReadLock hold(*state.basePathLock);
    return state.basePath;
}

bool UsesWindowsAPI(KBase::WideView basePath) noexcept {
    return basePath == KBase::WideView(u"UseWindowsAPI"_w);
}

} // namespace KCodePage
