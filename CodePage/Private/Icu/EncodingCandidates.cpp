#include "CodePage/EncodingCandidates.h"

#include "CodePage/Exceptions.h"

#include <unicode/ucsdet.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <memory>

namespace KCodePage {

namespace {

void Check(UErrorCode error) {
    if (U_FAILURE(error)) {
        throw EncodingDetectException(KBase::Message());
    }
}

} // namespace

std::vector<EncodingCandidate> DetectEncodings(const char* data, std::size_t length) {
    constexpr std::size_t most = std::numeric_limits<std::int32_t>::max();
    UErrorCode error = U_ZERO_ERROR;
    const std::unique_ptr<UCharsetDetector, decltype(&ucsdet_close)> detector(ucsdet_open(&error),
                                                                              &ucsdet_close);
    Check(error);
    // An empty text may come without an address, which ICU takes for no text at all.
    ucsdet_setText(detector.get(), length != 0 ? data : "", static_cast<std::int32_t>(std::min(length, most)),
                   &error);
    std::int32_t count = 0;
    const UCharsetMatch** const matches = ucsdet_detectAll(detector.get(), &count, &error);
    Check(error);
    std::vector<EncodingCandidate> candidates;
    for (std::int32_t i = 0; i < count; ++i) {
        const char* const charset = ucsdet_getName(matches[i], &error);
        const char* const language = ucsdet_getLanguage(matches[i], &error);
        const std::int32_t confidence = ucsdet_getConfidence(matches[i], &error);
        Check(error);
        candidates.push_back({charset, confidence, language != nullptr ? language : ""});
    }
    return candidates;
}

} // namespace KCodePage
