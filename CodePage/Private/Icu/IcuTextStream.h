// IcuTextStream: what TextStream is for the code pages of the catalogue, for any charset that ICU knows:
// conversion to UTF-16 in pieces that stops at, or substitutes and counts, whatever stands for no character.
//
// ICU keeps what a cut splits and the units that found no room; the stream counts offsets and applies the
// policy. Thread safety: one stream belongs to one thread at a time.

#pragma once

#include "CodePage/TextConversion.h"

#include <memory>
#include <span>

struct UConverter; // ICU's

namespace KCodePage {

class IcuTextStream {
public:
    // Throws UserErrorException for a name that ICU does not know, and for null and empty ones, which ICU
    // would take for the system's own charset; std::bad_alloc.
    IcuTextStream(const char* charset, const TextPolicy& policy);

    // A copy goes on from the same place. Throws std::bad_alloc.
    IcuTextStream(const IcuTextStream& other);
    IcuTextStream(IcuTextStream&&) noexcept = default;
    IcuTextStream& operator=(IcuTextStream&&) noexcept = default;
    ~IcuTextStream() = default;

    TextResult Convert(std::span<const char> input, std::span<wchar16> output, bool end);
    std::uint64_t Position() const noexcept;
    const TextSubstitutions& Substitutions() const noexcept { return substitutions; }

private:
    struct Closer {
        void operator()(UConverter* converter) const noexcept;
    };
    using Converter = std::unique_ptr<UConverter, Closer>;

    static Converter Open(const char* charset);
    std::uint64_t Boundary() const noexcept;
    void Fail(TextFailureKind kind, unsigned most, bool goesOn);
    bool EndFails();

    Converter converter;
    unsigned unitSize; // bytes of a code unit of the charset
    bool isHz = false;
    bool substitute;
    wchar16 substitution;
    bool unfinished = false;        // ICU may have more to give before it needs more input
    bool substitutionIsDue = false; // a substitution waits for room
    bool failed = false;
    TextFailure failure;
    TextSubstitutions substitutions;
    std::uint64_t taken = 0;     // bytes that ICU took
    std::uint64_t textStart = 0; // where the text began, in these bytes
};

} // namespace KCodePage
