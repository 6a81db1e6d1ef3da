#include "CodePage/Private/Icu/IcuTextStream.h"

#include "CodePage/Exceptions.h"
#include "CodePage/Private/Characters/Failure.h"

#include <unicode/ucnv.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <new>
#include <string_view>

namespace KCodePage {

namespace {

// ICU refuses ranges of 2^31 bytes or 2^30 units.
constexpr std::size_t mostPerCall = std::size_t{1} << 29;

constexpr unsigned longestFailure = 32; // bytes; ICU has 8 at most

// Bytes of a code unit.
unsigned UnitSize(const UConverter* converter) noexcept {
    switch (ucnv_getType(converter)) {
    case UCNV_UTF16:
    case UCNV_UTF16_BigEndian:
    case UCNV_UTF16_LittleEndian:
        return 2;
    case UCNV_UTF32:
    case UCNV_UTF32_BigEndian:
    case UCNV_UTF32_LittleEndian:
        return 4;
    default:
        return 1;
    }
}

// Whether a converter of HZ holds a byte, a tilde or a lead byte: ICU tells of neither, and drops both at the
// end of the text. After a held byte, and only then, a blank is a failure, which begins with the held byte.
bool FailsAtABlank(UConverter* converter) noexcept {
    const char blank = ' ';
    const char* source = &blank;
    unsigned short units[8];
    unsigned short* unit = units;
    UErrorCode error = U_ZERO_ERROR;
    ucnv_toUnicode(converter, &unit, std::end(units), &source, source + 1, nullptr, false, &error);
    return U_FAILURE(error);
}

IcuConverter Open(const char* charset) {
    const std::string_view name = charset != nullptr ? charset : "";
    UErrorCode error = U_ZERO_ERROR;
    IcuConverter opened(name.empty() ? nullptr : ucnv_open(charset, &error));
    if (error == U_MEMORY_ALLOCATION_ERROR) {
        throw std::bad_alloc();
    }
    // A copy of a converter of compound text frees the same memory as the original.
    if (opened.Get() == nullptr || ucnv_getType(opened.Get()) == UCNV_COMPOUND_TEXT) {
        Throw<UserErrorException>(KBase::WideStream() << "The character set is not supported: " << name);
    }
    error = U_ZERO_ERROR;
    ucnv_setToUCallBack(opened.Get(), UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &error);
    return opened;
}

} // namespace

void IcuConverter::Closer::operator()(UConverter* owned) const noexcept {
    ucnv_close(owned);
}

IcuConverter::IcuConverter(const IcuConverter& other) {
    UErrorCode error = U_ZERO_ERROR;
    converter.reset(ucnv_clone(other.Get(), &error));
    if (!converter) {
        throw std::bad_alloc();
    }
}

IcuTextStream::IcuTextStream(const char* charset, const TextPolicy& policy)
    : converter(Open(charset)),
      unitSize(UnitSize(converter.Get())),
      isHz(ucnv_getType(converter.Get()) == UCNV_HZ),
      substitute(policy.substitute),
      substitution(policy.decoded) {}

TextResult IcuTextStream::Convert(std::span<const char> input, std::span<wchar16> output, bool end) {
    TextResult result;
    for (;;) {
        if (substitutionIsDue && result.written < output.size()) {
            output[result.written++] = substitution;
            substitutionIsDue = false;
        }
        if (failed) {
            result.stop = TextStop::Failure;
            result.failure = failure;
            return result;
        }
        const std::span<const char> rest = input.subspan(result.consumed);
        const std::span<wchar16> room = output.subspan(result.written);
        if (rest.empty() && !unfinished && !substitutionIsDue && !end) {
            return result;
        }
        // The end alone needs no room, unless something comes of it.
        if (room.empty() && (!rest.empty() || unfinished || substitutionIsDue)) {
            result.stop = TextStop::OutputFull; // nothing is taken ahead, so that the position is exact
            return result;
        }
        const std::size_t length = std::min(rest.size(), mostPerCall);
        const char* source = rest.data();
        wchar16* unit = room.data();
        UErrorCode error = U_ZERO_ERROR;
        ucnv_toUnicode(converter.Get(), &unit, unit + std::min(room.size(), mostPerCall), &source,
                       source + length, nullptr, static_cast<UBool>(end && length == rest.size() && !isHz),
                       &error);
        const auto consumed = static_cast<std::size_t>(source - rest.data());
        const auto written = static_cast<std::size_t>(unit - room.data());
        taken += consumed;
        result.consumed += consumed;
        result.written += written;
        unfinished = U_FAILURE(error);
        if (U_FAILURE(error) && error != U_BUFFER_OVERFLOW_ERROR) {
            Fail(error == U_TRUNCATED_CHAR_FOUND ? TextFailureKind::CutOff : TextFailureKind::Undefined,
                 longestFailure, consumed != 0);
        } else if (U_SUCCESS(error) && result.consumed == input.size()) {
            if (end && EndFails()) {
                continue;
            }
            return result;
        }
    }
}

// The text is over, and the input used up.
bool IcuTextStream::EndFails() {
    textStart = taken;
    if (!isHz) {
        return false;
    }
    if (FailsAtABlank(converter.Get())) {
        Fail(TextFailureKind::CutOff, 1, true);
        return true;
    }
    ucnv_resetToUnicode(converter.Get());
    return false;
}

// The end of what ICU is done with: it may hold bytes of a character that it has not seen the end of, or that
// it will look at again. What it does not tell of in UTF-16 and UTF-32 is a part of a code unit.
std::uint64_t IcuTextStream::Boundary() const noexcept {
    UErrorCode error = U_ZERO_ERROR;
    const std::int32_t held = ucnv_toUCountPending(converter.Get(), &error);
    const std::uint64_t done = taken - static_cast<std::uint64_t>(std::max<std::int32_t>(held, 0));
    return done - (done - textStart) % unitSize;
}

std::uint64_t IcuTextStream::Position() const noexcept {
    if (failed) {
        return failure.offset;
    }
    if (isHz) {
        UErrorCode error = U_ZERO_ERROR;
        const IcuConverter copy(ucnv_clone(converter.Get(), &error));
        if (copy.Get() != nullptr && FailsAtABlank(copy.Get())) {
            return taken - 1;
        }
    }
    return Boundary();
}

// Takes the failure that ICU stopped at. It stands before what ICU will look at again.
void IcuTextStream::Fail(TextFailureKind kind, unsigned most, bool goesOn) {
    std::array<char, longestFailure> bytes{};
    auto length = static_cast<std::int8_t>(bytes.size());
    UErrorCode error = U_ZERO_ERROR;
    ucnv_getInvalidChars(converter.Get(), bytes.data(), &length, &error);
    TextFailure found;
    found.kind = kind;
    found.length = U_SUCCESS(error) ? std::min(static_cast<unsigned>(length), most) : 0;
    // A cut-off part of a code unit is no whole one.
    found.offset = kind == TextFailureKind::CutOff ? taken - found.length : Boundary() - found.length;
    std::transform(bytes.begin(), bytes.begin() + std::min<std::size_t>(found.length, found.units.size()),
                   found.units.begin(), [](char byte) { return static_cast<unsigned char>(byte); });
    if (kind == TextFailureKind::CutOff) {
        // The text is over. A charset whose end lacks no byte but a sign of its end would go on telling it.
        ucnv_resetToUnicode(converter.Get());
    }
    // At what has no bytes, and took none, ICU would stop again and again.
    if (!substitute || !(goesOn || found.length != 0 || kind == TextFailureKind::CutOff)) {
        failed = true;
        failure = found;
        return;
    }
    substitutions.Add(found);
    substitutionIsDue = true;
}

} // namespace KCodePage
