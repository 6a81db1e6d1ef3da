// CODE_PAGE: the closed set of character sets that the library converts.

#pragma once

#include "KBase/WideString.h"

#include <cstdint>

namespace KCodePage {

using KBase::wchar16;

// Only the numbers travel, through calls, serialized streams and file names, so they never change. 3, 5, 10
// and 13 are gaps. GetIANAInfo() has the names and Windows numbers of the values.
enum CODE_PAGE : std::int32_t {
    US_ASCII = 0,
    ISO_8859_1 = 1,
    ISO_8859_2 = 2,
    ISO_8859_4 = 4,
    ISO_8859_6 = 6,
    ISO_8859_7 = 7,
    WINDOWS_1255 = 8,
    ISO_8859_9 = 9,
    SHIFT_JIS = 11,
    ISO_2022_JP = 12,
    EUC_KR = 14,
    KOI8_R = 15,
    GB2312 = 16,
    BIG5 = 17,
    WINDOWS_874 = 18,
    UNLISTED = 19, // accepted by the registry, but has no row in the catalogue: creating it fails
    UTF_8 = 20,
    UNICODE_1_1 = 21
};

} // namespace KCodePage
