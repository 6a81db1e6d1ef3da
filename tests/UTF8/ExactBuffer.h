// ExactBuffer: a heap block of exactly the size asked for, so that the address sanitizer sees every access
// beyond it, also of one element.

#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>

template <class T>
class ExactBuffer {
public:
    explicit ExactBuffer(std::size_t count, T value = T()) : elements(new T[count]), size(count) {
        std::fill_n(elements.get(), count, value);
    }

    // A copy of `text`, which has data() and size().
    template <class Text>
    requires requires(const Text& text) { text.data(); }
    explicit ExactBuffer(const Text& text) : ExactBuffer(text.size()) {
        std::copy_n(text.data(), text.size(), elements.get());
    }

    T* Get() noexcept { return elements.get(); }
    const T* Get() const noexcept { return elements.get(); }
    std::size_t Size() const noexcept { return size; }

    T& operator[](std::size_t index) noexcept { return elements[index]; }

private:
    std::unique_ptr<T[]> elements;
    std::size_t size;
};
