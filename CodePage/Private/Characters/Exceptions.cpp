#include "CodePage/Exceptions.h"

namespace KCodePage {

CodePageConversionException::CodePageConversionException(const KBase::Message& message)
    : KBase::Message(message) {}

const char* CodePageConversionException::ClassName() const noexcept {
    return "KCodePage::CodePageConversionException";
}

const char* UserErrorException::ClassName() const noexcept {
    return "KCodePage::UserErrorException";
}

const char* InvalidCharacterException::ClassName() const noexcept {
    return "KCodePage::InvalidCharacterException";
}

EncodingConversionException::EncodingConversionException(const KBase::Message& message)
    : KBase::Message(message) {}

const char* EncodingConversionException::ClassName() const noexcept {
    return "KCodePage::EncodingConversionException";
}

EncodingDetectException::EncodingDetectException(const KBase::Message& message) : KBase::Message(message) {}

const char* EncodingDetectException::ClassName() const noexcept {
    return "KCodePage::EncodingDetectException";
}

} // namespace KCodePage
