// What the library's tables make of a text, in the form of the slow tables' results, so that both can be
// compared. Inputs are copied to heap blocks of exactly their size.

#pragma once

#include "CodePage/Exceptions.h"
#include "CodePage/MultiByteToUnicode.h"
#include "CodePage/UnicodeToMultiByte.h"
#include "SlowTables.h"
#include "UTF8/ExactBuffer.h"

#include <stdexcept>
#include <string>
#include <string_view>

namespace TableResults {

using KCodePage::CodePage;

inline CodePage::USE_SUBSTITUTION_CHARACTER Mode(bool substitute) {
    return substitute ? CodePage::SUBSTITUTE : CodePage::THROW_INVALID_CHARACTER;
}

// The one character behind "Invalid character 000" in a message. A message with any other text, domain or id
// is an error of the test that called for it.
inline KBase::wchar16 ShownCharacter(const KCodePage::InvalidCharacterException& error) {
    const KBase::WideString text = error.GetMessage();
    const std::string_view lead = "Invalid character 000";
    const bool matches = text.size() >= lead.size() && std::equal(lead.begin(), lead.end(), text.begin()) &&
                         text.size() <= lead.size() + 1 && error.GetID() == -1 &&
                         error.GetDomain() == KBase::MESSAGE_DOMAIN_UNKNOWN;
    if (!matches) {
        throw std::logic_error(std::string("unexpected message: ") + error.what());
    }
    // A zero character ends the text that GetMessage shows.
    return text.size() > lead.size() ? text[lead.size()] : KBase::wchar16{0};
}

inline std::optional<KBase::wchar16> ToOptional(const KCodePage::UnicodeCharacter& character) {
    return character.IsValid() ? std::optional<KBase::wchar16>(character.Get()) : std::nullopt;
}

// Empty for an invalid character.
inline std::string ToBytes(const KCodePage::MultiByteCharacter& character) {
    return character.IsValid() ? std::string(character.Get(), character.Length()) : std::string();
}

inline SlowTables::Decoder::Result Decode(KCodePage::MultiByteToUnicode& table, std::string_view text,
                                          bool substitute) {
    const ExactBuffer<char> input(text);
    SlowTables::Decoder::Result result;
    try {
        const auto string = table.Convert(input.Get(), static_cast<unsigned>(input.Size()), Mode(substitute));
        result.units.assign(string->Get(), string->Length());
        if (string->Get()[string->Length()] != 0 || !string->IsEqual(result.units.data(), string->Length())) {
            throw std::logic_error("the text is not terminated by a zero unit, or is longer than it says");
        }
    } catch (const KBase::ExceptionImpl<KCodePage::InvalidCharacterException>& error) {
        result.shown = ShownCharacter(error);
    }
    return result;
}

inline SlowTables::Encoder::Result Encode(KCodePage::UnicodeToMultiByte& table, KBase::WideView text,
                                          unsigned blockSize, bool substitute) {
    const ExactBuffer<KBase::wchar16> input(text);
    SlowTables::Encoder::Result result;
    result.converted = 12345;
    try {
        const auto string = table.ConvertObservingBlockSize(
            result.converted, blockSize, input.Get(), static_cast<unsigned>(input.Size()), Mode(substitute));
        result.bytes.assign(string->Get(), string->Length());
        if (string->Get()[string->Length()] != 0 || !string->IsEqual(result.bytes.data(), string->Length())) {
            throw std::logic_error("the text is not terminated by a zero byte, or is longer than it says");
        }
    } catch (const KBase::ExceptionImpl<KCodePage::InvalidCharacterException>& error) {
        result.shown = ShownCharacter(error);
    }
    return result;
}

// The same through the function without a block size, which tells no count.
inline std::string Encode(KCodePage::UnicodeToMultiByte& table, KBase::WideView text, bool substitute) {
    const ExactBuffer<KBase::wchar16> input(text);
    const auto string = table.Convert(input.Get(), static_cast<unsigned>(input.Size()), Mode(substitute));
    return std::string(string->Get(), string->Length());
}

} // namespace TableResults
