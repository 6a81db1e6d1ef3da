#include "KLog/Router.h"

namespace KLog {

KBase::ReturnPtr<Router> CreateRouter(const char* component, const char* kind,
                                      KSynch::EnumTesselLockStackCategory) {
    return std::make_unique<Router>(component, kind);
}

} // namespace KLog
