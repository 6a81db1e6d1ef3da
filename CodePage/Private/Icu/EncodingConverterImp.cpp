#include "CodePage/Private/Icu/EncodingConverterImp.h"

#include "CodePage/Exceptions.h"
#include "KDataType/BinaryCollection.h"

#include <unicode/ucnv.h>

#include <algorithm>
#include <cstring>
#include <utility>

namespace KCodePage {

namespace {

constexpr std::size_t pieceUnits = 4096; // of ConvertAll
constexpr std::size_t unitSize = sizeof(unsigned short);

// ICU refuses more than 2^30 - 1 units of room. So much less is no loss, because a chunk of input rarely
// gives more, and lets a caller exaggerate its room.
constexpr std::size_t roundUnits = kConverterChunkSize;

} // namespace

EncodingConverterImp::EncodingConverterImp(const char* charset) {
    UErrorCode error = U_ZERO_ERROR;
    converter = ucnv_open(charset, &error);
}

EncodingConverterImp::~EncodingConverterImp() {
    ucnv_close(converter);
}

std::size_t EncodingConverterImp::Convert(unsigned short* target, std::size_t capacity) {
    if (converter == nullptr) {
        return 0;
    }
    std::size_t written = 0;
    for (;;) {
        // The end of the input is an empty chunk, with which ICU gives the code units that it still holds.
        const char* begin = nullptr;
        const char* end = nullptr;
        GetInputChunk(begin, end);
        const char* source = begin;
        unsigned short* unit = target + written;
        const unsigned short* const limit = unit + std::min(capacity - written, roundUnits);
        UErrorCode error = U_ZERO_ERROR;
        // Kept: never flushed, and never asked how it went.
        ucnv_toUnicode(converter, &unit, limit, &source, end, nullptr, false, &error);
        const auto consumed = static_cast<std::size_t>(source - begin);
        const auto more = static_cast<std::size_t>(unit - (target + written));
        Advance(consumed);
        written += more;
        if (written == capacity || (consumed == 0 && more == 0)) {
            return written;
        }
    }
}

KBase::ReturnPtr<KDataType::Binary> EncodingConverterImp::ConvertAll() {
    const auto pieces = KDataType::CreateBinaryCollection();
    std::size_t units = 0;
    do {
        auto piece = KDataType::CreateBinary(pieceUnits * unitSize, nullptr);
        units = Convert(reinterpret_cast<unsigned short*>(piece->GetData()), pieceUnits);
        piece->SetSize(units * unitSize);
        pieces->Append(std::move(piece));
    } while (units == pieceUnits);

    const std::size_t total = pieces->GetTotalSize();
    if (total == 0) {
        throw EncodingConversionException(KBase::Message());
    }
    constexpr unsigned short byteOrderMark = 0xFEFF;
    KDataType::Binary& first = pieces->Get(0);
    const std::size_t skipped = std::memcmp(first.GetData(), &byteOrderMark, unitSize) == 0 ? unitSize : 0;
    auto result = KDataType::CreateBinary(total - skipped, nullptr);
    first.RemoveFromFront(skipped);
    char* place = result->GetData();
    for (std::size_t i = 0; i < pieces->GetCount(); ++i) {
        const KDataType::Binary& piece = pieces->Get(i);
        place = std::copy_n(piece.GetData(), piece.GetSize(), place);
    }
    return result;
}

} // namespace KCodePage
