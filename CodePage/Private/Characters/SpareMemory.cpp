#include "CodePage/Private/Characters/SpareMemory.h"

namespace KCodePage::SpareMemory {

constinit thread_local Blocks blocks{};

namespace {

struct Closing {
    Closing() noexcept { blocks.open = true; }
    Closing(const Closing&) = delete; // one for each thread
    Closing& operator=(const Closing&) = delete;
    ~Closing() {
        blocks.open = false;
        Clear();
    }
};

} // namespace

void* TakeFromHeap(std::size_t& size) {
    if constexpr (!keeps) {
        return ::operator new(size);
    }
    thread_local const Closing closing; // opens when the thread comes here first, never again
    constexpr std::size_t step = __STDCPP_DEFAULT_NEW_ALIGNMENT__;
    size = (size + step - 1) / step * step;
    return ::operator new(size);
}

void Clear() noexcept {
    for (Block& kept : blocks.kept) {
        if (const Block given = std::exchange(kept, Block{}); given.size != 0) {
            ::operator delete(given.memory);
        }
    }
}

} // namespace KCodePage::SpareMemory
