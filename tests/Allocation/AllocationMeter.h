// AllocationMeter: counts what the running thread allocates, frees and copies. The program that links this
// replaces operator new, which tells it (FailingAllocation.cpp), and lets memcpy and memmove come here first.
// Thread safety: each thread counts for itself; what one allocates another must not free meanwhile.

#pragma once

#include <cstddef>

class AllocationMeter {
public:
    // Starts counting from nothing. One at a time on a thread.
    AllocationMeter() noexcept;
    AllocationMeter(const AllocationMeter&) = delete; // there is one count on a thread
    AllocationMeter& operator=(const AllocationMeter&) = delete;
    ~AllocationMeter();

    struct Counts {
        std::size_t allocations = 0; // blocks
        std::size_t allocated = 0;   // bytes of all blocks together
        std::ptrdiff_t live = 0;     // bytes allocated and still held; below 0 where older blocks were freed
        std::ptrdiff_t peak = 0;     // the most that was live at once
        std::size_t copied = 0;      // bytes by memcpy and memmove, as far as this program calls them
    };
    // What the thread keeps for its next strings it gives back first.
    Counts Get() const noexcept;

    // Told by operator new and operator delete. Null counts for nothing.
    static void Allocated(void* memory) noexcept;
    static void Freed(void* memory) noexcept;
};
