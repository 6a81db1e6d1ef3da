// Any charset that ICU knows, in pieces of any size and with any room: TextDecoder and EncodingConverter give
// what ICU gives in one call.
//
// Input: the charset's number (2 bytes), size of the pieces, room, then the text.

#include "FuzzTarget.h"

#include "CodePage/EncodingConverter.h"
#include "CodePage/IcuText.h"
#include "CodePage/TextDecoder.h"
#include "CodePage/TextPieces.h"
#include "UTF8/ExactBuffer.h"

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace KCodePage;

void Require(bool condition, const char* charset, const char* what) {
    if (!condition) {
        throw std::runtime_error(std::string(charset) + ": " + what);
    }
}

using Outcome = TextPieces::Outcome<wchar16>;

TextPolicy Substituting() {
    TextPolicy policy;
    policy.substitute = true;
    return policy;
}

std::vector<wchar16> Units(KBase::WideView units) {
    return {units.begin(), units.end()};
}

// Cut by the end of a piece, BOCU-1 has failures of other offsets for ICU itself. A text that ends in the
// base64 of a mailbox name is cut off twice for ICU, and once for us.
bool TellsOtherwiseInPieces(std::string_view charset) {
    return charset == "BOCU-1" || charset == "IMAP-mailbox-name";
}

// Of LMBCS, only where a failure is depends for ICU on where the pieces end.
bool PlacesFailuresOtherwiseInPieces(std::string_view charset) {
    return charset.starts_with("LMBCS");
}

void ThroughDecoder(const char* charset, const std::vector<char>& text, std::size_t size, std::size_t room) {
    const std::string_view view(text.data(), text.size());
    if (IcuText::DropsTheEnd(charset, view)) {
        return;
    }
    const Outcome substituted =
        TextPieces::Convert<wchar16>(TextDecoder(charset, Substituting()), text, size, room, size % 2 == 0);
    Require(substituted.consumed == text.size(), charset, "input is left");
    const TextDecoder decoder(charset);
    const Outcome stopped =
        TextPieces::Convert<wchar16>(TextDecoder(decoder), text, size, room, size % 2 == 0);
    if (TellsOtherwiseInPieces(charset)) {
        return;
    }
    const IcuText::Report report = IcuText::DecodeReporting(charset, view);
    Require(substituted.output == Units(report.units), charset, "the units differ");
    if (report.failures.empty()) {
        Require(stopped.failure.empty() && stopped.output == Units(report.units), charset,
                "a failure is made up");
        return;
    }
    if (PlacesFailuresOtherwiseInPieces(charset)) {
        Require(!stopped.failure.empty(), charset, "a failure is not told");
        return;
    }
    Require(stopped.output == Units(report.units.substr(0, report.unitsBefore)), charset,
            "the units before a failure differ");
    const IcuText::Failure& first = report.failures[0];
    const std::string place = " at " + std::to_string(first.offset) + ":";
    Require(stopped.failure.find(place) != std::string::npos, charset, "a failure is elsewhere");
    Require(stopped.failure.starts_with(first.isCutOff ? "cut off" : "undefined"), charset,
            "a failure is of another kind");
}

void ThroughConverter(const char* charset, const ExactBuffer<char>& text, std::size_t room) {
    const KBase::WideString whole = IcuText::Decode(charset, {text.Get(), text.Size()}, false);
    const auto converter = CreateMemoryEncodingConverter(text.Get(), text.Get() + text.Size(), charset);
    ExactBuffer<unsigned short> target(room);
    KBase::WideString units;
    for (std::size_t count = room; count == room;) {
        count = converter->Convert(target.Get(), room);
        units.append(target.Get(), count);
    }
    Require(units == whole, charset, "the converter gives something else");
    Require(converter->GetPosition() == text.Size(), charset, "input is left");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 4) {
        return 0;
    }
    const auto count = static_cast<unsigned>(ucnv_countAvailable());
    const char* const charset =
        ucnv_getAvailableName(static_cast<std::int32_t>((data[0] + 256u * data[1]) % count));
    const std::vector<char> text(data + 4, data + size);
    ThroughConverter(charset, ExactBuffer<char>(text), std::size_t{data[3]} % 32 + 1);
    if (!IcuText::IsCompoundText(charset)) {
        ThroughDecoder(charset, text, std::size_t{data[2]} % 32 + 1, std::size_t{data[3]} % 32 + 1);
    }
    return 0;
}
