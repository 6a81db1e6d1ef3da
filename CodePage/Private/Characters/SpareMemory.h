// SpareMemory: the memory of strings that the running thread let go last, kept for its next ones. Fetching it
// from the heap and returning it there would be a third of what converting a short line costs.
//
// A thread keeps two blocks at most, one of up to `smallSize` bytes and a larger one, until it takes them or
// ends. A text may stand in a block that is larger than it needs, as Take says. Thread safety: each thread
// has its own; a block may be kept by another thread than the one that took it.

#pragma once

#include <cstddef>
#include <new>
#include <utility>

namespace KCodePage::SpareMemory {

// With the address sanitizer nothing is kept, so that it sees where each string's memory ends, and its life.
#if defined(__SANITIZE_ADDRESS__)
inline constexpr bool keeps = false;
#elif defined(__has_feature)
inline constexpr bool keeps = !__has_feature(address_sanitizer);
#else
inline constexpr bool keeps = true;
#endif

// Bytes of a block that serves any smaller text. A larger one serves texts that fill it at least about half.
inline constexpr std::size_t smallSize = 256;

struct Block {
    void* memory;
    std::size_t size; // 0: none is kept
};

// Neither constructed nor destroyed, so that a thread may ask at any time, also while it ends; in the few
// bytes that every thread of a process has room for, so that asking calls nothing.
enum class State : unsigned char {
    Unused, // the thread has taken nothing
    Open,
    Closed // the thread is ending
};
struct Blocks {
    Block kept[2]; // small and large
    State state;
};
[[gnu::tls_model("initial-exec")]] extern constinit thread_local Blocks blocks;

inline Block& Kept(std::size_t size) noexcept {
    return blocks.kept[size > smallSize ? 1 : 0];
}

// Take where nothing is kept that would serve.
void* TakeFromHeap(std::size_t& size);

// Memory of at least `size` bytes, of which `size` becomes the whole number: twice as many and `smallSize` at
// most. For Keep or ::operator delete. Throws std::bad_alloc.
inline void* Take(std::size_t& size) {
    Block& kept = Kept(size);
    if (size > kept.size || kept.size - size > size + smallSize) {
        return TakeFromHeap(size);
    }
    size = std::exchange(kept.size, 0);
    return kept.memory;
}

// Keeps the `size` bytes that Take gave and nobody uses any more, in place of what was kept. A thread that
// took nothing keeps nothing. The heap is entered last: it may be a program's own, and make strings.
inline void Keep(void* memory, std::size_t size) noexcept {
    Block given = {memory, size};
    if (blocks.state == State::Open) {
        std::swap(Kept(size), given);
    }
    if (given.size != 0) {
        ::operator delete(given.memory);
    }
}

// Gives back what the running thread keeps.
void Clear() noexcept;

} // namespace KCodePage::SpareMemory
