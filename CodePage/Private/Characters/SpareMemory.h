// SpareMemory: the memory of strings that the running thread let go last, kept for its next ones. Fetching it
// from the heap and returning it there would be a third of what converting a short line costs.
//
// A thread keeps two blocks at most, a small one and one of up to the size that strings ask for here; until
// it takes them or ends. Thread safety: each thread has its own; a block may be kept by another thread than
// the one that took it.

#pragma once

#include <cstddef>
#include <new>
#include <utility>

#ifdef __SANITIZE_ADDRESS__
// The address sanitizer's: so it sees the use of a string that is gone, though its memory is not.
extern "C" void __asan_poison_memory_region(const volatile void* memory, std::size_t size);
extern "C" void __asan_unpoison_memory_region(const volatile void* memory, std::size_t size);
#endif

namespace KCodePage::SpareMemory {

// Bytes of a block that serves any smaller text. A larger one serves texts that fill it at least about half.
inline constexpr std::size_t smallSize = 512;

struct Block {
    void* memory;
    std::size_t size; // 0: none is kept
};

// Neither constructed nor destroyed, so that a thread may ask at any time, also while it ends; in the few
// bytes that every thread of a process has room for, so that asking calls nothing.
struct Blocks {
    Block kept[2]; // small and large
    bool open;     // the thread has taken something, and is not ending
};
[[gnu::tls_model("initial-exec")]] extern constinit thread_local Blocks blocks;

inline Block& Kept(std::size_t size) noexcept {
    return blocks.kept[size > smallSize ? 1 : 0];
}

// Take where nothing is kept that would serve.
void* TakeFromHeap(std::size_t& size);

// Memory of at least `size` bytes, of which `size` becomes the whole number; for Keep or ::operator delete.
// Throws std::bad_alloc.
inline void* Take(std::size_t& size) {
    Block& kept = Kept(size);
    if (size > kept.size || kept.size - size > size + smallSize) {
        return TakeFromHeap(size);
    }
    size = std::exchange(kept.size, 0);
#ifdef __SANITIZE_ADDRESS__
    __asan_unpoison_memory_region(kept.memory, size);
#endif
    return kept.memory;
}

// Keeps the `size` bytes that Take gave and nobody uses any more, in place of what was kept. A thread that
// took nothing keeps nothing. The heap is entered last: it may be a program's own, and make strings.
inline void Keep(void* memory, std::size_t size) noexcept {
    Block given = {memory, size};
    if (blocks.open) {
        std::swap(Kept(size), given);
#ifdef __SANITIZE_ADDRESS__
        __asan_poison_memory_region(memory, size);
#endif
    }
    if (given.size != 0) {
        ::operator delete(given.memory);
    }
}

// Gives back what the running thread keeps.
void Clear() noexcept;

} // namespace KCodePage::SpareMemory
