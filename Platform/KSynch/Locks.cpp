#include "KSynch/Locks.h"

namespace KSynch {

KBase::ReturnPtr<CriticalSection> CreateCriticalSection(EnumTesselLockStackCategory) {
    return std::make_unique<CriticalSection>();
}

KBase::ReturnPtr<RWLock> CreateRWLock(EnumTesselLockStackCategory) {
    return std::make_unique<RWLock>();
}

} // namespace KSynch
