#include "Decoders.h"

#include "CodePage/TextDecoder.h"
#include "CodeUnits.h"

#include <algorithm>
#include <array>
#include <utility>

using namespace KCodePage;

namespace {

// By the library, from a code page or one of ICU's character sets.
class LibraryDecoder : public Decoder {
public:
    explicit LibraryDecoder(TextDecoder textDecoder) : decoder(std::move(textDecoder)) {}

    TextResult Convert(std::span<const char> input, std::span<wchar16> output, bool end) override {
        return decoder.Convert(input, output, end);
    }

    std::uint64_t Position() const noexcept override { return decoder.Position(); }

    const TextSubstitutions& Substitutions() const noexcept override { return decoder.Substitutions(); }

    std::unique_ptr<Decoder> Clone() const override { return std::make_unique<LibraryDecoder>(*this); }

private:
    TextDecoder decoder;
};

class UTF16Decoder : public Decoder {
public:
    UTF16Decoder(Charset::Form textForm, const TextPolicy& textPolicy) : form(textForm), policy(textPolicy) {}

    TextResult Convert(std::span<const char> input, std::span<wchar16> output, bool end) override {
        TextResult result;
        for (;;) {
            ConvertRun(input, output, result);
            while (length < Wanted() && result.consumed < input.size()) {
                kept[length++] = static_cast<unsigned char>(input[result.consumed++]);
            }
            if (failed) {
                result.stop = TextStop::Failure;
                result.failure = failure;
                return result;
            }
            if (length == 0 || (length < Wanted() && !(end && result.consumed == input.size()))) {
                return result;
            }
            if (!OneCharacter(output, result.written)) {
                result.stop = TextStop::OutputFull;
                return result;
            }
        }
    }

    std::uint64_t Position() const noexcept override { return offset; }

    const TextSubstitutions& Substitutions() const noexcept override { return substitutions; }

    std::unique_ptr<Decoder> Clone() const override { return std::make_unique<UTF16Decoder>(*this); }

private:
    bool IsBigEndian() const noexcept { return form == Charset::Form::UTF16BE || bigEndian; }

    wchar16 Unit(std::size_t index) const noexcept {
        const unsigned high = kept[index + (IsBigEndian() ? 0 : 1)];
        const unsigned low = kept[index + (IsBigEndian() ? 1 : 0)];
        return static_cast<wchar16>(high << 8 | low);
    }

    static bool IsLeading(wchar16 unit) noexcept { return (unit & 0xFC00u) == 0xD800u; }
    static bool IsTrailing(wchar16 unit) noexcept { return (unit & 0xFC00u) == 0xDC00u; }

    // Takes the units up to the next surrogate, unless something is kept or to be looked at first.
    void ConvertRun(std::span<const char> input, std::span<wchar16> output, TextResult& result) noexcept {
        if (length != 0 || failed || (offset == 0 && form == Charset::Form::UTF16)) {
            return;
        }
        std::size_t taken = runLength;
        while (taken == runLength) {
            const std::size_t count = std::min({runLength, (input.size() - result.consumed) / sizeof(wchar16),
                                                output.size() - result.written});
            const std::span<wchar16> units = output.subspan(result.written, count);
            CopyUnits(input.data() + result.consumed, units.data(), count, IsBigEndian());
            taken = CountBeforeSurrogate(units);
            result.consumed += taken * sizeof(wchar16);
            result.written += taken;
            offset += taken * sizeof(wchar16);
        }
    }

    // The bytes to look at before a character can be told.
    std::size_t Wanted() const noexcept { return length >= 2 && IsLeading(Unit(0)) ? 4 : 2; }

    // Takes the character that is kept; false without room for it.
    bool OneCharacter(std::span<wchar16> output, std::size_t& written) {
        if (offset == 0 && form == Charset::Form::UTF16 && length >= 2 && IsMark()) {
            Take(2);
            return true;
        }
        const bool pair = length == 4 && IsTrailing(Unit(2));
        const std::size_t units = pair ? 2 : 1;
        if (output.size() - written < units) {
            return false;
        }
        if (length == 1) {
            Fail(TextFailureKind::CutOff, 1, output, written);
        } else if (!pair && (IsLeading(Unit(0)) || IsTrailing(Unit(0)))) {
            Fail(TextFailureKind::UnpairedSurrogate, 2, output, written);
        } else {
            for (std::size_t i = 0; i < units; ++i) {
                output[written++] = Unit(2 * i);
            }
            Take(2 * units);
        }
        return true;
    }

    bool IsMark() noexcept {
        bigEndian = kept[0] == 0xFE && kept[1] == 0xFF;
        return bigEndian || (kept[0] == 0xFF && kept[1] == 0xFE);
    }

    void Take(std::size_t count) noexcept {
        std::copy(kept.begin() + static_cast<std::ptrdiff_t>(count), kept.end(), kept.begin());
        length -= count;
        offset += count;
    }

    void Fail(TextFailureKind kind, unsigned count, std::span<wchar16> output, std::size_t& written) {
        TextFailure found{kind, offset, {}, count};
        std::copy_n(kept.begin(), count, found.units.begin());
        if (!policy.substitute) {
            failed = true;
            failure = found;
            return;
        }
        substitutions.Add(found);
        output[written++] = policy.decoded;
        Take(count);
    }

    static constexpr std::size_t runLength = 64; // units that are copied before they are looked at

    Charset::Form form;
    TextPolicy policy;
    bool bigEndian = false; // the mark said so
    std::uint64_t offset = 0;
    std::array<unsigned char, 4> kept{}; // the next character, or its beginning
    std::size_t length = 0;
    bool failed = false;
    TextFailure failure;
    TextSubstitutions substitutions;
};

} // namespace

std::unique_ptr<Decoder> MakeDecoder(const Charset& charset, const TextPolicy& policy) {
    switch (charset.form) {
    case Charset::Form::CodePage:
        return std::make_unique<LibraryDecoder>(TextDecoder(charset.codePage, policy));
    case Charset::Form::ICU:
        return std::make_unique<LibraryDecoder>(TextDecoder(charset.name.c_str(), policy));
    default:
        return std::make_unique<UTF16Decoder>(charset.form, policy);
    }
}
