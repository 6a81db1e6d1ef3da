// ShiftJisText: Shift-JIS text that its conversion to JIS takes piece by piece, so that a long one need never
// stand anywhere as a whole.

#pragma once

#include <cstddef>
#include <string_view>

namespace KCodePage {

class ShiftJisText {
public:
    ShiftJisText(const ShiftJisText&) = delete; // the piece may stand in it
    ShiftJisText& operator=(const ShiftJisText&) = delete;

    // The piece that is on; at the beginning the first. Empty where the text is.
    std::string_view Piece() const noexcept { return piece; }

    // Bytes that may come behind the piece, 0 behind the last.
    std::size_t Left() const noexcept { return left; }

    // Goes on to the next piece, which takes the place of this one. `isPending`: the last byte of this one
    // comes first again. Requires: Left is not 0. Throws what making the text throws.
    virtual void Next(bool isPending) = 0;

protected:
    ShiftJisText() = default;
    ~ShiftJisText() = default;

    std::string_view piece;
    std::size_t left = 0;
};

} // namespace KCodePage
