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

// Owns a converter of ICU's. A copy goes on from the same place.
class IcuConverter {
public:
    explicit IcuConverter(UConverter* owned = nullptr) noexcept : converter(owned) {}
    IcuConverter(const IcuConverter& other); // throws std::bad_alloc
    IcuConverter(IcuConverter&&) noexcept = default;
    IcuConverter& operator=(IcuConverter&&) noexcept = default;
    ~IcuConverter() = default;

    UConverter* Get() const noexcept { return converter.get(); }

private:
    struct Closer {
        void operator()(UConverter* owned) const noexcept;
    };
    std::unique_ptr<UConverter, Closer> converter;
};

class IcuTextStream {
public:
    // Throws UserErrorException for a name that ICU does not know, for null and empty ones, which ICU would
    // take for the system's own charset, and for X11's compound text, whose converters ICU cannot copy;
    // std::bad_alloc.
    IcuTextStream(const char* charset, const TextPolicy& policy);

    TextResult Convert(std::span<const char> input, std::span<wchar16> output, bool end);
    std::uint64_t Position() const noexcept;
    const TextSubstitutions& Substitutions() const noexcept { return substitutions; }

private:
    std::uint64_t Boundary() const noexcept;
    void Fail(TextFailureKind kind, unsigned most, bool goesOn);
    bool EndFails();

    IcuConverter converter;
    unsigned unitSize; // bytes of a code unit of the charset
    bool isHz;
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
