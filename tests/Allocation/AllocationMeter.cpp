#include "AllocationMeter.h"

#include "CodePage/Private/Characters/SpareMemory.h"

#include <algorithm>
#include <malloc.h>

namespace {

thread_local bool active = false;
thread_local AllocationMeter::Counts counts;

} // namespace

AllocationMeter::AllocationMeter() noexcept {
    KCodePage::SpareMemory::Clear();
    counts = {};
    active = true;
}

AllocationMeter::~AllocationMeter() {
    active = false;
}

AllocationMeter::Counts AllocationMeter::Get() const noexcept {
    KCodePage::SpareMemory::Clear();
    return counts;
}

void AllocationMeter::Allocated(void* memory) noexcept {
    if (!active || memory == nullptr) {
        return;
    }
    const std::size_t size = malloc_usable_size(memory);
    ++counts.allocations;
    counts.allocated += size;
    counts.live += static_cast<std::ptrdiff_t>(size);
    counts.peak = std::max(counts.peak, counts.live);
}

void AllocationMeter::Freed(void* memory) noexcept {
    if (active && memory != nullptr) {
        counts.live -= static_cast<std::ptrdiff_t>(malloc_usable_size(memory));
    }
}
