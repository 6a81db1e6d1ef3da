// What ICU makes of bytes in one call: the answers that conversions in pieces are compared with.

#pragma once

#ifndef UCHAR_TYPE
#define UCHAR_TYPE unsigned short
#endif
#ifndef U_SHOW_CPLUSPLUS_API
#define U_SHOW_CPLUSPLUS_API 0
#endif
#include <unicode/ucnv.h>

#include "KBase/WideString.h"

#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

namespace IcuText {

using Converter = std::unique_ptr<UConverter, decltype(&ucnv_close)>;

inline Converter Open(const char* charset) {
    UErrorCode error = U_ZERO_ERROR;
    Converter converter(ucnv_open(charset, &error), &ucnv_close);
    if (U_FAILURE(error)) {
        throw std::runtime_error(std::string(charset) + ": " + u_errorName(error));
    }
    return converter;
}

// With ICU's own substitution. `flush`: the text ends there; else what is cut off at the end gives nothing.
inline KBase::WideString Decode(const char* charset, std::string_view bytes, bool flush) {
    const Converter converter = Open(charset);
    KBase::WideString units(bytes.size() * 4 + 16, 0);
    unsigned short* unit = units.data();
    const char* source = bytes.data();
    UErrorCode error = U_ZERO_ERROR;
    ucnv_toUnicode(converter.get(), &unit, unit + units.size(), &source, source + bytes.size(), nullptr,
                   static_cast<UBool>(flush), &error);
    if (U_FAILURE(error)) {
        throw std::runtime_error(std::string(charset) + ": " + u_errorName(error));
    }
    units.resize(static_cast<std::size_t>(unit - units.data()));
    return units;
}

// Well-formed UTF-16 in `charset`, with ICU's substitution for what it does not have.
inline std::string Encode(const char* charset, KBase::WideView units) {
    const Converter converter = Open(charset);
    std::string bytes(units.size() * 8 + 16, '\0');
    UErrorCode error = U_ZERO_ERROR;
    const auto length =
        ucnv_fromUChars(converter.get(), bytes.data(), static_cast<std::int32_t>(bytes.size()), units.data(),
                        static_cast<std::int32_t>(units.size()), &error);
    if (U_FAILURE(error)) {
        throw std::runtime_error(std::string(charset) + ": " + u_errorName(error));
    }
    bytes.resize(static_cast<std::size_t>(length));
    return bytes;
}

} // namespace IcuText
