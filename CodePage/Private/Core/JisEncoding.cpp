#include "CodePage/Private/Core/JisEncoding.h"

#include "CodePage/Private/Tables/UnmappedUnit.h"

#include <algorithm>
#include <cstring>

namespace KCodePage {

namespace {

constexpr std::uint16_t noCode = 0xFFFF;
constexpr std::size_t escapeLength = 3;
constexpr std::size_t shortestStretch = 64;
constexpr std::size_t longestStretch = std::size_t{64} << 10; // bytes

// What a one-byte character may be: 7-bit, and nothing that announces another character set.
bool IsPlain(unsigned byte) noexcept {
    constexpr unsigned shiftOut = 0x0E;
    constexpr unsigned shiftIn = 0x0F;
    constexpr unsigned escape = 0x1B;
    return byte < 0x80 && byte != shiftOut && byte != shiftIn && byte != escape;
}

// Answers for an EncodeMap with what JIS text may be made of: 7-bit characters and pairs. SO, SI and ESC too,
// which are looked for in the Shift-JIS text: the loops are fastest where all of ASCII stands for itself.
struct SimpleShiftJis {
    const ExactTables& tables;
    const Kernels::DecodeTable& leads;

    MultiByteCharacter Convert(wchar16 unit) const {
        const MultiByteCharacter character = tables.Convert(unit);
        const auto byte = static_cast<unsigned char>(character.GetByte1());
        const bool isPair = character.Length() == 2;
        const bool isSimple =
            character.IsValid() && isPair == (leads.rowOf[byte] != 0) && (isPair || byte < 0x80);
        return isSimple ? character : MultiByteCharacter();
    }
};

} // namespace

JisEncoding::JisEncoding(const TextPolicy& policy)
    : tables(SHIFT_JIS, policy),
      shiftJisToJis(ShiftJisToJis::InstanceReference()),
      substitution(policy.encoded) {
    if (const DecodeMap* const decoding = DecodeMap::Of(tables.Decoding())) {
        between.resize(longestStretch);
        stretch = longestStretch;
        map = &tables.EncodingMapToJis().Get([&] {
            return EncodeMap(SimpleShiftJis{tables, decoding->Table()});
        });
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
    if (map == nullptr) {
        return progress;
    }
    const Kernels::JisLoops& loops = Kernels::ChosenJis();
    const auto* const text = reinterpret_cast<const unsigned char*>(between.data());
    // Each time anew: who has the table may change it.
    const Kernels::JisTable table = {&DecodeMap::Of(tables.Decoding())->Table(), shiftJisToJis->codes.data(),
                                     shiftJisToJis->irregularCodes == 0};
    char nearEnd[2 * Kernels::jisSlack]; // for output behind which there is no slack
    while (progress.written < capacity) {
        const std::size_t left = capacity - progress.written;
        const bool isNearEnd = left <= Kernels::jisSlack;
        const std::size_t room = isNearEnd ? left : left - Kernels::jisSlack;
        char* const place = isNearEnd ? nearEnd : out + progress.written;
        const Kernels::Run first = map->Convert(in + progress.consumed, n - progress.consumed, between.data(),
                                                std::min(stretch, room)); // JIS text is never shorter
        if (first.written == 0) {
            break; // the input is used up, or what comes next is not in the map
        }
        const Kernels::JisRun second =
            loops.convert(table, inJIS, text, loops.beforeEscape(text, first.written),
                          reinterpret_cast<unsigned char*>(place), room);
        if (isNearEnd) {
            std::memcpy(out + progress.written, nearEnd, second.written);
        }
        inJIS = second.inJIS;
        progress.consumed += second.characters; // each of one code unit
        progress.written += second.written;
        if (second.consumed < first.written) {
            stretch = shortestStretch; // the rest was converted to Shift-JIS in vain
            break;
        }
        if (first.written + 2 > stretch) {
            stretch = std::min(2 * stretch, between.size());
        }
    }
    return progress;
}

TextStep JisEncoding::Step(const wchar16* in, std::size_t n, bool end, char* out) {
    if (const std::uint16_t code = CodeOf(tables.Convert(in[0])); code != noCode) {
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
