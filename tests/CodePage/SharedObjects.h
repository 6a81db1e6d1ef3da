// What tests of objects that threads share do with them.

#pragma once

#include "CodePage/CodePage.h"
#include "KSerialization/Streams.h"

#include <cstring>

namespace SharedObjects {

// Whether anybody but the pointer itself holds its object.
inline constexpr auto IsHeldElsewhere = [](const auto& pointer) {
    pointer->AddRef();
    return pointer->Release() > 1;
};

// Points the object at the fields of the code page of this number.
inline void DeSerialize(KCodePage::CodePage& codePage, char number) {
    auto binary = KDataType::CreateBinary(4, nullptr);
    std::memset(binary->GetData(), 0, 4);
    binary->GetData()[0] = number;
    codePage.DeSerialize(*KSerialization::ConvertBinary2ReadDataStream(std::move(binary), nullptr));
}

} // namespace SharedObjects
