#include "CodePage/EncodingDetector.h"
#include "CodePage/Exceptions.h"

#include <unicode/ucsdet.h>
#include <unicode/uenum.h>

#include <memory>
#include <new>

namespace KCodePage {

namespace {

constexpr std::int32_t kMinimumConfidence = 80; // of 100

[[noreturn]] void ThrowDetectException() {
    throw EncodingDetectException(KBase::Message());
}

class EncodingDetectorImp final : public EncodingDetector {
public:
    EncodingDetectorImp() {
        UErrorCode error = U_ZERO_ERROR;
        detector = ucsdet_open(&error);
        // ICU loads its recognisers at the first walk over their names: here, and not in the first Detect.
        error = U_ZERO_ERROR;
        UEnumeration* const names = ucsdet_getAllDetectableCharsets(detector, &error);
        while (uenum_next(names, nullptr, &error) != nullptr) {
        }
        uenum_close(names);
    }

    ~EncodingDetectorImp() override { ucsdet_close(detector); }

    void Delete() override { delete this; }

    const char* Detect(const char* data, int length) override {
        if (detector == nullptr) {
            ThrowDetectException();
        }
        UErrorCode error = U_ZERO_ERROR;
        ucsdet_setText(detector, data, length, &error);
        if (U_FAILURE(error)) {
            ThrowDetectException();
        }
        error = U_ZERO_ERROR;
        const UCharsetMatch* const match = ucsdet_detect(detector, &error);
        if (U_FAILURE(error) || match == nullptr) {
            ThrowDetectException();
        }
        error = U_ZERO_ERROR;
        const char* const name = ucsdet_getName(match, &error);
        if (U_FAILURE(error) || name == nullptr) {
            ThrowDetectException();
        }
        if (ucsdet_getConfidence(match, &error) < kMinimumConfidence) {
            ThrowDetectException();
        }
        return name;
    }

private:
    UCharsetDetector* detector;
};

} // namespace

KBase::ReturnPtr<EncodingDetector, KBase::DeleteOperatorGeneric<EncodingDetector>> CreateEncodingDetector() {
    try {
        return std::make_unique<EncodingDetectorImp>();
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

} // namespace KCodePage
