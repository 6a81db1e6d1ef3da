#include "KDataType/BinaryCollection.h"

#include <utility>

namespace KDataType {

void BinaryCollection::Append(KBase::ReturnPtr<Binary> binary) {
    binaries.push_back(std::move(binary));
}

std::size_t BinaryCollection::GetTotalSize() const noexcept {
    std::size_t total = 0;
    for (const auto& binary : binaries) {
        total += binary->GetSize();
    }
    return total;
}

KBase::ReturnPtr<BinaryCollection> CreateBinaryCollection() {
    return std::make_unique<BinaryCollection>();
}

} // namespace KDataType
