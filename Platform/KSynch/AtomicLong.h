// AtomicLong: a 32-bit counter that any thread may change.

#pragma once

#include <atomic>
#include <cstdint>

namespace KSynch {

class AtomicLong {
public:
    explicit AtomicLong(std::int32_t initial = 0) noexcept : value(initial) {}

    // Both return the new value. A decrement makes everything done before it visible to the thread that
    // brings the count to 0, so that this thread may destroy what is counted.
    std::int32_t operator++() noexcept { return value.fetch_add(1, std::memory_order_relaxed) + 1; }
    std::int32_t operator--() noexcept { return value.fetch_sub(1, std::memory_order_acq_rel) - 1; }

    // Whether the value is 1. Everything that was done before the decrement which brought it there is then
    // visible, as it is to the thread that brings a count to 0.
    bool IsOne() const noexcept { return value.load(std::memory_order_acquire) == 1; }

private:
    std::atomic<std::int32_t> value;
};

} // namespace KSynch
