// ExactBuffer: memory of exactly the size asked for, behind which nothing can be read or written. With the
// address sanitizer it is a heap block, of which that sees every access before and behind it, but for the
// masked ones of vectors; else a page follows that ends the process.

#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <new>
#include <sys/mman.h>
#include <type_traits>
#include <unistd.h>
#include <vector>

namespace ExactMemory {

#ifdef __SANITIZE_ADDRESS__

inline void* Take(std::size_t bytes) {
    return ::operator new(bytes);
}

inline void GiveBack(void* memory, std::size_t) noexcept {
    ::operator delete(memory);
}

#else

// Areas of one size serve again and again: tests make millions of buffers, few at a time.
inline constexpr std::size_t commonSize = std::size_t{1} << 16;

inline std::vector<char*>& Spare() {
    thread_local std::vector<char*>& areas = *new std::vector<char*>; // there for buffers that outlive it too
    return areas;
}

inline std::size_t PageSize() {
    return static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
}

inline std::size_t AreaFor(std::size_t bytes) {
    return std::max(commonSize, (bytes + PageSize() - 1) / PageSize() * PageSize());
}

inline void* Take(std::size_t bytes) {
    const std::size_t size = AreaFor(bytes);
    char* area = nullptr;
    if (size == commonSize && !Spare().empty()) {
        area = Spare().back();
        Spare().pop_back();
    } else {
        void* const mapped = ::mmap(nullptr, size + PageSize(), PROT_READ | PROT_WRITE,
                                    MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
        if (mapped == MAP_FAILED ||
            ::mprotect(static_cast<char*>(mapped) + size, PageSize(), PROT_NONE) != 0) {
            throw std::bad_alloc();
        }
        area = static_cast<char*>(mapped);
    }
    return area + size - bytes;
}

inline void GiveBack(void* memory, std::size_t bytes) {
    const std::size_t size = AreaFor(bytes);
    char* const area = static_cast<char*>(memory) + bytes - size;
    if (size == commonSize) {
        Spare().push_back(area);
    } else {
        ::munmap(area, size + PageSize());
    }
}

#endif

} // namespace ExactMemory

template <class T>
class ExactBuffer {
public:
    static_assert(std::is_trivial_v<T>);

    explicit ExactBuffer(std::size_t count, T value = T())
        : elements(static_cast<T*>(ExactMemory::Take(count * sizeof(T)))), size(count) {
        std::uninitialized_fill_n(elements, count, value);
    }

    // A copy of `text`, which has data() and size().
    template <class Text>
    requires requires(const Text& text) { text.data(); }
    explicit ExactBuffer(const Text& text) : ExactBuffer(text.size()) {
        std::copy_n(text.data(), text.size(), elements);
    }

    ExactBuffer(const ExactBuffer&) = delete; // owns its memory
    ExactBuffer& operator=(const ExactBuffer&) = delete;
    ~ExactBuffer() { ExactMemory::GiveBack(elements, size * sizeof(T)); }

    T* Get() noexcept { return elements; }
    const T* Get() const noexcept { return elements; }
    std::size_t Size() const noexcept { return size; }

    T& operator[](std::size_t index) noexcept { return elements[index]; }

private:
    T* elements;
    std::size_t size;
};
