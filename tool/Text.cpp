#include "Text.h"

#include "CodePage/CodePageRegistry.h"
#include "Failure.h"
#include "KBase/Message.h"
#include "KBase/UTF8Routines.h"

#include <limits>

namespace {

constexpr std::size_t longestText = std::numeric_limits<unsigned int>::max();

// Converts `text` with `convert`, one stretch between zero characters after the other: the library's UTF-8
// ends at the first zero.
template <class Result, class Text, class Convert>
Result ConvertStretches(const Text& text, bool stopsAtZero, Convert convert) {
    if (text.size() > longestText) {
        throw Failure("the input is too long: more than 4294967295 characters or bytes");
    }
    Result result;
    std::size_t begin = 0;
    for (;;) {
        const std::size_t zero = stopsAtZero ? text.find(typename Text::value_type{0}, begin) : Text::npos;
        const std::size_t end = zero == Text::npos ? text.size() : zero;
        const auto converted = convert(text.data() + begin, static_cast<unsigned int>(end - begin));
        result.append(converted->Get(), converted->Length());
        if (zero == Text::npos) {
            return result;
        }
        result.push_back(0);
        begin = zero + 1;
    }
}

KBase::WideString DecodeUTF16LE(const std::string& bytes) {
    if (bytes.size() % 2 != 0) {
        throw Failure("the utf-16le input ends inside a code unit: it has " + std::to_string(bytes.size()) +
                      " bytes");
    }
    KBase::WideString text(bytes.size() / 2, 0);
    for (std::size_t i = 0; i < text.size(); ++i) {
        text[i] = static_cast<KBase::wchar16>(static_cast<unsigned char>(bytes[2 * i]) |
                                              static_cast<unsigned char>(bytes[2 * i + 1]) << 8);
    }
    return text;
}

std::string EncodeUTF16LE(const KBase::WideString& text) {
    std::string bytes;
    bytes.reserve(text.size() * 2);
    for (const KBase::wchar16 unit : text) {
        bytes.push_back(static_cast<char>(unit & 0xFF));
        bytes.push_back(static_cast<char>(unit >> 8));
    }
    return bytes;
}

} // namespace

KBase::WideString Decode(const Charset& from, const std::string& bytes) {
    if (!from.codePage) {
        return DecodeUTF16LE(bytes);
    }
    const auto codePage = KCodePage::GetCodePageReference(*from.codePage);
    return ConvertStretches<KBase::WideString>(
        bytes, from.codePage == KCodePage::UTF_8, [&](const char* text, unsigned int length) {
            return codePage->ConvertToUnicode(text, length, KCodePage::CodePage::THROW_INVALID_CHARACTER);
        });
}

std::string Encode(const Charset& to, const KBase::WideString& text) {
    if (!to.codePage) {
        return EncodeUTF16LE(text);
    }
    const auto codePage = KCodePage::GetCodePageReference(*to.codePage);
    return ConvertStretches<std::string>(
        text, to.codePage == KCodePage::UTF_8, [&](const KBase::wchar16* units, unsigned int length) {
            return codePage->ConvertToMultiByte(units, length, KCodePage::CodePage::THROW_INVALID_CHARACTER);
        });
}

KBase::WideString LibraryPath(const std::string& path) {
    if (path.find('\\') != std::string::npos) {
        throw Failure("the directory '" + path +
                      "' has a backslash in its name, which separates names in the "
                      "library; use a directory without one");
    }
    // A relative name gets a beginning, so that it can never be taken for the word that stands for the
    // operating system's tables.
    const std::string rooted = path.starts_with('/') ? path : "./" + path;
    try {
        return KBase::UTF8ToWideCharUsingLength(rooted.data(), rooted.size(), false);
    } catch (const KBase::Message& cause) {
        throw Failure("the directory's name is not valid UTF-8: " + std::string(cause.what()));
    }
}
