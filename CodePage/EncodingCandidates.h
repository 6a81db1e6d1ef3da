// Every charset that bytes of unknown encoding may be in, each with how sure it is: an addition of this
// library to EncodingDetector, which answers with the best one alone.
// Thread safety: no state is kept here.

#pragma once

#include "KBase/Export.h"

#include <cstddef>
#include <string>
#include <vector>

namespace KCodePage {

struct EncodingCandidate {
    std::string charset;  // as ICU spells it
    int confidence = 0;   // 0 to 100
    std::string language; // ISO 639, two letters; empty where the charset does not tell
};

// The candidates for `length` bytes of `data`, the best first; none where nothing suits. Looks at the first
// 2^31 - 1 bytes. Throws EncodingDetectException, an empty message, when ICU fails; std::bad_alloc.
KCODEPAGE_EXPORT std::vector<EncodingCandidate> DetectEncodings(const char* data, std::size_t length);

} // namespace KCodePage
