// TextEncoder: converts a text of any length from UTF-16 to a code page, or to UTF-8, piece by piece.
//
// The pieces may be cut anywhere: a leading surrogate at the end is kept until the next call, and bytes that
// found no room come out first in the next call. Nothing is allocated after construction.
// Thread safety: one encoder belongs to one thread at a time; encoders are independent of each other and of
// flushes.

#pragma once

#include "CodePage/TextConversion.h"
#include "KBase/Export.h"

#include <memory>
#include <span>

namespace KCodePage {

class KCODEPAGE_EXPORT TextEncoder {
public:
    // Takes the tables of `codePage` from the registry, and for iso-2022-jp those of shift_jis and the
    // Shift-JIS to JIS table. The first encoder for a code page and policy, substitution aside, builds a
    // look-up, which takes as long as a text of a megabyte, and all later ones share it. Throws what
    // GetCodePage and ShiftJisToJis::Instance throw, and UserErrorException for unicode-1-1.
    //
    // iso-2022-jp is 7-bit here: half-width katakana, the IBM extensions (lead bytes F0 to FC of shift_jis)
    // and the controls SO, SI and ESC have no counterpart. A text ends in one-byte mode, also where it fails.
    explicit TextEncoder(CODE_PAGE codePage, const TextPolicy& policy = {});
    TextEncoder(TextEncoder&&) noexcept;
    TextEncoder& operator=(TextEncoder&&) noexcept;
    ~TextEncoder();

    // Converts what it can of `input` into `output`. `end`: the text ends with this input; calls that follow
    // until the input is used up bring what was not consumed, with `end` again. After that another text may
    // follow, whose offsets go on from there. Any size of input and output will do; without room for output
    // nothing is taken. Requires: the object was not moved from.
    TextResult Convert(std::span<const wchar16> input, std::span<char> output, bool end);

    // What was substituted so far.
    const TextSubstitutions& Substitutions() const noexcept;

private:
    class Engine;
    std::unique_ptr<Engine> engine;
};

} // namespace KCodePage
