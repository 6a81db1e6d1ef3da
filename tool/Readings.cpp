#include "Readings.h"

using namespace KCodePage;

namespace {

constexpr std::size_t roomSize = 16384;

TextPolicy StrictPolicy(const Charset& charset) {
    TextPolicy policy;
    policy.sevenBit = charset.form == Charset::Form::CodePage && charset.codePage == US_ASCII;
    return policy;
}

} // namespace

Reading::Reading(const Charset& charset)
    : decoder(MakeDecoder(charset, StrictPolicy(charset))), room(roomSize) {}

Reading::Reading(const std::string& icuName) : Reading(Charset{icuName, Charset::Form::ICU}) {}

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
