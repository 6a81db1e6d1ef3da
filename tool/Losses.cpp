#include "Losses.h"

#include "Messages.h"

using KCodePage::TextFailureKind;

namespace {

std::string Place(const Loss& loss) {
    return loss.file + ": line " + std::to_string(loss.line) + ", byte offset " + std::to_string(loss.offset);
}

// A few of ICU's charsets fail without telling the bytes.
std::string Bytes(const Loss& loss) {
    if (loss.bytes.empty()) {
        return "bytes unknown";
    }
    return (loss.bytes.size() == 1 ? "byte " : "bytes ") + Hexadecimal(loss.bytes);
}

// "the bytes 85 40 are", "the byte FF is"
std::string BytesAre(const Loss& loss) {
    if (loss.bytes.empty()) {
        return "something there, or just before, is ";
    }
    return "the " + Bytes(loss) + (loss.bytes.size() == 1 ? " is " : " are ");
}

std::string Character(const Loss& loss) {
    return CodePoint(loss.failure.FirstUnits()) + " (" + Bytes(loss) + ")";
}

std::string Cause(const Loss& loss, const Charset& from, const Charset& to) {
    switch (loss.failure.kind) {
    case TextFailureKind::Undefined:
        return BytesAre(loss) + "undefined in " + from.name;
    case TextFailureKind::CutOff:
        return BytesAre(loss) + "a cut-off character of " + from.name + " at the end";
    case TextFailureKind::IllFormed:
        return BytesAre(loss) + "not well-formed UTF-8";
    case TextFailureKind::UnpairedSurrogate:
        return loss.side == Side::Decoding ? BytesAre(loss) + "an unpaired surrogate in " + from.name
                                           : Character(loss) + " is an unpaired surrogate";
    case TextFailureKind::BestFit:
        return Character(loss) + " has only a best fit in " + to.name + " (" + loss.bestFit + ")";
    case TextFailureKind::Unmapped:
        break;
    }
    return Character(loss) + " has no counterpart in " + to.name;
}

// What stands in the output for `loss`.
std::string Substitution(const Loss& loss, const Charset& to) {
    if (to.IsUnicode()) {
        return "U+FFFD";
    }
    return std::string(loss.side == Side::Encoding ? loss.failure.length : 1, '?');
}

std::string Remedy(const Loss& loss, const Charset& to) {
    if (loss.failure.kind == TextFailureKind::BestFit) {
        return "--best-fit allows it";
    }
    const bool plural = loss.side == Side::Decoding && loss.bytes.size() > 1;
    return "--substitute puts " + Substitution(loss, to) + " in " + (plural ? "their" : "its") + " place";
}

std::string Kind(Side side, TextFailureKind kind, const Charset& from, const Charset& to) {
    switch (kind) {
    case TextFailureKind::Undefined:
        return "undefined in " + from.name;
    case TextFailureKind::CutOff:
        return "cut off at the end of " + from.name;
    case TextFailureKind::IllFormed:
        return "not well-formed UTF-8";
    case TextFailureKind::UnpairedSurrogate:
        return side == Side::Decoding ? "unpaired surrogate in " + from.name : "unpaired surrogate";
    case TextFailureKind::BestFit:
        return "only a best fit in " + to.name;
    case TextFailureKind::Unmapped:
        break;
    }
    return "no counterpart in " + to.name;
}

} // namespace

std::vector<std::string> LossTally::Lines(Side side, const Charset& from, const Charset& to) const {
    std::vector<std::string> lines;
    for (const Entry& entry : entries[static_cast<std::size_t>(side)]) {
        if (entry.count == 0) {
            continue;
        }
        const Loss& first = entry.first;
        lines.push_back("replaced " + std::to_string(entry.count) + " by " +
                        (to.IsUnicode() ? "U+FFFD" : "?") + " (" +
                        Kind(first.side, first.failure.kind, from, to) + "), the first in " + Place(first) +
                        ": " + (first.side == Side::Decoding ? Bytes(first) : Character(first)));
    }
    return lines;
}

std::string Describe(const Loss& loss, const Charset& from, const Charset& to) {
    return Place(loss) + ": " + Cause(loss, from, to) + "; " + Remedy(loss, to);
}
