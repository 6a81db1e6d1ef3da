// Conversions by the C library's iconv and by ICU, to compare with.

#pragma once

#include "KBase/WideString.h"

#include <iconv.h>
#include <optional>
#include <stdexcept>
#include <string>
#include <unicode/ucnv.h>

namespace OtherConverters {

// Nothing for a text that iconv does not convert whole.
inline std::optional<std::string> Iconv(const char* to, const char* from, std::string text) {
    const iconv_t converter = iconv_open(to, from);
    if (converter == reinterpret_cast<iconv_t>(-1)) {
        throw std::runtime_error(std::string("iconv does not convert ") + from + " to " + to);
    }
    std::string output(5 * text.size() + 16, '\0');
    char* in = text.data();
    std::size_t inLeft = text.size();
    char* out = output.data();
    std::size_t outLeft = output.size();
    const bool converts = iconv(converter, &in, &inLeft, &out, &outLeft) == 0 &&
                          iconv(converter, nullptr, nullptr, &out, &outLeft) == 0;
    iconv_close(converter);
    output.resize(output.size() - outLeft);
    return converts ? std::optional<std::string>(output) : std::nullopt;
}

// Nothing for a text that ICU does not decode whole.
class IcuDecoder {
public:
    explicit IcuDecoder(const char* charset) {
        UErrorCode status = U_ZERO_ERROR;
        converter = ucnv_open(charset, &status);
        ucnv_setToUCallBack(converter, UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &status);
        if (U_FAILURE(status)) {
            throw std::runtime_error(std::string("ICU does not know ") + charset);
        }
    }
    IcuDecoder(const IcuDecoder&) = delete; // one converter, one end
    IcuDecoder& operator=(const IcuDecoder&) = delete;
    ~IcuDecoder() { ucnv_close(converter); }

    std::optional<KBase::WideString> operator()(const std::string& text) {
        std::u16string units(text.size() + 16, u'\0');
        UErrorCode status = U_ZERO_ERROR;
        const int length = ucnv_toUChars(converter, units.data(), static_cast<int>(units.size()), text.data(),
                                         static_cast<int>(text.size()), &status);
        if (U_FAILURE(status)) {
            return std::nullopt;
        }
        return KBase::WideString(units.begin(), units.begin() + length);
    }

private:
    UConverter* converter = nullptr;
};

} // namespace OtherConverters
