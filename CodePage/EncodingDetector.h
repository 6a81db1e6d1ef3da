// EncodingDetector: guesses the charset of bytes of unknown encoding, and answers only when it is sure.
//
//     const auto detector = CreateEncodingDetector();
//     const char* charset = detector->Detect(data, length);
//     const auto text = CreateMemoryEncodingConverter(data, data + length, charset)->ConvertAll();
//
// Thread safety: one thread at a time per detector; detectors are independent of each other.

#pragma once

#include "KBase/Export.h"
#include "KBase/ReturnPtr.h"

namespace KCodePage {

class KCODEPAGE_EXPORT EncodingDetector {
public:
    // Ends the object. Requires: nobody else ends it, so a holder has released it before.
    virtual void Delete() = 0;

    // The name of the charset that suits `length` bytes of `data` best, as ICU spells it ("UTF-8",
    // "Shift_JIS", "ISO-8859-1"); valid until the next Detect or the detector's end. `length` below 0: up to
    // the first zero byte. Throws EncodingDetectException, an empty message, when ICU fails or is less than
    // 80 percent sure; the detector may be used again.
    virtual const char* Detect(const char* data, int length) = 0;

    virtual ~EncodingDetector() = default;

    // A detector owns its state in ICU, so it has no copies.
    EncodingDetector(const EncodingDetector&) = delete;
    EncodingDetector& operator=(const EncodingDetector&) = delete;

protected:
    EncodingDetector() = default;
};

// A new detector; null when memory fails.
KCODEPAGE_EXPORT KBase::ReturnPtr<EncodingDetector, KBase::DeleteOperatorGeneric<EncodingDetector>>
CreateEncodingDetector();

} // namespace KCodePage
