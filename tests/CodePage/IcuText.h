// What ICU makes of bytes in one call: the answers that conversions in pieces are compared with.

#pragma once

#ifndef UCHAR_TYPE
#define UCHAR_TYPE unsigned short
#endif
#ifndef U_SHOW_CPLUSPLUS_API
#define U_SHOW_CPLUSPLUS_API 0
#endif
#include <unicode/ucnv.h>
#include <unicode/ucnv_cb.h>

#include "KBase/WideString.h"

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace IcuText {

inline void Check(UErrorCode error, const char* charset) {
    if (U_FAILURE(error)) {
        throw std::runtime_error(std::string(charset) + ": " + u_errorName(error));
    }
}

using Converter = std::unique_ptr<UConverter, decltype(&ucnv_close)>;

inline Converter Open(const char* charset) {
    UErrorCode error = U_ZERO_ERROR;
    Converter converter(ucnv_open(charset, &error), &ucnv_close);
    Check(error, charset);
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
    Check(error, charset);
    units.resize(static_cast<std::size_t>(unit - units.data()));
    return units;
}

// One failure that ICU tells its callback of.
struct Failure {
    std::uint64_t offset = 0;
    std::string bytes;
    bool isCutOff = false;
};

struct Report {
    KBase::WideString units; // with one unit U+FFFD for each failure
    std::vector<Failure> failures;
    std::size_t unitsBefore = 0; // the first failure
};

// Decodes all of `bytes`, which end there, with a callback instead of ICU's own substitution.
inline Report DecodeReporting(const char* charset, std::string_view bytes) {
    struct Context {
        const char* start;
        const unsigned short* units;
        Report report;
    };
    const auto note = [](const void* context, UConverterToUnicodeArgs* args, const char* codeUnits,
                         std::int32_t length, UConverterCallbackReason reason, UErrorCode* error) {
        if (reason > UCNV_IRREGULAR) {
            return; // reset, close or clone
        }
        Context& noted = *static_cast<Context*>(const_cast<void*>(context));
        if (noted.report.failures.empty()) {
            noted.report.unitsBefore = static_cast<std::size_t>(args->target - noted.units);
        }
        noted.report.failures.push_back({static_cast<std::uint64_t>(args->source - noted.start - length),
                                         std::string(codeUnits, static_cast<std::size_t>(length)),
                                         *error == U_TRUNCATED_CHAR_FOUND});
        *error = U_ZERO_ERROR;
        const UChar substitution = 0xFFFD;
        ucnv_cbToUWriteUChars(args, &substitution, 1, 0, error);
    };
    const Converter converter = Open(charset);
    KBase::WideString units(bytes.size() * 4 + 16, 0);
    Context context{bytes.data(), units.data(), {}};
    UErrorCode error = U_ZERO_ERROR;
    ucnv_setToUCallBack(converter.get(), note, &context, nullptr, nullptr, &error);
    unsigned short* unit = units.data();
    const char* source = bytes.data();
    ucnv_toUnicode(converter.get(), &unit, unit + units.size(), &source, source + bytes.size(), nullptr, true,
                   &error);
    Check(error, charset);
    units.resize(static_cast<std::size_t>(unit - units.data()));
    context.report.units = units;
    return context.report;
}

inline bool IsHz(const char* charset) {
    return ucnv_getType(Open(charset).get()) == UCNV_HZ;
}

inline bool IsCompoundText(const char* charset) {
    return ucnv_getType(Open(charset).get()) == UCNV_COMPOUND_TEXT;
}

// ICU says nothing of a byte that the end of HZ cuts off. A blank after it is a failure.
inline bool DropsTheEnd(const char* charset, std::string_view bytes) {
    return IsHz(charset) && DecodeReporting(charset, std::string(bytes) + ' ').failures.size() !=
                                DecodeReporting(charset, bytes).failures.size();
}

// Well-formed UTF-16 in `charset`, with ICU's substitution for what it does not have.
inline std::string Encode(const char* charset, KBase::WideView units) {
    const Converter converter = Open(charset);
    std::string bytes(units.size() * 8 + 16, '\0');
    UErrorCode error = U_ZERO_ERROR;
    const auto length =
        ucnv_fromUChars(converter.get(), bytes.data(), static_cast<std::int32_t>(bytes.size()), units.data(),
                        static_cast<std::int32_t>(units.size()), &error);
    Check(error, charset);
    bytes.resize(static_cast<std::size_t>(length));
    return bytes;
}

} // namespace IcuText
