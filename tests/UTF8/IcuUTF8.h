// What ICU makes of UTF-8 and UTF-16: the answers that ours are compared with.

#pragma once

#ifndef UCHAR_TYPE
#define UCHAR_TYPE unsigned short
#endif
#ifndef U_SHOW_CPLUSPLUS_API
#define U_SHOW_CPLUSPLUS_API 0
#endif
#include <unicode/ustring.h>

#include "KBase/WideString.h"

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

namespace IcuUTF8 {

inline void Check(UErrorCode error) {
    if (U_FAILURE(error)) {
        throw std::runtime_error(u_errorName(error));
    }
}

// Decodes, with one U+FFFD for each maximal subpart of an ill-formed sequence.
inline KBase::WideString Decode(std::string_view bytes) {
    KBase::WideString units(bytes.size() + 1, 0);
    std::int32_t length = 0;
    UErrorCode error = U_ZERO_ERROR;
    u_strFromUTF8WithSub(units.data(), static_cast<std::int32_t>(units.size()), &length, bytes.data(),
                         static_cast<std::int32_t>(bytes.size()), 0xFFFD, nullptr, &error);
    Check(error);
    units.resize(static_cast<std::size_t>(length));
    return units;
}

// Encodes, with EF BF BD for each unpaired surrogate.
inline std::string Encode(KBase::WideView units) {
    std::string bytes(units.size() * 3 + 1, '\0');
    std::int32_t length = 0;
    UErrorCode error = U_ZERO_ERROR;
    u_strToUTF8WithSub(bytes.data(), static_cast<std::int32_t>(bytes.size()), &length, units.data(),
                       static_cast<std::int32_t>(units.size()), 0xFFFD, nullptr, &error);
    Check(error);
    bytes.resize(static_cast<std::size_t>(length));
    return bytes;
}

// The code units of a code point, surrogates included.
inline KBase::WideString Units(std::uint32_t codePoint) {
    if (codePoint < 0x10000) {
        return KBase::WideString(1, static_cast<KBase::wchar16>(codePoint));
    }
    return {U16_LEAD(codePoint), U16_TRAIL(codePoint)};
}

} // namespace IcuUTF8
