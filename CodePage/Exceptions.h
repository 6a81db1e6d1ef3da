// The exceptions of the library. Each is a KBase::Message; most are thrown as KBase::ExceptionImpl of their
// class, those of the charset detector and the stream converters as themselves. A handler that catches
// KBase::Message receives everything the library throws but the standard library's own errors (out of memory,
// a text too long).

#pragma once

#include "KBase/Export.h"
#include "KBase/Message.h"

namespace KCodePage {

// A failure of the operating system's converters or of a table file.
class KCODEPAGE_EXPORT CodePageConversionException : public KBase::Message {
public:
    CodePageConversionException() = default;
    explicit CodePageConversionException(const KBase::Message& message);

protected:
    const char* ClassName() const noexcept override;
};

// A request that the library cannot serve: an invalid or unsupported code page, an operation that a code page
// does not have.
class KCODEPAGE_EXPORT UserErrorException : public CodePageConversionException {
public:
    using CodePageConversionException::CodePageConversionException;

protected:
    const char* ClassName() const noexcept override;
};

// A character that a table cannot convert.
class KCODEPAGE_EXPORT InvalidCharacterException : public CodePageConversionException {
public:
    using CodePageConversionException::CodePageConversionException;

protected:
    const char* ClassName() const noexcept override;
};

// A failure of a stream converter (CodePage/EncodingConverter.h).
class KCODEPAGE_EXPORT EncodingConversionException : public KBase::Message {
public:
    explicit EncodingConversionException(const KBase::Message& message);

protected:
    const char* ClassName() const noexcept override;
};

// A failure of the charset detector (CodePage/EncodingDetector.h).
class KCODEPAGE_EXPORT EncodingDetectException : public KBase::Message {
public:
    explicit EncodingDetectException(const KBase::Message& message);

protected:
    const char* ClassName() const noexcept override;
};

} // namespace KCodePage
