#include "Encoders.h"

#include "CodePage/TextEncoder.h"
#include "CodeUnits.h"

#include <algorithm>
#include <utility>

using namespace KCodePage;

namespace {

class CodePageEncoder : public Encoder {
public:
    CodePageEncoder(CODE_PAGE codePage, const TextPolicy& policy) : encoder(codePage, policy) {}

    TextResult Convert(std::span<const wchar16> input, std::span<char> output, bool end) override {
        return encoder.Convert(input, output, end);
    }

    const TextSubstitutions& Substitutions() const noexcept override { return encoder.Substitutions(); }

private:
    TextEncoder encoder;
};

class UTF16Encoder : public Encoder {
public:
    UTF16Encoder(Charset::Form form, const TextPolicy& textPolicy)
        : bigEndian(form == Charset::Form::UTF16BE),
          markIsDue(form == Charset::Form::UTF16),
          substitute(textPolicy.substitute) {}

    TextResult Convert(std::span<const wchar16> input, std::span<char> output, bool end) override {
        TextResult result;
        if (markIsDue && !input.empty()) {
            Put(0xFEFF, output, result.written);
            markIsDue = false;
        }
        while (result.consumed < input.size()) {
            ConvertRun(input, output, result);
            if (result.consumed == input.size()) {
                break;
            }
            if (output.size() - result.written < 4) {
                result.stop = TextStop::OutputFull;
                return result;
            }
            const wchar16 unit = input[result.consumed];
            const bool isTrailing = (unit & 0xFC00u) == 0xDC00u;
            if (lead != 0 && !isTrailing) {
                if (!Unpaired(std::exchange(lead, wchar16{0}), output, result)) {
                    return result;
                }
                continue;
            }
            ++result.consumed;
            if (lead != 0) {
                Put(std::exchange(lead, wchar16{0}), output, result.written);
                Put(unit, output, result.written);
                offset += 2;
            } else if ((unit & 0xFC00u) == 0xD800u) {
                lead = unit;
            } else if (!isTrailing) {
                Put(unit, output, result.written);
                ++offset;
            } else if (!Unpaired(unit, output, result)) {
                return result;
            }
        }
        if (end && lead != 0) {
            Unpaired(std::exchange(lead, wchar16{0}), output, result);
        }
        return result;
    }

    const TextSubstitutions& Substitutions() const noexcept override { return substitutions; }

private:
    // Takes the units up to the next surrogate, unless the other half of one is to come.
    void ConvertRun(std::span<const wchar16> input, std::span<char> output, TextResult& result) noexcept {
        if (lead != 0) {
            return;
        }
        const std::size_t room = (output.size() - result.written) / sizeof(wchar16);
        const std::span<const wchar16> rest = input.subspan(result.consumed);
        const std::size_t count = CountBeforeSurrogate(rest.first(std::min(rest.size(), room)));
        CopyUnits(rest.data(), output.data() + result.written, count, bigEndian);
        result.consumed += count;
        result.written += count * sizeof(wchar16);
        offset += count;
    }

    void Put(wchar16 unit, std::span<char> output, std::size_t& written) const noexcept {
        output[written++] = static_cast<char>(bigEndian ? unit >> 8 : unit);
        output[written++] = static_cast<char>(bigEndian ? unit : unit >> 8);
    }

    // False where it stops the conversion.
    bool Unpaired(wchar16 unit, std::span<char> output, TextResult& result) {
        const TextFailure found{TextFailureKind::UnpairedSurrogate, offset++, {unit}, 1};
        if (!substitute) {
            result.stop = TextStop::Failure;
            result.failure = found;
            return false;
        }
        substitutions.Add(found);
        Put(0xFFFD, output, result.written);
        return true;
    }

    bool bigEndian;
    bool markIsDue; // before the first unit of all; a run without one writes nothing
    bool substitute;
    wchar16 lead = 0;         // a leading surrogate whose other half is to come
    std::uint64_t offset = 0; // of the next unit, from the start of the run
    TextSubstitutions substitutions;
};

} // namespace

std::unique_ptr<Encoder> MakeEncoder(const Charset& charset, const TextPolicy& policy) {
    if (charset.form == Charset::Form::CodePage) {
        return std::make_unique<CodePageEncoder>(charset.codePage, policy);
    }
    return std::make_unique<UTF16Encoder>(charset.form, policy);
}
