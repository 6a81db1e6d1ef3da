// ShiftJisText: Shift-JIS text that its conversion to JIS takes piece by piece, so that a long one need never
// stand anywhere as a whole.

#pragma once

#include <cstddef>
#include <string_view>

namespace KCodePage {

class ShiftJisText {
public:
    // In one piece, which has to outlive this.
    explicit ShiftJisText(std::string_view whole) noexcept : piece(whole) {}

    ShiftJisText(const ShiftJisText&) = delete; // the piece may stand in it
    ShiftJisText& operator=(const ShiftJisText&) = delete;
    virtual ~ShiftJisText() = default;

    // The piece that is on; at the beginning the first. Empty where the text is.
    std::string_view Piece() const noexcept { return piece; }

    // Bytes that may come behind the piece, 0 behind the last.
    std::size_t Left() const noexcept { return left; }

    // Goes on to the next piece, which takes the place of this one. `isPending`: the last byte of this one
    // comes first again. Requires: Left is not 0. Throws what making the text throws, and the same if it is
    // called again.
    virtual void Next(bool /*isPending*/) {}

protected:
    ShiftJisText() = default; // the pieces are a derived class's

    std::string_view piece;
    std::size_t left = 0;
};

} // namespace KCodePage
