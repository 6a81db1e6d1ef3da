// FailingAllocation: lets one allocation of the running thread fail. The program that links this replaces
// operator new.
// Thread safety: each thread counts for itself.

#pragma once

#include <cstddef>

// What operator delete of this thread does first, as that of a program does which logs; null for nothing. Not
// while it is doing it.
extern thread_local void (*beforeFreeing)(void* memory);

class FailingAllocation {
public:
    // From now on the `number`-th allocation of this thread, counted from 1, throws std::bad_alloc; later
    // ones succeed again. 0 lets all succeed and only counts. One at a time on a thread.
    explicit FailingAllocation(std::size_t number) noexcept;
    FailingAllocation(const FailingAllocation&) = delete; // there is one count on a thread
    FailingAllocation& operator=(const FailingAllocation&) = delete;
    ~FailingAllocation();

    // The allocations that this thread asked for so far.
    std::size_t Count() const noexcept;

    // Whether the allocation came that was to fail.
    bool HasFailed() const noexcept;
};
