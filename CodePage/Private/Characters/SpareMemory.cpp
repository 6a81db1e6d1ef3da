#include "CodePage/Private/Characters/SpareMemory.h"

#include "CodePage/Private/Characters/AtThreadEnd.h"

namespace KCodePage::SpareMemory {

constinit thread_local Blocks blocks{};

namespace {

void Close() noexcept {
    blocks.state = State::Closed;
    Clear();
}

} // namespace

void* TakeFromHeap(std::size_t& size) {
    if constexpr (!keeps) {
        return ::operator new(size);
    }
    thread_local const AtThreadEnd<Close> closing;
    if (blocks.state == State::Unused) {
        blocks.state = State::Open;
    }
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
