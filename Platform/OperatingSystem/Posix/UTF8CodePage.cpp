#include "UTF8CodePage.h"

#include "UTF8/UTF8.h"

#include <algorithm>
#include <iterator>

namespace OperatingSystem {

namespace {

constexpr wchar16 replacementUnits[] = {UTF8::replacementCharacter};
constexpr char replacementBytes[] = {'\xEF', '\xBF', '\xBD'}; // U+FFFD

// Runs a kernel over the text and puts `replacement` for each ill-formed part. Where only the number is
// wanted, the output goes to a small buffer over and over.
template <class Input, class Output, std::size_t replacementLength>
Converted Replacing(UTF8::Result (*kernel)(const Input*, std::size_t, Output*, std::size_t) noexcept,
                    const Output (&replacement)[replacementLength], const Input* text, std::size_t length,
                    Output* target, std::size_t capacity) noexcept {
    const bool counting = target == nullptr;
    Output discarded[256];
    std::size_t count = 0;
    for (;;) {
        const UTF8::Result result = kernel(text, length, counting ? discarded : target + count,
                                           counting ? std::size(discarded) : capacity - count);
        text += result.consumed;
        length -= result.consumed;
        count += result.written;
        if (result.stop == UTF8::Stop::InputUsedUp) {
            return {count, true};
        }
        if (result.stop == UTF8::Stop::OutputFull) {
            if (!counting) {
                return {count, false};
            }
            continue;
        }
        if (!counting) {
            if (capacity - count < replacementLength) {
                return {count, false};
            }
            std::copy(std::begin(replacement), std::end(replacement), target + count);
        }
        count += replacementLength;
        text += result.illFormedLength;
        length -= result.illFormedLength;
    }
}

} // namespace

Converted DecodeUTF8(const char* text, std::size_t length, wchar16* target, std::size_t capacity) noexcept {
    return Replacing(UTF8::Decode, replacementUnits, text, length, target, capacity);
}

Converted EncodeUTF8(const wchar16* text, std::size_t length, char* target, std::size_t capacity) noexcept {
    return Replacing(UTF8::Encode, replacementBytes, text, length, target, capacity);
}

} // namespace OperatingSystem
