// The platform's locks, and the scoped objects that hold them. They sit on the standard library's.
// Thread safety: that is what they are for. None of them is recursive.

#pragma once

#include "KBase/Export.h"
#include "KBase/ReturnPtr.h"

#include <mutex>
#include <shared_mutex>

namespace KSynch {

// Where a lock stands in the order of the platform's lock checker. The library uses one category for every
// lock and log router; the standard library's locks keep no order, so it has no effect here.
enum EnumTesselLockStackCategory : int { LOCK_CATEGORY_CODE_PAGE = -3 };

// Excludes all other holders.
class CriticalSection {
public:
    void lock() { mutex.lock(); }
    void unlock() { mutex.unlock(); }

private:
    std::mutex mutex;
};

// Admits many readers or one writer.
class RWLock {
public:
    void lock() { mutex.lock(); }
    void unlock() { mutex.unlock(); }
    void lock_shared() { mutex.lock_shared(); }
    void unlock_shared() { mutex.unlock_shared(); }

private:
    std::shared_mutex mutex;
};

using ScopedCriticalSection = std::lock_guard<CriticalSection>;
using ScopedReadLock = std::shared_lock<RWLock>;
using ScopedWriteLock = std::lock_guard<RWLock>;

KCODEPAGE_EXPORT KBase::ReturnPtr<CriticalSection>
CreateCriticalSection(EnumTesselLockStackCategory category);
KCODEPAGE_EXPORT KBase::ReturnPtr<RWLock> CreateRWLock(EnumTesselLockStackCategory category);

// Keeps the synchronization library initialised while it lives. The standard library needs nothing.
class Initializer {};

} // namespace KSynch
