#include "FailingAllocation.h"

#include "AllocationMeter.h"
#include "CodePage/Private/Characters/SpareMemory.h"

#include <cstdlib>
#include <new>
#include <utility>

thread_local void (*beforeFreeing)(void* memory) = nullptr;

namespace {

struct State {
    bool active = false;
    std::size_t failAt = 0;
    std::size_t count = 0;
    bool failed = false;
};

thread_local State state;

bool MustFail() noexcept {
    if (!state.active) {
        return false;
    }
    ++state.count;
    if (state.count != state.failAt) {
        return false;
    }
    state.failed = true;
    return true;
}

void* Allocate(std::size_t size) {
    void* const memory = MustFail() ? nullptr : std::malloc(size != 0 ? size : 1);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    AllocationMeter::Allocated(memory);
    return memory;
}

void* AllocateAligned(std::size_t size, std::align_val_t alignment) {
    const auto unit = static_cast<std::size_t>(alignment);
    const std::size_t rounded = size != 0 ? (size + unit - 1) / unit * unit : unit;
    void* const memory = MustFail() || rounded < size ? nullptr : std::aligned_alloc(unit, rounded);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    AllocationMeter::Allocated(memory);
    return memory;
}

void* AllocateOrNull(std::size_t size) noexcept {
    void* const memory = MustFail() ? nullptr : std::malloc(size != 0 ? size : 1);
    AllocationMeter::Allocated(memory);
    return memory;
}

void Free(void* memory) noexcept {
    if (auto* const doing = std::exchange(beforeFreeing, nullptr); doing != nullptr) {
        doing(memory);
        beforeFreeing = doing;
    }
    AllocationMeter::Freed(memory);
    std::free(memory);
}

} // namespace

FailingAllocation::FailingAllocation(std::size_t number) noexcept {
    KCodePage::SpareMemory::Clear(); // what comes from there is not asked for
    state = {true, number, 0, false};
}

FailingAllocation::~FailingAllocation() {
    state = {};
}

std::size_t FailingAllocation::Count() const noexcept {
    return state.count;
}

bool FailingAllocation::HasFailed() const noexcept {
    return state.failed;
}

void* operator new(std::size_t size) {
    return Allocate(size);
}

void* operator new[](std::size_t size) {
    return Allocate(size);
}

void* operator new(std::size_t size, std::align_val_t alignment) {
    return AllocateAligned(size, alignment);
}

void* operator new[](std::size_t size, std::align_val_t alignment) {
    return AllocateAligned(size, alignment);
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return AllocateOrNull(size);
}

void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return AllocateOrNull(size);
}

void operator delete(void* memory) noexcept {
    Free(memory);
}

void operator delete[](void* memory) noexcept {
    Free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    Free(memory);
}

void operator delete[](void* memory, std::size_t) noexcept {
    Free(memory);
}

void operator delete(void* memory, std::align_val_t) noexcept {
    Free(memory);
}

void operator delete[](void* memory, std::align_val_t) noexcept {
    Free(memory);
}

void operator delete(void* memory, std::size_t, std::align_val_t) noexcept {
    Free(memory);
}

void operator delete[](void* memory, std::size_t, std::align_val_t) noexcept {
    Free(memory);
}

void operator delete(void* memory, const std::nothrow_t&) noexcept {
    Free(memory);
}

void operator delete[](void* memory, const std::nothrow_t&) noexcept {
    Free(memory);
}
