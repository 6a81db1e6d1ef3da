#include "KDataType/Binary.h"

#include <cstring>
#include <limits>
#include <new>

namespace KDataType {

Binary::Binary(std::size_t wanted) : bytes(new char[wanted]), capacity(wanted), size(wanted) {}

void Binary::RemoveFromFront(std::size_t count) noexcept {
    std::memmove(bytes.get(), bytes.get() + count, size - count);
    size -= count;
}

KBase::ReturnPtr<Binary> CreateBinary(unsigned long long size, KBase::Buffer*) {
    if (size > static_cast<unsigned long long>(std::numeric_limits<std::ptrdiff_t>::max())) {
        throw std::bad_alloc();
    }
    return std::make_unique<Binary>(static_cast<std::size_t>(size));
}

} // namespace KDataType
