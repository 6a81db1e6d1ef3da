#include "Readings.h"

#include "CodePage/TextDecoder.h"

using namespace KCodePage;

namespace {

constexpr std::size_t roomSize = 16384;

class IcuDecoder : public Decoder {
public:
    explicit IcuDecoder(const std::string& name) : decoder(name.c_str()) {}

    TextResult Convert(std::span<const char> input, std::span<wchar16> output, bool end) override {
        return decoder.Convert(input, output, end);
    }

    std::uint64_t Position() const noexcept override { return decoder.Position(); }

    const TextSubstitutions& Substitutions() const noexcept override { return decoder.Substitutions(); }

    std::unique_ptr<Decoder> From(std::uint64_t) const override {
        return std::make_unique<IcuDecoder>(*this);
    }

private:
    TextDecoder decoder;
};

TextPolicy StrictPolicy(const Charset& charset) {
    TextPolicy policy;
    policy.sevenBit = charset.form == Charset::Form::CodePage && charset.codePage == US_ASCII;
    return policy;
}

} // namespace

Reading::Reading(const Charset& charset)
    : decoder(MakeDecoder(charset, StrictPolicy(charset))), room(roomSize) {}

Reading::Reading(const std::string& icuName)
    : decoder(std::make_unique<IcuDecoder>(icuName)), room(roomSize) {}

bool Reading::Read(std::string_view bytes, bool end) {
    return Decode(bytes, end, true);
}

bool Reading::Check(std::string_view bytes, bool end) {
    return Decode(bytes, end, false);
}

bool Reading::Decode(std::string_view bytes, bool end, bool keep) {
    while (valid) {
        const TextResult result = decoder->Convert({bytes.data(), bytes.size()}, room, end);
        bytes.remove_prefix(result.consumed);
        if (keep) {
            text.insert(text.end(), room.begin(), room.begin() + static_cast<std::ptrdiff_t>(result.written));
        }
        valid = result.stop != TextStop::Failure;
        if (result.stop != TextStop::OutputFull) {
            break;
        }
    }
    return valid;
}
