#include "CodePage/Private/Characters/SpareMemory.h"

namespace KCodePage::SpareMemory {

constinit thread_local Blocks blocks{};

namespace {

void Discard(Block& kept) noexcept {
    if (kept.size != 0) {
        ::operator delete(kept.memory);
        kept.size = 0;
    }
}

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

void Clear() noexcept {
    for (Block& kept : blocks.kept) {
        Discard(kept);
    }
}

void KeepInstead(void* memory, std::size_t size) noexcept {
    thread_local const Closing closing; // opens when the thread comes here first, never again
    if (!blocks.open) {
        ::operator delete(memory);
        return;
    }
    Discard(Kept(size));
    Keep(memory, size);
}

} // namespace KCodePage::SpareMemory
