#include "CodePage/Private/Core/JisEncoding.h"

#include "CodePage/Private/Tables/UnmappedUnit.h"

#include <cstring>

namespace KCodePage {

namespace {

constexpr std::size_t allCodeUnits = 0x10000;
constexpr std::uint16_t noCode = 0xFFFF;
constexpr std::size_t escapeLength = 3;
constexpr std::size_t longestCharacter = escapeLength + 2;

// What a one-byte character may be: 7-bit, and nothing that announces another character set.
bool IsPlain(unsigned byte) noexcept {
    constexpr unsigned shiftOut = 0x0E;
    constexpr unsigned shiftIn = 0x0F;
    constexpr unsigned escape = 0x1B;
    return byte < 0x80 && byte != shiftOut && byte != shiftIn && byte != escape;
}

} // namespace

JisEncoding::JisEncoding(const TextPolicy& policy)
    : tables(SHIFT_JIS, policy),
      shiftJisToJis(ShiftJisToJis::InstanceReference()),
      substitution(policy.encoded),
      codes(allCodeUnits) {
    for (std::size_t unit = 0; unit < allCodeUnits; ++unit) {
        codes[unit] = CodeOf(tables.Convert(static_cast<wchar16>(unit)));
    }
}

// The byte or the JIS code of a Shift-JIS character; noCode where there is neither.
std::uint16_t JisEncoding::CodeOf(const MultiByteCharacter& shiftJis) const {
    if (!shiftJis.IsValid()) {
        return noCode;
    }
    if (shiftJis.Length() == 1) {
        const auto byte = static_cast<unsigned char>(shiftJis.GetByte1());
        return IsPlain(byte) ? byte : noCode;
    }
    const MultiByteCharacter jis = shiftJisToJis->ConvertShiftJISToJISCharSeq(shiftJis);
    return jis.IsValid() && jis.GetByte1() != 0 ? jis.GetMBChar() : noCode;
}

// Puts one character, in the mode that it belongs to.
std::size_t JisEncoding::Put(std::uint16_t code, char* out) noexcept {
    std::size_t written = 0;
    if (const bool isDouble = code > 0xFF; isDouble != inJIS) {
        std::memcpy(out, isDouble ? "\x1B$B" : "\x1B(B", escapeLength);
        written = escapeLength;
        inJIS = isDouble;
    }
    if (inJIS) {
        out[written++] = static_cast<char>(code >> 8);
    }
    out[written++] = static_cast<char>(code);
    return written;
}

JisEncoding::Progress JisEncoding::Run(const wchar16* in, std::size_t n, char* out,
                                       std::size_t capacity) noexcept {
    Progress progress{0, 0};
    while (progress.consumed < n && capacity - progress.written >= longestCharacter) {
        const std::uint16_t code = codes[in[progress.consumed]];
        if (code == noCode) {
            break;
        }
        progress.written += Put(code, out + progress.written);
        ++progress.consumed;
    }
    return progress;
}

TextStep JisEncoding::Step(const wchar16* in, std::size_t n, bool end, char* out) {
    if (const std::uint16_t code = codes[in[0]]; code != noCode) {
        return {TextStep::Kind::Converted, 1, Put(code, out)};
    }
    const bool hasBestFit = CodeOf(tables.BestFit(in[0])) != noCode;
    return UnmappedUnit(in, n, end, hasBestFit);
}

std::size_t JisEncoding::Substitute(const TextStep& step, char* out) noexcept {
    std::size_t written = 0;
    for (std::size_t i = 0; i < step.consumed; ++i) {
        written += Put(static_cast<unsigned char>(substitution), out + written);
    }
    return written;
}

std::size_t JisEncoding::Finish(char* out) noexcept {
    if (!inJIS) {
        return 0;
    }
    inJIS = false;
    std::memcpy(out, "\x1B(B", escapeLength);
    return escapeLength;
}

} // namespace KCodePage
