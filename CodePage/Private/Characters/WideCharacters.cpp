#include "CodePage/WideCharacters.h"

#include <algorithm>
#include <cstring>
#include <string_view>

namespace KCodePage {

namespace {

KBase::WideView View(const unsigned short* text, unsigned length) noexcept {
    if (text == nullptr) {
        return {};
    }
    return length != 0 ? KBase::WideView(text, length) : KBase::WideView(text);
}

} // namespace

KDataType::Binary* ConvertToWindowsWideChar(const unsigned short* text, unsigned length) {
    const KBase::WideView units = View(text, length);
    auto block = KDataType::CreateBinary(units.size() * sizeof(unsigned short), nullptr);
    if (!units.empty()) {
        std::memcpy(block->GetData(), units.data(), block->GetSize());
    }
    return block.release();
}

KBase::ReturnWString ConvertFromWindowsWideChar(const unsigned short* text, unsigned length) {
    return KBase::ReturnWString(View(text, length));
}

KBase::ReturnWString SimplyAddZerosToMakeWide(const char* text) {
    const std::string_view bytes = text != nullptr ? std::string_view(text) : std::string_view();
    KBase::ReturnWString units(bytes.size(), 0);
    std::transform(bytes.begin(), bytes.end(), units.begin(),
                   [](char byte) { return static_cast<unsigned char>(byte); });
    return units;
}

void SimplyRemoveZerosToMakeMBCSInPlace(KDataType::Binary* block) {
    if (block == nullptr) {
        return;
    }
    char* const bytes = block->GetData();
    const std::size_t half = block->GetSize() / 2;
    for (std::size_t i = 0; i < half; ++i) {
        bytes[i] = bytes[2 * i];
    }
    // Kept: of an odd size, the last byte of the shortened block is what stood there before.
    block->SetSize(block->GetSize() - half);
}

} // namespace KCodePage
