#include "CodePage/Private/Icu/EncodingConverterImp.h"

#include <algorithm>
#include <functional>
#include <memory>
#include <new>

namespace KCodePage {

namespace {

class MemEncodingConverter final : public EncodingConverterImp {
public:
    MemEncodingConverter(const char* inputBegin, const char* inputEnd, const char* charsetName)
        : EncodingConverterImp(charsetName),
          start(inputBegin),
          end(inputBegin != nullptr ? inputEnd : nullptr),
          current(inputBegin) {}

    void Delete() override { delete this; }

    std::size_t GetPosition() override { return static_cast<std::size_t>(current - start); }

    void GetInputChunk(const char*& chunkBegin, const char*& chunkEnd) override {
        chunkBegin = current;
        chunkEnd = current + std::min(Remaining(), kConverterChunkSize);
    }

    void Advance(std::size_t count) override { current += std::min(count, Remaining()); }

private:
    // By length, so that nothing beyond the input's end is ever pointed at.
    std::size_t Remaining() const noexcept {
        return std::less<>()(current, end) ? static_cast<std::size_t>(end - current) : 0;
    }

    const char* start;
    const char* end;
    const char* current;
};

} // namespace

KBase::ReturnPtr<EncodingConverter, KBase::DeleteOperatorGeneric<EncodingConverter>>
CreateMemoryEncodingConverter(const char* begin, const char* end, const char* charset) {
    try {
        return std::make_unique<MemEncodingConverter>(begin, end, charset);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

} // namespace KCodePage
