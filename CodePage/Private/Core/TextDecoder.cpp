#include "CodePage/TextDecoder.h"

#include "CodePage/Private/Core/ExactTables.h"
#include "CodePage/Private/Icu/IcuTextStream.h"
#include "CodePage/Private/Tables/TextStream.h"
#include "UTF8/UTF8.h"

#include <memory>
#include <utility>
#include <variant>

namespace KCodePage {

namespace {

class TableDecoding {
public:
    using Input = char;
    using Output = wchar16;

    TableDecoding(CODE_PAGE codePage, const TextPolicy& policy)
        : tables(codePage, policy), map(&tables.DecodingMap()), substitution(policy.decoded) {}

    Kernels::Run Run(const char* in, std::size_t n, wchar16* out, std::size_t capacity) const noexcept {
        return map->Convert(in, n, out, capacity);
    }

    TextStep Step(const char* in, std::size_t n, bool end, wchar16* out) const {
        const std::size_t length = tables.GetNumberOfBytesInThisCharacter(in);
        if (n < length) {
            return end ? TextStep{TextStep::Kind::Failed, n, 0, TextFailureKind::CutOff}
                       : TextStep{TextStep::Kind::NeedsMore};
        }
        const auto byte = static_cast<unsigned char>(in[0]);
        const UnicodeCharacter character =
            length == 2 ? tables.Convert(byte, static_cast<unsigned char>(in[1])) : tables.Convert(byte);
        if (!character.IsValid()) {
            return {TextStep::Kind::Failed, length, 0, TextFailureKind::Undefined};
        }
        out[0] = character.Get();
        return {TextStep::Kind::Converted, length, 1};
    }

    std::size_t Substitute(const TextStep&, wchar16* out) const noexcept {
        out[0] = substitution;
        return 1;
    }

private:
    ExactTables tables;
    const DecodeMap* map;
    wchar16 substitution;
};

class UTF8Decoding {
public:
    using Input = char;
    using Output = wchar16;

    explicit UTF8Decoding(const TextPolicy& policy) : substitution(policy.decoded) {}

    UTF8::Result Run(const char* in, std::size_t n, wchar16* out, std::size_t capacity) const noexcept {
        return UTF8::Decode(in, n, out, capacity);
    }

    TextStep Step(const char* in, std::size_t n, bool end, wchar16* out) const noexcept {
        const std::size_t length = UTF8::SequenceLength(static_cast<unsigned char>(in[0]));
        const UTF8::Result result = UTF8::Decode(in, std::min(n, length), out, textStepUnits);
        switch (result.stop) {
        case UTF8::Stop::IllFormed:
            return {TextStep::Kind::Failed, result.illFormedLength, 0, TextFailureKind::IllFormed};
        case UTF8::Stop::CutOff:
            return end ? TextStep{TextStep::Kind::Failed, result.illFormedLength, 0, TextFailureKind::CutOff}
                       : TextStep{TextStep::Kind::NeedsMore};
        default:
            return {TextStep::Kind::Converted, result.consumed, result.written};
        }
    }

    std::size_t Substitute(const TextStep&, wchar16* out) const noexcept {
        out[0] = substitution;
        return 1;
    }

private:
    wchar16 substitution;
};

using Stream = std::variant<TextStream<TableDecoding>, TextStream<UTF8Decoding>, IcuTextStream>;

Stream MakeStream(CODE_PAGE codePage, const TextPolicy& policy) {
    if (codePage == UTF_8) {
        return TextStream(UTF8Decoding(policy), policy);
    }
    return TextStream(TableDecoding(codePage, policy), policy);
}

} // namespace

class TextDecoder::Engine {
public:
    explicit Engine(Stream textStream) : stream(std::move(textStream)) {}

    Stream stream;
};

TextDecoder::TextDecoder(CODE_PAGE codePage, const TextPolicy& policy)
    : engine(std::make_unique<Engine>(MakeStream(codePage, policy))) {}

TextDecoder::TextDecoder(const char* charset, const TextPolicy& policy)
    : engine(std::make_unique<Engine>(IcuTextStream(charset, policy))) {}

TextDecoder::TextDecoder(const TextDecoder& other) : engine(std::make_unique<Engine>(*other.engine)) {}

TextDecoder& TextDecoder::operator=(const TextDecoder& other) {
    engine = std::make_unique<Engine>(*other.engine);
    return *this;
}

TextDecoder::TextDecoder(TextDecoder&&) noexcept = default;
TextDecoder& TextDecoder::operator=(TextDecoder&&) noexcept = default;
TextDecoder::~TextDecoder() = default;

TextResult TextDecoder::Convert(std::span<const char> input, std::span<wchar16> output, bool end) {
    return std::visit([&](auto& stream) { return stream.Convert(input, output, end); }, engine->stream);
}

std::uint64_t TextDecoder::Position() const noexcept {
    return std::visit([](const auto& stream) { return stream.Position(); }, engine->stream);
}

const TextSubstitutions& TextDecoder::Substitutions() const noexcept {
    return std::visit([](const auto& stream) -> const TextSubstitutions& { return stream.Substitutions(); },
                      engine->stream);
}

} // namespace KCodePage
