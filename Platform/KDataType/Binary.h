// Binary: an owned block of bytes with a visible size and spare capacity behind it.
// Thread safety: one thread at a time.

#pragma once

#include "KBase/Export.h"
#include "KBase/ReturnPtr.h"

#include <cstddef>
#include <memory>

namespace KBase {
class Buffer; // memory that a caller brings along; the library brings none
}

namespace KDataType {

class KCODEPAGE_EXPORT Binary {
public:
    // A block of `size` bytes, all visible, with undefined contents. Throws std::bad_alloc.
    explicit Binary(std::size_t size);

    char* GetData() noexcept { return bytes.get(); }
    const char* GetData() const noexcept { return bytes.get(); }
    std::size_t GetSize() const noexcept { return size; }         // bytes visible
    std::size_t GetCapacity() const noexcept { return capacity; } // bytes allocated

    // Sets the visible size. Requires: not above GetCapacity(). Contents stay.
    void SetSize(std::size_t visible) noexcept { size = visible; }

    // Takes `count` bytes away from the front; those that follow move there. Requires: not above GetSize().
    void RemoveFromFront(std::size_t count) noexcept;

private:
    std::unique_ptr<char[]> bytes; // aligned for every fundamental type
    std::size_t capacity;
    std::size_t size;
};

// A new block of `size` bytes. `buffer`: null. Throws std::bad_alloc, also for a size beyond the address
// space.
KCODEPAGE_EXPORT KBase::ReturnPtr<Binary> CreateBinary(unsigned long long size, KBase::Buffer* buffer);

} // namespace KDataType
