#include "Encoders.h"

#include "CodePage/TextEncoder.h"

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

// Whether surrogates are paired is the decoders' affair: what they give is well-formed.
class UTF16Encoder : public Encoder {
public:
    explicit UTF16Encoder(Charset::Form form)
        : bigEndian(form == Charset::Form::UTF16BE), markIsDue(form == Charset::Form::UTF16) {}

    TextResult Convert(std::span<const wchar16> input, std::span<char> output, bool) override {
        TextResult result;
        if (markIsDue && !input.empty()) {
            Put(0xFEFF, output, result.written);
            markIsDue = false;
        }
        while (result.consumed < input.size()) {
            if (output.size() - result.written < 2) {
                result.stop = TextStop::OutputFull;
                return result;
            }
            Put(input[result.consumed++], output, result.written);
        }
        return result;
    }

    const TextSubstitutions& Substitutions() const noexcept override { return none; }

private:
    void Put(wchar16 unit, std::span<char> output, std::size_t& written) const noexcept {
        output[written++] = static_cast<char>(bigEndian ? unit >> 8 : unit);
        output[written++] = static_cast<char>(bigEndian ? unit : unit >> 8);
    }

    bool bigEndian;
    bool markIsDue; // before the first unit of all; a run without one writes nothing
    TextSubstitutions none;
};

} // namespace

std::unique_ptr<Encoder> MakeEncoder(const Charset& charset, const TextPolicy& policy) {
    if (charset.form == Charset::Form::CodePage) {
        return std::make_unique<CodePageEncoder>(charset.codePage, policy);
    }
    return std::make_unique<UTF16Encoder>(charset.form);
}
