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

} // namespace KCodePage
