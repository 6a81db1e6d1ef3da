// The conversions and queries of CodePageImpl: each chooses a route by the code page and hands the work to a
// table or to the UTF-8 routines.

#include "CodePage/CodePageImpl.h"
#include "CodePage/Exceptions.h"
#include "CodePage/Private/Characters/Failure.h"
#include "CodePage/Private/Characters/StringImpl.h"
#include "CodePage/Private/Core/CodePageFields.h"
#include "CodePage/Private/Core/ThreadFields.h"
#include "CodePage/ShiftJisToJis.h"
#include "KBase/UTF8Routines.h"
#include "OperatingSystem/CodePages.h"
#include "OperatingSystem/LastError.h"
#include "UTF8/UTF8.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <string>
#include <string_view>

namespace KCodePage {

namespace {

constexpr std::size_t longestUTF8 = 3; // bytes that one code unit becomes at most

[[noreturn]] void ThrowNotImplemented(std::string_view operation) {
    Throw<UserErrorException>(KBase::WideStream() << "OneToOne::" << operation << " - not implemented");
}

[[noreturn]] void ThrowNotSupported(const KBase::WideString& ianaName) {
    Throw<UserErrorException>(KBase::WideStream()
                              << "The character set is not supported: " << KBase::WideView(ianaName));
}

// Lets the processor fetch a short text, or parts of a longer one, while the way to its table is looked for.
// Reads nothing, wherever `text` points.
template <class Character>
void FetchAhead(const Character* text, unsigned int length) noexcept {
    const auto begin = reinterpret_cast<std::uintptr_t>(text);
    const std::uintptr_t size = length * sizeof(Character);
    __builtin_prefetch(reinterpret_cast<const void*>(begin));
    __builtin_prefetch(reinterpret_cast<const void*>(begin + size / 2));
    __builtin_prefetch(reinterpret_cast<const void*>(begin + size));
}

bool Substitutes(CodePage::USE_SUBSTITUTION_CHARACTER substitution) noexcept {
    return substitution == CodePage::SUBSTITUTE;
}

KBase::ReturnPtrI<UnicodeString> DecodeUTF8(const char* text,
                                            CodePage::USE_SUBSTITUTION_CHARACTER substitution) {
    if (text == nullptr) {
        return MakeUnicodeString(nullptr, 0); // an empty text of a caller that has none
    }
    const std::size_t length = std::strlen(text);
    auto result = UnicodeStringImpl::CreateForWriting(length);
    result->Finish(
        KBase::UTF8ToWideCharInto(text, length, result->WritingPlace(), Substitutes(substitution)));
    return result;
}

// Kept: the text ends at its first zero unit, whatever `length` says; what is unpaired behind it fails too.
KBase::ReturnPtrI<MultiByteString> EncodeUTF8(const wchar16* text, unsigned int length,
                                              CodePage::USE_SUBSTITUTION_CHARACTER substitution) {
    auto result = MultiByteStringImpl::CreateForWriting(length * longestUTF8);
    char* const output = result->WritingPlace();
    const std::size_t written = KBase::WideCharToUTF8Into(text, length, output, Substitutes(substitution));
    const void* const zero = std::memchr(output, 0, written);
    result->Finish(zero != nullptr ? static_cast<std::size_t>(static_cast<const char*>(zero) - output)
                                   : written);
    return result;
}

// Whether EncodeSingly stops at `unit`.
bool StandsAlone(wchar16 unit) noexcept {
    return unit == 0 || (unit & 0xF800u) == 0xD800u;
}

// Kept: unit by unit, so that the halves of a surrogate pair count as unpaired; the output stays below
// `blockSize`; a zero unit is consumed and gives nothing.
KBase::ReturnPtrI<MultiByteString> EncodeUTF8Block(unsigned int& consumed, unsigned int blockSize,
                                                   const wchar16* text, unsigned int length,
                                                   CodePage::USE_SUBSTITUTION_CHARACTER substitution) {
    const std::size_t capacity = std::min<std::size_t>(blockSize - 1, length * longestUTF8);
    auto result = length >= capacity ? MultiByteStringImpl::CreateForBlock(capacity)
                                     : MultiByteStringImpl::CreateForWriting(capacity);
    char* const output = result->WritingPlace();
    std::size_t written = 0;
    for (;;) {
        const UTF8::Result run =
            UTF8::EncodeSingly(text + consumed, length - consumed, output + written, capacity - written);
        consumed += static_cast<unsigned int>(run.consumed);
        written += run.written;
        if (run.stop != UTF8::Stop::IllFormed) {
            break; // all was taken, or the next unit does not fit
        }
        // Zeros and surrogates, as many as there are.
        for (; consumed < length && StandsAlone(text[consumed]); ++consumed) {
            if (text[consumed] == 0) {
                continue;
            }
            if (!Substitutes(substitution)) {
                const wchar16 surrogate[2] = {text[consumed], 0};
                KBase::WideCharToUTF8(surrogate, false); // throws
            }
            constexpr std::string_view replacement = UTF8::encodedReplacementCharacter;
            if (replacement.size() > capacity - written) {
                result->Finish(written);
                return result;
            }
            written += replacement.copy(output + written, replacement.size());
        }
    }
    result->Finish(written);
    return result;
}

} // namespace

// The fields that a conversion or query takes from the object, alive for as long as this is or until the
// thread asks another code page. Page 12 may: it pins them where it goes on with them, and else does nothing
// more with them then.
class CodePageImpl::Route {
public:
    explicit Route(const CodePageImpl& object) : fields(object.address.load(std::memory_order_acquire)) {
        if (!ThreadFields::Holds(fields)) {
            TakeFrom(object);
        }
    }

    const CodePageFields* operator->() const noexcept { return fields; }

    // By the tables. These throw where there is none: page 19, and an object that was never initialised.
    const MultiByteToUnicode& Decoding() const { return Require(fields->multiByteToUnicode.Get()); }

    KBase::ReturnPtrI<MultiByteString> Encode(unsigned int& consumed, unsigned int blockSize,
                                              const wchar16* text, unsigned int length,
                                              USE_SUBSTITUTION_CHARACTER substitution) const {
        unsigned int unlimited = 0; // kept: where there is no limit, nothing counts as consumed
        return Require(fields->unicodeToMultiByte.Get())
            .ConvertObservingBlockSize(blockSize != 0 ? consumed : unlimited, blockSize, text, length,
                                       substitution);
    }

    // The same for page 12, which may ask shift_jis midway. Were it inline, every page would pay for the pin.
    [[gnu::noinline]] KBase::ReturnPtrI<MultiByteString>
    EncodePinned(unsigned int& consumed, unsigned int blockSize, const wchar16* text, unsigned int length,
                 USE_SUBSTITUTION_CHARACTER substitution) const {
        const ThreadFields::Pinned pinned(fields);
        return Encode(consumed, blockSize, text, length, substitution);
    }

private:
    [[gnu::noinline, gnu::cold]] void TakeFrom(const CodePageImpl& object) {
        Fields taken = object.GetFields();
        fields = taken.Get();
        if (Fields back = ThreadFields::Hold(std::move(taken))) {
            own = std::move(back);
        }
    }

    template <class Table>
    const Table& Require(const Table* table) const {
        if (table == nullptr) {
            ThrowNotSupported(fields->ianaNameWide);
        }
        return *table;
    }

    const CodePageFields* fields;
    Fields own; // null where the thread holds the fields until this goes
};

KBase::ReturnPtrI<UnicodeString> CodePageImpl::ConvertToUnicode(const char* text, unsigned int length,
                                                                USE_SUBSTITUTION_CHARACTER substitution) {
    FetchAhead(text, length);
    const Route route(*this);
    switch (route->codePage) {
    case UTF_8:
        return DecodeUTF8(text, substitution);
    case UNICODE_1_1:
        ThrowNotImplemented("ConvertToUnicode");
    case ISO_2022_JP: // one-way: it encodes, and is scanned for escape sequences
        ThrowNotSupported(route->ianaNameWide);
    default:
        return route.Decoding().Convert(text, length, substitution);
    }
}

KBase::ReturnPtrI<MultiByteString> CodePageImpl::ConvertToMultiByte(const wchar16* text, unsigned int length,
                                                                    USE_SUBSTITUTION_CHARACTER substitution) {
    FetchAhead(text, length);
    unsigned int consumed = 0;
    return ConvertToMultiByteObservingBlockSize(consumed, 0, text, length, substitution);
}

KBase::ReturnPtrI<MultiByteString>
CodePageImpl::ConvertToMultiByteObservingBlockSize(unsigned int& consumed, unsigned int blockSize,
                                                   const wchar16* text, unsigned int length,
                                                   USE_SUBSTITUTION_CHARACTER substitution) {
    consumed = 0;
    const Route route(*this);
    switch (route->codePage) {
    case UTF_8:
        return blockSize == 0 ? EncodeUTF8(text, length, substitution)
                              : EncodeUTF8Block(consumed, blockSize, text, length, substitution);
    case UNICODE_1_1:
        ThrowNotImplemented(blockSize == 0 ? "ConvertToMultiByte" : "ConvertToMultiByteObservingBlockSize");
    case ISO_2022_JP:
        return route.EncodePinned(consumed, blockSize, text, length, substitution);
    default:
        return route.Encode(consumed, blockSize, text, length, substitution);
    }
}

bool CodePageImpl::IsLeadingByte(char byte) const {
    const Route route(*this);
    switch (route->codePage) {
    case UTF_8:
        return KBase::UTF8IsLeadingByte(byte);
    case UNICODE_1_1:
        ThrowNotImplemented("IsLeadingByte");
    default:
        return route.Decoding().IsLeadingByte(static_cast<unsigned char>(byte));
    }
}

unsigned int CodePageImpl::GetNumberOfBytesInThisCharacter(const char* text) const {
    const Route route(*this);
    switch (route->codePage) {
    case UTF_8:
        return KBase::UTF8TotalBytes(text[0]);
    case UNICODE_1_1:
        ThrowNotImplemented("GetNumberOfBytesInThisCharacter");
    default:
        return route.Decoding().GetNumberOfBytesInThisCharacter(text);
    }
}

bool CodePageImpl::IsEscapeSequence(const char* text) const {
    const Route route(*this);
    switch (route->codePage) {
    case ISO_2022_JP:
        return route.Decoding().IsEscapeSequence(text);
    case UNLISTED:
        ThrowNotSupported(route->ianaNameWide);
    case UNICODE_1_1:
        ThrowNotImplemented("IsEscapeSequence");
    default:
        return false;
    }
}

unsigned int CodePageImpl::GetNumberOfBytesInThisEscapeSequence(const char* text) const {
    const Route route(*this);
    switch (route->codePage) {
    case ISO_2022_JP:
        return route.Decoding().GetNumberOfBytesInThisEscapeSequence(text);
    case UNLISTED:
        ThrowNotSupported(route->ianaNameWide);
    case UNICODE_1_1:
        ThrowNotImplemented("GetNumberOfBytesInThisEscapeSequence");
    default:
        return 0;
    }
}

namespace {

// Kept: where the number of the last error would be expected, these texts show the address of the routine
// that would have told it.
KBase::WideStream& AppendLastErrorRoutine(KBase::WideStream& text) {
    return text.Pointer(reinterpret_cast<std::uintptr_t>(&OperatingSystem::GetLastError));
}

// The services take a signed length: a longer text is refused, not read to its first zero.
int ServiceLength(unsigned int length) noexcept {
    return length <= static_cast<unsigned int>(std::numeric_limits<int>::max()) ? static_cast<int>(length)
                                                                                : 0;
}

[[noreturn]] void ThrowErrorConvertingToUnicode() {
    KBase::WideStream text;
    Throw<CodePageConversionException>(AppendLastErrorRoutine(text << "Error converting to Unicode: "));
}

} // namespace

KBase::ReturnPtrI<UnicodeString> CodePageImpl::ConvertToUnicodeWindowsAPI(const char* text,
                                                                          unsigned int length) {
    const unsigned int number = GetWindowsAPICodePage();
    if (length == 0) {
        return MakeUnicodeString(nullptr, 0);
    }
    const int needed =
        OperatingSystem::MultiByteToWideChar(number, 0, text, ServiceLength(length), nullptr, 0);
    if (needed == 0) {
        ThrowErrorConvertingToUnicode();
    }
    auto result = UnicodeStringImpl::CreateForWriting(static_cast<std::size_t>(needed));
    const int written = OperatingSystem::MultiByteToWideChar(number, 0, text, ServiceLength(length),
                                                             result->WritingPlace(), needed);
    if (written == 0) {
        ThrowErrorConvertingToUnicode();
    }
    result->Finish(static_cast<std::size_t>(written));
    return result;
}

KBase::ReturnPtrI<MultiByteString> CodePageImpl::ConvertToMultiByteWindowsAPI(const wchar16* text,
                                                                              unsigned int length) {
    const Fields held = GetFields();
    unsigned int number = held->windowsCodePage;
    if (length == 0) {
        return MakeMultiByteString(nullptr, 0);
    }
    if (held->codePage == ISO_2022_JP) {
        // Shift-JIS first, which is then turned into JIS.
        std::string ianaName;
        KBase::WideString ianaNameWide;
        GetIANAInfo(SHIFT_JIS, ianaName, ianaNameWide, number);
    }
    int usedDefault = 0;
    const int needed = OperatingSystem::WideCharToMultiByte(number, 0, text, ServiceLength(length), nullptr,
                                                            0, "?", &usedDefault);
    if (needed == 0) {
        Throw<CodePageConversionException>(KBase::WideStream() << "Error converting to MultiByte: "
                                                               << OperatingSystem::GetLastError());
    }
    auto result = MultiByteStringImpl::CreateForWriting(static_cast<std::size_t>(needed));
    const int written = OperatingSystem::WideCharToMultiByte(
        number, 0, text, ServiceLength(length), result->WritingPlace(), needed, "?", &usedDefault);
    if (written == 0) {
        KBase::WideStream failure;
        Throw<CodePageConversionException>(
            AppendLastErrorRoutine(failure << "Error converting to MultiByte: "));
    }
    result->Finish(static_cast<std::size_t>(written));
    if (held->codePage == ISO_2022_JP) {
        return ShiftJisToJis::InstanceReference()->Convert(result.Get());
    }
    return result;
}

} // namespace KCodePage
