// BinaryCollection: an ordered list of binaries, which it owns.
// Thread safety: one thread at a time.

#pragma once

#include "KBase/Export.h"
#include "KBase/ReturnPtr.h"
#include "KDataType/Binary.h"

#include <cstddef>
#include <vector>

namespace KDataType {

class KCODEPAGE_EXPORT BinaryCollection {
public:
    // Takes a binary over as the last. Requires: not null. Throws std::bad_alloc; the binary is then gone.
    void Append(KBase::ReturnPtr<Binary> binary);

    std::size_t GetCount() const noexcept { return binaries.size(); }

    // Requires: index below GetCount(). Valid as long as the collection.
    Binary& Get(std::size_t index) const noexcept { return *binaries[index]; }

    // The visible bytes of all binaries together.
    std::size_t GetTotalSize() const noexcept;

private:
    std::vector<KBase::ReturnPtr<Binary>> binaries;
};

// A new empty collection. Throws std::bad_alloc.
KCODEPAGE_EXPORT KBase::ReturnPtr<BinaryCollection> CreateBinaryCollection();

} // namespace KDataType
