// What the library is measured against. Each peer converts a whole text into a fresh buffer, as the library
// returns a fresh string.
//
// The buffer has room for the worst case, is not filled with zeros and not shrunk afterwards: nothing that a
// program around a peer could spare is counted against it. Converters are opened once and used again.
// Thread safety: one converter belongs to one thread at a time.

#pragma once

#include "KBase/WideString.h"

#include <cstddef>
#include <memory>
#include <span>
#include <string>
#include <string_view>

struct UConverter;

namespace Benchmarks {

// A result of a peer: `size` bytes of text, and room that was not needed.
struct FreshText {
    std::unique_ptr<char[]> bytes;
    std::size_t size = 0;
};

// ICU with its own names of charsets. Unmapped characters become ICU's substitution.
class IcuConverter {
public:
    // Throws std::runtime_error when ICU does not know `charset`.
    explicit IcuConverter(const char* charset);

    FreshText Decode(std::string_view text);
    FreshText Encode(KBase::WideView text);

    // The same piece by piece. Each takes what it can of `text`, sets `size` to the units written to `room`,
    // and returns whether it wants more room. `end`: nothing follows this text.
    bool DecodePiece(std::string_view& text, std::span<KBase::wchar16> room, std::size_t& size, bool end);
    bool EncodePiece(KBase::WideView& text, std::span<char> room, std::size_t& size, bool end);

private:
    struct Closer {
        void operator()(UConverter* converter) const noexcept;
    };
    std::unique_ptr<UConverter, Closer> converter;
};

std::string IcuVersion();

// The C library's iconv.
class IconvConverter {
public:
    // Throws std::runtime_error when iconv does not know one of the charsets.
    IconvConverter(const char* from, const char* to);
    IconvConverter(const IconvConverter&) = delete; // a descriptor has one owner
    IconvConverter& operator=(const IconvConverter&) = delete;
    ~IconvConverter();

    // `worst`: the largest number of bytes that one byte of input can become. Throws std::runtime_error when
    // something does not convert.
    FreshText Convert(std::string_view text, std::size_t worst);

    // Converts what `output` has room for and takes it off `text`. Returns whether there is more; what closes
    // a text is not written. Throws as Convert does.
    bool ConvertPiece(std::string_view& text, std::span<char> output);

    bool Converts(std::string_view text);

private:
    void* descriptor;
};

inline constexpr const char* iconvUTF16 = "UTF-16LE";

inline std::string_view BytesOf(KBase::WideView text) {
    // Any object may be read as char.
    return {reinterpret_cast<const char*>(text.data()), text.size() * sizeof(KBase::wchar16)};
}

#ifdef KCODEPAGE_HAS_ENCODING_RS
// encoding_rs, built with its fast encoders. The labels are the Encoding Standard's. Throws
// std::runtime_error when something does not convert.
FreshText DecodeWithEncodingRs(std::string_view label, std::string_view text);
FreshText EncodeWithEncodingRs(std::string_view label, KBase::WideView text);
#endif

// The limit: the bytes of a result copied into a fresh buffer.
FreshText Copy(std::string_view text);

} // namespace Benchmarks
