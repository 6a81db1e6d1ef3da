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

// The linker lets calls of memcpy come to __wrap_memcpy, and those of __real_memcpy to memcpy.
extern "C" {
void* __real_memcpy(void* target, const void* source, std::size_t size);
void* __real_memmove(void* target, const void* source, std::size_t size);

void* __wrap_memcpy(void* target, const void* source, std::size_t size) {
    counts.copied += active ? size : 0;
    return __real_memcpy(target, source, size);
}

void* __wrap_memmove(void* target, const void* source, std::size_t size) {
    counts.copied += active ? size : 0;
    return __real_memmove(target, source, size);
}
}
