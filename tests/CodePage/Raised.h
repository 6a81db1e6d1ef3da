// Raised: runs a call and tells what it threw: class, text, domain and id, to be compared at once.

#pragma once

#include "CodePage/Exceptions.h"

#include <exception>
#include <ostream>
#include <string>

namespace CodePageTests {

// A UTF-16 text as ASCII: other units and the backslash appear as \u and four digits.
inline std::string Ascii(KBase::WideView text) {
    constexpr char digits[] = "0123456789ABCDEF";
    std::string shown;
    for (const KBase::wchar16 unit : text) {
        if ((unit >= 0x20 && unit < 0x7F && unit != '\\') || unit == '\n') {
            shown.push_back(static_cast<char>(unit));
            continue;
        }
        shown += "\\u";
        for (int shift = 12; shift >= 0; shift -= 4) {
            shown.push_back(digits[unit >> shift & 0xF]);
        }
    }
    return shown;
}

struct Failure {
    std::string type; // the class's name without namespaces, "nothing" where nothing was thrown
    std::string text;
    int domain = 0;
    int id = 0;

    friend bool operator==(const Failure&, const Failure&) = default;
    friend std::ostream& operator<<(std::ostream& stream, const Failure& failure) {
        return stream << failure.type << " \"" << failure.text << "\" domain " << failure.domain << " id "
                      << failure.id;
    }
};

// The three kinds that the code page core throws, in domain 0 (unknown) with id -1.
inline Failure UserError(const std::string& text) {
    return {"UserErrorException", text, 0, -1};
}
inline Failure ConversionError(const std::string& text) {
    return {"CodePageConversionException", text, 0, -1};
}
inline Failure InvalidCharacter(const std::string& text) {
    return {"InvalidCharacterException", text, 0, -1};
}

template <class Call>
Failure Raised(Call call) {
    const auto describe = [](const char* type, const KBase::Message& message) {
        return Failure{type, Ascii(message.GetMessage()), message.GetDomain(), message.GetID()};
    };
    try {
        call();
    } catch (const KBase::ExceptionImpl<KCodePage::UserErrorException>& error) {
        return describe("UserErrorException", error);
    } catch (const KBase::ExceptionImpl<KCodePage::InvalidCharacterException>& error) {
        return describe("InvalidCharacterException", error);
    } catch (const KBase::ExceptionImpl<KCodePage::CodePageConversionException>& error) {
        return describe("CodePageConversionException", error);
    } catch (const KBase::ExceptionImpl<KBase::Message>& error) {
        return describe("Message", error);
    } catch (const KBase::Message& error) {
        return describe("another Message", error);
    } catch (const std::exception& error) {
        return {"another exception", error.what(), 0, 0};
    }
    return {"nothing", {}, 0, 0};
}

} // namespace CodePageTests
