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

// Runs a kernel of the codec over the whole input. Puts `replacement` in place of what is ill-formed; without
// one, throws.
template <class Kernel, class Input, class Output, class View>
std::size_t Convert(Kernel kernel, const Input* text, std::size_t length, Output* output,
                    std::size_t capacity, View replacement, std::string_view failure) {
    std::size_t in = 0;
    std::size_t out = 0;
    for (;;) {
        const UTF8::Result run = kernel(text + in, length - in, output + out, capacity - out);
        in += run.consumed;
        out += run.written;
        if (run.stop == UTF8::Stop::InputUsedUp) {
            return out;
        }
        if (replacement.empty()) {
            ThrowIllFormed(failure, in);
        }
        out += replacement.copy(output + out, replacement.size());
        in += run.illFormedLength;
    }
}

} // namespace

std::size_t UTF8ToWideCharInto(const char* text, std::size_t length, wchar16* output, bool substitute) {
    return Convert([](auto... arguments) { return UTF8::Decode(arguments...); }, text, length, output, length,
                   substitute ? WideView(&UTF8::replacementCharacter, 1) : WideView(),
                   "Invalid UTF-8 at byte offset ");
}

std::size_t WideCharToUTF8Into(const wchar16* text, std::size_t length, char* output, bool substitute) {
    return Convert([](auto... arguments) { return UTF8::Encode(arguments...); }, text, length, output,
                   3 * length, substitute ? UTF8::encodedReplacementCharacter : std::string_view(),
                   "Unpaired UTF-16 surrogate at code unit offset ");
}

ReturnWString UTF8ToWideChar(const char* text, bool substitute) {
    return UTF8ToWideCharUsingLength(text, std::strlen(text), substitute);
}

ReturnWString UTF8ToWideCharUsingLength(const char* text, std::size_t length, bool substitute) {
    WideString result(length, 0);
    result.resize(UTF8ToWideCharInto(text, length, result.data(), substitute));
    return result;
}

ReturnString WideCharToUTF8(const wchar16* text, bool substitute) {
    return WideCharToUTF8UsingLength(text, WideCharTraits::length(text), substitute);
}

ReturnString WideCharToUTF8UsingLength(const wchar16* text, std::size_t length, bool substitute) {
    std::string result(3 * length, 0);
    result.resize(WideCharToUTF8Into(text, length, result.data(), substitute));
    return result;
}

bool UTF8IsLeadingByte(char byte) noexcept {
    return UTF8TotalBytes(byte) > 1;
}

unsigned int UTF8TotalBytes(char byte) noexcept {
    return UTF8::SequenceLength(static_cast<unsigned char>(byte));
}

} // namespace KBase
