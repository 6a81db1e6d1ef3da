// EncodingConverterImp: the conversion that both encoding converters have in common; where the bytes come
// from is theirs.

#pragma once

#include "CodePage/EncodingConverter.h"

struct UConverter; // ICU's

namespace KCodePage {

// The most bytes handed to ICU at once, and the size of the file converter's buffer.
inline constexpr std::size_t kConverterChunkSize = 40960;

class EncodingConverterImp : public EncodingConverter {
public:
    explicit EncodingConverterImp(const char* charset);
    ~EncodingConverterImp() override;

    std::size_t Convert(unsigned short* target, std::size_t capacity) override;
    KBase::ReturnPtr<KDataType::Binary> ConvertAll() override;

private:
    UConverter* converter; // null for an unknown charset
};

} // namespace KCodePage
