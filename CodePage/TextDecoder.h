// TextDecoder: converts a text of any length from a code page, from UTF-8, or from any charset that ICU
// knows, to UTF-16, piece by piece.
//
// The pieces may be cut anywhere: a character that is cut off is kept until the next call, and code units
// that found no room come out first in the next call. Nothing is allocated after construction, with a code
// page.
//
//     TextDecoder decoder(SHIFT_JIS);
//     std::array<wchar16, 4096> units;
//     for (bool end = false; !end;) {
//         std::span<const char> piece = Receive(); // cut anywhere; empty at the end of the text
//         end = piece.empty();
//         TextResult result;
//         do {
//             result = decoder.Convert(piece, units, end);
//             Take(units.data(), result.written);
//             piece = piece.subspan(result.consumed);
//         } while (result.stop == TextStop::OutputFull);
//         if (result.stop == TextStop::Failure) {
//             return Refuse(result.failure.offset); // nothing before this byte is lost
//         }
//     }
//
// Thread safety: one decoder belongs to one thread at a time; decoders are independent of each other and of
// flushes.

#pragma once

#include "CodePage/TextConversion.h"
#include "KBase/Export.h"

#include <memory>
#include <span>

namespace KCodePage {

class KCODEPAGE_EXPORT TextDecoder {
public:
    // Takes the tables of `codePage` from the registry. The first decoder for a code page builds a
    // look-up, which takes as long as a text of a megabyte, and all later ones share it. Throws what
    // GetCodePage throws, and UserErrorException for iso-2022-jp and unicode-1-1, which do not decode.
    explicit TextDecoder(CODE_PAGE codePage, const TextPolicy& policy = {});

    // Takes the charset from ICU: `charset` is one of ICU's names or aliases, and what is a character of it
    // is ICU's affair. Failures are Undefined, and CutOff at the end of the text. Throws UserErrorException
    // for a name that is null, empty or unknown, and for X11's compound text; std::bad_alloc.
    explicit TextDecoder(const char* charset, const TextPolicy& policy = {});

    // A copy goes on from the same place, on its own. Tables are shared, so that it costs little. Throws
    // std::bad_alloc. Requires: the other was not moved from.
    TextDecoder(const TextDecoder& other);
    TextDecoder& operator=(const TextDecoder& other);
    TextDecoder(TextDecoder&&) noexcept;
    TextDecoder& operator=(TextDecoder&&) noexcept;
    ~TextDecoder();

    // Converts what it can of `input` into `output`. `end`: the text ends with this input; calls that follow
    // until the input is used up bring what was not consumed, with `end` again. After that another text may
    // follow, whose offsets go on from there. Any size of input and output will do; without room for output
    // nothing is taken. Requires: the object was not moved from.
    TextResult Convert(std::span<const char> input, std::span<wchar16> output, bool end);

    // The offset, from the start of the text, of the first byte that was not converted: where the next
    // character begins, also when a part of it is kept, and the failure's offset after a failure. Of a
    // character that gives two code units either both count as converted or none. Of a charset of ICU's, a
    // part of a character or of an escape sequence counts as kept as far as ICU tells.
    std::uint64_t Position() const noexcept;

    // What was substituted so far.
    const TextSubstitutions& Substitutions() const noexcept;

private:
    class Engine;
    std::unique_ptr<Engine> engine;
};

} // namespace KCodePage
