#include "KBase/UTF8Routines.h"

#include "KBase/Message.h"
#include "KBase/WideStream.h"
#include "UTF8/UTF8.h"

#include <cstring>

namespace KBase {

namespace {

[[noreturn]] void ThrowIllFormed(std::string_view what, std::size_t offset) {
    const WideStream text = WideStream() << what << offset;
    throw ExceptionImpl<Message>(Message(MESSAGE_DOMAIN_UNKNOWN, -1, text.Text().c_str()));
}

// Runs a kernel of the codec over the whole input. One input unit becomes at most `growth` output units,
// which is also room enough for the replacement character.
template <class String, class Kernel, class Unit>
String Convert(Kernel kernel, const Unit* text, std::size_t length, std::size_t growth, bool substitute,
               const String& replacement, std::string_view failure) {
    String result(length * growth, 0);
    std::size_t in = 0;
    std::size_t out = 0;
    for (;;) {
        const UTF8::Result run = kernel(text + in, length - in, result.data() + out, result.size() - out);
        in += run.consumed;
        out += run.written;
        if (run.stop == UTF8::Stop::InputUsedUp) {
            break;
        }
        if (!substitute) {
            ThrowIllFormed(failure, in);
        }
        result.replace(out, replacement.size(), replacement);
        in += run.illFormedLength;
        out += replacement.size();
    }
    result.resize(out);
    return result;
}

} // namespace

ReturnWString UTF8ToWideChar(const char* text, bool substitute) {
    return UTF8ToWideCharUsingLength(text, std::strlen(text), substitute);
}

ReturnWString UTF8ToWideCharUsingLength(const char* text, std::size_t length, bool substitute) {
    return Convert<WideString>(UTF8::Decode, text, length, 1, substitute,
                               WideString(1, UTF8::replacementCharacter), "Invalid UTF-8 at byte offset ");
}

ReturnString WideCharToUTF8(const wchar16* text, bool substitute) {
    return WideCharToUTF8UsingLength(text, WideCharTraits::length(text), substitute);
}

ReturnString WideCharToUTF8UsingLength(const wchar16* text, std::size_t length, bool substitute) {
    return Convert<std::string>(UTF8::Encode, text, length, 3, substitute, "\xEF\xBF\xBD",
                                "Unpaired UTF-16 surrogate at code unit offset ");
}

bool UTF8IsLeadingByte(char byte) noexcept {
    return UTF8TotalBytes(byte) > 1;
}

unsigned int UTF8TotalBytes(char byte) noexcept {
    return UTF8::SequenceLength(static_cast<unsigned char>(byte));
}

} // namespace KBase
