#include "CodePage/TextEncoder.h"

#include "CodePage/Private/Core/ExactTables.h"
#include "CodePage/Private/Core/JisEncoding.h"
#include "CodePage/Private/Tables/TextStream.h"
#include "CodePage/Private/Tables/UnmappedUnit.h"
#include "UTF8/UTF8.h"

#include <utility>
#include <variant>

namespace KCodePage {

namespace {

class TableEncoding {
public:
    using Input = wchar16;
    using Output = char;

    TableEncoding(CODE_PAGE codePage, const TextPolicy& policy)
        : tables(codePage, policy), map(&tables.EncodingMap()), substitution(policy.encoded) {}

    Kernels::Run Run(const wchar16* in, std::size_t n, char* out, std::size_t capacity) const noexcept {
        return map->Convert(in, n, out, capacity);
    }

    TextStep Step(const wchar16* in, std::size_t n, bool end, char* out) const {
        // A table may know surrogates one by one, as the one-shot conversion looks them up.
        const MultiByteCharacter character = tables.Convert(in[0]);
        if (character.IsValid()) {
            std::memcpy(out, character.Get(), character.Length());
            return {TextStep::Kind::Converted, 1, character.Length()};
        }
        return UnmappedUnit(in, n, end, tables.BestFit(in[0]).IsValid());
    }

    std::size_t Substitute(const TextStep& step, char* out) const noexcept {
        std::fill_n(out, step.consumed, substitution);
        return step.consumed;
    }

private:
    ExactTables tables;
    const EncodeMap* map;
    char substitution;
};

class UTF8Encoding {
public:
    using Input = wchar16;
    using Output = char;

    UTF8::Result Run(const wchar16* in, std::size_t n, char* out, std::size_t capacity) const noexcept {
        return UTF8::Encode(in, n, out, capacity);
    }

    TextStep Step(const wchar16* in, std::size_t n, bool end, char* out) const noexcept {
        const std::size_t length = IsLeadingSurrogate(in[0]) ? 2 : 1;
        const UTF8::Result result = UTF8::Encode(in, std::min(n, length), out, textStepUnits);
        if (result.stop == UTF8::Stop::InputUsedUp) {
            return {TextStep::Kind::Converted, result.consumed, result.written};
        }
        if (result.stop == UTF8::Stop::CutOff && !end) {
            return {TextStep::Kind::NeedsMore};
        }
        return {TextStep::Kind::Failed, 1, 0, TextFailureKind::UnpairedSurrogate};
    }

    std::size_t Substitute(const TextStep&, char* out) const noexcept {
        constexpr unsigned char replacementCharacter[] = {0xEF, 0xBF, 0xBD};
        std::memcpy(out, replacementCharacter, sizeof replacementCharacter);
        return sizeof replacementCharacter;
    }
};

using Stream = std::variant<TextStream<TableEncoding>, TextStream<UTF8Encoding>, TextStream<JisEncoding>>;

Stream MakeStream(CODE_PAGE codePage, const TextPolicy& policy) {
    if (codePage == UTF_8) {
        return TextStream(UTF8Encoding(), policy);
    }
    if (codePage == ISO_2022_JP) {
        return TextStream(JisEncoding(policy), policy);
    }
    return TextStream(TableEncoding(codePage, policy), policy);
}

} // namespace

class TextEncoder::Engine {
public:
    Engine(CODE_PAGE codePage, const TextPolicy& policy) : stream(MakeStream(codePage, policy)) {}

    Stream stream;
};

TextEncoder::TextEncoder(CODE_PAGE codePage, const TextPolicy& policy)
    : engine(std::make_unique<Engine>(codePage, policy)) {}

TextEncoder::TextEncoder(TextEncoder&&) noexcept = default;
TextEncoder& TextEncoder::operator=(TextEncoder&&) noexcept = default;
TextEncoder::~TextEncoder() = default;

TextResult TextEncoder::Convert(std::span<const wchar16> input, std::span<char> output, bool end) {
    return std::visit([&](auto& stream) { return stream.Convert(input, output, end); }, engine->stream);
}

const TextSubstitutions& TextEncoder::Substitutions() const noexcept {
    return std::visit([](const auto& stream) -> const TextSubstitutions& { return stream.Substitutions(); },
                      engine->stream);
}

} // namespace KCodePage
